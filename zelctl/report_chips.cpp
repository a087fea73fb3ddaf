#include "event.h"
#include "report.h"

static std::vector<uint8_t> read_i2c(uint8_t address, uint32_t offset, uint32_t offset_len, uint8_t length) {
  std::vector<uint8_t> bytes(length);
  require(FW_I2C_BufRead(address, offset, offset_len, length, bytes.data()), format("I2C device 0x%02X", address));
  return bytes;
}

/* ---- expanders ---- */

/** Ports of eight lines. Each has four registers: input, output, polarity and configuration. */
enum Width : uint32_t { kOnePort = 1, kTwoPorts = 2 };
constexpr uint32_t kRegistersPerPort = 4;
constexpr uint32_t kMainBoard = 0;

struct Expander {
  uint8_t address;
  uint32_t slot;  // of the board that it is on, or kMainBoard
  Width width;
};
constexpr Expander kExpanders[] = {
    {0x40, 1, kTwoPorts},           //
    {0x42, 1, kTwoPorts},           //
    {0x44, 2, kTwoPorts},           //
    {0x46, 2, kTwoPorts},           //
    {0x48, 3, kTwoPorts},           //
    {0x4A, 3, kTwoPorts},           //
    {0x4C, kMainBoard, kTwoPorts},  //
    {0x70, 1, kOnePort},            //
    {0x72, 2, kOnePort},            //
    {0x74, 3, kOnePort},            //
    {0x76, kMainBoard, kOnePort},   //
    {0x78, kMainBoard, kOnePort},   //
    {0x7A, kMainBoard, kOnePort},
};

/** Null for the expander of a board that is not there. */
static Json expander_row(const Expander &expander) {
  const bool on_main_board = expander.slot == kMainBoard;
  if (!on_main_board && fitted_in(expander.slot) != Fitted::Cages) return {};
  Json row = record("address", expander.address, "slot", nullptr, "registers", Json::array());
  if (!on_main_board) row["slot"] = expander.slot;
  for (uint32_t number = 0; number < expander.width * kRegistersPerPort; ++number)
    row["registers"].push_back(read_i2c(expander.address, number, 1, 1)[0]);
  return row;
}

static Json expander_rows(Report &report) {
  Json all = Json::array();
  for (const Expander &expander : kExpanders) {
    Json row = report.ask(format("expander 0x%02X", expander.address), [&] { return expander_row(expander); });
    if (!row.is_null()) all.push_back(std::move(row));
  }
  return all;
}

/* ---- real-time clock ---- */

/** The seven bytes of the chip's time. */
enum TimeByte { kYear, kMonth, kDay, kWeekday, kHour, kMinute, kSecond, kTimeLength };

/** The chip's registers, and the time in them. There is no poll: that would change the time that the driver holds. */
static Json clock_chip() {
  constexpr uint8_t kStatus = 0x60;
  constexpr uint8_t kTime = 0x64;
  constexpr uint8_t k24Hours = 0x40;  // in the status
  constexpr uint8_t kPm = 0x02;       // in the hour
  const std::vector<uint8_t> raw = read_i2c(kTime, 0, 0, kTimeLength);
  const uint8_t status = read_i2c(kStatus, 0, 0, 1)[0];
  const bool has_24_hours = (status & k24Hours) != 0;
  const bool afternoon = !has_24_hours && (raw[kHour] & kPm) != 0;
  rtc_tm tm{};
  tm.tm_year = s35390A_to_time(raw[kYear], 8) + 100;  // counted from 1900
  tm.tm_mon = s35390A_to_time(raw[kMonth], 5) - 1;
  tm.tm_mday = s35390A_to_time(raw[kDay], 6);
  tm.tm_hour = s35390A_to_time(raw[kHour], 6) + (afternoon ? 12 : 0);
  tm.tm_min = s35390A_to_time(raw[kMinute], 7);
  tm.tm_sec = s35390A_to_time(raw[kSecond], 7);
  return record("time", clock_text(tm), "hours", has_24_hours ? 24 : 12, "status", status, "registers", hex_text(raw),
                "host_time", time_stamp(true));
}

/** The time that the driver holds since the last poll, by any program; null if nobody has polled. In 12-hour mode its
 *  hour is 0 to 11, and "pm" tells the half of the day. */
static Json held_clock() {
  rtc_record held{};
  require(FW_GetRtc(&held), "real-time clock");
  const bool polled = held.tm.tm_mday != 0;
  const Json time = polled ? Json(clock_text(held.tm)) : Json();
  return record("time", time, "mode24", held.mode24, "pm", held.pm);
}

static Json clock(Report &report) {
  const Json alive = report.ask("real-time clock", [] { return Json(byte_of(FW_GetRTC_Alive, "real-time clock")); });
  Json all = record("alive", alive, "chip", nullptr, "held", nullptr);
  if (alive.is_null() || alive == 0) return all;
  all["chip"] = report.ask("registers of the clock chip", clock_chip);
  all["held"] = report.ask("time that the driver holds", held_clock);
  return all;
}

/* ---- temperature sensor ---- */

static Json sensor_chip() {
  const std::vector<uint8_t> raw = read_i2c(kSensorAddress, 0, 1, 2);
  return record("degrees", degrees_in(raw), "register", hex_text(raw));
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

/* ---- SoC registers ---- */

/** Only the registers that the library itself reads: reading an unknown register may change something. */
struct SocRegister {
  uint32_t address;
  const char *name;
};
constexpr SocRegister kSocRegisters[] = {
    {0x18110, "loss of signal of ports 24-27, bits 8-11"},
    {kWatchdogRegister, "watchdog, bit 8"},
};

static Json soc_rows(Report &report) {
  Json all = Json::array();
  for (const SocRegister &known : kSocRegisters) {
    const std::string what = format("SoC register 0x%X", known.address);
    Json row = report.ask(what, [&] {
      uint32_t value = 0;
      require(FW_GetSpecialRegister(known.address, &value), what);
      return record("address", known.address, "value", value, "name", known.name);
    });
    if (!row.is_null()) all.push_back(std::move(row));
  }
  return all;
}

void report_chips(Report &report) {
  report.data["expanders"] = expander_rows(report);
  report.data["i2c_busy"] = report.ask("I2C bus", [] { return bus_busy()["busy"]; });
  report.data["clock"] = clock(report);
  report.data["temperature"] = temperature_of_board(report);
  report.data["soc_registers"] = soc_rows(report);
}
