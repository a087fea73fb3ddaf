#include "changes.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include "board.h"
#include "trace.h"

namespace zelsim {
namespace {

/** The process for which this one works; 0: it works for itself. */
uint32_t g_process;
char g_program[sizeof Change::program];

uint32_t signer() { return g_process != 0 ? g_process : static_cast<uint32_t>(getpid()); }

/** Copies a name, cut to the room. */
template <size_t Size>
void put_name(char (&to)[Size], const char *name) {
  size_t length = strnlen(name, Size - 1);
  memcpy(to, name, length);
  to[length] = '\0';
}

const char *signer_name() { return g_process != 0 ? g_program : program_invocation_short_name; }

// The place in the log is counted last: a process that dies before leaves no half entry.
void append(Board &board, const ChangedValue &value) {
  Watch &watch = board.watch;
  Change change = {};
  change.at_us = host_time_us();
  change.number = number_of_change(board);
  change.process = signer();
  change.kind = value.kind;
  change.place = value.place;
  change.address = value.address;
  change.before = value.before;
  change.after = value.after;
  put_name(change.program, signer_name());
  watch.log[watch.logged % kLoggedChanges] = change;
  ++watch.logged;
}

ChangeKind kind_of(RegisterSpace space) {
  switch (space) {
    case RegisterSpace::Soc:
      return ChangeKind::SocRegister;
    case RegisterSpace::SwitchChip:
      return ChangeKind::SwitchRegister;
    case RegisterSpace::Phy:
      return ChangeKind::PhyRegister;
    case RegisterSpace::Free:
      break;
  }
  return ChangeKind::None;
}

}  // namespace

void sign_for(uint32_t process, const char *program) {
  put_name(g_program, program);
  g_process = process;
}

void log_change(Board &board, const ChangedValue &value) {
  if (value.before != value.after) append(board, value);
}

void change_byte(Board &board, uint8_t &byte, uint8_t value) {
  auto offset = static_cast<uint32_t>(&byte - reinterpret_cast<uint8_t *>(&board));
  log_change(board, {.kind = ChangeKind::Byte, .address = offset, .before = byte, .after = value});
  byte = value;
}

bool change_register(Board &board, RegisterSpace space, uint8_t port, uint32_t address, uint32_t value) {
  uint32_t before = read_register(board, space, port, address);
  if (!write_register(board, space, port, address, value)) return false;
  log_change(board, {.kind = kind_of(space), .place = port, .address = address, .before = before, .after = value});
  return true;
}

// In the entry of a flash write, `before` is the address behind the last byte, and `after` is the number of bytes.
void log_flash_write(Board &board, uint32_t address, uint32_t bytes) {
  Watch &watch = board.watch;
  uint32_t sector = address / kSectorSize;
  uint32_t end = address + bytes;
  Change &last = watch.log[(watch.logged - 1) % kLoggedChanges];  // before the first change: a free place of kind None
  bool goes_on = last.kind == ChangeKind::FlashWrite && last.address == sector && last.process == signer();
  if (goes_on) {
    last.before = end;
    last.after += bytes;
  } else {
    append(board, {.kind = ChangeKind::FlashWrite, .address = sector, .before = end, .after = bytes});
  }
}

void log_flash_erase(Board &board, uint32_t sector) {
  append(board, {.kind = ChangeKind::FlashErase, .address = sector});
}

}  // namespace zelsim
