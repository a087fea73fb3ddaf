#pragma once

#include <string>

#include "state.h"

namespace zelsim::web {

/** The change at a place of the board's log; the place is counted from the first change on. */
inline const Change &change_at(const Watch &watch, uint32_t place) { return watch.log[place % kLoggedChanges]; }

/** The same in words; empty if it is told in another way, or only a record of a damaged state. */
std::string text_of_change(const Watch &watch, uint32_t place);

/** NAME[NUMBER] of the process that has made it. */
std::string program_of(const Change &change);

}  // namespace zelsim::web
