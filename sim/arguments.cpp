#include "arguments.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <stdexcept>

#include "tool.h"

namespace zelsim::tool {
namespace {

constexpr char kCelsius[] = "CELSIUS";
constexpr char kTime[] = "TIME";
constexpr char kName[] = "NAME";

// A name with more behind it, such as BYTE1 or SLOT=..., is the argument that it begins with.
constexpr Argument kArguments[] = {
    {"FILE", "", "a file; - is standard input or output", "flash.bin"},
    {"PORT", "", "switch port", "5", 0, kPorts - 1},
    {"MODULE", "", "one of 'zelsim modules', or a file of its page", "10g-sr"},
    {"SLOT", "", "place of a daughter board", "1", 1, kSlots},
    {"BYTE", "", "a byte", "0x5a", 0, 255},
    {"MILLISECONDS", "", "a time", "1500", 0, 3600000},
    {"FAULT", "NUMBER", "its number in 'fail --list'", "3", 1, UINT32_MAX},
    {kCelsius, "", "-55 to 125, in steps of half a degree", "71.5"},
    {kTime, "", "as 2026-03-15T14:30:45 (UTC), or host", "2026-03-15T14:30:45"},
    {kName, "", "a board", "lab"},
    {"PATH", "", "names joined by dots; a row of a table by its first column", "cages.5.module"},
    {"NODE", "", "what fails, see below", "i2c:BufRead"},
    {"BOARD", "", "what to fit, or none", "sfp"},
    {"SUPPLY", "", "which supply", "2"},
    {"SPEED", "", "Mb/s of the other end; down: no cable", "100"},
    {"DUPLEX", "", "of the other end; default: full", "half"},
    {"STATE=", "", "its new state", "dc"},
    {"STATE", "", "the name under which a board was saved", "before-update"},
    {"VALUE", "", "its new level", "1"},
};

// The value of the sensor's register: the upper nine bits count half degrees.
uint32_t parse_celsius(const std::string &text) {
  constexpr double kLowest = -55;
  constexpr double kHighest = 125;
  char *end = nullptr;
  double degrees = std::strtod(text.c_str(), &end);
  bool is_number = !text.empty() && *end == '\0';
  if (!is_number || !(degrees >= kLowest && degrees <= kHighest))
    throw Usage("CELSIUS: '" + text + "' is not a temperature from -55 to 125");
  constexpr long kHalfDegree = 0x80;
  long half_degrees = std::lround(degrees * 2);
  return static_cast<uint32_t>(half_degrees * kHalfDegree);
}

// Seconds since 1970; 0 stands for the host's time.
uint32_t parse_time(const std::string &text) {
  if (text == "host") return 0;
  std::optional<std::tm> time = time_in(text);
  if (!time) throw Usage("TIME: '" + text + "' is neither 'host' nor like 2026-03-15T14:30:45, from 2000 to 2099");
  return static_cast<uint32_t>(timegm(&*time));
}

}  // namespace

// The row with the longest key that the name begins with: "STATE=" rather than "STATE".
const Argument &argument_of(const std::string &name) {
  const Argument *found = nullptr;
  size_t length = 0;
  for (const Argument &row : kArguments) {
    const std::string_view key = row.name;
    bool is_longer = key.size() > length;
    if (!is_longer || !name.starts_with(key)) continue;
    found = &row;
    length = key.size();
  }
  if (found == nullptr) throw std::logic_error("kArguments has no row for " + name);
  return *found;
}

std::string values_of(const Argument &argument) {
  bool is_range = argument.values[0] == '\0' && argument.highest > 0;
  return is_range ? format("%u-%u", argument.lowest, argument.highest) : argument.values;
}

uint32_t number_of_argument(const std::string &argument, const std::string &text) {
  size_t equals = argument.find('=');
  std::string name = argument.substr(0, equals);
  if (equals != std::string::npos) return parse_choice(text, name, argument.substr(equals + 1));
  const Argument &row = argument_of(argument);
  if (row.highest > 0) return parse_number(text, name, row.lowest, row.highest);
  if (name == kCelsius) return parse_celsius(text);
  if (name == kTime) return parse_time(text);
  if (name == kName) check_name(text);
  return 0;
}

uint32_t parse_number(const std::string &text, const std::string &argument, uint32_t lowest, uint32_t highest) {
  std::optional<uint32_t> value = number_in(text, lowest, highest);
  if (!value) throw Usage(argument + format(": '%s' is not a number from %u to %u", text.c_str(), lowest, highest));
  return *value;
}

unsigned parse_choice(const std::string &text, const std::string &argument, const std::string &names) {
  std::optional<uint32_t> index = index_in(names, text);
  if (!index) throw Usage(argument + ": '" + text + "' is not one of " + names);
  return *index;
}

}  // namespace zelsim::tool
