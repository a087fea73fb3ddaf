#include <limits>
#include <regex>

#include "request.h"
#include "tool.h"

// Faults on the command line: NODE[:REQUEST][@ADDRESS[-ADDRESS]].

namespace zelsim::tool {
namespace {

constexpr uint32_t kMost = std::numeric_limits<uint32_t>::max();

bool is_number(const std::string &text) { return text[0] >= '0' && text[0] <= '9'; }

void parse_request(FaultRule &rule, const std::string &text) {
  constexpr char kWhat[] = "REQUEST, neither a number nor a request of this node";
  rule.on.call = Call::Request;
  if (is_number(text))
    rule.on.request = static_cast<uint8_t>(number(text, "REQUEST", 0, 255));
  else if (!request_by_name(rule.on.node, text.c_str(), &rule.on.request))
    rule.on.call = static_cast<Call>(choice(text, kWhat, kCalls) + kFirstCall);
}

FaultRule parse_target(const std::string &target) {
  static const std::regex kTarget("([^:@]*)(:([^@]*))?(@([^-]*)(-(.*))?)?");
  enum Group { kNode = 1, kHasRequest, kRequest, kHasAddress, kFirst, kHasLast, kLast };
  std::smatch part;
  std::regex_match(target, part, kTarget);
  FaultRule rule = {};
  rule.on.node = static_cast<Node>(choice(part[kNode], "NODE", "gpio|i2c|flash|any") + 1);
  if (part[kHasRequest].matched) parse_request(rule, part[kRequest]);
  rule.on.has_address = part[kHasAddress].matched;
  if (rule.on.has_address) rule.on.first_address = rule.on.last_address = number(part[kFirst], "ADDRESS", 0, kMost);
  if (part[kHasLast].matched) rule.on.last_address = number(part[kLast], "ADDRESS", rule.on.first_address, kMost);
  return rule;
}

// Without --result a request fails as the driver says it, an open or a transfer as the kernel does.
void parse_result(FaultRule &rule, const std::string &text) {
  constexpr uint32_t kDriverFailed = 0xffff;
  rule.value = is_number(text) ? number(text, "--result", 0, 0x7fffffff) : kDriverFailed;
  rule.effect = rule.on.call <= Call::Request ? Effect::Value
                : rule.on.call == Call::Open  ? Effect::Closed
                                              : Effect::Refused;
  if (is_number(text))
    rule.effect = Effect::Value;
  else if (!text.empty())
    rule.effect = static_cast<Effect>(choice(text, "--result", kEffects) + kFirstEffect);
  if (rule.effect != Effect::Closed) return;
  if (rule.on.call == Call::AnyRequest) rule.on.call = Call::Open;
  if (rule.on.call != Call::Open) throw Usage("--result: 'closed' is for an open, not for a request");
}

}  // namespace

void fail(const Line &line) {
  if (line.list) return show_faults(line);
  if (line.words.empty()) throw Usage("NODE: a node or --list is required");
  FaultRule rule = parse_target(line.words[0]);
  parse_result(rule, line.result);
  rule.count = number(line.count, "--count", 0, kMost);
  rule.skip = number(line.skip, "--skip", 0, kMost);
  bool added = add_rule(*open_board(line.board), rule);
  if (!added) throw Failure("the board has 32 faults already (zelsim heal clears them)");
}

}  // namespace zelsim::tool
