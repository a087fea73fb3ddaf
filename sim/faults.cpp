#include <algorithm>

#include "request.h"
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

std::vector<Callable> callables() {
  constexpr const char *kCalls[] = {"open", "read", "write", "lseek"};
  std::vector<Callable> all;
  for (Node node : {Node::Gpio, Node::I2c, Node::Flash}) {
    uint32_t last = node == Node::I2c ? 0xff : kFlashSize - 1;
    for (const Request &request : requests_of(node))
      all.push_back({request.name,
                     {node, Call::Request, request.number, has_address(request), 0, last},
                     split(fields_of(request), ' ')});
    for (uint8_t i = 0; i < (node == Node::Flash ? std::size(kCalls) : 1); ++i)
      all.push_back(
          {kCalls[i], {node, static_cast<Call>(i + static_cast<unsigned>(Call::Open)), 0, i > 0, 0, last}, {}});
  }
  return all;
}

bool is_number(const std::string &text) { return text.find_first_of("0123456789") == 0; }

void parse_request(FaultCall &on, const std::string &text) {
  on.call = Call::Request;
  if (is_number(text)) return void(on.request = static_cast<uint8_t>(number(text, "REQUEST", 0, 255)));
  for (const auto &[name, call, fields] : callables())
    if (name == text && (on.node == call.node || on.node == Node::Any))
      return void((on.call = call.call, on.request = call.request));
  throw Usage("REQUEST: '" + text + "' is neither a number nor a request of this node (zelsim fail --requests)");
}

FaultCall parse_target(const std::string &target) {
  const size_t end = target.size(), at = std::min(target.find('@'), end), colon = std::min(target.find(':'), at),
               dash = std::min(target.find('-', at), end);
  const auto between = [&](size_t from, size_t to) { return target.substr(from + 1, to - from - 1); };
  if (at < end && target.rfind('@') != at)
    throw Usage("NODE: '" + target + "' is not like NODE[:REQUEST][@ADDRESS[-ADDRESS]]");
  FaultCall on = {};
  on.node = static_cast<Node>(choice(target.substr(0, colon), "NODE", "gpio|i2c|flash|any") + 1);
  if (colon < at) parse_request(on, between(colon, at));
  on.has_address = at < end;
  if (on.has_address) on.first_address = on.last_address = number(between(at, dash), "ADDRESS", 0, UINT32_MAX);
  if (dash < end) on.last_address = number(between(dash, end), "ADDRESS", on.first_address, UINT32_MAX);
  return on;
}

// Without --result a request fails as the driver says it, an open or a transfer as the kernel does.
void parse_result(FaultRule &rule, const std::string &text) {
  constexpr uint32_t kDriverFailed = 0xffff;
  bool counts = is_number(text), moves_nothing = rule.on.call == Call::Open || rule.on.call == Call::Seek;
  rule.value = counts ? number(text, "--result", 0, 0x7fffffff) : kDriverFailed;
  rule.effect = counts || (text.empty() && rule.on.call <= Call::Request) ? Effect::Value
                : !text.empty()              ? static_cast<Effect>(choice(text, "--result", kEffects) + kFirstEffect)
                : rule.on.call == Call::Open ? Effect::Closed
                                             : Effect::Refused;
  if (counts && moves_nothing) throw Usage("--result: a number is for a request, a read or a write");
  if (rule.effect != Effect::Closed) return;
  if (rule.on.call == Call::AnyRequest) rule.on.call = Call::Open;
  if (rule.on.call != Call::Open) throw Usage("--result: 'closed' is for an open, not for a request");
}

// One that no call can meet, or whose calls all meet another first, would only look as if it did something.
void refuse_idle(const Board &board, const FaultCall &on, const std::string &target) {
  std::vector<Callable> met = callables();
  std::erase_if(met, [&](const Callable &one) { return !matches(on, one.call); });
  if (met.empty()) throw Usage("NODE: '" + target + "' can never strike (zelsim fail --requests)");
  for (const FaultRule &rule : board.rules) {
    bool within =
        on.has_address && on.first_address >= rule.on.first_address && on.last_address <= rule.on.last_address;
    bool stays = rule.effect != Effect::None && rule.count == 0 && rule.skip == 0 && (within || !rule.on.has_address);
    if (stays && std::ranges::all_of(met, [&](const Callable &one) { return matches(rule.on, one.call); }))
      throw Failure("NODE: fault " + std::to_string(rule.number) + " strikes first at all of '" + target + "'");
  }
}

}  // namespace

Json fault_document(const FaultRule &rule) {
  const FaultCall &on = rule.on;
  bool whole = rule.effect <= Effect::Killed && on.node <= Node::Any && on.call <= Call::Seek;
  if (rule.effect == Effect::None || !whole) return {};
  std::string request = on.call == Call::Request ? format(":0x%02x", on.request) : "";
  for (const auto &[name, call, fields] : callables())
    if (on.call == call.call && on.request == call.request && (on.node == call.node || on.node == Node::Any))
      request = ':' + name;
  std::string target = node_name(on.node) + request;
  if (on.has_address) target += format("@0x%x", on.first_address);
  if (on.last_address != on.first_address) target += format("-0x%x", on.last_address);
  unsigned effect = static_cast<unsigned>(rule.effect);
  Json result = effect >= kFirstEffect ? Json(split(kEffects, '|')[effect - kFirstEffect]) : Json(rule.value);
  return {{"fault", rule.number},
          {"target", target},
          {"result", result},
          {"skip", rule.skip},
          {"count", rule.count > 0 ? Json(rule.count) : Json()},
          {"hits", rule.hits}};
}

Json requests_document(const Line &) {
  Json requests = Json::array();
  for (const auto &[name, call, fields] : callables()) {
    Json number = call.call == Call::Request ? Json(call.request) : Json();
    Json row = {{"request", name}, {"node", node_name(call.node)}, {"number", number}};
    row["addressed"] = call.has_address != 0;
    row["fields"] = fields;
    requests.push_back(row);
  }
  return {{"requests", requests}};
}

void fail(const Line &line) {
  if (line.list) return show<faults_document>(line);
  if (line.requests) return show<requests_document>(line);
  if (line.words.empty()) throw Usage("NODE: missing: a node, --list or --requests");
  FaultRule rule = {};
  rule.on = parse_target(line.words[0]);
  parse_result(rule, line.result);
  rule.count = number(line.count, "--count", 0, UINT32_MAX);
  rule.skip = number(line.skip, "--skip", 0, UINT32_MAX);
  OpenBoard board = open_board(line.board);
  refuse_idle(*board, rule.on, line.words[0]);
  const FaultRule *added = add_rule(*board, rule);
  if (added == nullptr) throw Failure("the board has 32 faults already (zelsim heal clears them)");
  if (line.json) print(fault_document(*added), true);
}

void heal_board(const Line &line) {
  OpenBoard board = open_board(line.board);
  uint32_t number = line.values.empty() ? 0 : line.values[0];
  if (number > board->last_rule) throw Failure("FAULT: " + line.words[0] + " is the number of no fault so far");
  heal(*board, number);
}

}  // namespace zelsim::tool
