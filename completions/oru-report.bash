# bash completion for oru-report
_oru_report() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
  local filters='--app --sdk --kind --since --until --frame' symbols='--symbols --debug-dir --debuginfod --no-source'
  if [ "$COMP_CWORD" -eq 1 ]; then
    mapfile -t COMPREPLY < <(compgen -W 'list show html json group diff doctor --help --version' -- "$current")
    return
  fi
  case $previous in
    --color) mapfile -t COMPREPLY < <(compgen -W 'auto always never' -- "$current"); return ;;
    --kind) mapfile -t COMPREPLY < <(compgen -W 'Signal Exception MemoryError' -- "$current"); return ;;
    --debug-dir | --dump-dir) mapfile -t COMPREPLY < <(compgen -d -- "$current"); return ;;
    --output | --symbols | --with-log | --with-trace) mapfile -t COMPREPLY < <(compgen -f -- "$current"); return ;;
    --app | --sdk | --since | --until | --frame | --function | --utc-offset) return ;;
  esac
  case $command:$current in
    list:-*) mapfile -t COMPREPLY < <(compgen -W "--json $filters --help" -- "$current") ;;
    show:-*) mapfile -t COMPREPLY < <(compgen -W "--color --with-log --with-trace --utc-offset $symbols $filters --help" -- "$current") ;;
    json:-*) mapfile -t COMPREPLY < <(compgen -W "$symbols $filters --help" -- "$current") ;;
    group:-* | diff:-*) mapfile -t COMPREPLY < <(compgen -W "--json $filters --help" -- "$current") ;;
    doctor:-*) mapfile -t COMPREPLY < <(compgen -W "--function --dump-dir --json --help" -- "$current") ;;
    html:-*) mapfile -t COMPREPLY < <(compgen -W "--output --group $symbols $filters --help" -- "$current") ;;
    *) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
  esac
}
complete -o filenames -F _oru_report oru-report
