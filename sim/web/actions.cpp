#include <algorithm>
#include <cctype>

#include "acts.h"
#include "arguments.h"
#include "modules.h"
#include "web.h"

// What pages do to a board: the commands of zelsim's own table. Their arguments and options are fields of a JSON object
// by the names that the command's help shows, in lower case.

namespace zelsim::web {
namespace {

using tool::CommandLine;
using tool::CommandRow;
using tool::Usage;

constexpr char kPlug[] = "plug", kFail[] = "fail", kReset[] = "reset";

/** An option of a command: a text, or else whether the flash is meant, too. */
struct Option {
  const char *command, *name;
  std::string CommandLine::*text;
};
constexpr Option kOptions[] = {{kFail, "result", &CommandLine::result},
                               {kFail, "count", &CommandLine::count},
                               {kFail, "skip", &CommandLine::skip},
                               {kReset, "flash", nullptr}};

struct Field {
  std::string name, argument;  // the latter as the table has it, for an option NAME=WORD|WORD
  bool optional;
  const Option *option;
};

std::string lower(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

// The board is the server's own: no field names it.
std::vector<Field> fields_of(const CommandRow &row) {
  std::vector<Field> fields;
  for (std::string text : split(row.arguments, ' ')) {
    bool optional = text[0] == '?' && row.name != std::string(kFail);
    text.erase(0, text[0] == '?');
    if (text != "NAME") fields.push_back({lower(text.substr(0, text.find_first_of("=["))), text, optional, nullptr});
  }
  for (const Option &option : kOptions)
    if (row.name == std::string(option.command))
      fields.push_back({option.name, option.text != nullptr ? "" : "flash=false|true", true, &option});
  return fields;
}

// Sets what a field stands for, and returns it as it is on a command line.
std::string put(CommandLine &line, const Field &field, const std::string &word) {
  uint32_t value = tool::value_of(field.argument, word);
  if (field.option == nullptr) {
    line.words.push_back(word);
    line.values.push_back(value);
    return ' ' + word;
  }
  if (field.option->text == nullptr) {
    line.flash = value != 0;
    return line.flash ? " --flash" : "";
  }
  line.*field.option->text = word;
  return " --" + field.name + ' ' + word;
}

}  // namespace

std::string act(const std::string &board, const std::string &name, const std::string &body) {
  const CommandRow *row = tool::world_command(name);
  if (row == nullptr || row->run == nullptr) throw Usage("action: '" + name + "' is none");
  Json object = body.empty() ? Json::object() : Json::parse(body, nullptr, false);
  if (!object.is_object()) throw Usage("body: not a JSON object");
  CommandLine line = {board};
  std::string told = std::string("zelsim ") + row->name;
  for (const Field &field : fields_of(*row)) {
    bool given = object.contains(field.name);
    if (!given && field.optional) continue;
    if (!given) throw Usage(field.name + ": missing");
    const Json &value = object[field.name];
    if (!value.is_primitive() || value.is_null()) throw Usage(field.name + ": neither a text nor a number");
    told += put(line, field, value.is_string() ? value.get<std::string>() : value.dump());
    object.erase(field.name);
  }
  if (!object.empty()) throw Usage(object.begin().key() + ": no field of this action");
  // A page reaches no file of this machine.
  auto is_meant = [&](const tool::Module &module) { return module.name == line.words[1]; };
  if (name == kPlug && std::ranges::none_of(tool::catalogue(), is_meant))
    throw Usage("module: '" + line.words[1] + "' is not in the catalogue");
  tool::perform(*row, line, tool::kByPage);
  return told;
}

Json actions() {
  Json all = Json::array();
  for (const CommandRow &row : tool::world_commands()) {
    if (row.run == nullptr) continue;
    Json fields = Json::array();
    for (const Field &field : fields_of(row)) {
      size_t values = field.argument.find('=');
      Json choice = values == std::string::npos ? tool::Words() : split(field.argument.substr(values + 1), '|');
      fields.push_back({{"field", field.name}, {"optional", field.optional}, {"values", choice}});
    }
    all.push_back({{"action", row.name}, {"what", row.what}, {"fields", fields}});
  }
  return {{"actions", all}};
}

// The command line's name of a field, in capitals or behind dashes, stands at the beginning.
Json refusal(const std::string &text) {
  size_t start = text.find_first_not_of('-'), end = text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789");
  return {
      {"error", start > 0 ? text.substr(start) : lower(text.substr(0, end)) + text.substr(std::min(end, text.size()))}};
}

}  // namespace zelsim::web
