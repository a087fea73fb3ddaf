#include "diagnostics_page.h"

#include <cmath>
#include <cstring>

/** How the constants of an externally calibrated module are used. */
enum class Formula {
  Line,        // an unsigned slope in steps of 1/256, then a signed offset
  Polynomial,  // five floats: the coefficients from the fourth power down to the constant
};

/** Where a quantity stands on the page, and in which unit. */
struct DiagnosticField {
  const char *key;
  const char *name;
  const char *unit;
  const char *value_key;  // key of the value in the decoded page
  bool is_power = false;
  bool is_signed = false;
  double per_base_unit;
  double unit_per_count;  // one step of the field, in people's units
  size_t thresholds;      // four words: high alarm, low alarm, high warning, low warning
  size_t constants;
  size_t word;
  Formula formula = Formula::Line;
};
constexpr DiagnosticField kFields[] = {
    {.key = "temperature",
     .name = "temperature",
     .unit = "C",
     .value_key = "temperature_celsius",
     .is_signed = true,
     .per_base_unit = 1,
     .unit_per_count = 1.0 / 256,
     .thresholds = 0,
     .constants = 84,
     .word = 96},
    {.key = "voltage",
     .name = "voltage",
     .unit = "V",
     .value_key = "voltage_volts",
     .per_base_unit = 1,
     .unit_per_count = 1e-4,
     .thresholds = 8,
     .constants = 88,
     .word = 98},
    {.key = "bias",
     .name = "bias",
     .unit = "mA",
     .value_key = "bias_milliamperes",
     .per_base_unit = 1e3,
     .unit_per_count = 2e-3,
     .thresholds = 16,
     .constants = 76,
     .word = 100},
    {.key = "tx_power",
     .name = "tx power",
     .unit = "mW",
     .value_key = "tx_power_milliwatts",
     .is_power = true,
     .per_base_unit = 1e3,
     .unit_per_count = 1e-4,
     .thresholds = 24,
     .constants = 80,
     .word = 102},
    {.key = "rx_power",
     .name = "rx power",
     .unit = "mW",
     .value_key = "rx_power_milliwatts",
     .is_power = true,
     .per_base_unit = 1e3,
     .unit_per_count = 1e-4,
     .thresholds = 32,
     .constants = 56,
     .word = 104,
     .formula = Formula::Polynomial},
};
static_assert(std::size(kFields) == kQuantities);

/* Page A0h, byte 92: what the module measures. */
constexpr uint8_t kImplemented = 0x40;
constexpr uint8_t kInternallyCalibrated = 0x20;
constexpr uint8_t kExternallyCalibrated = 0x10;
constexpr uint8_t kAveragePower = 0x08;
constexpr uint8_t kAddressChange = 0x04;
/* Page A0h, byte 93: which flags and status bits it has. */
constexpr uint8_t kFlagsOffered = 0x80;
constexpr uint8_t kTxDisableOffered = 0x40;
constexpr uint8_t kTxFaultOffered = 0x20;
constexpr uint8_t kLosOffered = 0x10;
/* Page A2h, byte 110: status bits. */
constexpr size_t kStatus = 110;
constexpr uint8_t kTxDisableState = 0x80;
constexpr uint8_t kTxDisableSelect = 0x40;
constexpr uint8_t kTxFaultState = 0x04;
constexpr uint8_t kLosState = 0x02;
constexpr uint8_t kNotReady = 0x01;
/* Page A2h: flags, two bits a quantity, the high one first. */
constexpr size_t kAlarms = kDiagnosticsFlags;
constexpr size_t kWarnings = kDiagnosticsFlags + 4;

static uint16_t big_endian(ModulePage page, size_t at) { return static_cast<uint16_t>(page[at] << 8 | page[at + 1]); }

static double float_at(ModulePage page, size_t at) {
  const uint32_t bits = static_cast<uint32_t>(big_endian(page, at)) << 16 | big_endian(page, at + 2);
  float number;
  static_assert(sizeof number == sizeof bits);
  std::memcpy(&number, &bits, sizeof number);
  return static_cast<double>(number);
}

/** @param constants  where the five coefficients begin */
static double polynomial(ModulePage page, size_t constants, double count) {
  constexpr size_t kTerms = 5;
  constexpr size_t kFloat = 4;  // bytes
  double sum = 0;
  for (size_t term = 0; term < kTerms; ++term) {
    const double power = std::pow(count, static_cast<double>(kTerms - 1 - term));
    sum += float_at(page, constants + term * kFloat) * power;
  }
  return sum;
}

/** @param constants  where slope and offset stand */
static double line(ModulePage page, size_t constants, double count) {
  const double slope = big_endian(page, constants) / 256.0;
  const auto offset = static_cast<int16_t>(big_endian(page, constants + 2));
  return slope * count + offset;
}

static double calibrated(const DiagnosticField &field, ModulePage page, double count) {
  if (field.formula == Formula::Polynomial) return polynomial(page, field.constants, count);
  return line(page, field.constants, count);
}

/** The word at a place of the page, in people's units. */
static double calibrated_value(const DiagnosticField &field, ModulePage page, bool external, size_t at) {
  const uint16_t word = big_endian(page, at);
  double count = word;
  if (field.is_signed) count = static_cast<int16_t>(word);
  if (external) count = calibrated(field, page, count);
  const bool is_below_dark = field.is_power && count < 0;  // an offset that is a little too low
  if (is_below_dark) count = 0;
  return count * field.unit_per_count;
}

/** A bit of several bytes; number 0 is the highest bit of the first byte. */
static bool bit_at(ModulePage page, size_t first_byte, size_t number) {
  const size_t byte = first_byte + number / 8;
  const size_t shift = 7 - number % 8;
  return (page[byte] >> shift & 1) != 0;
}

/** Four equal thresholds mean that the module has no limits. */
static bool has_limits(ModulePage page, size_t thresholds) {
  const uint16_t first = big_endian(page, thresholds);
  for (size_t at = thresholds + 2; at < thresholds + 8; at += 2) {
    if (big_endian(page, at) != first) return true;
  }
  return false;
}

static Measurement measurement(size_t number, ModulePage page, bool external, bool has_flags) {
  const DiagnosticField &field = kFields[number];
  const auto value_at = [&](size_t at) { return calibrated_value(field, page, external, at); };
  Measurement found{};
  found.key = field.key;
  found.value_key = field.value_key;
  found.name = field.name;
  found.unit = field.unit;
  found.is_power = field.is_power;
  found.per_base_unit = field.per_base_unit;
  found.word = big_endian(page, field.word);
  found.value = value_at(field.word);
  found.high_alarm = value_at(field.thresholds);
  found.low_alarm = value_at(field.thresholds + 2);
  found.high_warning = value_at(field.thresholds + 4);
  found.low_warning = value_at(field.thresholds + 6);
  const bool are_numbers = std::isfinite(found.high_alarm) && std::isfinite(found.low_alarm) &&
                           std::isfinite(found.high_warning) && std::isfinite(found.low_warning);
  found.has_limits = are_numbers && has_limits(page, field.thresholds);
  if (!has_flags) return found;
  found.high_alarm_flag = bit_at(page, kAlarms, 2 * number);
  found.low_alarm_flag = bit_at(page, kAlarms, 2 * number + 1);
  found.high_warning_flag = bit_at(page, kWarnings, 2 * number);
  found.low_warning_flag = bit_at(page, kWarnings, 2 * number + 1);
  return found;
}

bool is_known(const Measurement &measurement) { return std::isfinite(measurement.value); }

Standing standing_of(const Measurement &measurement) {
  if (!is_known(measurement)) return Standing::Unknown;
  if (!measurement.has_limits) return Standing::NoLimits;
  if (measurement.value > measurement.high_alarm) return Standing::HighAlarm;
  if (measurement.value < measurement.low_alarm) return Standing::LowAlarm;
  if (measurement.value > measurement.high_warning) return Standing::HighWarning;
  if (measurement.value < measurement.low_warning) return Standing::LowWarning;
  return Standing::Normal;
}

std::string standing_name(const Measurement &measurement) {
  return name_of(kStandings, static_cast<uint32_t>(standing_of(measurement)));
}

Crossed limits_crossed(const Measurement &measurement) {
  Crossed crossed{measurement.high_alarm_flag, measurement.low_alarm_flag, measurement.high_warning_flag,
                  measurement.low_warning_flag};
  if (!measurement.has_limits) return crossed;
  if (measurement.value > measurement.high_alarm) crossed.high_alarm = true;
  if (measurement.value < measurement.low_alarm) crossed.low_alarm = true;
  if (measurement.value > measurement.high_warning) crossed.high_warning = true;
  if (measurement.value < measurement.low_warning) crossed.low_warning = true;
  return crossed;
}

bool announces_diagnostics(ModulePage identification) {
  return (identification[page_a0::kMonitoringType] & kImplemented) != 0;
}

bool needs_address_change(ModulePage identification) {
  return (identification[page_a0::kMonitoringType] & kAddressChange) != 0;
}

static CalibrationKind calibration_of(uint8_t monitoring_type) {
  if ((monitoring_type & kExternallyCalibrated) != 0) return CalibrationKind::External;
  if ((monitoring_type & kInternallyCalibrated) != 0) return CalibrationKind::Internal;
  return CalibrationKind::NotTold;
}

std::string calibration_name(const Diagnostics &diagnostics) {
  return name_of(kCalibrationNames, static_cast<uint32_t>(diagnostics.calibration));
}

/** Nothing for a status bit that the module does not have. */
static std::optional<bool> status_bit(bool offered, bool set) {
  if (!offered) return std::nullopt;
  return set;
}

Diagnostics diagnostics_in(ModulePage identification, ModulePage page) {
  const uint8_t type = identification[page_a0::kMonitoringType];
  const uint8_t offered = identification[page_a0::kEnhancedOptions];
  const uint8_t status = page[kStatus];
  const bool has_tx_disable = (offered & kTxDisableOffered) != 0;
  const bool has_tx_fault = (offered & kTxFaultOffered) != 0;
  const bool has_los = (offered & kLosOffered) != 0;
  Diagnostics found{};
  found.calibration = calibration_of(type);
  const bool is_external = found.calibration == CalibrationKind::External;
  found.average_power = (type & kAveragePower) != 0;
  found.has_flags = (offered & kFlagsOffered) != 0;
  found.ready = (status & kNotReady) == 0;
  found.tx_disable = status_bit(has_tx_disable, (status & kTxDisableState) != 0);
  found.soft_tx_disable = status_bit(has_tx_disable, (status & kTxDisableSelect) != 0);
  found.tx_fault = status_bit(has_tx_fault, (status & kTxFaultState) != 0);
  found.rx_los = status_bit(has_los, (status & kLosState) != 0);
  for (size_t i = 0; i < found.measured.size(); ++i)
    found.measured[i] = measurement(i, page, is_external, found.has_flags);
  return found;
}
