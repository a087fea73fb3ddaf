#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "event.h"
#include "report.h"

/** A row for each number of a range; what cannot be read has none. */
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
    const auto read = [&] {
      const uint8_t value = led_state(led);
      return record("led", led_name(led), "value", value, "state", name_of("off|on|blink", value));
    };
    Json row = report.ask(std::string("LED ") + led_name(led), read);
    if (!row.is_null()) all.push_back(std::move(row));
  }
  return all;
}

/** The library decodes the power status for the mode and the alarm, and does not hand it out: which of two supplies is
 *  bad stands only here. */
static uint8_t power_status() {
  constexpr uint8_t kGetPowerStatus = 0x98;
  uint8_t status = 0;
  const int fd = open("/dev/zel_gpio", O_RDWR | O_CLOEXEC);
  if (fd < 0) require(FW_FAIL, "power status");
  const int result = ioctl(fd, _IOW('$', kGetPowerStatus, uint8_t), &status);
  close(fd);
  require(static_cast<uint32_t>(result), "power status");
  return status;
}

static Json supply_row(uint32_t supply) {
  const uint8_t conf = supply_conf(supply);
  return record("supply", supply, "conf", conf, "type", name_of("none|AC|DC", conf));
}

/** Each driver's; the library prints it, too, and from then on what that mode has it print. */
static Json debug_modes(Report &report) {
  const auto mode = [&](const char *driver, uint32_t (*get)(), const uint8_t &value) {
    return report.ask(std::string("debug mode of the ") + driver + " driver", [&] {
      require(get(), "debug mode");
      return Json(value);
    });
  };
  return record("gpio", mode("GPIO", FW_GetDebug_Gpio, debug_mode), "i2c", mode("I2C", FW_GetDebug_I2C, i2c_debug_mode),
                "flash", mode("flash", FW_GetDebug_SpiFlash, spiflash_debug_mode));
}

static Json slot_row(uint32_t slot) {
  uint8_t alive = 0, type = 0;
  require(FW_GetDau_Alive(slot, &alive), format("presence of the board in slot %u", slot));
  if (alive != 0) require(FW_GetDauBoard(slot, &type), format("type of the board in slot %u", slot));
  return record("slot", slot, "alive", alive, "type", alive != 0 ? Json(type) : Json(), "board",
                name_of("none|copper|sfp", static_cast<uint32_t>(fitted_in(slot))));
}

static Json port_row(uint32_t port) { return port_record(port, fitted_at(port), Signals::All); }

static std::vector<uint8_t> read_i2c(uint8_t address, uint32_t offset, uint32_t offset_len, uint8_t length) {
  std::vector<uint8_t> bytes(length);
  require(FW_I2C_BufRead(address, offset, offset_len, length, bytes.data()), format("I2C device 0x%02X", address));
  return bytes;
}

/** An expander chip, the slot that it is on (0: the main board), and its registers: input, output, polarity and
 *  configuration of one or two ports. */
struct Expander {
  uint8_t address;
  uint32_t slot;
  uint32_t registers;
};
constexpr Expander kExpanders[] = {{0x40, 1, 8}, {0x42, 1, 8}, {0x44, 2, 8}, {0x46, 2, 8}, {0x48, 3, 8},
                                   {0x4A, 3, 8}, {0x4C, 0, 8}, {0x70, 1, 4}, {0x72, 2, 4}, {0x74, 3, 4},
                                   {0x76, 0, 4}, {0x78, 0, 4}, {0x7A, 0, 4}};

static Json expander_row(const Expander &expander) {
  if (expander.slot != 0 && fitted_in(expander.slot) != Fitted::Cages) return {};
  Json registers = Json::array();
  for (uint32_t number = 0; number < expander.registers; ++number)
    registers.push_back(read_i2c(expander.address, number, 1, 1)[0]);
  return record("address", expander.address, "slot", expander.slot != 0 ? Json(expander.slot) : Json(), "registers",
                registers);
}

static Json expander_rows(Report &report) {
  Json all = Json::array();
  for (const Expander &expander : kExpanders) {
    Json row = report.ask(format("expander 0x%02X", expander.address), [&] { return expander_row(expander); });
    if (!row.is_null()) all.push_back(std::move(row));
  }
  return all;
}

static std::string text_of(int year, int month, int day, int hour, int minute, int second) {
  return format("%04d-%02d-%02dT%02d:%02d:%02d", year, month, day, hour, minute, second);
}

/** The chip's registers, and the time in them. A poll is not made: it would hand the time to the driver. */
static Json clock_chip() {
  constexpr uint8_t kStatus = 0x60, kTime = 0x64, k24Hours = 0x40, kPm = 0x02;
  const std::vector<uint8_t> raw = read_i2c(kTime, 0, 0, 7);
  const uint8_t status = read_i2c(kStatus, 0, 0, 1)[0];
  const bool afternoon = (status & k24Hours) == 0 && (raw[4] & kPm) != 0;
  const std::string time = text_of(2000 + s35390A_to_time(raw[0], 8), s35390A_to_time(raw[1], 5),
                                   s35390A_to_time(raw[2], 6), s35390A_to_time(raw[4], 6) + (afternoon ? 12 : 0),
                                   s35390A_to_time(raw[5], 7), s35390A_to_time(raw[6], 7));
  return record("time", time, "hours", (status & k24Hours) != 0 ? 24 : 12, "status", status, "registers", hex_text(raw),
                "host_time", time_stamp(true));
}

/** What the driver holds of the last poll that somebody made. */
static Json held_clock() {
  rtc_record held{};
  require(FW_GetRtc(&held), "real-time clock");
  const rtc_tm &tm = held.tm;
  const bool polled = tm.tm_mday != 0;
  return record(
      "time",
      polled ? Json(text_of(tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec)) : Json(),
      "mode24", held.mode24, "pm", held.pm);
}

static Json clock(Report &report) {
  const Json alive = report.ask("real-time clock", [] { return Json(byte_of(FW_GetRTC_Alive, "real-time clock")); });
  Json all = record("alive", alive, "chip", nullptr, "held", nullptr);
  if (alive.is_null() || alive == 0) return all;
  all["chip"] = report.ask("registers of the clock chip", clock_chip);
  all["held"] = report.ask("time that the driver holds", held_clock);
  return all;
}

static Json sensor_chip() {
  const std::vector<uint8_t> raw = read_i2c(0x9E, 0, 1, 2);
  return record("degrees", *sensed_degrees(), "register", hex_text(raw));
}

static Json temperature_of_board(Report &report) {
  const auto ask_alive = [] { return Json(byte_of(FW_GetLM75_Alive, "temperature sensor")); };
  const Json alive = report.ask("temperature sensor", ask_alive);
  Json all = record("alive", alive, "chip", nullptr, "held", nullptr);
  if (alive.is_null() || alive == 0) return all;
  all["chip"] = report.ask("register of the temperature sensor", sensor_chip);
  all["held"] = report.ask("temperature that the driver holds", [] { return held_temperature()["temperature"]; });
  return all;
}

/** The registers that the library itself reads: that of a register which nobody knows may change something. */
static Json soc_rows(Report &report) {
  struct Named {
    uint32_t address;
    const char *name;
  };
  constexpr Named kRegisters[] = {{0x18110, "loss of signal of ports 24-27, bits 8-11"}, {0x20300, "watchdog, bit 8"}};
  Json all = Json::array();
  for (const auto &[address, name] : kRegisters) {
    const std::string what = format("SoC register 0x%X", address);
    Json row = report.ask(what, [&] {
      uint32_t value = 0;
      require(FW_GetSpecialRegister(address, &value), what);
      return record("address", address, "value", value, "name", name);
    });
    if (!row.is_null()) all.push_back(std::move(row));
  }
  return all;
}

/** What debugCmd prints. A tool that fails or hangs is not asked again. */
static Json phy_rows(Report &report) {
  constexpr uint32_t kNumbers[] = {0, 2, 3};  // control and identifiers: reading them clears nothing
  Json all = Json::array();
  report.ask("PHYs of the switch ports", [&]() -> Json {
    for (uint32_t port = 0; port <= FW_PHY_PORT_LAST; ++port) {
      for (const uint32_t number : kNumbers) all.push_back(phy_register(port, number));
    }
    return {};
  });
  return all;
}

void report_board(Report &report) {
  Json &data = report.data;
  data["identity"] = report.ask("identity", identity);
  data["mac_backup"] = report.ask("MAC backup", mac_backup);
  data["leds"] = led_rows(report);
  data["relay"] = report.ask("alarm relay", [] { return relay()["relay"]; });
  data["flags"] = report.ask("flags", flags);
  data["reset"] = report.ask("reset key", reset_key);
  data["watchdog"] = report.ask("watchdog", watchdog);
  data["power"] = report.ask("power", power);
  data["power_status"] = report.ask("power status", [] { return Json(power_status()); });
  data["supplies"] = rows(report, FW_SUPPLY_FIRST, FW_SUPPLY_LAST, "supply %u", supply_row);
  data["slots"] = rows(report, FW_SLOT_FIRST, FW_SLOT_LAST, "slot %u", slot_row);
  data["ports"] = rows(report, 0, FW_PORT_LAST, "port %u", port_row);
  data["expanders"] = expander_rows(report);
  data["i2c_busy"] = report.ask("I2C bus", [] { return bus_busy()["busy"]; });
  data["clock"] = clock(report);
  data["temperature"] = temperature_of_board(report);
  data["soc_registers"] = soc_rows(report);
  data["switch_phys"] = phy_rows(report);
  data["debug_modes"] = debug_modes(report);
}
