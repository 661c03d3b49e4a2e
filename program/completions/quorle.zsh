#compdef quorle
# What zsh completes behind the word quorle. _quorle_syntax is made from the program's own options.

# Checks and their groups, with commas between them.
_quorle_checks() {
  local -a checks
  checks=(${(u)${(f)"$(_call_program checks $words_quorle --list-checks 2>/dev/null | sed 's/\t.*//; p; s/\..*//')"}})
  _values -s , check $checks
}

_quorle_devices() {
  local -a devices=(RAM: ENV:)
  local word before=
  for word in $words; do
    [[ $word != --mount=*=* ]] || devices+=(${${word#*=}%%=*}:)
    [[ $before != --mount || $word != *=* ]] || devices+=(${word%%=*}:)
    before=$word
  done
  compadd -a devices
}

# NAME=HANDLER[:FILE]
_quorle_mounts() {
  if compset -P '*=(plugin|dir|exec|connect:unix):'; then
    _files
  elif compset -P '*='; then
    compadd -S '' ram dir: plugin: exec: connect:unix:
  fi
}

_quorle() {
  local words_quorle=$words[1] command=
  local -a syntax commands
  _quorle_syntax ''
  if ((CURRENT > 2)) && [[ -n ${(M)commands:#$words[2]:*} ]]; then
    command=$words[2]
    shift words
    ((CURRENT--))
    _quorle_syntax $command
  elif ((CURRENT == 2)); then
    _describe -t commands command commands
  fi
  _arguments $syntax
}
