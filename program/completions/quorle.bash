# shellcheck shell=bash
# What bash completes behind the word quorle. _quorle_syntax is made from the program's own options.

# _quorle_complete KIND WORD: the candidates for a WORD of this KIND, in COMPREPLY.
_quorle_complete() {
  local word=$2 quorle=${words[0]} before='' i names=
  case $1 in
    files) compopt -o filenames; mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
    directories) compopt -o filenames; mapfile -t COMPREPLY < <(compgen -d -- "$word") ;;
    commands) mapfile -t COMPREPLY < <(compgen -c -- "$word") ;;
    words\ *) mapfile -t COMPREPLY < <(compgen -W "${1#words }" -- "$word") ;;
    checks)
      # The last of several, between commas.
      [[ $word != *,* ]] || before=${word%,*},
      names=$("$quorle" --list-checks 2>/dev/null | sed 's/\t.*//; p; s/\..*//' | sort -u)
      mapfile -t COMPREPLY < <(compgen -P "$before" -W "$names" -- "${word##*,}")
      ;;
    devices)
      names='RAM: ENV:'
      for ((i = 1; i < ${#words[@]}; i++)); do
        case ${words[i]} in
          --mount=*=*) word=${words[i]#*=} && names+=" ${word%%=*}:" ;;
          *=*) [[ ${words[i - 1]} != --mount ]] || names+=" ${words[i]%%=*}:" ;;
        esac
      done
      mapfile -t COMPREPLY < <(compgen -W "$names" -- "$2")
      ;;
    mounts)
      # NAME=HANDLER[:FILE]
      compopt -o nospace
      case $word in
        *=plugin:* | *=dir:* | *=exec:* | *=connect:unix:*)
          before=${word%"${word##*[=:]}"}
          compopt -o filenames
          mapfile -t COMPREPLY < <(compgen -P "$before" -f -- "${word#"$before"}")
          ;;
        *=*) mapfile -t COMPREPLY < <(compgen -P "${word%%=*}=" -W 'ram dir: plugin: exec: connect:unix:' -- "${word#*=}") ;;
      esac
      ;;
  esac
}

_quorle() {
  COMPREPLY=()
  # The words as the shell has them, but not cut at = and :, as readline cuts them.
  local -a words=()
  local i rest=$COMP_LINE blanks
  for ((i = 0; i <= COMP_CWORD; i++)); do
    blanks=${rest%%[![:blank:]]*}
    rest=${rest#"$blanks"}
    rest=${rest#"${COMP_WORDS[i]}"}
    if [[ $i -gt 0 && -z $blanks ]]; then
      words[-1]+=${COMP_WORDS[i]}
    else
      words+=("${COMP_WORDS[i]}")
    fi
  done

  local last=$((${#words[@]} - 1)) at=1 command='' is_option_anywhere=
  local word=${words[-1]} kind='' name value=''
  local -A options=()
  local -a operands=() commands=() offered=()
  _quorle_syntax ''
  if ((last > 1)) && [[ " ${commands[*]} " == *" ${words[1]} "* ]]; then
    command=${words[1]}
    at=2
    _quorle_syntax "$command"
  fi

  # What stands before the word says what the word is.
  local operand=0 is_value=
  for (( ; at < last; at++)); do
    name=${words[at]}
    if [[ $name == -* ]] && { ((operand == 0)) || [[ $is_option_anywhere ]]; }; then
      value=${options[${name%%=*}]-}
      if [[ $value && $name != *=* ]]; then
        ((++at == last)) && is_value=1
      fi
    else
      ((++operand))
    fi
  done

  if [[ $is_value ]]; then
    kind=$value
  elif [[ $word == -* ]] && { ((operand == 0)) || [[ $is_option_anywhere ]]; }; then
    if [[ $word == --*=* ]]; then
      name=${word%%=*}
      kind=${options[$name]-}
      _quorle_complete "$kind" "${word#*=}"
      COMPREPLY=("${COMPREPLY[@]/#/$name=}")
      kind=
    else
      mapfile -t COMPREPLY < <(compgen -W "${!options[*]}" -- "$word")
    fi
  else
    if ((operand >= ${#operands[@]})) && [[ ${operands[-1]-} == ... ]]; then
      kind=${operands[-2]}
    else
      kind=${operands[operand]-}
      [[ $kind != ... ]] || kind=${operands[-2]}
    fi
    [[ ! $command && $operand -eq 0 && $last -eq 1 ]] && offered=("${commands[@]}")
  fi
  [[ ! $kind ]] || _quorle_complete "$kind" "$word"
  ((${#offered[@]} == 0)) || mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -W "${offered[*]}" -- "$word")

  # readline replaces what stands behind the last = or : alone.
  local kept=''
  [[ $COMP_WORDBREAKS != *=* || $word != *=* ]] || kept=${word%"${word##*=}"}
  [[ $COMP_WORDBREAKS != *:* || $word != *:* ]] || { word=${word%"${word##*:}"} && ((${#word} <= ${#kept})) || kept=$word; }
  COMPREPLY=("${COMPREPLY[@]#"$kept"}")
}

complete -F _quorle quorle
