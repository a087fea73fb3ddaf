/** @file
 *  What a module measures in itself: SFF-8472 page A2h, digital diagnostics. */
#ifndef ZELBOARD_CLI_DIAGNOSTICS_PAGE_H
#define ZELBOARD_CLI_DIAGNOSTICS_PAGE_H

#include <array>
#include <optional>

#include "module_page.h"

/** Temperature, voltage, bias, transmitted power, received power: in the order of the page. */
constexpr size_t kQuantities = 5;

/** One quantity, in the unit that people use: degrees Celsius, V, mA, mW. */
struct Measurement {
  const char *key;        // rx_power
  const char *value_key;  // key of the value in the decoded page: rx_power_milliwatts
  const char *name;       // "rx power"
  const char *unit;       // mW
  bool is_power;          // people also say it in dBm
  double per_base_unit;   // 1000 for mA: an ampere has 1000 of them
  uint16_t word;          // what stands on the page
  double value;           // not finite if the module's calibration constants are not numbers
  bool has_limits;        // the module has thresholds: the four are numbers, and not all equal
  double high_alarm;
  double low_alarm;
  double high_warning;
  double low_warning;
  // Flags as the module has latched them: their cause may be over.
  bool high_alarm_flag;
  bool low_alarm_flag;
  bool high_warning_flag;
  bool low_warning_flag;
};

/** Where a value stands in its limits. */
enum class Standing { Normal, LowWarning, HighWarning, LowAlarm, HighAlarm, NoLimits, Unknown };
constexpr const char *kStandings = "normal|low warning|high warning|low alarm|high alarm|no limits|unknown";
/** False if the value is not finite. */
bool is_known(const Measurement &measurement);
Standing standing_of(const Measurement &measurement);
std::string standing_name(const Measurement &measurement);

/** The limits that the value has crossed: it is beyond them now, or their latched flag says that it was. */
struct Crossed {
  bool high_alarm;
  bool low_alarm;
  bool high_warning;
  bool low_warning;
};
Crossed limits_crossed(const Measurement &measurement);

/** External: the host computes values and thresholds with the page's constants. NotTold: page A0h names no calibration,
 *  and page A2h is read as with internal calibration. */
enum class CalibrationKind { Internal, External, NotTold };
constexpr const char *kCalibrationNames = "internal|external|not told";

struct Diagnostics {
  CalibrationKind calibration;
  bool average_power;  // the receiver measures average power; otherwise optical modulation amplitude
  bool has_flags;
  bool ready;  // the values are up to date
  // Status bits; nothing where the module does not have the bit.
  std::optional<bool> tx_disable;
  std::optional<bool> soft_tx_disable;
  std::optional<bool> tx_fault;
  std::optional<bool> rx_los;
  std::array<Measurement, kQuantities> measured;
};

std::string calibration_name(const Diagnostics &diagnostics);

/** The byte of page A2h that sums all bytes before it. */
constexpr size_t kDiagnosticsChecksum = 95;
/** First byte of the flags on page A2h. A module clears its flags when they are read. */
constexpr uint8_t kDiagnosticsFlags = 112;

/** Page A0h says that there is a page A2h. */
bool announces_diagnostics(ModulePage identification);
/** Page A2h is at its address only after a write that changes the module's address. */
bool needs_address_change(ModulePage identification);
/** @param page  bytes 0 to 127 of page A2h */
Diagnostics diagnostics_in(ModulePage identification, ModulePage page);
/** The same as data, for people and programs. */
Json decode_diagnostics(ModulePage identification, ModulePage page);
/** A power in dBm. A module cannot tell less than 0.1 uW, so -40 dBm also stands for no power. NaN stays NaN. */
double dbm(double milliwatts);
/** A value as people read it: "35.0 C", "-2.31 dBm", "unknown".
 *  @param more_decimals  than usual */
std::string measured_text(const Measurement &measurement, double value, int more_decimals = 0);

#endif
