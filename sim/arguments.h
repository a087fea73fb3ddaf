#pragma once

#include <cstdint>
#include <string>

// Arguments of commands, by the names that the command line's help shows.

namespace zelsim::tool {

/** An argument as the help describes it. */
struct Argument {
  const char *name;
  const char *values;  // the values that it takes; empty: any text, or a number from `lowest` to `highest`
  const char *what;
  const char *example;
  uint32_t lowest = 0;
  uint32_t highest = 0;  // 0: it is no number
};
/** The argument whose name `name` begins with. Each argument of a command has a row in the table. */
const Argument &argument_of(const std::string &name);
/** The values that an argument takes, for the help; empty for any text. */
std::string values_of(const Argument &argument);

/** The number that `text` means as argument NAME or NAME=WORD|WORD. Returns 0 for an argument that is a text. Throws
 *  Usage. */
uint32_t number_of_argument(const std::string &argument, const std::string &text);
/** A decimal or 0x number in a range; throws Usage naming `argument`. */
uint32_t parse_number(const std::string &text, const std::string &argument, uint32_t lowest, uint32_t highest);
/** Index of `text` in a list "name|name"; throws Usage naming `argument` and listing the names. */
unsigned parse_choice(const std::string &text, const std::string &argument, const std::string &names);

}  // namespace zelsim::tool
