#include <errno.h>
#include <signal.h>
#include <unistd.h>

#include "rules.h"

// The rules by which calls fail, and what they do to a call.

namespace zelsim {
namespace {

Fault driver_answers(int result) { return {.strikes = true, .effect = Effect::Value, .result = result}; }
Fault kernel_refuses(int error) { return {.strikes = true, .effect = Effect::Refused, .result = -1, .error = error}; }
Fault moves_fewer_bytes(int count) {
  return {.strikes = true, .effect = Effect::Value, .short_count = true, .result = count};
}

bool is_kind_of_call(const FaultCall &target, Call call) {
  if (target.kind == Call::AllButOpen) return call != Call::Open;
  return target.kind == call;
}

bool overlaps(const FaultCall &target, const FaultCall &call) {
  return call.first_address <= target.last_address && call.last_address >= target.first_address;
}

// A number from 0 up to 1, by a linear congruential generator of 64 bits, whose upper bits are good.
double draw(uint64_t &random) {
  random = random * 6364136223846793005ULL + 1442695040888963407ULL;
  return static_cast<double>(random >> 11) / static_cast<double>(1ULL << 53);
}

// Finds the first rule for this call and uses it up by one; later rules are not looked at. Returns the rule as it was. Its
// effect is Effect::None if there is no rule, if the rule still skips calls, or if chance spares this one.
FaultRule use_rule(Board &board, const FaultCall &call) {
  Guard guard(board);
  for (FaultRule &rule : board.rules) {
    if (rule.effect == Effect::None || !matches(rule.target, call)) continue;
    if (rule.skip > 0) {
      --rule.skip;
      return {};
    }
    if (rule.probability > 0 && draw(rule.random) >= rule.probability) return {};
    FaultRule used = rule;
    ++rule.hits;
    if (rule.count > 0) {
      --rule.count;
      if (rule.count == 0) rule.effect = Effect::None;
    }
    count_rules(board);
    return used;
  }
  return {};
}

Fault busy(Call call) {
  if (call == Call::Request) return driver_answers(kBusBusy);
  return kernel_refuses(EBUSY);
}

// A number is the driver's result of a request, and the count of bytes of a read or write.
Fault numbered(Call call, int value) {
  if (call == Call::Request) return driver_answers(value);
  if (call == Call::Read || call == Call::Write) return moves_fewer_bytes(value);
  return kernel_refuses(EIO);
}

}  // namespace

bool matches(const FaultCall &target, const FaultCall &call) {
  if (target.node != Node::Any && target.node != call.node) return false;
  if (!is_kind_of_call(target, call.kind)) return false;
  if (target.kind == Call::Request && target.request != call.request) return false;
  if (!target.has_address) return true;
  return call.has_address && overlaps(target, call);
}

[[noreturn]] static void kill_this_process() {
  kill(getpid(), SIGKILL);
  for (;;) pause();
}

static Fault fault_by(const FaultRule &rule, const FaultCall &call) {
  switch (rule.effect) {
    case Effect::None:
    case Effect::Killed:
      return {};
    case Effect::Value:
      return numbered(call.kind, static_cast<int>(rule.value));
    case Effect::Busy:
      return busy(call.kind);
    case Effect::Closed:
      return kernel_refuses(ENXIO);
    case Effect::Hangs:
    case Effect::Nonsense:
      return {.strikes = true, .effect = rule.effect};
    case Effect::Refused:
      break;
  }
  return kernel_refuses(EIO);
}

Fault take_fault(Board &board, const FaultCall &call) {
  if (__atomic_load_n(&board.rule_count, __ATOMIC_RELAXED) == 0) return {};
  const FaultRule rule = use_rule(board, call);
  if (rule.effect == Effect::Killed) kill_this_process();
  Fault fault = fault_by(rule, call);
  fault.rule = rule.number;
  return fault;
}

const FaultRule *add_rule(Board &board, const FaultRule &rule) {
  for (FaultRule &row : board.rules) {
    if (row.effect != Effect::None) continue;
    ++board.last_rule;
    row = rule;
    row.number = board.last_rule;
    count_rules(board);
    return &row;
  }
  return nullptr;
}

void heal(Board &board, uint32_t number) {
  for (FaultRule &rule : board.rules) {
    if (number == 0 || rule.number == number) rule.effect = Effect::None;
  }
  count_rules(board);
}

// Stores only the final count: others look at the count without the lock.
void count_rules(Board &board) {
  uint32_t used = 0;
  for (const FaultRule &rule : board.rules) {
    if (rule.effect != Effect::None) ++used;
  }
  board.rule_count = used;
}

}  // namespace zelsim
