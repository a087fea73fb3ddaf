#include "diagnostics_page.h"

#include <cmath>
#include <cstring>

/** How a quantity stands on the page. The four calibration constants of a line are a slope of 1/256 without a sign and an
 *  offset with one; the received power has five floats instead. */
struct DiagnosticField {
  const char *key, *name, *unit;
  bool is_power;
  double per_base_unit;
  double unit_per_count;  // people's units in a step of the field
  bool is_signed;
  size_t thresholds, constants, word;
};
constexpr DiagnosticField kFields[] = {
    {"temperature", "temperature", "C", false, 1, 1.0 / 256, true, 0, 84, 96},
    {"voltage", "voltage", "V", false, 1, 1e-4, false, 8, 88, 98},
    {"bias", "bias", "mA", false, 1e3, 2e-3, false, 16, 76, 100},
    {"tx_power", "tx power", "mW", true, 1e3, 1e-4, false, 24, 80, 102},
    {"rx_power", "rx power", "mW", true, 1e3, 1e-4, false, 32, 56, 104},
};
constexpr size_t kReceivedPower = 56;  // its constants

/** Bits of page A0h: bytes 92 and 93. */
constexpr uint8_t kImplemented = 0x40, kExternallyCalibrated = 0x10, kAveragePower = 0x08, kAddressChange = 0x04;
constexpr uint8_t kFlagsOffered = 0x80, kTxDisableOffered = 0x40, kTxFaultOffered = 0x20, kLosOffered = 0x10;
/** Bits of byte 110. */
constexpr uint8_t kTxDisableState = 0x80, kTxDisableSelect = 0x40, kTxFaultState = 0x04, kLosState = 0x02,
                  kNotReady = 0x01;
constexpr size_t kStatus = 110, kAlarms = 112, kWarnings = 116;

static uint16_t big_endian(ModulePage page, size_t at) { return static_cast<uint16_t>(page[at] << 8 | page[at + 1]); }

static double float_at(ModulePage page, size_t at) {
  const uint32_t bits = static_cast<uint32_t>(big_endian(page, at)) << 16 | big_endian(page, at + 2);
  float number;
  static_assert(sizeof number == sizeof bits);
  std::memcpy(&number, &bits, sizeof number);
  return static_cast<double>(number);
}

/** The polynomial of the received power: coefficients from the fourth power down to the constant. */
static double received(ModulePage page, double count) {
  constexpr size_t kTerms = 5, kFloat = 4;
  double sum = 0;
  for (size_t term = 0; term < kTerms; ++term) {
    const double power = std::pow(count, static_cast<double>(kTerms - 1 - term));
    sum += float_at(page, kReceivedPower + term * kFloat) * power;
  }
  return sum;
}

/** A word of the page in people's units. */
static double value_of(const DiagnosticField &field, ModulePage page, bool external, size_t at) {
  const uint16_t word = big_endian(page, at);
  double count = word;
  if (field.is_signed) count = static_cast<int16_t>(word);
  if (external && field.constants == kReceivedPower) {
    count = received(page, count);
  } else if (external) {
    const double slope = big_endian(page, field.constants) / 256.0;
    const auto offset = static_cast<int16_t>(big_endian(page, field.constants + 2));
    count = slope * count + offset;
  }
  return count * field.unit_per_count;
}

static bool bit_at(ModulePage page, size_t first_byte, size_t number) {
  return (page[first_byte + number / 8] >> (7 - number % 8) & 1) != 0;
}

static Measurement measurement(size_t number, ModulePage page, bool external, bool has_flags) {
  const DiagnosticField &field = kFields[number];
  const auto value = [&](size_t at) { return value_of(field, page, external, at); };
  const size_t limits = field.thresholds;
  bool all_equal = true;
  for (size_t at = limits + 2; at < limits + 8; at += 2)
    all_equal = all_equal && big_endian(page, at) == big_endian(page, limits);
  Measurement found{
      field.key,  field.name,    field.unit,        field.is_power,    field.per_base_unit, 0,     value(field.word),
      !all_equal, value(limits), value(limits + 2), value(limits + 4), value(limits + 6),   false, false,
      false,      false};
  found.word = big_endian(page, field.word);
  if (!has_flags) return found;
  found.high_alarm_flag = bit_at(page, kAlarms, 2 * number);
  found.low_alarm_flag = bit_at(page, kAlarms, 2 * number + 1);
  found.high_warning_flag = bit_at(page, kWarnings, 2 * number);
  found.low_warning_flag = bit_at(page, kWarnings, 2 * number + 1);
  return found;
}

Standing standing_of(const Measurement &measurement) {
  if (!measurement.limited) return Standing::NoLimits;
  if (measurement.value > measurement.high_alarm) return Standing::HighAlarm;
  if (measurement.value < measurement.low_alarm) return Standing::LowAlarm;
  if (measurement.value > measurement.high_warning) return Standing::HighWarning;
  if (measurement.value < measurement.low_warning) return Standing::LowWarning;
  return Standing::Normal;
}

std::string standing_name(const Measurement &measurement) {
  return name_of(kStandings, static_cast<uint32_t>(standing_of(measurement)));
}

bool has_diagnostics(ModulePage identification) { return (identification[92] & kImplemented) != 0; }

bool needs_address_change(ModulePage identification) { return (identification[92] & kAddressChange) != 0; }

Diagnostics diagnostics_in(ModulePage identification, ModulePage page) {
  const uint8_t type = identification[92], offered = identification[93], status = page[kStatus];
  const auto offered_bit = [&](uint8_t option, uint8_t bit) {
    return (offered & option) != 0 ? std::optional((status & bit) != 0) : std::nullopt;
  };
  Diagnostics found{};
  found.external = (type & kExternallyCalibrated) != 0;
  found.average_power = (type & kAveragePower) != 0;
  found.has_flags = (offered & kFlagsOffered) != 0;
  found.ready = (status & kNotReady) == 0;
  found.tx_disable = offered_bit(kTxDisableOffered, kTxDisableState);
  found.soft_tx_disable = offered_bit(kTxDisableOffered, kTxDisableSelect);
  found.tx_fault = offered_bit(kTxFaultOffered, kTxFaultState);
  found.rx_los = offered_bit(kLosOffered, kLosState);
  for (size_t i = 0; i < found.measured.size(); ++i)
    found.measured[i] = measurement(i, page, found.external, found.has_flags);
  return found;
}

double dbm(double milliwatts) {
  constexpr double kLeast = 1e-4, kFloor = -40;
  return milliwatts > kLeast ? 10 * std::log10(milliwatts) : kFloor;
}

std::string measured_text(const Measurement &measurement, double value) {
  if (measurement.is_power) return format("%.2f dBm", dbm(value));
  const int decimals = std::strcmp(measurement.unit, "C") == 0 ? 1 : 3;
  return format("%.*f %s", decimals, value, measurement.unit);
}

/** Without the noise of binary fractions. */
static Json number(double value) {
  constexpr double kSteps = 1e6;
  return std::isfinite(value) ? Json(std::round(value * kSteps) / kSteps) : Json();
}

static Json optional(const std::optional<bool> &bit) { return bit ? Json(*bit) : Json(); }

/** A power has two rows' worth of numbers: in mW and in dBm. */
static Json row_of(const Measurement &measurement) {
  Json row = record("quantity", measurement.key, "unit", measurement.is_power ? "dBm" : measurement.unit);
  const auto shown = [&](double value) { return number(measurement.is_power ? dbm(value) : value); };
  const auto limit = [&](double value) { return measurement.limited ? shown(value) : Json(); };
  append(row, "value", shown(measurement.value), "state", standing_name(measurement), "low_alarm",
         limit(measurement.low_alarm), "low_warning", limit(measurement.low_warning), "high_warning",
         limit(measurement.high_warning), "high_alarm", limit(measurement.high_alarm));
  Json flags = Json::array();
  if (measurement.high_alarm_flag) flags.push_back("high alarm");
  if (measurement.low_alarm_flag) flags.push_back("low alarm");
  if (measurement.high_warning_flag) flags.push_back("high warning");
  if (measurement.low_warning_flag) flags.push_back("low warning");
  append(row, "flags", flags, "word", measurement.word);
  return row;
}

static std::string sum_of_page(ModulePage page) {
  constexpr size_t kChecksum = 95;
  uint8_t sum = 0;
  for (size_t at = 0; at < kChecksum; ++at) sum = static_cast<uint8_t>(sum + page[at]);
  const std::string stored = format("0x%02X ", page[kChecksum]);
  return stored + (sum == page[kChecksum] ? "correct" : format("wrong, should be 0x%02X", sum));
}

Json decode_diagnostics(ModulePage identification, ModulePage page) {
  const Diagnostics found = diagnostics_in(identification, page);
  Json decoded = record("calibration", found.external ? "external" : "internal", "received_power",
                        found.average_power ? "average" : "OMA", "ready", found.ready);
  for (const Measurement &measurement : found.measured) {
    const std::string key = measurement.key;
    if (key == "temperature") decoded["temperature_celsius"] = number(measurement.value);
    if (key == "voltage") decoded["voltage_volts"] = number(measurement.value);
    if (key == "bias") decoded["bias_milliamperes"] = number(measurement.value);
    if (!measurement.is_power) continue;
    decoded[key + "_milliwatts"] = number(measurement.value);
    decoded[key + "_dbm"] = number(dbm(measurement.value));
  }
  append(decoded, "tx_disable", optional(found.tx_disable), "soft_tx_disable", optional(found.soft_tx_disable),
         "tx_fault", optional(found.tx_fault), "rx_los", optional(found.rx_los), "flags_latched", found.has_flags,
         "checksum", sum_of_page(page));
  Json rows = Json::array();
  for (const Measurement &measurement : found.measured) rows.push_back(row_of(measurement));
  decoded["measured"] = rows;
  return decoded;
}
