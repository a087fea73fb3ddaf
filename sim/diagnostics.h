#pragma once

#include "board.h"

// SFF-8472 page A2h: where the digital diagnostics of a module stand, for the module's model and for what makes pages.

namespace zelsim {

/** What a module measures, in the order of the page's tables. */
enum Quantity : unsigned { kTemperature, kVoltage, kBias, kTxPower, kRxPower, kQuantities };

/** The thresholds of a quantity, in their order on the page: a word each, four words a quantity. */
enum Threshold : unsigned { kHighAlarm, kLowAlarm, kHighWarning, kLowWarning };
constexpr unsigned kThresholds = 4;

constexpr unsigned kFirstMeasured = 96, kStatus = 110, kAlarmFlags = 112, kWarningFlags = 116;

/** Places on page A0h that say what of page A2h there is. */
constexpr unsigned kOptions = 65, kMonitoring = 92, kEnhancedOptions = 93, kRevision = 94;
constexpr uint8_t kHasTxDisable = 0x10, kHasTxFault = 0x08, kHasLos = 0x02;                     // kOptions
constexpr uint8_t kHasDiagnostics = 0x40, kInternal = 0x20, kExternal = 0x10, kAverage = 0x08;  // kMonitoring
constexpr uint8_t kHasFlags = 0x80, kSoftTxDisable = 0x40, kSoftTxFault = 0x20, kSoftLos = 0x10,
                  kSoftRateSelect = 0x08;  // kEnhancedOptions

/** The five measured words, as the host reads them now. */
constexpr unsigned place_of(Quantity quantity) { return kFirstMeasured + 2 * quantity; }
constexpr unsigned place_of(Quantity quantity, Threshold threshold) {
  return 2 * (kThresholds * quantity + unsigned{threshold});
}

/** A byte of the page as a host would read it now; looking at it clears no flag. */
uint8_t diagnostics_byte(const Board &board, unsigned port, unsigned at);

/** Latches the flags of all modules: called after each change of the board, whoever makes it. */
void latch_flags(Board &board);

}  // namespace zelsim
