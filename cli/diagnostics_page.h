/** @file
 *  What a module measures of itself: SFF-8472 page A2h, digital diagnostics. */
#ifndef ZELBOARD_CLI_DIAGNOSTICS_PAGE_H
#define ZELBOARD_CLI_DIAGNOSTICS_PAGE_H

#include <array>
#include <optional>

#include "module_page.h"

/** One quantity, in the unit that people use: degrees Celsius, V, mA, mW. */
struct Measurement {
  const char *key, *name, *unit;  // rx_power, "rx power", mW
  bool is_power;                  // people say it in dBm, too
  double per_base_unit;           // 1000 of a mA in an ampere
  uint16_t word;                  // what stands on the page
  double value;
  bool limited;  // the module has thresholds: the four are not all the same
  double high_alarm, low_alarm, high_warning, low_warning;
  // Flags as the module has them, which may be of a moment that is over.
  bool high_alarm_flag, low_alarm_flag, high_warning_flag, low_warning_flag;
};

/** Where a value stands in its limits. */
enum class Standing { Normal, LowWarning, HighWarning, LowAlarm, HighAlarm, NoLimits };
constexpr const char *kStandings = "normal|low warning|high warning|low alarm|high alarm|no limits";
Standing standing_of(const Measurement &measurement);
std::string standing_name(const Measurement &measurement);

struct Diagnostics {
  bool external;       // calibrated by the host: values and thresholds are reckoned with the page's constants
  bool average_power;  // what the receiver measures, else the optical modulation amplitude
  bool has_flags;
  bool ready;  // the values are up to date
  // Status bits that the module offers.
  std::optional<bool> tx_disable, soft_tx_disable, tx_fault, rx_los;
  std::array<Measurement, 5> measured;
};

/** Page A0h says that there is a page A2h, and that it is reached without more ado. */
bool has_diagnostics(ModulePage identification);
bool needs_address_change(ModulePage identification);
/** @param page  bytes 0 to 127 of page A2h */
Diagnostics diagnostics_in(ModulePage identification, ModulePage page);
/** The same for people and programs. */
Json decode_diagnostics(ModulePage identification, ModulePage page);
/** Of a power in mW; the field's least, 0.1 uW or -40 dBm, stands for none. */
double dbm(double milliwatts);
/** A value as people read it: "35.0 C", "-2.31 dBm". */
std::string measured_text(const Measurement &measurement, double value);

#endif
