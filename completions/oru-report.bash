# bash completion for oru-report
# Each line of the text. A Mac's own bash (3.2) has no mapfile.
_oru_report_offer() {
  local line
  COMPREPLY=()
  while IFS= read -r line; do [ -z "$line" ] || COMPREPLY+=("$line"); done <<<"$1"
}
_oru_report() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
  local filters='--app --sdk --kind --since --until --frame' symbols='--symbols --debug-dir --debuginfod --no-source'
  if [ "$COMP_CWORD" -eq 1 ]; then
    _oru_report_offer "$(compgen -W 'list show html json group diff doctor --help --version' -- "$current")"
    return
  fi
  case $previous in
    --color) _oru_report_offer "$(compgen -W 'auto always never' -- "$current")"; return ;;
    --kind) _oru_report_offer "$(compgen -W 'Signal Exception MemoryError' -- "$current")"; return ;;
    --debug-dir | --dump-dir | --sources) _oru_report_offer "$(compgen -d -- "$current")"; return ;;
    --output | --symbols | --with-log | --with-trace) _oru_report_offer "$(compgen -f -- "$current")"; return ;;
    --app | --sdk | --since | --until | --frame | --function | --utc-offset) return ;;
  esac
  case $command:$current in
    list:-*) _oru_report_offer "$(compgen -W "--json $filters --help" -- "$current")" ;;
    show:-*) _oru_report_offer "$(compgen -W "--color --with-log --with-trace --utc-offset $symbols $filters --help" -- "$current")" ;;
    json:-*) _oru_report_offer "$(compgen -W "$symbols $filters --help" -- "$current")" ;;
    group:-* | diff:-*) _oru_report_offer "$(compgen -W "--json $filters --help" -- "$current")" ;;
    doctor:-*) _oru_report_offer "$(compgen -W "--function --dump-dir --json --help" -- "$current")" ;;
    html:-*) _oru_report_offer "$(compgen -W "--output --group --sources $symbols $filters --help" -- "$current")" ;;
    *) _oru_report_offer "$(compgen -f -- "$current")" ;;
  esac
}
complete -o filenames -F _oru_report oru-report
