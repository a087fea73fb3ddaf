#include "report.h"

/** A row for each number of a range. A thing that cannot be read has no row.
 *  @param what  format of what is asked for: "supply %u" */
static Json rows(Report &report, uint32_t first, uint32_t last, const char *what,
                 const std::function<Json(uint32_t which)> &row) {
  Json all = Json::array();
  for (uint32_t which = first; which <= last; ++which) {
    Json answer = report.ask(format(what, which), [&] { return row(which); });
    if (!answer.is_null()) all.push_back(std::move(answer));
  }
  return all;
}

static Json led_rows(Report &report) {
  Json all = Json::array();
  for (uint32_t led = 0; led < kLedCount; ++led) {
    Json row = report.ask("LED " + led_name(led), [led] {
      const uint8_t value = led_state(led);
      return record("led", led_name(led), "value", value, "state", name_of(kLedStates, value));
    });
    if (!row.is_null()) all.push_back(std::move(row));
  }
  return all;
}

/** @param status  the power status; null = it cannot be read */
static Json supply_row(uint32_t supply, const Json &status) {
  const uint8_t conf = supply_conf(supply);
  Json row = record("supply", supply, "conf", conf, "type", name_of(kSupplyTypes, conf), "good", nullptr);
  const bool is_fitted = conf != 0;
  if (is_fitted && status.is_number()) row["good"] = supply_is_good(status.get<uint8_t>(), supply);
  return row;
}

/** The debug mode of a driver. The library prints it, too, and keeps it in its variable. */
static Json debug_mode_of(Report &report, const std::string &driver, uint32_t (*get)(), const uint8_t &variable) {
  return report.ask("debug mode of the " + driver + " driver", [&] {
    require(get(), "debug mode");
    return Json(variable);
  });
}

static Json debug_modes(Report &report) {
  Json modes = Json::object();
  modes["gpio"] = debug_mode_of(report, "GPIO", FW_GetDebug_Gpio, debug_mode);
  modes["i2c"] = debug_mode_of(report, "I2C", FW_GetDebug_I2C, i2c_debug_mode);
  modes["flash"] = debug_mode_of(report, "flash", FW_GetDebug_SpiFlash, spiflash_debug_mode);
  return modes;
}

static Json slot_row(uint32_t slot) {
  uint8_t alive = 0;
  require(FW_GetDau_Alive(slot, &alive), format("presence of the board in slot %u", slot));
  Json row = record("slot", slot, "alive", alive, "type", nullptr, "board", fitted_name(Fitted::None));
  if (alive == 0) return row;
  uint8_t type = 0;
  require(FW_GetDauBoard(slot, &type), format("type of the board in slot %u", slot));
  row["type"] = type;
  row["board"] = fitted_name(fitted_in(slot));
  return row;
}

static Json port_row(uint32_t port) { return port_record(port, fitted_at(port), ReadSignals::All); }

/** What debugCmd prints. It is not asked any more when it has failed several times in a row: each failure may take long. */
static Json phy_rows(Report &report) {
  constexpr uint32_t kNumbers[] = {0, 2, 3};  // control and identifiers: reading them clears nothing
  constexpr uint32_t kMostFailures = 3;
  uint32_t failures = 0;
  Json all = Json::array();
  for (uint32_t port = 0; port <= FW_PHY_PORT_LAST; ++port) {
    for (const uint32_t number : kNumbers) {
      if (failures == kMostFailures) {
        report.note("further PHYs of the switch ports", "not asked: three answers in a row failed");
        return all;
      }
      const std::string what = format("switch port %u: PHY register %u", port, number);
      Json row = report.ask(what, [=] { return phy_register(port, number); });
      failures = row.is_null() ? failures + 1 : 0;
      if (!row.is_null()) all.push_back(std::move(row));
    }
  }
  return all;
}

/** Null if no part can be read. */
static Json parts(Report &report, std::span<const Part> wanted) {
  Json all = Json::object();
  bool has_any = false;
  for (const Part &part : wanted) {
    const uint32_t failures = report.failures;
    all[part.key] = report.ask(part.what, part.ask);
    if (report.failures == failures) has_any = true;
  }
  return has_any ? all : Json();
}

void report_board(Report &report) {
  Json &data = report.data;
  data["identity"] = parts(report, identity_parts());
  data["mac_backup"] = report.ask("MAC backup", mac_backup);
  data["leds"] = led_rows(report);
  data["relay"] = report.ask("alarm relay", [] { return relay()["relay"]; });
  data["flags"] = report.ask("flags", flags);
  data["reset"] = report.ask("reset key", reset_key);
  data["watchdog"] = report.ask("watchdog", watchdog);
  data["power"] = parts(report, power_parts());
  data["power_status"] = report.ask("power status", [] { return Json(power_status()); });
  data["supplies"] = rows(report, FW_SUPPLY_FIRST, FW_SUPPLY_LAST, "supply %u",
                          [&](uint32_t supply) { return supply_row(supply, data["power_status"]); });
  data["slots"] = rows(report, FW_SLOT_FIRST, FW_SLOT_LAST, "slot %u", slot_row);
  data["ports"] = rows(report, 0, FW_PORT_LAST, "port %u", port_row);
  report_chips(report);
  data["switch_phys"] = phy_rows(report);
  data["debug_modes"] = debug_modes(report);
}
