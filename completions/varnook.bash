# bash completion for varnook
# Each line of the text. A Mac's own bash (3.2) has no mapfile.
_varnook_offer() {
  local line
  COMPREPLY=()
  while IFS= read -r line; do [ -z "$line" ] || COMPREPLY+=("$line"); done <<<"$1"
}
_varnook() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  # Keys and values alternate: a value stands at every even position.
  if [ $((COMP_CWORD % 2)) -eq 0 ]; then
    case $previous in
      -action) _varnook_offer "$(compgen -W 'init uploadLog uploadCrash requestDump' -- "$current")" ;;
      -libp | -logp) _varnook_offer "$(compgen -d -- "$current")" ;;
      -edpt) _varnook_offer "$(compgen -W 'https:// http:// file:///' -- "$current")" ;;
    esac
    return
  fi
  if [ "$COMP_CWORD" -eq 1 ] && [[ $current == --* ]]; then
    COMPREPLY=(--version)
    return
  fi
  _varnook_offer "$(compgen -W '-action -apid -seid -ver -delay -akid -akscrt -sectkn -edpt -bukt -logp -libp
    -ext -pid -tid -ctype -exinfo' -- "$current")"
}
complete -o filenames -F _varnook varnook
