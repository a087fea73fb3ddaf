# Completion of zelctl and zelsim for bash. Commands, options and listed values come from the tool's own help, so that
# they are always those of the tool that is installed; everything else, as FILE, is completed as a file.

# Help on long lines, one for each entry.
_zelboard_help() { COLUMNS=10000 "$@" --help 2>/dev/null; }

# Names in the first column of a table that `zelsim` shows, below its heading: HEADING COMMAND ...
_zelboard_names() {
  zelsim "${@:2}" 2>/dev/null | awk -F '  +' -v heading="$1" 'rows { print $1 } $1 == heading { rows = 1 }'
}

# Targets of `zelsim fail`: nodes, and behind a node and a colon its requests.
_zelboard_targets() {
  local node=${1%%:*}
  if [[ $1 != *:* ]]; then
    echo any: gpio: i2c: flash: debugCmd:
    return
  fi
  zelsim fail --requests 2>/dev/null | awk -v node="$node" '$2 == node || node == "any" { print node ":" $1 }'
}

# Paths of `zelsim get` one word longer than what is typed: a word that is nowhere is answered with those that are. If the
# board is not there, any other one has the same paths.
_zelboard_paths() {
  local before= answer
  if [[ $1 == *.* ]]; then before=${1%.*}.; fi
  answer=$(zelsim get "${board[@]}" "$before?" 2>&1)
  if [[ $answer != *" is not in: "* ]]; then
    answer=$(zelsim get --board "$(_zelboard_names board list | head -n 1)" "$before?" 2>&1)
  fi
  sed -n '/.* is not in: /{s///; s/, /\n/g; p}' <<<"$answer" | sed "/^-$/d; s/^/$before/"
}

# Results of `zelsim fail` that go with the target which was typed.
_zelboard_results() {
  local target word unfit=" NUMBER hangs nonsense closed "
  for target in "${typed[@]}"; do
    case $target in
      debugCmd*) unfit=" NUMBER closed " ;;
      *:open*) unfit=" NUMBER hangs nonsense " ;;
    esac
  done
  for word in $(_zelboard_words); do
    if [[ $unfit != *" $word "* ]]; then echo "$word"; fi
  done
}

# What an option takes, as the help says it behind a single blank; nothing for a switch.
_zelboard_type() {
  if [[ $1 == -* ]]; then sed -nE "s/^  (-.*,)?$1(,[^ ]*)? ([^ ]+).*/\3/p" <<<"$help"; fi
}

# Whether a word is one of the commands that the help lists.
_zelboard_is_command() {
  [[ $1 == [a-z0-9]* ]] && grep -qE "^  ([^ ]+, )*$1(, [^ ]+)*  " <<<"${help#*Subcommands:}"
}

# Whether a word, by the one before it, is an argument: no option and no option's value.
_zelboard_is_argument() { [[ $1 != [-=]* && $2 != = && -z $(_zelboard_type "$2") ]]; }

# Sets `typed`. The shell takes a colon for the end of a word: what it cut is one word here.
_zelboard_join_words() {
  local i word
  for ((i = 0; i <= COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    if ((i > 0)) && [[ $word == : || ${typed[-1]} == *: ]]; then
      typed[-1]+=$word
    else
      typed+=("$word")
    fi
  done
}

# Goes along `typed`. Sets `path`, the commands; `help`, the last command's; `given`, how many arguments it has already;
# `board`, the option with its value; and `program`, the place where another program's command line begins.
_zelboard_walk_commands() {
  local i word before
  for ((i = 1; i < ${#typed[@]} - 1; i++)); do
    word=${typed[i]}
    before=${typed[i - 1]}
    if [[ $before == --board ]]; then board=(--board "$word"); fi
    if [[ $word == -- ]]; then
      program=$((i + 1))
      return
    fi
    if _zelboard_is_command "$word"; then
      path+=("$word")
      given=0
      help=$(_zelboard_help "$tool" "${path[@]}") || return
    elif _zelboard_is_argument "$word" "$before"; then
      ((++given))
    fi
  done
}

# Sets `words`: what may come next, as an option's value or as an argument by its number.
_zelboard_offer() {
  local next=$given
  if [[ $current == -* ]]; then next=; fi
  if [[ $previous == = || -n $(_zelboard_type "$previous") ]]; then next=$previous; fi
  case ${path[*]}/$next in
    */--board | delete/0 | reset/0 | serve/0) words=$(_zelboard_names board list) ;;
    load/0 | save/0 | forget/0) words=$(_zelboard_names state states "${board[@]}") ;;
    # Names of regions have blanks.
    flash\ load/--region | flash\ save/--region)
      words=$(_zelboard_names region flash stats "${board[@]}") IFS=$'\n' current=${current//\\/}
      ;;
    # Files, by the default below.
    flash\ load/0 | flash\ save/0 | panel/--svg | serve/--token-file | run/=) words= ;;
    monitor/--exec) words=$(compgen -c -- "$current") ;;
    plug/1) words=$(_zelboard_names module modules) ;;
    get/0) words=$(_zelboard_paths "$current") ;;
    fail/0) words=$(_zelboard_targets "$current") ;;
    fail/--result) words=$(_zelboard_results) ;;
    *) words=$(_zelboard_words) ;;
  esac
}

# Hands to the shell those of `words` that begin as the current word does.
_zelboard_reply() {
  local i behind
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
  for i in "${!COMPREPLY[@]}"; do COMPREPLY[i]=$(printf %q "${COMPREPLY[i]}"); done
  # The word goes on: a path's next part, a node's request.
  if [[ ${path[*]} == get || ${path[*]} == fail ]]; then compopt -o nospace 2>/dev/null; fi
  # The shell replaces only what stands behind the colon.
  if [[ $current == *:* ]]; then
    behind=${current##*:}
    COMPREPLY=("${COMPREPLY[@]#"${current%"$behind"}"}")
  fi
}

# The functions above read and set its variables.
_zelboard() {
  local tool=$1 current previous help words='' program='' given=0 IFS=$' \t\n'
  local -a path=() typed=() board=()
  _zelboard_join_words
  current=${typed[-1]}
  previous=${typed[-2]}
  help=$(_zelboard_help "$tool") || return
  _zelboard_walk_commands || return
  if [[ -n $program ]]; then
    # Behind "zelsim run --" stands another program with a completion of its own.
    _zelboard_program "$program"
    return
  fi
  _zelboard_offer
  _zelboard_reply
}

# The values that the option before takes, the options, or the commands and the next argument's values. Where an argument
# without a list comes next there is nothing: files, by the default. A short range is a list, too.
_zelboard_words() {
  awk -v type="$(_zelboard_type "$previous")" -v dash="${current:0:1}" -v given="$given" '
    function offer(list,  ends, i) {
      if (list ~ /^[0-9]+-[0-9]+$/ && split(list, ends, "-") && ends[2] - ends[1] < 32)
        for (i = ends[1]; i <= ends[2] + 0; i++) print i
      if (list ~ /[|]/) { gsub("(^|[|])NUMBER([|]|$)", "|", list); gsub("[|]", " ", list); print list }
    }
    BEGIN { if (type != "") { offer(type); exit } }
    /^[^ ]/ { part = $1 } !/^  [-a-z0-9A-Z]/ { next }
    part == "Positionals:" && dash != "-" { if (at++ == given || $0 ~ /[.][.][.]  /) { wanted = 1; offer($2) } }
    part == "Subcommands:" && given == 0 {  # a command may have two names: "los, loss-of-signal"
      for (i = 1; $i ~ /,$/; i++) print substr($i, 1, length($i) - 1)
      print $i
    }
    part == "Options:" && (dash == "-" || !wanted) { gsub(",", " ", $1); print $1 }' <<<"$help"
}

# Completes the command line that begins at word $1: that of one of these tools, or of another program.
_zelboard_program() {
  local start=$1 program=${COMP_WORDS[$1]}
  if ((COMP_CWORD == start)); then
    mapfile -t COMPREPLY < <(compgen -c -- "${COMP_WORDS[COMP_CWORD]}")
  elif [[ ${program##*/} == zelctl || ${program##*/} == zelsim ]]; then
    local -a COMP_WORDS=("${COMP_WORDS[@]:start}")
    local COMP_CWORD=$((COMP_CWORD - start))
    _zelboard "$program"
  elif declare -F _command_offset >/dev/null; then
    _command_offset "$start"
  fi
}
complete -o default -F _zelboard zelctl zelsim
