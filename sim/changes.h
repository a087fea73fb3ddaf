#pragma once

#include "state.h"

// The log of what programs change through the drivers: each change with its time and who made it, in their order. All of
// it is done under the board's lock.

namespace zelsim {

/** A change without its time and its maker. */
struct ChangedValue {
  ChangeKind kind = ChangeKind::None;
  uint8_t place = 0;
  uint32_t address = 0;
  uint32_t before = 0;
  uint32_t after = 0;
};

/** Logs a change, unless the value stays the same. */
void log_change(Board &board, const ChangedValue &value);

/** Sets a byte of the board's state, and logs it. */
void change_byte(Board &board, uint8_t &byte, uint8_t value);
/** Sets a register, and logs it. False when the table of registers is full. */
bool change_register(Board &board, RegisterSpace space, uint8_t port, uint32_t address, uint32_t value);
/** Logs that bytes were programmed, or that a sector was erased. Writes of one process to one sector, one after the other,
 *  are one entry. */
void log_flash_write(Board &board, uint32_t address, uint32_t bytes);
void log_flash_erase(Board &board, uint32_t sector);

/** Signs the changes of this process with the number and name of another process, whose tool this one is. */
void sign_for(uint32_t process, const char *program);

}  // namespace zelsim
