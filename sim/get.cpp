#include <strings.h>

#include "tool.h"

// `zelsim get`: one value of what `zelsim show` shows, by the words that lead to it.

namespace zelsim::tool {
namespace {

/** Another word that is accepted for a member. */
struct OtherWord {
  const char *word;
  const char *member;
};
constexpr OtherWord kOtherWords[] = {
    {"los", "loss_of_signal"},
    {"presence", "presence_line"},
    {"flash_access", "flash_access_flag"},
    {"flash-access", "flash_access_flag"},
};

bool is_same_word(const std::string &one, const std::string &other) {
  return strcasecmp(one.c_str(), other.c_str()) == 0;
}

bool is_word_for(const std::string &name, const std::string &word) {
  if (is_same_word(name, word)) return true;
  for (const OtherWord &other : kOtherWords) {
    if (is_same_word(word, other.word) && name == other.member) return true;
  }
  return false;
}

// The name of a table's row is its first column.
std::string name_of_row(const Json &row) { return cell(row.begin().key(), row.front()); }

// The value that a word leads to: a member of an object, a row of a table, or a place in a list.
const Json &member_named(const Json &from, const std::string &word) {
  if (!from.is_structured()) throw Usage("PATH: '" + word + "' is below a value, which has no parts");
  Words names;
  const Json *found = nullptr;
  for (const auto &[name, part] : from.items()) {
    names.push_back(is_table(from) ? name_of_row(part) : name);
    if (!is_word_for(names.back(), word)) continue;
    if (found != nullptr) throw Usage("PATH: more than one row begins with '" + word + "'");
    found = &part;
  }
  if (found == nullptr) throw Usage("PATH: '" + word + "' is not in: " + cell("", names));
  return *found;
}

}  // namespace

void get_value(const CommandLine &line) {
  Json board = board_document(line);
  const Json *value = &board;
  Words path = split(line.words[0], '.');
  if (path.empty()) path = {""};  // is refused with a list of what there is
  for (const std::string &word : path) value = &member_named(*value, word);
  if (line.json || value->is_object() || is_table(*value)) {
    print(*value, line.json);
  } else {
    std::fprintf(out, "%s\n", cell(path.back(), *value).c_str());
  }
}

}  // namespace zelsim::tool
