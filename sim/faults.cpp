#include "faults.h"

#include <algorithm>
#include <cstdlib>

#include "arguments.h"
#include "debug_commands.h"
#include "request.h"
#include "rules.h"
#include "tool.h"

// Faults: how the command line says them, and what they can strike at.

namespace zelsim::tool {
namespace {

// What programs can ask a node for, with all addresses that it can be about.
struct Callable {
  std::string name;
  FaultCall call;
  Words fields;
};

Callable open_callable(Node node) {
  FaultCall call = {};
  call.node = node;
  call.call = Call::Open;
  return {"open", call, {}};
}

Callable request_callable(Node node, const Request &request) {
  FaultCall call = {};
  call.node = node;
  call.call = Call::Request;
  call.request = request.number;
  call.has_address = has_address(request);
  call.last_address = node == Node::I2c ? 0xff : kFlashSize - 1;
  return {request.name, call, split(fields_of(request), ' ')};
}

Callable file_callable(const char *name, Call kind) {
  FaultCall call = {};
  call.node = Node::Flash;
  call.call = kind;
  call.has_address = true;
  call.last_address = kFlashSize - 1;
  return {name, call, {}};
}

Callable debug_callable(uint8_t number) {
  FaultCall call = {};
  call.node = Node::DebugCmd;
  call.call = Call::Request;
  call.request = number;
  return {kDebugCommands[number].name, call, {}};
}

std::vector<Callable> callables() {
  std::vector<Callable> all;
  for (const NodeDescription &node : kNodes) {
    for (const Request &request : requests_of(node.node)) all.push_back(request_callable(node.node, request));
    all.push_back(open_callable(node.node));
  }
  all.push_back(file_callable("read", Call::Read));
  all.push_back(file_callable("write", Call::Write));
  all.push_back(file_callable("lseek", Call::Seek));
  for (uint8_t number = 0; number < std::size(kDebugCommands); ++number) all.push_back(debug_callable(number));
  return all;
}

bool is_on_node(const FaultCall &on, const Callable &callable) {
  return on.node == Node::Any || on.node == callable.call.node;
}

/** A text cut at a separator. */
struct CutText {
  std::string before;
  std::optional<std::string> behind;  // none: the separator is not there
};

CutText cut(const std::string &text, char separator) {
  size_t place = text.find(separator);
  if (place == std::string::npos) return {text, std::nullopt};
  return {text.substr(0, place), text.substr(place + 1)};
}

bool is_number(const std::string &text) { return text.find_first_of("0123456789") == 0; }

void parse_request(FaultCall &on, const std::string &text) {
  if (is_number(text)) {
    on.call = Call::Request;
    on.request = static_cast<uint8_t>(parse_number(text, "REQUEST", 0, 255));
    return;
  }
  for (const Callable &callable : callables()) {
    if (callable.name != text || !is_on_node(on, callable)) continue;
    on.call = callable.call.call;
    on.request = callable.call.request;
    return;
  }
  throw Usage("REQUEST: '" + text + "' is neither a number nor a request of this node (zelsim fail --requests)");
}

Node parse_node(const std::string &text) {
  std::string names;
  for (const NodeDescription &node : kNodes) {
    if (text == node.name) return node.node;
    names += node.name + std::string("|");
  }
  if (text == kDebugCmd) return Node::DebugCmd;
  parse_choice(text, "NODE", names + kDebugCmd + "|" + kAnyNode);
  return Node::Any;
}

void parse_addresses(FaultCall &on, const std::string &text) {
  auto [first, last] = cut(text, '-');
  on.has_address = true;
  on.first_address = parse_number(first, "ADDRESS", 0, UINT32_MAX);
  on.last_address = on.first_address;
  if (last) on.last_address = parse_number(*last, "ADDRESS", on.first_address, UINT32_MAX);
}

FaultCall parse_target(const std::string &target) {
  auto [call, addresses] = cut(target, '@');
  if (addresses && addresses->find('@') != std::string::npos)
    throw Usage("NODE: '" + target + "' is not like NODE[:REQUEST][@ADDRESS[-ADDRESS]]");
  auto [node, request] = cut(call, ':');
  FaultCall on = {};
  on.node = parse_node(node);
  if (request) parse_request(on, *request);
  if (addresses) parse_addresses(on, *addresses);
  return on;
}

Effect parse_effect(const std::string &text) {
  unsigned index = parse_choice(text, "--result", effect_names());
  return kNamedEffects[index].effect;
}

// Without --result a request fails as the driver says it, an open or a transfer as the kernel does.
Effect default_effect(Call call) {
  switch (call) {
    case Call::AnyRequest:
    case Call::Request:
      return Effect::Value;
    case Call::Open:
      return Effect::Closed;
    default:
      return Effect::Refused;
  }
}

void parse_result(FaultRule &rule, const std::string &text) {
  constexpr uint32_t kDriverFailed = 0xffff;
  Call call = rule.on.call;
  rule.value = kDriverFailed;
  if (text.empty()) {
    rule.effect = default_effect(call);
  } else if (is_number(text)) {
    rule.effect = Effect::Value;
    rule.value = parse_number(text, "--result", 0, 0x7fffffff);
    if (call == Call::Open || call == Call::Seek) throw Usage("--result: a number is for a request, a read or a write");
  } else {
    rule.effect = parse_effect(text);
  }
  bool of_a_program = rule.effect == Effect::Hangs || rule.effect == Effect::Nonsense;
  if (of_a_program && rule.on.node != Node::DebugCmd) throw Usage("--result: '" + text + "' is for debugCmd");
  if (rule.effect != Effect::Closed) return;
  if (call == Call::AnyRequest) rule.on.call = Call::Open;
  if (rule.on.call != Call::Open) throw Usage("--result: 'closed' is for an open, not for a request");
}

// Without a probability a rule strikes at each call.
void parse_probability(FaultRule &rule, const CommandLine &line) {
  rule.seed = parse_number(line.seed, "--seed", 0, UINT32_MAX);
  rule.random = rule.seed;
  if (line.probability.empty()) return;
  char *end = nullptr;
  rule.probability = std::strtod(line.probability.c_str(), &end);
  if (*end != '\0' || !(rule.probability > 0 && rule.probability <= 1))
    throw Usage("--probability: '" + line.probability + "' is not a number above 0, up to 1");
}

// True if the rule stands until it is healed, and meets all these calls at all these addresses.
bool hides(const FaultRule &rule, const FaultCall &on, const std::vector<Callable> &met) {
  bool stands = rule.effect != Effect::None && rule.count == 0 && rule.skip == 0 && rule.probability == 0;
  if (!stands) return false;
  if (rule.on.has_address) {
    bool within =
        on.has_address && on.first_address >= rule.on.first_address && on.last_address <= rule.on.last_address;
    if (!within) return false;
  }
  return std::ranges::all_of(met, [&](const Callable &callable) { return matches(rule.on, callable.call); });
}

// A rule that no call can meet, or whose calls all meet another rule first, would only look as if it did something.
void check_can_strike(const Board &board, const FaultCall &on, const std::string &target) {
  std::vector<Callable> met = callables();
  std::erase_if(met, [&](const Callable &callable) { return !matches(on, callable.call); });
  if (met.empty()) throw Usage("NODE: '" + target + "' can never strike (zelsim fail --requests)");
  for (const FaultRule &rule : board.rules) {
    if (hides(rule, on, met))
      throw Failure("NODE: fault " + std::to_string(rule.number) + " strikes first at all of '" + target + "'");
  }
}

// Behind the node's name in a target; empty for all requests.
std::string request_text(const FaultCall &on) {
  for (const Callable &callable : callables()) {
    bool same = on.call == callable.call.call && on.request == callable.call.request;
    if (same && is_on_node(on, callable)) return ':' + callable.name;
  }
  return on.call == Call::Request ? format(":0x%02x", on.request) : "";
}

std::string target_text(const FaultCall &on) {
  std::string target = node_name(on.node) + request_text(on);
  if (on.has_address) target += format("@0x%x", on.first_address);
  if (on.last_address != on.first_address) target += format("-0x%x", on.last_address);
  return target;
}

Json result_of(const FaultRule &rule) {
  for (const NamedEffect &named : kNamedEffects) {
    if (named.effect == rule.effect) return named.name;
  }
  return rule.value;
}

Json request_row(const Callable &callable) {
  const FaultCall &call = callable.call;
  return {{"request", callable.name},
          {"node", node_name(call.node)},
          {"number", call.call == Call::Request ? Json(call.request) : Json()},
          {"addressed", call.has_address != 0},
          {"fields", callable.fields}};
}

}  // namespace

std::string effect_names() {
  std::string names;
  for (const NamedEffect &named : kNamedEffects) {
    if (!names.empty()) names += '|';
    names += named.name;
  }
  return names;
}

Json fault_document(const FaultRule &rule) {
  const FaultCall &on = rule.on;
  bool sound = rule.effect <= Effect::Nonsense && on.node <= Node::DebugCmd && on.call <= Call::Seek;
  if (rule.effect == Effect::None || !sound) return {};
  return {{"fault", rule.number},
          {"target", target_text(on)},
          {"result", result_of(rule)},
          {"skip", rule.skip},
          {"count", rule.count > 0 ? Json(rule.count) : Json()},
          {"hits", rule.hits},
          {"probability", rule.probability > 0 ? Json(rule.probability) : Json()},
          {"seed", rule.probability > 0 ? Json(rule.seed) : Json()}};
}

Json faults_of(const Board &board) {
  Json faults = Json::array();
  for (const FaultRule &rule : board.rules) {
    Json fault = fault_document(rule);
    if (!fault.is_null()) faults.push_back(fault);
  }
  return faults;
}

Json faults_document(const CommandLine &line) { return {{"faults", faults_of(*look_at(line.board))}}; }

Json requests_document(const CommandLine &) {
  Json requests = Json::array();
  for (const Callable &callable : callables()) requests.push_back(request_row(callable));
  return {{"requests", requests}};
}

void fail(const CommandLine &line) {
  if (line.list) return show<faults_document>(line);
  if (line.requests) return show<requests_document>(line);
  if (line.words.empty()) throw Usage("NODE: missing: a node, --list or --requests");
  FaultRule rule = {};
  rule.on = parse_target(line.words[0]);
  parse_result(rule, line.result);
  rule.count = parse_number(line.count, "--count", 0, UINT32_MAX);
  rule.skip = parse_number(line.skip, "--skip", 0, UINT32_MAX);
  parse_probability(rule, line);
  OpenBoard board = open_board(line.board);
  check_can_strike(*board, rule.on, line.words[0]);
  const FaultRule *added = add_rule(*board, rule);
  if (added == nullptr)
    throw Failure("the board has " + std::to_string(kMaxRules) + " faults already (zelsim heal clears them)");
  if (line.json) print(fault_document(*added), true);
}

void heal_board(const CommandLine &line) {
  constexpr uint32_t kAll = 0;
  OpenBoard board = open_board(line.board);
  uint32_t number = line.values.empty() ? kAll : line.values[0];
  if (number > board->last_rule) throw Failure("FAULT: " + line.words[0] + " is the number of no fault so far");
  heal(*board, number);
}

}  // namespace zelsim::tool
