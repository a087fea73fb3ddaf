#include "faults.h"

#include <algorithm>

#include "callables.h"
#include "fault_words.h"
#include "rules.h"
#include "tool.h"

// Faults: what is shown of them, and the commands that make and clear them.

namespace zelsim::tool {
namespace {

// True if the rule strikes all these calls, at all addresses of the target, until it is healed.
bool hides(const FaultRule &rule, const FaultCall &target, const std::vector<Callable> &struck) {
  bool stands = rule.effect != Effect::None && rule.count == 0 && rule.skip == 0 && rule.probability == 0;
  if (!stands) return false;
  if (rule.target.has_address) {
    bool within = target.has_address && target.first_address >= rule.target.first_address &&
                  target.last_address <= rule.target.last_address;
    if (!within) return false;
  }
  return std::ranges::all_of(struck, [&](const Callable &callable) { return matches(rule.target, callable.call); });
}

// Refuses a rule that can never strike: no call is like its target, or an earlier rule strikes all of its calls.
void check_can_strike(const Board &board, const FaultCall &target, const std::string &text) {
  std::vector<Callable> struck = callables();
  std::erase_if(struck, [&](const Callable &callable) { return !matches(target, callable.call); });
  if (struck.empty()) throw Usage("NODE: '" + text + "' can never strike (zelsim fail --requests)");
  for (const FaultRule &rule : board.rules) {
    if (hides(rule, target, struck))
      throw Failure("NODE: fault " + std::to_string(rule.number) + " strikes first at all of '" + text + "'");
  }
}

// The request in the text of a target; empty for all requests.
std::string request_text(const FaultCall &target) {
  for (const Callable &callable : callables()) {
    bool same = target.kind == callable.call.kind && target.request == callable.call.request;
    if (same && is_on_node(target, callable)) return ':' + callable.name;
  }
  return target.kind == Call::Request ? format(":0x%02x", target.request) : "";
}

std::string target_text(const FaultCall &target) {
  std::string text = node_name(target.node) + request_text(target);
  if (target.has_address) text += format("@0x%x", target.first_address);
  if (target.last_address != target.first_address) text += format("-0x%x", target.last_address);
  return text;
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
          {"number", call.kind == Call::Request ? Json(call.request) : Json()},
          {"addressed", call.has_address != 0},
          {"fields", callable.fields}};
}

}  // namespace

std::string effect_names() {
  std::string names;
  for (const NamedEffect &named : kNamedEffects) add_item(names, named.name, "|");
  return names;
}

Json fault_document(const FaultRule &rule) {
  const FaultCall &target = rule.target;
  bool sound = rule.effect <= Effect::Nonsense && target.node <= Node::DebugCmd && target.kind <= Call::Seek;
  if (rule.effect == Effect::None || !sound) return {};
  return {{"fault", rule.number},
          {"target", target_text(target)},
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
  if (line.list) {
    show<faults_document>(line);
    return;
  }
  if (line.requests) {
    show<requests_document>(line);
    return;
  }
  if (line.words.empty()) throw Usage("NODE: missing: a node, --list or --requests");
  const FaultRule rule = rule_of(line);
  OpenBoard board = open_board(line.board);
  check_can_strike(*board, rule.target, line.words[0]);
  const FaultRule *added = add_rule(*board, rule);
  if (added == nullptr)
    throw Failure("the board has " + std::to_string(kMaxRules) + " faults already (zelsim heal clears them)");
  if (line.json) print(fault_document(*added), true);
}

void heal_board(const CommandLine &line) {
  constexpr uint32_t kAll = 0;
  OpenBoard board = open_board(line.board);
  uint32_t number = line.values.empty() ? kAll : line.values[0];
  if (number > board->last_rule) throw Failure("FAULT: there was no fault with the number " + line.words[0]);
  heal(*board, number);
}

}  // namespace zelsim::tool
