# bash completion for varnook
_varnook() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  # Keys and values alternate: a value stands at every even position.
  if [ $((COMP_CWORD % 2)) -eq 0 ]; then
    case $previous in
      -action) mapfile -t COMPREPLY < <(compgen -W 'init uploadLog uploadCrash requestDump' -- "$current") ;;
      -libp | -logp) mapfile -t COMPREPLY < <(compgen -d -- "$current") ;;
      -edpt) mapfile -t COMPREPLY < <(compgen -W 'https:// http:// file:///' -- "$current") ;;
    esac
    return
  fi
  if [ "$COMP_CWORD" -eq 1 ] && [[ $current == --* ]]; then
    COMPREPLY=(--version)
    return
  fi
  mapfile -t COMPREPLY < <(compgen -W '-action -apid -seid -ver -delay -akid -akscrt -sectkn -edpt -bukt -logp -libp
    -ext -pid -tid -ctype -exinfo' -- "$current")
}
complete -o filenames -F _varnook varnook
