#include <algorithm>
#include <cctype>

#include "web.h"

// What pages do to a board: the commands of zelsim's own table, whose arguments are fields of a JSON object by the names
// that the command's help shows, in lower case.

namespace zelsim::web {
namespace {

using tool::Line;
using tool::Row;
using tool::Usage;
using tool::Words;

constexpr char kReset[] = "reset", kPlug[] = "plug", kFail[] = "fail";

/** A field that is an option of the command. */
struct Option {
  const char *command, *field;
  std::string Line::*text;  // null: a switch
};
constexpr Option kOptions[] = {{kFail, "result", &Line::result},
                               {kFail, "count", &Line::count},
                               {kFail, "skip", &Line::skip},
                               {kReset, "flash", nullptr}};

// NAME, NAME=WORD|WORD or NODE[:REQUEST]; the board is the server's own.
struct Argument {
  std::string text, field;
  bool optional;
};

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

std::vector<Argument> arguments_of(const Row &row) {
  std::vector<Argument> arguments;
  for (std::string text : tool::split(row.arguments, ' ')) {
    bool optional = text[0] == '?' && row.name != std::string(kFail);
    text.erase(0, text[0] == '?');
    if (text != "NAME") arguments.push_back({text, lower(text.substr(0, text.find_first_of("=["))), optional});
  }
  return arguments;
}

std::string word_of(const std::string &field, const Json &value) {
  if (value.is_string()) return value;
  if (value.is_number()) return value.dump();
  throw Usage(field + ": neither a text nor a number");
}

// Takes a field out of the object.
std::optional<std::string> take(Json &fields, const std::string &name) {
  auto found = fields.find(name);
  if (found == fields.end()) return std::nullopt;
  std::string word = word_of(name, *found);
  fields.erase(found);
  return word;
}

void take_arguments(const Row &row, Json &fields, Line &line) {
  for (const Argument &argument : arguments_of(row)) {
    std::optional<std::string> word = take(fields, argument.field);
    if (!word && argument.optional) continue;
    if (!word) throw Usage(argument.field + ": missing");
    line.words.push_back(*word);
    line.values.push_back(tool::value_of(argument.text, *word));
  }
}

void take_options(const Row &row, Json &fields, Line &line) {
  for (const auto &[command, field, text] : kOptions) {
    if (row.name != std::string(command) || !fields.contains(field)) continue;
    if (text != nullptr) {
      line.*text = *take(fields, field);
      continue;
    }
    if (!fields[field].is_boolean()) throw Usage(std::string(field) + ": neither true nor false");
    line.flash = fields[field];
    fields.erase(field);
  }
}

// A page reaches no file of this machine.
void check_module(const std::string &name) {
  for (const tool::Module &module : tool::catalogue())
    if (module.name == name) return;
  throw Usage("module: '" + name + "' is not in the catalogue");
}

const Row &row_of(const std::string &name) {
  for (const Row &row : tool::world_commands())
    if (row.run != nullptr && row.name == name) return row;
  throw Usage("action: '" + name + "' is none");
}

}  // namespace

std::string act(const std::string &board, const std::string &name, const std::string &body) {
  const Row &row = row_of(name);
  Json fields = body.empty() ? Json::object() : Json::parse(body, nullptr, false);
  if (!fields.is_object()) throw Usage("body: not a JSON object");
  Line line = {board};
  take_arguments(row, fields, line);
  take_options(row, fields, line);
  if (!fields.empty()) throw Usage(fields.begin().key() + ": no field of this action");
  if (name == kPlug) check_module(line.words[1]);
  row.run(line);
  std::string told = "zelsim " + name;
  for (const std::string &word : line.words) told += ' ' + word;
  for (const auto &[command, field, text] : kOptions)
    if (text != nullptr && line.*text != Line().*text) told += std::string(" --") + field + ' ' + line.*text;
  return line.flash ? told + " --flash" : told;
}

Json actions() {
  Json all = Json::array();
  for (const Row &row : tool::world_commands()) {
    if (row.run == nullptr) continue;
    Json fields = Json::array();
    for (const Argument &argument : arguments_of(row)) {
      Words part = tool::split(argument.text + "=", '=');
      fields.push_back({{"field", argument.field}, {"optional", argument.optional}, {"values", tool::split(part[1], '|')}});
    }
    for (const auto &[command, field, text] : kOptions)
      if (row.name == std::string(command)) fields.push_back({{"field", field}, {"optional", true}, {"values", Json::array()}});
    all.push_back({{"action", row.name}, {"what", row.what}, {"fields", fields}});
  }
  return {{"actions", all}};
}

// The command line's name of a field, in capitals or with dashes, stands at the beginning.
Json refusal(std::string text) {
  size_t dashes = text.starts_with("--") ? 2 : 0, end = text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789");
  text = dashes > 0 ? text.substr(dashes) : lower(text.substr(0, end)) + text.substr(std::min(end, text.size()));
  return {{"error", text}};
}

}  // namespace zelsim::web
