// What a module measures, as text and as data.
#include <cmath>
#include <cstring>

#include "diagnostics_page.h"

double dbm(double milliwatts) {
  constexpr double kLeast = 1e-4;
  constexpr double kFloor = -40;
  if (std::isnan(milliwatts)) return milliwatts;
  return milliwatts > kLeast ? 10 * std::log10(milliwatts) : kFloor;
}

std::string measured_text(const Measurement &measurement, double value, int more_decimals) {
  if (!std::isfinite(value)) return "unknown";
  if (measurement.is_power) return decimal_text(dbm(value), 2 + more_decimals) + " dBm";
  const int decimals = std::strcmp(measurement.unit, "C") == 0 ? 1 : 3;
  return decimal_text(value, decimals + more_decimals) + " " + measurement.unit;
}

/** A number without the noise of binary fractions; null if it is not finite. */
static Json rounded(double value) {
  constexpr double kSteps = 1e6;
  if (!std::isfinite(value)) return {};
  return std::round(value * kSteps) / kSteps + 0.0;  // minus zero becomes zero
}

static Json bit_or_null(const std::optional<bool> &bit) { return bit ? Json(*bit) : Json(); }

/** A row of the table "measured". A power is shown in dBm. */
static Json row_of(const Measurement &measurement) {
  const auto shown = [&](double value) { return rounded(measurement.is_power ? dbm(value) : value); };
  const auto limit = [&](double value) { return measurement.has_limits ? shown(value) : Json(); };
  Json row = Json::object();
  row["quantity"] = measurement.key;
  row["unit"] = measurement.is_power ? "dBm" : measurement.unit;
  row["value"] = shown(measurement.value);
  row["state"] = standing_name(measurement);
  row["low_alarm"] = limit(measurement.low_alarm);
  row["low_warning"] = limit(measurement.low_warning);
  row["high_warning"] = limit(measurement.high_warning);
  row["high_alarm"] = limit(measurement.high_alarm);
  row["flags"] = Json::array();
  if (measurement.high_alarm_flag) row["flags"].push_back("high alarm");
  if (measurement.low_alarm_flag) row["flags"].push_back("low alarm");
  if (measurement.high_warning_flag) row["flags"].push_back("high warning");
  if (measurement.low_warning_flag) row["flags"].push_back("low warning");
  row["word"] = measurement.word;
  return row;
}

Json decode_diagnostics(ModulePage identification, ModulePage page) {
  const Diagnostics found = diagnostics_in(identification, page);
  Json decoded = Json::object();
  decoded["calibration"] = calibration_name(found);
  decoded["received_power"] = found.average_power ? "average" : "OMA";
  decoded["ready"] = found.ready;
  for (const Measurement &measurement : found.measured) {
    decoded[measurement.value_key] = rounded(measurement.value);
    if (measurement.is_power) decoded[std::string(measurement.key) + "_dbm"] = rounded(dbm(measurement.value));
  }
  decoded["tx_disable"] = bit_or_null(found.tx_disable);
  decoded["soft_tx_disable"] = bit_or_null(found.soft_tx_disable);
  decoded["tx_fault"] = bit_or_null(found.tx_fault);
  decoded["rx_los"] = bit_or_null(found.rx_los);
  decoded["flags_latched"] = found.has_flags;
  decoded["checksum"] = checksum_text(page, 0, kDiagnosticsChecksum);
  Json rows = Json::array();
  for (const Measurement &measurement : found.measured) rows.push_back(row_of(measurement));
  decoded["measured"] = rows;
  return decoded;
}
