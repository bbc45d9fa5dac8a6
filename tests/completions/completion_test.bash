#!/usr/bin/env bash
# What bash offers after TAB.
#
#   completion_test.bash SOURCE_FOLDER ORU_REPORT
set -euo pipefail
root=$(cd "$1" && pwd)
command=$(cd "$(dirname "$2")" && pwd)/$(basename "$2")
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
mkdir "$folder/with blank" "$folder/logs"
touch "$folder/report.log"
cd "$folder"
# shellcheck source=/dev/null
source "$root/completions/varnook.bash"
# shellcheck source=/dev/null
source "$root/completions/oru-report.bash"

failures=0

# offers WORD... : sets $offered to what is offered for the last word, one a line.
offer() {
  local COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=() function
  function=$(complete -p "$1" | sed 's/.* -F \([^ ]*\) .*/\1/')
  "$function"
  offered=$(printf '%s\n' ${COMPREPLY[@]+"${COMPREPLY[@]}"} | sort)
}

# expect EXPECTED WORD...
expect() {
  local expected
  expected=$(tr '|' '\n' <<<"$1" | sort)
  shift
  offer "$@"
  [ "$offered" = "$expected" ] && return
  failures=$((failures + 1))
  printf 'after: %s\nexpected: %s\noffered: %s\n' "$*" "${expected//$'\n'/ }" "${offered//$'\n'/ }"
}

# contains WANTED WORD...
contains() {
  local wanted=$1
  shift
  offer "$@"
  grep -qFx -e "$wanted" <<<"$offered" && return
  failures=$((failures + 1))
  printf 'after: %s\nmissing: %s\n' "$*" "$wanted"
}

expect '-akid|-akscrt|-apid|-action' varnook -a
expect 'uploadLog|uploadCrash' varnook -action up
expect 'with blank|logs' varnook -libp ''
expect 'logs' varnook -action uploadLog -logp l
expect 'https://|http://' varnook -edpt http
expect '' varnook -akscrt ''
expect '-bukt' varnook -action uploadLog -b
expect 'list|show|html|json|group|diff|doctor|--help|--version' oru-report ''
expect 'html' oru-report h
expect '--json' oru-report list --j
expect 'report.log|with blank|logs' oru-report list ''
expect 'Signal' oru-report list --kind S
expect 'report.log|with blank|logs' oru-report show ''
expect 'auto|always|never' oru-report show --color ''
expect '--color' oru-report show --c
expect '--output' oru-report html --o

# Every key and every option of the commands is offered.
keys=$(sed -n 's/.*{"\([a-z]*\)", *&CommandLine::[a-z_]*}, *{"\([a-z]*\)".*/\1 \2/p;s/.*strcmp(name, "\([a-z]*\)").*/\1/p' \
  "$root/helper/command_line.cc")
# Split on purpose: keys and options are words.
# shellcheck disable=SC2086
[ "$(printf '%s\n' $keys | wc -l)" -ge 13 ] || { echo "the keys of the command were not found in its source"; exit 1; }
for key in $keys; do contains "-$key" varnook -; done
for name in list show html json group diff doctor; do
  options=$("$command" "$name" --help | grep -oe '^  --[a-z-]*' | grep -oe '--[a-z-]*')
  [ -n "$options" ] || { echo "the options of $name were not found"; exit 1; }
  for option in $options; do contains "$option" oru-report "$name" -; done
done

[ $failures = 0 ] || exit 1
echo "all completions as expected"
