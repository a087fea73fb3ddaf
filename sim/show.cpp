#include <cstring>

#include "documents.h"
#include "faults.h"
#include "indicators.h"
#include "made_diagnostics.h"
#include "modules.h"
#include "tool.h"

// What a board is like, gathered as JSON.

namespace zelsim::tool {
namespace {

Json panel_of(const Board &board) {
  Json panel = Json::object();
  for (const Indicator &indicator : kIndicators) panel[indicator.key] = indicator.state(board.gpio);
  return panel;
}

Json slots_of(const Board &board) {
  Json rows = Json::array();
  for (unsigned slot = 0; slot < kSlots; ++slot) {
    rows.push_back({{"slot", slot + 1}, {"board", board_type(board, slot)}, {"alive", board.i2c.slot_alive[slot]}});
  }
  return rows;
}

Json supplies_of(const Board &board) {
  Json rows = Json::array();
  for (unsigned i = 0; i < kSupplies; ++i) {
    std::string type = name_of(kSupplyTypes, static_cast<unsigned>(board.supply[i]));
    rows.push_back({{"supply", i + 1}, {"type", type}, {"good", board.supply_good[i] != 0}});
  }
  return rows;
}

Json gpio_of(const Board &board) {
  const Gpio &gpio = board.gpio;
  uint32_t watchdog = read_register(board, RegisterSpace::Soc, 0, kWatchdogRegister);
  return {{"reset_process", gpio.reset_process},
          {"reset_flag", gpio.reset_flag},
          {"io_value", gpio.io_value},
          {"reset_key", gpio.reset_key},
          {"watchdog_toggling", gpio.watchdog_toggling},
          {"diag_flag", gpio.diag_flag},
          {"flash_access_flag", gpio.flash_access_flag},
          {"debug", gpio.debug},
          {"power_status", power_status(board)},
          {"selected_cage", gpio.selected_cage == kNoCage ? Json() : Json(gpio.selected_cage)},
          {"watchdog_enabled", (watchdog & kWatchdogEnabled) != 0},
          {"watchdog_toggles", gpio.watchdog_toggles},
          {"hardware_resets", gpio.hardware_resets}};
}

Json i2c_of(const Board &board) {
  const I2c &i2c = board.i2c;
  bool hours24 = (i2c.clock.value[kClockStatus] & kClock24Hours) != 0;
  double celsius = degrees_of(i2c.sensor.value[kSensorTemperature]);
  return {{"busy", i2c.busy},
          {"debug", i2c.debug},
          {"clock_fail", i2c.clock_fail},
          {"temperature_fail", i2c.temperature_fail},
          {"clock_present", i2c.clock_present},
          {"sensor_present", i2c.sensor_present},
          {"clock", time_text(clock_seconds(board))},
          {"clock_mode", hours24 ? 24 : 12},
          {"temperature", celsius},
          {"io", i2c.io_level},
          {"refreshes", i2c.refreshes}};
}

Json cage_row(const Board &board, unsigned port) {
  const Cage &cage = board.cages[port];
  std::string name(cage.name, strnlen(cage.name, sizeof cage.name));
  return {{"port", port},
          {"module", cage.fitted ? Json(name) : Json()},
          {"presence_line", cage.fitted ? 0 : 1},
          {"tx_disable", tx_disable(board, port)},
          {"tx_fault", cage.tx_fault},
          {"loss_of_signal", cage.loss_of_signal}};
}

Json cages_of(const Board &board) {
  Json rows = Json::array();
  for (unsigned port = 0; port < kPorts; ++port) {
    if (has_cage(board, port)) rows.push_back(cage_row(board, port));
  }
  return rows;
}

// The links of RJ45 ports and copper modules: what the other end of the cable offers. The PHY of an RJ45 port belongs
// to the switch.
Json links_of(const Board &board) {
  Json rows = Json::array();
  for (unsigned port = 0; port < kPorts; ++port) {
    const Cage &cage = board.cages[port];
    if (!has_link(board, port)) continue;
    rows.push_back({{"port", port},
                    {"phy", has_jack(board, port) ? "switch" : phy_name(cage.phy)},
                    {"speed", cage.link_speed},
                    {"full_duplex", cage.full_duplex != 0}});
  }
  return rows;
}

// Null for a space that no register has.
const char *space_name(RegisterSpace space) {
  switch (space) {
    case RegisterSpace::Soc:
      return "soc";
    case RegisterSpace::SwitchChip:
      return "switch";
    case RegisterSpace::Phy:
      return "phy";
    default:
      return nullptr;
  }
}

Json registers_of(const Board &board) {
  Json rows = Json::array();
  for (const Register &row : board.registers) {
    const char *space = space_name(row.space);
    if (space == nullptr) continue;
    Json port = row.space == RegisterSpace::Phy ? Json(row.port) : Json();
    rows.push_back({{"address", row.address}, {"value", row.value}, {"space", space}, {"port", port}});
  }
  return rows;
}

// The bits of the serial-GPIO chain that are not 0.
Json chain_of(const Board &board) {
  Json rows = Json::array();
  for (unsigned group = 0; group < kChainGroups; ++group) {
    for (unsigned bit = 0; bit < kChainBits; ++bit) {
      unsigned value = board.chain[group][bit];
      if (value != 0) rows.push_back({{"group", group}, {"bit", bit}, {"value", value}});
    }
  }
  return rows;
}

}  // namespace

std::string time_text(int64_t seconds) {
  auto time = static_cast<time_t>(seconds);
  tm parts = {};
  gmtime_r(&time, &parts);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  return text;
}

Json document_of(const Board &board, const std::filesystem::path &folder) {
  return {{"board", folder.filename().native()},
          {"folder", folder.native()},
          {"slots", slots_of(board)},
          {"supplies", supplies_of(board)},
          {"panel", panel_of(board)},
          {"gpio", gpio_of(board)},
          {"i2c", i2c_of(board)},
          {"cages", cages_of(board)},
          {"flash", flash_counters(board.flash)},
          {"registers", registers_of(board)},
          {"serial_gpio", chain_of(board)},
          {"links", links_of(board)},
          {"diagnostics", diagnostics_rows(board)},
          {"faults", faults_of(board)},
          {"settle_ms", board.settle_ms},
          {"paused_us", board.paused_us}};
}

Json board_document(const CommandLine &line) {
  OpenBoard open = look_at(line.board);
  return document_of(*open, open.folder);
}

}  // namespace zelsim::tool
