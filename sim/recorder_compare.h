#pragma once

#include "tape.h"

namespace zelsim {

bool is_same_bytes(CallBytes one, CallBytes other);

/** True if the program's call is the recorded one. Only what the driver looks at counts: what it fills may hold anything
 *  before the call.
 *  @param given  bytes that the recorded call gave */
bool is_same_call(const NodeCall &asked, const NodeCall &recorded, CallBytes given);

}  // namespace zelsim
