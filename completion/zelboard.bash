# Completion of zelctl and zelsim for bash. Commands, options and listed values come from the tool's own help, so that
# they are always those of the tool that is installed; everything else is completed as a file.

# Names that `zelsim list` or `zelsim modules` shows in the first column of a table.
_zelboard_names() { zelsim "$1" 2>/dev/null | awk -v table="$2" 'rows { print $1 } $0 == table { getline; rows = 1 }'; }

_zelboard() {
  local tool=$1 current=$2 previous=$3 help words word i
  local -a path=()
  help=$("$tool" --help 2>/dev/null) || return
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    if [[ $word == -- ]]; then
      # Behind "zelsim run --" stands another program with a completion of its own.
      declare -F _command_offset >/dev/null && _command_offset $((i + 1))
      return
    fi
    [[ $word == [a-z0-9]* ]] && grep -q "^  $word  " <<<"${help#*Subcommands:}" || continue
    path+=("$word")
    help=$("$tool" "${path[@]}" --help 2>/dev/null) || return
  done
  case ${path[*]}/$previous in
    */--board | delete/delete | reset/reset | serve/serve) words=$(_zelboard_names list boards) ;;
    # Files, by the default below.
    flash\ load/load | flash\ save/save | panel/--svg | run/=) words= ;;
    plug/[0-9]*) words=$(_zelboard_names modules modules) ;;
    # First words of the lists of commands and options, and the values of a list.
    *) words=$(awk '/^(Options|Subcommands):/ { list = 1; next } /^[^ ]/ { list = 0 }
                    list && /^  [-a-z0-9]/ { gsub(",", " ", $1); print $1 }
                    /^  [A-Z]+ [^ ]*[|]/ { gsub("[|]", " ", $2); print $2 }' <<<"$help") ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -o default -F _zelboard zelctl zelsim
