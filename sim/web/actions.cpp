#include <algorithm>

#include "acts.h"
#include "arguments.h"
#include "modules.h"
#include "web.h"

// What pages do to a board: the commands in zelsim's own table. Arguments and options are fields of a JSON object; their
// names are those of the command's help, in lower case.

namespace zelsim::web {
namespace {

using tool::CommandLine;
using tool::CommandRow;
using tool::Usage;

constexpr char kFail[] = "fail";
constexpr char kReset[] = "reset";

/** An option of a command. */
struct Option {
  const char *command;
  const char *name;
  std::string CommandLine::*text;  // null: the switch --flash
};
constexpr Option kOptions[] = {
    {kFail, "result", &CommandLine::result}, {kFail, "count", &CommandLine::count},
    {kFail, "skip", &CommandLine::skip},     {kFail, "probability", &CommandLine::probability},
    {kFail, "seed", &CommandLine::seed},     {kReset, "flash", nullptr},
};

/** A field of the JSON object. */
struct Field {
  std::string name;
  std::string argument;  // as in the table of commands; for a switch NAME=false|true
  bool optional;
  const Option *option;  // null: an argument
};

// NAME, the board, is no field: the server knows it.
std::vector<Field> fields_of(const CommandRow &row) {
  std::vector<Field> fields;
  for (std::string text : split(row.arguments, ' ')) {
    bool may_be_missing = text.starts_with('?');
    if (may_be_missing) text.erase(0, 1);
    if (text == "NAME") continue;
    bool optional = may_be_missing && row.name != std::string(kFail);  // here `fail` always makes a fault
    std::string name = lower(text.substr(0, text.find_first_of("=[")));
    fields.push_back({name, text, optional, nullptr});
  }
  for (const Option &option : kOptions) {
    if (row.name != std::string(option.command)) continue;
    std::string argument = option.text != nullptr ? "" : "flash=false|true";
    fields.push_back({option.name, argument, true, &option});
  }
  return fields;
}

// Puts the value of a field into the command line. Returns it as a person would type it. The text of an option is checked
// when its command runs.
std::string put(CommandLine &line, const Field &field, const std::string &word) {
  if (field.option != nullptr && field.option->text != nullptr) {
    line.*field.option->text = word;
    return " --" + field.name + ' ' + word;
  }
  uint32_t value = tool::number_of_argument(field.argument, word);
  if (field.option != nullptr) {
    line.flash = value != 0;
    return line.flash ? " --flash" : "";
  }
  line.words.push_back(word);
  line.values.push_back(value);
  return ' ' + word;
}

std::string word_of(const Field &field, const Json &value) {
  if (!value.is_primitive() || value.is_null()) throw Usage(field.name + ": neither a text nor a number");
  return value.is_string() ? value.get<std::string>() : value.dump();
}

// A page plugs modules of the catalogue only: it must not reach a file of this machine.
void check_module(const std::string &name) {
  auto is_meant = [&](const tool::Module &module) { return module.name == name; };
  bool is_known = std::ranges::any_of(tool::catalogue(), is_meant);
  if (!is_known) throw Usage("module: '" + name + "' is not in the catalogue");
}

/** An action that can be done. */
struct Action {
  tool::Step step;
  std::string told;  // as a person would type it
};

Action action_of(const std::string &board, const std::string &name, Json object) {
  const CommandRow *row = tool::world_command(name);
  if (row == nullptr || row->run == nullptr) throw Usage("action: there is no action '" + name + "'");
  CommandLine line = {.board = board};
  std::string told = std::string("zelsim ") + row->name;
  for (const Field &field : fields_of(*row)) {
    bool given = object.contains(field.name);
    if (!given && field.optional) continue;
    if (!given) throw Usage(field.name + ": missing");
    told += put(line, field, word_of(field, object[field.name]));
    object.erase(field.name);
  }
  if (!object.empty()) throw Usage(object.begin().key() + ": no field of this action");
  if (row->run == tool::plug_module) check_module(line.words[1]);
  return {{row, line}, told};
}

// One of the acts of act_together().
Action part_of(const std::string &board, Json object) {
  if (!object.is_object() || !object.contains("action")) throw Usage("acts: one has no action");
  std::string name = object["action"].get<std::string>();
  object.erase("action");
  Action action = action_of(board, name, object);
  if (!action.step.row->undo) throw Usage("action: '" + name + "' is done alone");
  return action;
}

std::string title_of(const Json &object) {
  constexpr size_t kLongest = 1000;
  std::string title = object.value("title", "");
  bool is_plain = std::ranges::none_of(title, [](unsigned char c) { return std::iscntrl(c); });
  if (!is_plain || title.size() > kLongest) throw Usage("title: not one line of at most 1000 bytes");
  return title;
}

// The act that an undo means; none where the acts are no undo.
std::optional<tool::MeantAct> meant_act(const Json &object) {
  if (!object.contains("undoes")) return std::nullopt;
  auto number = object["undoes"].get<uint32_t>();
  if (number == 0) throw Usage("undoes: not the number of an act");
  return tool::MeantAct{.number = number, .newest_known = object.value("newest", number)};
}

}  // namespace

Json object_of(const std::string &body) {
  Json object = body.empty() ? Json::object() : Json::parse(body, nullptr, false);
  if (!object.is_object()) throw Usage("body: not a JSON object");
  return object;
}

std::string act(const std::string &board, const std::string &name, const std::string &body) {
  Action action = action_of(board, name, object_of(body));
  tool::perform(*action.step.row, action.step.line, tool::kByPage);
  return action.told;
}

Json act_together(const std::string &board, const std::string &body) {
  constexpr size_t kMost = 400;
  Json object = object_of(body);
  tool::Together together = {.board = board, .title = title_of(object), .undoes = meant_act(object)};
  Json acts = object.value("acts", Json::array());
  if (!acts.is_array() || acts.empty() || acts.size() > kMost) throw Usage("acts: not a list of 1 to 400 actions");
  std::vector<std::string> told;
  for (const Json &each : acts) {
    Action action = part_of(board, each);
    told.push_back(action.told);
    together.steps.push_back(action.step);
  }
  together.on_refusal = object.value("whole", false) ? tool::OnRefusal::UndoAll : tool::OnRefusal::GoOn;
  const tool::Outcome outcome = tool::perform_together(together, tool::kByPage);
  const tool::Words &refusals = outcome.refusals;
  Json done = Json::array();
  Json refused = Json::array();
  for (size_t i = 0; i < refusals.size(); ++i) {
    if (refusals[i].empty()) {
      done.push_back(told[i]);
    } else {
      Json why = refusal(refusals[i]);
      why["act"] = i;
      refused.push_back(why);
    }
  }
  Json answer = {{"done", done}, {"refused", refused}};
  if (together.undoes) answer["passed"] = outcome.passed_over;
  return answer;
}

Json actions() {
  Json all = Json::array();
  for (const CommandRow &row : tool::world_commands()) {
    if (row.run == nullptr) continue;
    Json fields = Json::array();
    for (const Field &field : fields_of(row)) {
      size_t values = field.argument.find('=');
      Json choice = values == std::string::npos ? tool::Words() : split(field.argument.substr(values + 1), '|');
      bool is_option = field.option != nullptr;
      fields.push_back(
          {{"field", field.name}, {"optional", field.optional}, {"option", is_option}, {"values", choice}});
    }
    all.push_back({{"action", row.name}, {"what", row.what}, {"fields", fields}});
  }
  return {{"actions", all}};
}

// The text begins with an argument as the command line writes it: in capitals, or behind dashes. The field has the same name
// in lower case, without dashes.
Json refusal(const std::string &text) {
  size_t dashes = std::min(text.find_first_not_of('-'), text.size());
  if (dashes > 0) return {{"error", text.substr(dashes)}};
  size_t end = std::min(text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"), text.size());
  return {{"error", lower(text.substr(0, end)) + text.substr(end)}};
}

}  // namespace zelsim::web
