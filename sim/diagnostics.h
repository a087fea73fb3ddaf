#pragma once

#include "board.h"

// SFF-8472 page A2h: the places of a module's digital diagnostics.

namespace zelsim {

/** What a module measures, in the order of the page's tables. */
enum Quantity : unsigned { kTemperature, kVoltage, kBias, kTxPower, kRxPower, kQuantities };

/** The thresholds of a quantity, in their order on the page: a word each, four words a quantity. */
enum Threshold : unsigned { kHighAlarm, kLowAlarm, kHighWarning, kLowWarning };
constexpr unsigned kThresholds = 4;

// Bytes of page A2h. The thresholds begin at byte 0.
constexpr unsigned kReceiverConstants = 56;  // five floats, from the fourth power down to the constant
constexpr unsigned kSlopesAndOffsets = 76;   // a word each, of bias, transmitted power, temperature, voltage
constexpr unsigned kDiagnosticsChecksum = 95;
constexpr unsigned kFirstMeasured = 96;
constexpr unsigned kEndOfMeasured = kFirstMeasured + 2 * kQuantities;
constexpr unsigned kStatus = 110;
constexpr unsigned kAlarmFlags = 112;  // two bytes
constexpr unsigned kWarningFlags = 116;
constexpr unsigned kFlagBytes = 2;

constexpr uint8_t kSelectTxDisable = 0x40;  // a bit of kStatus that the host writes

// Bytes of page A0h that say which parts of page A2h there are, and their bits. The others are in cli/module_page.h, which the
// models do not use: they need libc only.
constexpr unsigned kOptions = 65;
constexpr uint8_t kHasTxDisable = 0x10;
constexpr uint8_t kHasTxFault = 0x08;
constexpr uint8_t kHasLos = 0x02;

constexpr unsigned kMonitoring = 92;
constexpr uint8_t kHasDiagnostics = 0x40;
constexpr uint8_t kInternal = 0x20;
constexpr uint8_t kExternal = 0x10;
constexpr uint8_t kAverage = 0x08;

constexpr unsigned kEnhancedOptions = 93;
constexpr uint8_t kHasFlags = 0x80;
constexpr uint8_t kSoftTxDisable = 0x40;
constexpr uint8_t kSoftTxFault = 0x20;
constexpr uint8_t kSoftLos = 0x10;
constexpr uint8_t kSoftRateSelect = 0x08;

constexpr unsigned kRevision = 94;

/** The first byte of a measured word. */
constexpr unsigned place_of(Quantity quantity) { return kFirstMeasured + 2 * quantity; }
/** The first byte of a threshold. */
constexpr unsigned place_of(Quantity quantity, Threshold threshold) {
  return 2 * (kThresholds * quantity + unsigned{threshold});
}

/** The two flags of a quantity. A flag byte has the flags of four quantities, from bit 7 on. */
constexpr unsigned kQuantitiesPerFlagByte = 4;
constexpr unsigned flag_byte_of(Quantity quantity) { return quantity / kQuantitiesPerFlagByte; }
constexpr unsigned low_flag_of(Quantity quantity) { return 1u << (6 - 2 * (quantity % kQuantitiesPerFlagByte)); }
constexpr unsigned high_flag_of(Quantity quantity) { return low_flag_of(quantity) << 1; }

/** A byte of the page as a host would read it now. Looking at it clears no flag. */
uint8_t diagnostics_byte(const Board &board, unsigned port, unsigned at);

/** The alarm flags of a byte whose conditions hold now. A flag that is latched may stand longer. Without the alarms of
 *  quantities that cannot be measured now (is_dark): the laser that is off, or the missing light, explains them.
 *  @param byte  0 or 1 */
uint8_t unexplained_alarms(const Board &board, unsigned port, unsigned byte);
/** The same for the warning flags. Without the warnings of values that raise an alarm, too. */
uint8_t unexplained_warnings(const Board &board, unsigned port, unsigned byte);

/** True if a quantity cannot be measured now: bias and transmitted power while the laser is off, received power without
 *  light. */
bool is_dark(const Board &board, unsigned port, Quantity quantity);

/** Latches the flags of all modules. Called after each change of the board, while the board is locked. */
void latch_flags(Board &board);

}  // namespace zelsim
