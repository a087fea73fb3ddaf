# Completion of zelctl and zelsim for bash. Commands, options and listed values come from the tool's own help, so that
# they are always those of the tool that is installed; everything else, as FILE, is completed as a file.

# Names that `zelsim list` or `zelsim modules` shows in the first column of a table, below its heading.
_zelboard_names() { zelsim "$1" 2>/dev/null | awk -v heading="$2" 'rows { print $1 } $1 == heading { rows = 1 }'; }

# What an option takes, as the help says it behind a single blank; nothing for a switch.
_zelboard_type() { [[ $1 != -* ]] || sed -nE "s/^  (-.*,)?$1(,[^ ]*)? ([^ ]+).*/\3/p" <<<"$help"; }

_zelboard() {
  local tool=$1 current=$2 previous=$3 help words word i given=0
  local -a path=()
  help=$("$tool" --help 2>/dev/null) || return
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    if [[ $word == -- ]]; then
      # Behind "zelsim run --" stands another program with a completion of its own.
      declare -F _command_offset >/dev/null && _command_offset $((i + 1))
      return
    fi
    if ! [[ $word == [a-z0-9]* ]] || ! grep -q "^  $word  " <<<"${help#*Subcommands:}"; then
      [[ $word == -* || -n $(_zelboard_type "${COMP_WORDS[i - 1]}") ]] || ((++given))
      continue
    fi
    path+=("$word") given=0
    help=$("$tool" "${path[@]}" --help 2>/dev/null) || return
  done
  case ${path[*]}/$previous in
    */--board | delete/delete | reset/reset | serve/serve) words=$(_zelboard_names list board) ;;
    load/load | save/save | forget/forget) words=$(_zelboard_names states state) ;;
    # Files, by the default below.
    flash\ load/load | flash\ save/save | panel/--svg | serve/--token-file | run/=) words= ;;
    plug/[0-9]*) words=$(_zelboard_names modules module) ;;
    # The values that the option before takes, the options, or the commands and the next argument's values. Where an
    # argument without a list comes next there is nothing: files, by the default below.
    *) words=$(awk -v type="$(_zelboard_type "$previous")" -v dash="${current:0:1}" -v given="$given" '
         function offer(list) { if (list ~ /[|]/) { gsub("[|]", " ", list); print list } }
         BEGIN { if (type != "") { offer(type); exit } }
         /^[^ ]/ { part = $1 } !/^  [-a-z0-9A-Z]/ { next }
         part == "Positionals:" && dash != "-" { if (at++ == given || $0 ~ /[.][.][.]  /) { wanted = 1; offer($2) } }
         part == "Subcommands:" && given == 0 { print $1 }
         part == "Options:" && (dash == "-" || !wanted) { gsub(",", " ", $1); print $1 }' <<<"$help") ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -o default -F _zelboard zelctl zelsim
