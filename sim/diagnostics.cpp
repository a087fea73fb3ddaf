#include "diagnostics.h"

#include "attached.h"

// A module's digital diagnostics on the bus, SFF-8472 page A2h. The page holds the words that are measured with light in
// the receiver and the laser on. What a host reads follows the cage's signals.

namespace zelsim {
namespace {

// Bits of the status byte.
constexpr uint8_t kPinTxDisable = 0x80;
constexpr uint8_t kSelectRate = 0x08;
constexpr uint8_t kPinTxFault = 0x04;
constexpr uint8_t kPinLos = 0x02;

// Bytes that a host may write.
constexpr unsigned kPassword = 123;
constexpr unsigned kPageSelect = 127;
constexpr unsigned kUserMemory = 128;
constexpr unsigned kUserMemoryEnd = 248;

// The diagnostics of the module in a cage; null if it has none.
const DiagnosticsMemory *fitted_diagnostics(const Board &board, unsigned port) {
  if (!has_cage(board, port)) return nullptr;
  const Cage &cage = board.cages[port];
  return cage.fitted && cage.diagnostics.present ? &cage.diagnostics : nullptr;
}

bool offers(const Cage &cage, uint8_t enhanced_option) { return (cage.page[kEnhancedOptions] & enhanced_option) != 0; }

bool laser_is_off(const Board &board, unsigned port) {
  const Cage &cage = board.cages[port];
  bool by_pin = (cage.page[kOptions] & kHasTxDisable) != 0 && tx_disable(board, port) != 0;
  bool by_host = offers(cage, kSoftTxDisable) && (cage.diagnostics.page[kStatus] & kSelectTxDisable) != 0;
  return by_pin || by_host || cage.tx_fault != 0;
}

uint8_t measured_byte(const Board &board, unsigned port, unsigned at) {
  const Cage &cage = board.cages[port];
  auto quantity = static_cast<Quantity>((at - kFirstMeasured) / 2);
  return is_dark(board, port, quantity) ? cage.diagnostics.dark[at - kFirstMeasured] : cage.diagnostics.page[at];
}

// Bits whose monitoring the module does not offer stay as its maker left them.
uint8_t status_byte(const Board &board, unsigned port) {
  const Cage &cage = board.cages[port];
  struct Pin {
    uint8_t bit;
    uint8_t option;  // by which the module says that it shows the pin
    uint8_t level;
  };
  const Pin pins[] = {
      {kPinTxDisable, kSoftTxDisable, tx_disable(board, port)},
      {kPinTxFault, kSoftTxFault, cage.tx_fault},
      {kPinLos, kSoftLos, cage.loss_of_signal},
  };
  unsigned status = cage.diagnostics.page[kStatus];
  for (const Pin &pin : pins) {
    if (!offers(cage, pin.option)) continue;
    status &= ~unsigned{pin.bit};
    if (pin.level != 0) status |= pin.bit;
  }
  return static_cast<uint8_t>(status);
}

// Words compare as they stand, before any calibration; the temperature has a sign.
int number_on_page(const Board &board, unsigned port, unsigned at, bool is_signed) {
  unsigned word = diagnostics_byte(board, port, at) * 256u + diagnostics_byte(board, port, at + 1);
  return is_signed ? static_cast<int16_t>(word) : static_cast<int>(word);
}

/** Flags of one kind, alarms or warnings: where they stand, and what they compare with. */
struct FlagKind {
  unsigned first_byte;
  Threshold high;
  Threshold low;
};
constexpr FlagKind kAlarms = {kAlarmFlags, kHighAlarm, kLowAlarm};
constexpr FlagKind kWarnings = {kWarningFlags, kHighWarning, kLowWarning};

// The flags of a byte whose conditions hold now.
uint8_t flags_now(const Board &board, unsigned port, unsigned at) {
  const FlagKind &kind = at < kWarningFlags ? kAlarms : kWarnings;
  unsigned flags = 0;
  for (unsigned number = 0; number < kQuantities; ++number) {
    auto quantity = static_cast<Quantity>(number);
    if (kind.first_byte + flag_byte_of(quantity) != at) continue;
    bool is_signed = quantity == kTemperature;
    int measured = number_on_page(board, port, place_of(quantity), is_signed);
    int high = number_on_page(board, port, place_of(quantity, kind.high), is_signed);
    int low = number_on_page(board, port, place_of(quantity, kind.low), is_signed);
    if (measured > high) flags |= high_flag_of(quantity);
    if (measured < low) flags |= low_flag_of(quantity);
  }
  return static_cast<uint8_t>(flags);
}

bool is_flag_byte(const Cage &cage, unsigned at) {
  bool is_alarm = at >= kAlarmFlags && at < kAlarmFlags + kFlagBytes;
  bool is_warning = at >= kWarningFlags && at < kWarningFlags + kFlagBytes;
  return (is_alarm || is_warning) && offers(cage, kHasFlags);
}

constexpr unsigned kFlagPlaces[] = {kAlarmFlags, kAlarmFlags + 1, kWarningFlags, kWarningFlags + 1};

// The bits of a byte that a write changes: selections that the module offers, and the user's memory.
uint8_t writable_bits(const Cage &cage, unsigned at) {
  if (at == kStatus) {
    unsigned disable = offers(cage, kSoftTxDisable) ? kSelectTxDisable : 0u;
    unsigned rate = offers(cage, kSoftRateSelect) ? kSelectRate : 0u;
    return static_cast<uint8_t>(disable | rate);
  }
  return at >= kUserMemory && at < kUserMemoryEnd ? 0xff : 0;
}

// The password and the page select can be written, without effect: nothing is protected, and there is one page.
bool takes_writes(const Cage &cage, unsigned at) {
  bool is_without_effect = at >= kPassword && at <= kPageSelect;
  return is_without_effect || writable_bits(cage, at) != 0;
}

int write_page(Cage &cage, const Transfer &transfer) {
  if (transfer.offset_len == 0) return kFail;
  uint8_t *page = cage.diagnostics.page;
  for (unsigned i = 0; i < transfer.len; ++i) {
    if (!takes_writes(cage, (transfer.offset + i) % sizeof cage.diagnostics.page)) return kFail;
  }
  for (unsigned i = 0; i < transfer.len; ++i) {
    unsigned at = (transfer.offset + i) % sizeof cage.diagnostics.page;
    unsigned bits = writable_bits(cage, at);
    page[at] = static_cast<uint8_t>((page[at] & ~bits) | (transfer.data[i] & bits));
  }
  return 0;
}

}  // namespace

bool is_dark(const Board &board, unsigned port, Quantity quantity) {
  bool transmits = quantity == kBias || quantity == kTxPower;
  if (transmits) return laser_is_off(board, port);
  return quantity == kRxPower && board.cages[port].loss_of_signal != 0;
}

namespace {

// The flags of a kind whose conditions hold now. Quantities that cannot be measured now have no flags here.
uint8_t unexplained_flags(const Board &board, unsigned port, const FlagKind &kind, unsigned byte) {
  if (fitted_diagnostics(board, port) == nullptr || !offers(board.cages[port], kHasFlags)) return 0;
  unsigned flags = flags_now(board, port, kind.first_byte + byte);
  for (unsigned number = 0; number < kQuantities; ++number) {
    auto quantity = static_cast<Quantity>(number);
    bool is_here = flag_byte_of(quantity) == byte;
    if (is_here && is_dark(board, port, quantity)) flags &= ~(high_flag_of(quantity) | low_flag_of(quantity));
  }
  return static_cast<uint8_t>(flags);
}

}  // namespace

uint8_t unexplained_alarms(const Board &board, unsigned port, unsigned byte) {
  return unexplained_flags(board, port, kAlarms, byte);
}

uint8_t unexplained_warnings(const Board &board, unsigned port, unsigned byte) {
  unsigned warnings = unexplained_flags(board, port, kWarnings, byte);
  return static_cast<uint8_t>(warnings & ~unsigned{unexplained_alarms(board, port, byte)});
}

uint8_t diagnostics_byte(const Board &board, unsigned port, unsigned at) {
  const Cage &cage = board.cages[port];
  uint8_t held = cage.diagnostics.page[at];
  if (at >= kFirstMeasured && at < kEndOfMeasured) return measured_byte(board, port, at);
  if (at == kStatus) return status_byte(board, port);
  if (is_flag_byte(cage, at)) return static_cast<uint8_t>(held | flags_now(board, port, at));
  return held;
}

void latch_flags(Board &board) {
  for (unsigned port = 0; port < kPorts; ++port) {
    if (fitted_diagnostics(board, port) == nullptr) continue;
    uint8_t *page = board.cages[port].diagnostics.page;
    for (unsigned at : kFlagPlaces) page[at] = diagnostics_byte(board, port, at);
  }
}

// A read clears a flag, unless its condition still holds.
int module_diagnostics(Board &board, Transfer &transfer) {
  unsigned port = board.gpio.selected_cage;
  if (fitted_diagnostics(board, port) == nullptr) return kFail;
  Cage &cage = board.cages[port];
  if (transfer.write) return write_page(cage, transfer);
  bool cleared = false;
  for (unsigned i = 0; i < transfer.len; ++i) {
    unsigned at = (transfer.first() + i) % sizeof cage.diagnostics.page;
    uint8_t shown = diagnostics_byte(board, port, at);
    transfer.data[i] = shown;
    if (!is_flag_byte(cage, at)) continue;
    cage.diagnostics.page[at] = flags_now(board, port, at);
    if (cage.diagnostics.page[at] != shown) cleared = true;
  }
  if (cleared) announce_change(board);
  return 0;
}

}  // namespace zelsim
