# Manual pages of the exported functions, one each, made of the headers' comments:
#   awk -v folder=DIR -v version=VERSION -v date=DATE -f manual.awk HEADER ...
# What a page holds: the function's own comment, then the comment and the named values of its group, then the comment of
# its header.

FNR == 1 { header = "zelboard/" base(FILENAME); inside = 0; group = "" }

/^\/\*\*/ { inside = 1; comment = "" }

inside {
  ended = sub(/ *\*\/$/, "")
  sub(/^(\/\*\*| \*) */, "")
  comment = comment $0 "\n"
  if (ended) { inside = 0; take(comment) }
  next
}

/^#define FW_.* \/\*\*< / {
  named = $0
  sub(/^#define /, "", named)
  sub(/ *\*\/$/, "", named)
  constants[group] = constants[group] named "\n"
}

/^ZEL_API .*\(/ {
  declaration = $0
  while (declaration !~ /;/ && (getline line) > 0) declaration = declaration " " line
  remember(declaration)
}

END {
  for (n = 1; n <= count; ++n) write_page(names[n])
}

function base(path) { sub(/.*\//, "", path); return path }

# Keeps a comment: of the header, of a group, or of the declaration that follows it (`own`).
function take(text) {
  if (sub(/^@file\n/, "", text)) {
    about[header] = text
  } else if (sub(/^@name /, "", text)) {
    group = substr(text, 1, index(text, "\n") - 1)
    sub(/^[^\n]*\n/, "", text)
    sub(/@\{\n$/, "", text)
    notes[group] = text
  } else if (text ~ /^@\}/) {
    group = ""
  } else {
    own = text
  }
}

# Keeps a declaration, with its comment, header and group.
function remember(text,    name) {
  gsub(/  +/, " ", text)
  gsub(/ZEL_ANY_ARGUMENTS/, "...", text)
  sub(/^ZEL_API /, "", text)
  match(text, /[A-Za-z0-9_]+\(/)
  name = substr(text, RSTART, RLENGTH - 1)
  type[name] = substr(text, 1, RSTART - 1)
  parameters[name] = substr(text, RSTART + RLENGTH)
  sub(/\);.*/, "", parameters[name])
  names[++count] = name
  text_of[name] = own
  header_of[name] = header
  group_of[name] = group
  members[group] = members[group] " " name
}

# A function's comment. In place of @copydoc NAME stands the comment of NAME, of @copydetails without its first sentence.
function resolved(name,    text, other) {
  text = text_of[name]
  if (!match(text, /@copy(doc|details) [A-Za-z0-9_]+/)) return text
  other = substr(text, RSTART, RLENGTH)
  text = substr(text, 1, RSTART - 1)
  sub(/.* /, "", other)
  if (text == "") return resolved(other)
  other = resolved(other)
  return text "\n" substr(other, length(brief(other)) + 1)
}

# The first sentence.
function brief(text) { return match(text, /\.[ \n]/) ? substr(text, 1, RSTART) : text }

# A line as mdoc takes it: backslashes are escaped, a `name` is in italics.
function line_of(text) {
  gsub(/\\/, "\\e", text)
  sub(/^[.']/, "\\\\\\&&", text)
  while (match(text, /`[^`]+`/))
    text = substr(text, 1, RSTART - 1) "\\fI" substr(text, RSTART + 1, RLENGTH - 2) "\\fP" substr(text, RSTART + RLENGTH)
  return text
}

# Writes a text, with its parameters as a list. Collects the text behind @return in `returned`.
function write_text(text, page,    lines, total, n, listed, in_return, gap) {
  returned = ""
  total = split(text, lines, "\n")
  for (n = 1; n <= total; ++n) {
    if (lines[n] ~ /^@param /) {
      if (!listed) print ".Bl -tag -width Ds" >page
      listed = 1
      sub(/^@param /, "", lines[n])
      print ".It Fa " substr(lines[n], 1, index(lines[n] " ", " ") - 1) >page
      sub(/^[^ ]* */, "", lines[n])
    } else if (sub(/^@return /, "", lines[n])) {
      in_return = 1
    }
    if (lines[n] ~ /^ *$/) {
      gap = 1
    } else if (in_return) {
      returned = returned line_of(lines[n]) "\n"
    } else {
      if (gap && !listed && n > 2) print ".Pp" >page
      gap = 0
      print line_of(lines[n]) >page
    }
  }
  if (listed) print ".El" >page
}

# The named values of a group: NAME VALUEu /**< text.
function write_constants(text, page,    lines, total, n, words) {
  total = split(text, lines, "\n") - 1
  if (total > 0) print ".Bl -tag -width Ds" >page
  for (n = 1; n <= total; ++n) {
    split(lines[n], words, " ")
    sub(/u$/, "", words[2])
    sub(/.*\/\*\*< /, "", lines[n])
    print ".It Dv " words[1] " No = " words[2] "\n" line_of(lines[n]) >page
  }
  if (total > 0) print ".El" >page
}

function write_page(name,    page, text, summary, list, total, n) {
  page = folder "/" name ".3"
  text = resolved(name)
  summary = brief(text)
  gsub(/\n/, " ", summary)
  sub(/\.? *$/, "", summary)
  print ".Dd " date "\n.Dt " name " 3\n.Os zelboard " version "\n.Sh NAME\n.Nm " name "\n.Nd " line_of(summary) >page
  print ".Sh LIBRARY\nBoard-support library (libzelboard, \\-lzelboard)" >page
  print ".Sh SYNOPSIS\n.In " header_of[name] "\n.Ft " type[name] >page
  total = split(parameters[name], list, ", ")
  printf ".Fn %s", name >page
  for (n = 1; n <= total; ++n) printf " \"%s\"", list[n] >page
  print "\n.Sh DESCRIPTION" >page
  write_text(text, page)
  if (returned != "") printf ".Sh RETURN VALUES\n%s", returned >page
  if (notes[group_of[name]] constants[group_of[name]] != "") print ".Sh " toupper(group_of[name]) >page
  write_text(notes[group_of[name]], page)
  write_constants(constants[group_of[name]], page)
  print ".Sh ALL OF " header_of[name] >page
  write_text(about[header_of[name]], page)
  print ".Sh SEE ALSO" >page
  total = split(members[group_of[name]], list, " ")
  for (n = 1; n <= total; ++n) if (list[n] != name) print ".Xr " list[n] " 3 ," >page
  print ".Xr zelboard 3" >page
  close(page)
}
