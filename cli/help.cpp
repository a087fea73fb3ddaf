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
  const auto width = number_in(wanted != nullptr ? wanted : "", kNarrowest, 100000);
  return width ? *width : columns();
}

/** Where the description of a line "  NAME      description" begins; 0 for a line without two columns. */
static size_t description_at(const std::string &line) {
  if (!line.starts_with("  ")) return 0;
  const size_t name = line.find_first_not_of(' ');
  const size_t gap = line.find("  ", name);
  const size_t description = line.find_first_not_of(' ', gap);
  if (description == std::string::npos) return 0;
  return description;
}

/** Adds a text of one paragraph, each line of it behind a margin. */
static void add_lines(std::string &help, const std::string &text, size_t margin, size_t width) {
  const size_t room = width > 2 * margin ? width - margin : width / 2;
  for (std::string line : wrapped(text, room)) {
    line.erase(line.find_last_not_of(' ') + 1);
    help += std::string(margin, ' ') + line + "\n";
  }
}

static void add_folded(std::string &help, const std::string &line, size_t width) {
  constexpr size_t kLeastRoom = 24;  // for a description beside its name
  constexpr size_t kMargin = 6;      // of one below it
  const size_t description = description_at(line);
  if (length_of(line) <= width) {
    help += line + "\n";
  } else if (description == 0) {
    const size_t margin = line.find_first_not_of(' ');
    add_lines(help, line.substr(margin), margin, width);
  } else if (description + kLeastRoom <= width) {
    std::string below;
    add_lines(below, line.substr(description), description, width);
    help += line.substr(0, description) + below.substr(description);
  } else {
    std::string name = line.substr(0, description);
    name.erase(name.find_last_not_of(' ') + 1);
    if (!name.empty()) add_lines(help, name.substr(2), 2, width);
    add_lines(help, line.substr(description), kMargin, width);
  }
}

std::string folded_help(const std::string &help) {
  std::string folded;
  const size_t width = help_width();
  for (const std::string &line : split(help, '\n')) add_folded(folded, line, width);
  return folded;
}
