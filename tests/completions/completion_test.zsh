#!/usr/bin/env -S zsh -f
# What zsh offers after TAB, asked of interactive shells on pseudo-terminals.
#
#   completion_test.zsh SOURCE_FOLDER
setopt nounset
zmodload zsh/zpty || { print "this zsh has no zpty module"; exit 1 }
root=${1:A}
folder=$(mktemp -d)
trap 'rm -rf $folder' EXIT
mkdir $folder/logs
touch $folder/report.log
cd $folder

# Prints every match that a completion adds, each behind a mark, and ends after the first completion.
cat >$folder/.setup <<'END'
PROMPT=
fpath=($ROOT/completions $fpath)
autoload -U compinit
compinit -u -D
zstyle ':completion:*' insert-tab false
bindkey '^I' complete-word
mark() { print -rn -- $'\1'; }
compprefuncs=(mark)
comppostfuncs=(mark exit)
compadd() {
  # These ask for matches into a parameter; they add none.
  if [[ ${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]]; then builtin compadd "$@"; return; fi
  local -a found
  builtin compadd -A found "$@"
  (( $#found )) && print -rl -- $'\2'$^found$'\3'
  builtin compadd "$@"
}
print -rn -- $'\1'
END

# offers LINE: prints what is offered for it, sorted, blank-separated. Three marks come: from the setup, from the begin
# and from the end of the completion.
offers() {
  local all= piece
  local -a matches
  zpty shell "ROOT=${(q)root} TERM=dumb zsh -f -i"
  zpty -w shell "source ./.setup"
  read_marks 1
  zpty -n -w shell "$1"$'\t'
  read_marks 3
  zpty -d shell
  while [[ $all == *$'\2'* ]]; do
    all=${all#*$'\2'}
    matches+=("${all%%$'\3'*}")
  done
  print -r -- ${(ou)matches}
}

# Adds the shell's output to $all until it holds that many marks, for ten seconds at most.
read_marks() {
  local -F end=$((SECONDS + 10))
  while (( ${#${all//[^$'\1']/}} < $1 && SECONDS < end )); do
    if zpty -rt shell piece; then all+=$piece; else sleep 0.02; fi
  done
}
typeset -F SECONDS

failures=0
expect() {
  local offered=$(offers "$1")
  [[ $offered == $2 ]] && return
  print -r -- "after: $1"$'\n'"expected: $2"$'\n'"offered: $offered"
  (( failures++ ))
}

expect 'varnook -action ' 'init requestDump uploadCrash uploadLog'
expect 'varnook -action uploadLog -bu' '-bukt'
expect 'varnook -libp ' 'logs'
expect 'oru-report ' 'diff doctor group html json list show'
expect 'oru-report list ' 'logs report.log'
expect 'oru-report show --color ' 'always auto never'
expect 'oru-report html --out' '--output'
(( failures == 0 )) || exit 1
print "all completions as expected"
