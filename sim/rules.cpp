#include <errno.h>
#include <signal.h>
#include <unistd.h>

#include "request.h"

// The rules by which calls fail, and what they do to a call.

namespace zelsim {

bool matches(const FaultCall &on, const FaultCall &call) {
  if (on.node != Node::Any && on.node != call.node) return false;
  if (on.call == Call::AnyRequest ? call.call == Call::Open : on.call != call.call) return false;
  if (on.call == Call::Request && on.request != call.request) return false;
  bool overlaps = call.first_address <= on.last_address && call.last_address >= on.first_address;
  return !on.has_address || (call.has_address && overlaps);
}

// What the first rule for this call does to it; the rule is used up by one.
static FaultRule strike(Board &board, const FaultCall &call) {
  Guard guard(board);
  for (FaultRule &rule : board.rules) {
    if (rule.effect == Effect::None || !matches(rule.on, call)) continue;
    if (rule.skip > 0) return --rule.skip, FaultRule{};
    FaultRule found = rule;
    ++rule.hits;
    if (rule.count > 0 && --rule.count == 0) rule.effect = Effect::None;
    count_rules(board);
    return found;
  }
  return {};
}

Fault take_fault(Board &board, const FaultCall &call) {
  if (__atomic_load_n(&board.rule_count, __ATOMIC_RELAXED) == 0) return {};
  FaultRule rule = strike(board, call);
  bool driver_answers = call.call == Call::Request, busy = rule.effect == Effect::Busy;
  bool moves_bytes = call.call == Call::Read || call.call == Call::Write;
  if (rule.effect == Effect::None) return {};
  if (rule.effect == Effect::Killed) kill(getpid(), SIGKILL);
  if (rule.effect == Effect::Closed) return {true, false, -1, ENXIO};
  if (busy) return driver_answers ? Fault{true, false, kBusBusy, 0} : Fault{true, false, -1, EBUSY};
  if (rule.effect == Effect::Value && (driver_answers || moves_bytes)) {
    return {true, moves_bytes, static_cast<int>(rule.value), 0};
  }
  return {true, false, -1, EIO};
}

const FaultRule *add_rule(Board &board, const FaultRule &rule) {
  for (FaultRule &row : board.rules) {
    if (row.effect != Effect::None) continue;
    row = rule;
    row.number = ++board.last_rule;
    count_rules(board);
    return &row;
  }
  return nullptr;
}

void heal(Board &board, uint32_t number) {
  for (FaultRule &rule : board.rules)
    if (number == 0 || rule.number == number) rule.effect = Effect::None;
  count_rules(board);
}

// Whoever looks at the count without the lock never meets one in the making.
void count_rules(Board &board) {
  uint32_t used = 0;
  for (const FaultRule &rule : board.rules) used += rule.effect != Effect::None;
  board.rule_count = used;
}

}  // namespace zelsim
