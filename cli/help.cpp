#include "help.h"

#include "output.h"

std::string Help::make_option_opts(const CLI::Option *option) const {
  std::string text;
  if (option->get_type_size() != 0 && !option->get_type_name().empty()) text = " " + option->get_type_name();
  const bool many = option->get_expected_max() == CLI::detail::expected_max_vector_size;
  return many ? text + " ..." : text;
}

static size_t help_width() {
  constexpr uint32_t kNarrowest = 20;
  const char *wanted = std::getenv("COLUMNS");
  const auto width = number_in(wanted != nullptr ? wanted : "", kNarrowest, UINT32_MAX);
  return width ? *width : columns();
}

/** Where the description begins: in a line "  NAME      description", or in the line below a long name. 0 for a line
 *  without two columns. */
static size_t description_at(const std::string &line) {
  constexpr size_t kNameAt = 2;
  if (!line.starts_with("  ")) return 0;
  const size_t name = line.find_first_not_of(' ');
  if (name == std::string::npos) return 0;
  if (name > kNameAt) return name;
  const size_t gap = line.find("  ", name);
  const size_t description = line.find_first_not_of(' ', gap);
  if (description == std::string::npos) return 0;
  return description;
}

/** Adds a paragraph. Each line begins with a margin. */
static void add_lines(std::string &help, const std::string &text, size_t margin, size_t width) {
  for (std::string line : wrapped(text, width - margin)) {
    line.erase(line.find_last_not_of(' ') + 1);
    help += std::string(margin, ' ') + line + "\n";
  }
}

/** A name, and its description below it. */
static void add_below(std::string &help, const std::string &line, size_t description, size_t width) {
  constexpr size_t kNameMargin = 2;
  constexpr size_t kMargin = 6;
  std::string name = line.substr(0, description);
  name.erase(name.find_last_not_of(' ') + 1);
  if (!name.empty()) add_lines(help, name.substr(kNameMargin), kNameMargin, width);
  add_lines(help, line.substr(description), kMargin, width);
}

static void add_folded(std::string &help, const std::string &line, size_t width) {
  constexpr size_t kLeastRoom = 24;  // for a description beside its name
  const size_t description = description_at(line);
  const bool narrow = description > 0 && description + kLeastRoom > width;
  if (narrow) {
    add_below(help, line, description, width);
  } else if (length_of(line) <= width) {
    help += line + "\n";
  } else {
    // A description goes on below itself, a paragraph below its first word. The first line has the name, if there is
    // one, in place of its margin.
    const size_t margin = description > 0 ? description : line.find_first_not_of(' ');
    const std::string before = line.substr(0, margin);
    std::string lines;
    add_lines(lines, line.substr(margin), margin, width);
    help += before + lines.substr(margin);
  }
}

std::string folded_help(const std::string &help) {
  std::string folded;
  const size_t width = help_width();
  std::string lines = help;
  if (lines.ends_with('\n')) lines.pop_back();
  for (const std::string &line : split(lines, '\n')) add_folded(folded, line, width);
  return folded;
}
