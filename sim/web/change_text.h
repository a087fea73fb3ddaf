#pragma once

#include <string>

#include "state.h"

namespace zelsim::web {

/** An entry of the board's log. Entries are counted from the first change on. */
inline const Change &change_at(const Watch &watch, uint32_t entry) { return watch.log[entry % kLoggedChanges]; }

/** The change of an entry in words. Empty if it is told in another way, or if a damaged state gives it an unknown kind. */
std::string text_of_change(const Watch &watch, uint32_t entry);

/** True for a write to the flash and an erase: these are told as a sum. */
inline bool is_of_flash(const Change &change) {
  return change.kind == ChangeKind::FlashErase || change.kind == ChangeKind::FlashWrite;
}

/** NAME[NUMBER] of the process that has made a change. */
std::string program_of(const Change &change);

}  // namespace zelsim::web
