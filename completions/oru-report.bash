# bash completion for oru-report
_oru_report() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
  if [ "$COMP_CWORD" -eq 1 ]; then
    mapfile -t COMPREPLY < <(compgen -W 'list show html --help --version' -- "$current")
    return
  fi
  case $previous in
    --color) mapfile -t COMPREPLY < <(compgen -W 'auto always never' -- "$current"); return ;;
    --debug-dir) mapfile -t COMPREPLY < <(compgen -d -- "$current"); return ;;
    --output) mapfile -t COMPREPLY < <(compgen -f -- "$current"); return ;;
  esac
  case $command:$current in
    list:-*) mapfile -t COMPREPLY < <(compgen -W '--json' -- "$current") ;;
    show:-*) mapfile -t COMPREPLY < <(compgen -W '--color --no-source --debug-dir' -- "$current") ;;
    html:-*) mapfile -t COMPREPLY < <(compgen -W '--output --no-source --debug-dir' -- "$current") ;;
    list:*) mapfile -t COMPREPLY < <(compgen -d -- "$current") ;;
    *) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
  esac
}
complete -o filenames -F _oru_report oru-report
