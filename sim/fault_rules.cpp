#include <cstdio>

#include "request.h"
#include "tool.h"

// Faults on the command line: NODE[:REQUEST][@ADDRESS[-ADDRESS]].

namespace zelsim::tool {
namespace {

// In the order of their enumerations.
const Words kNodes = {"gpio", "i2c", "flash", "any"};
const Words kEffects = {"", "value", "refused", "busy", "closed", "killed"};
const Words kCalls = {"", "request", "open", "read", "write", "lseek"};

template <typename Enumeration>
bool named(const Words &names, const std::string &text, Enumeration first, Enumeration *value) {
  for (unsigned i = static_cast<unsigned>(first); i < names.size(); ++i) {
    if (names[i] != text) continue;
    *value = static_cast<Enumeration>(i);
    return true;
  }
  return false;
}

void parse_request(FaultRule &rule, const std::string &text) {
  if (named(kCalls, text, Call::Open, &rule.on.call)) return;
  rule.on.call = Call::Request;
  if (request_by_name(rule.on.node, text.c_str(), &rule.on.request)) return;
  bool digit = text[0] >= '0' && text[0] <= '9';
  if (!digit)
    throw Usage("REQUEST: '" + text + "' is no number, no request of this node, nor open, read, write or lseek");
  rule.on.request = static_cast<uint8_t>(number(text, "REQUEST", 0, 255));
}

FaultRule parse_target(const std::string &target) {
  FaultRule rule = {};
  size_t at = target.find('@'), colon = target.substr(0, at).find(':'), dash = target.find('-', at);
  rule.on.node = static_cast<Node>(choice(target.substr(0, std::min(at, colon)), "NODE", kNodes) + 1);
  if (colon != std::string::npos)
    parse_request(rule, target.substr(colon + 1, at == std::string::npos ? at : at - colon - 1));
  if (at == std::string::npos) return rule;
  rule.on.has_address = 1;
  rule.on.first_address = rule.on.last_address = number(target.substr(at + 1, dash - at - 1), "ADDRESS", 0, 0xffffffff);
  if (dash != std::string::npos)
    rule.on.last_address = number(target.substr(dash + 1), "ADDRESS", rule.on.first_address, 0xffffffff);
  return rule;
}

// Without --result a request fails as the driver says it, an open or a transfer as the kernel does.
void parse_result(FaultRule &rule, const std::string &text) {
  constexpr uint32_t kDriverFailed = 0xffff;
  rule.value = kDriverFailed;
  if (text.empty()) {
    rule.effect = rule.on.call <= Call::Request ? Effect::Value
                  : rule.on.call == Call::Open  ? Effect::Closed
                                                : Effect::Refused;
  } else if (!named(kEffects, text, Effect::Refused, &rule.effect)) {
    rule.effect = Effect::Value;
    rule.value = number(text, "--result", 0, 0x7fffffff);
  }
  if (rule.effect == Effect::Closed && rule.on.call == Call::AnyRequest) rule.on.call = Call::Open;
  bool misfit = rule.effect == Effect::Closed && rule.on.call != Call::Open;
  if (misfit) throw Usage("--result: 'closed' is for an open, not for a request");
}

void print(const FaultRule &rule) {
  char request[16] = "", address[32] = "", value[16];
  std::snprintf(request, sizeof request, ":0x%02X", rule.on.request);
  std::snprintf(value, sizeof value, "0x%x", rule.value);
  if (rule.on.has_address)
    std::snprintf(address, sizeof address, "@0x%x-0x%x", rule.on.first_address, rule.on.last_address);
  std::string call = rule.on.call == Call::AnyRequest ? "" : ":" + kCalls[static_cast<unsigned>(rule.on.call)];
  std::string target = node_name(rule.on.node) + (rule.on.call == Call::Request ? request : call) + address;
  std::string effect = rule.effect == Effect::Value ? value : kEffects[static_cast<unsigned>(rule.effect)];
  std::string count = rule.count > 0 ? std::to_string(rule.count) : "unlimited";
  std::printf("%-28s result=%s skip=%u count=%s hits=%u\n", target.c_str(), effect.c_str(), rule.skip, count.c_str(),
              rule.hits);
}

}  // namespace

void add_fault(const std::string &board, const FaultOptions &options) {
  FaultRule rule = parse_target(options.target);
  parse_result(rule, options.result);
  rule.count = options.count;
  rule.skip = options.skip;
  OpenBoard open = open_board(board);
  Guard guard(open.board());
  if (!add_rule(open.board(), rule)) throw Failure("the board has 32 faults already (zelsim heal clears them)");
}

void list_faults(const std::string &board) {
  OpenBoard open = open_board(board);
  Guard guard(open.board());
  for (const FaultRule &rule : open.board().rules) {
    bool whole = rule.effect <= Effect::Killed && rule.on.node <= Node::Any && rule.on.call <= Call::Seek;
    if (rule.effect != Effect::None && whole) print(rule);
  }
}

void heal_board(const std::string &board) {
  OpenBoard open = open_board(board);
  Guard guard(open.board());
  heal(open.board());
}

}  // namespace zelsim::tool
