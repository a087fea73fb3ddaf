#pragma once

#include <string>

#include "state.h"

namespace zelsim::web {

/** An entry of the board's log, which is counted from the first change on. */
inline const Change &change_at(const Watch &watch, uint32_t entry) { return watch.log[entry % kLoggedChanges]; }

/** The same in words; empty if it is told in another way, or only a record of a damaged state. */
std::string text_of_change(const Watch &watch, uint32_t entry);

/** True for a write and an erase, which are told as a sum. */
inline bool is_of_flash(const Change &change) {
  return change.kind == ChangeKind::FlashErase || change.kind == ChangeKind::FlashWrite;
}

/** NAME[NUMBER] of the process that has made it. */
std::string program_of(const Change &change);

}  // namespace zelsim::web
