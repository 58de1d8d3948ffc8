# Completion for vxcfg and bladesim. What they take, they are asked themselves.

# What an option takes, by the help on standard input: "FILE", "FORMAT:{text,json}" or nothing.
_vxblade_takes() {
  sed -nE "s/^ +(-.,)?$1 ([^ ]+)( .*)?\$/\2/p"
}

# _vxblade_values CURRENT KIND: the words for what the help of $program calls so.
_vxblade_values() {
  case $2 in
  *:{*}) COMPREPLY=($(compgen -W "$(sed 's/.*{\(.*\)}/\1/; s/,/ /g' <<<"$2")" -- "$1")) ;;
  KEY | PREFIX) COMPREPLY=($(compgen -W "$("$program" settings --keys 2>/dev/null)" -- "$1")) ;;
  nandN) COMPREPLY=($(compgen -W "nand0 nand1 nand2" -- "$1")) ;;
  '' | NAME | VALUE | N) ;;
  *)
    compopt -o filenames 2>/dev/null
    [ "$2" = DIR ] && mapfile -t COMPREPLY < <(compgen -d -- "$1") || mapfile -t COMPREPLY < <(compgen -f -- "$1")
    ;;
  esac
}

_vxcfg() {
  local program=$1 current=${COMP_WORDS[COMP_CWORD]} command=() before=0 awaited='' word help commands arguments
  help=$("$program" --help 2>/dev/null)
  commands=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' <<<"$help")
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    if [ "$word" = = ]; then
      continue
    elif [ -n "$awaited" ]; then
      awaited=
    elif [[ $word == -* ]]; then
      awaited=$(_vxblade_takes "$word" <<<"$help")
    elif [[ -n $commands && $'\n'$commands$'\n' == *$'\n'$word$'\n'* ]]; then
      command+=("$word")
      help=$("$program" "${command[@]}" --help 2>/dev/null)
      commands=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p' <<<"$help")
    else
      before=$((before + 1))
    fi
  done
  [ "$current" = = ] && current=
  if [ -n "$awaited" ]; then
    _vxblade_values "$current" "$awaited"
  elif [[ $current == -* ]]; then
    COMPREPLY=($(compgen -W "$(sed -nE 's/^ +(-.,)?(--[a-z-]+).*/\2/p' <<<"$help")" -- "$current"))
  elif [ -n "$commands" ]; then
    COMPREPLY=($(compgen -W "$commands" -- "$current"))
  else
    # The argument at this place; the last one again where it is a list.
    word=$(sed -nE '/^Positionals:/,/^$/s/^  ([A-Z]+ .*)/\1/p' <<<"$help" | sed -n "$((before + 1))p; /TEXT [.][.][.]/h; \${x;p}" | head -n 1)
    _vxblade_values "$current" "${word%% *}"
  fi
}

_bladesim() {
  local program=$1 current=${COMP_WORDS[COMP_CWORD]} help place takes=''
  help=$("$program" --help 2>/dev/null)
  for ((place = 1; place < COMP_CWORD; place++)); do
    if [ -n "$takes" ]; then
      takes=
    elif [[ ${COMP_WORDS[place]} == --* ]]; then
      takes=$(_vxblade_takes "${COMP_WORDS[place]}" <<<"$help")
    else
      break
    fi
  done
  if [ -n "$takes" ]; then
    _vxblade_values "$current" "$takes"
  elif [ "$place" -lt "$COMP_CWORD" ]; then
    declare -F _command_offset >/dev/null && _command_offset "$place"
  elif [[ $current == -* ]]; then
    COMPREPLY=($(compgen -W "$(sed -nE 's/^ +(--[a-z]+) .*/\1/p' <<<"$help")" -- "$current"))
  else
    COMPREPLY=($(compgen -c -- "$current"))
  fi
}

complete -F _vxcfg vxcfg
complete -F _bladesim bladesim
