#pragma once

#include "board.h"

// Rules by which calls fail.

namespace zelsim {

/** What a rule does to a call. */
struct Fault {
  bool strikes = false;
  Effect effect = Effect::None;
  bool short_count = false;  // a read or write moves `result` bytes at most
  int result = 0;
  int error = 0;
  uint32_t rule = 0;  // its number
};

/** Finds the first rule for this call and uses it up by one; later rules are not looked at. Nothing strikes if that rule
 *  still skips calls, or if chance spares this one. A rule that kills does not return. */
Fault take_fault(Board &board, const FaultCall &call);
/** True if a rule for `target` is for this call, too. */
bool matches(const FaultCall &target, const FaultCall &call);
/** Adds a rule. Returns it as it stands in the table, with its number; null if the table is full. */
const FaultRule *add_rule(Board &board, const FaultRule &rule);
/** Clears the rule with this number, or all for 0. */
void heal(Board &board, uint32_t number = 0);
/** Counts the rules in use anew. Called after each change of the rules, and after a process has died with the lock. */
void count_rules(Board &board);

}  // namespace zelsim
