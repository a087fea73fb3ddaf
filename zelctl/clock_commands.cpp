#include <ctime>
#include <memory>

#include "records.h"

constexpr const char *kClock = "real-time clock";
constexpr const char *kSensor = "temperature sensor";
constexpr const char *kHeldOption = "Show what the driver holds; do not read the chip";

/* ---- real-time clock ---- */

std::string clock_text(const rtc_tm &tm) {
  return format("%04d-%02d-%02dT%02d:%02d:%02d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min,
                tm.tm_sec);
}

static void poll_clock() { require(FW_PollRtc(), kClock); }

static void show_clock(bool held) {
  if (!held) poll_clock();
  rtc_record clock{};
  require(FW_GetRtc(&clock), kClock);
  rtc_tm tm = clock.tm;
  if (tm.tm_mday == 0) throw Failure{"the driver holds no time yet: zelctl clock poll"};
  // In 12-hour mode the chip counts from 0 to 11 and has an AM/PM flag.
  const bool afternoon = clock.mode24 == 0 && clock.pm != 0;
  if (afternoon) tm.tm_hour += 12;
  show(record("time", clock_text(tm), "hours", clock.mode24 != 0 ? 24 : 12));
}

static std::optional<std::tm> time_of(const std::string &text) {
  if (text != "now") return time_in(text);
  const std::time_t now = std::time(nullptr);
  return *std::localtime(&now);
}

static void set_hours(uint8_t mode) { require(FW_SetRtc1224(&mode), kClock); }

static void set_clock(const std::string &text) {
  const auto time = time_of(text);
  if (!time) refuse_argument("TIME", "'" + text + "' is not like 2026-03-15T14:30:45, from 2000 to 2099");
  rtc_record clock{};
  clock.tm.tm_sec = time->tm_sec;
  clock.tm.tm_min = time->tm_min;
  clock.tm.tm_hour = time->tm_hour;
  clock.tm.tm_mday = time->tm_mday;
  clock.tm.tm_mon = time->tm_mon;
  clock.tm.tm_year = time->tm_year;
  // FW_SetRtc sets 24-hour mode after the time: a chip in 12-hour mode would lose an hour above 11.
  if (byte_of(FW_GetRtc1224, kClock) != 1) set_hours(1);
  require(FW_SetRtc(&clock), kClock);
  poll_clock();  // so that all who ask the driver get the new time
}

Json clock_mode() { return record("hours", byte_of(FW_GetRtc1224, kClock) == 1 ? 24 : 12); }

/* ---- temperature ---- */

double degrees_in(Bytes sensor_register) {
  const auto word = static_cast<int16_t>(sensor_register[0] << 8 | sensor_register[1]);
  return (word >> 7) * 0.5;  // the upper nine bits, half a degree each
}

std::optional<double> sensed_degrees() {
  uint8_t raw[2] = {};
  if (byte_of(FW_GetLM75_Alive, kSensor) == 0) return std::nullopt;
  require(FW_I2C_BufRead(kSensorAddress, 0, 1, sizeof raw, raw), kSensor);
  return degrees_in(raw);
}

Json held_temperature() {
  temp_record held{};
  require(FW_GetTemperature(&held), kSensor);
  return record("temperature", held.temperature);
}

static void show_temperature(bool held) {
  if (!held) require(FW_PollTemperature(), kSensor);
  show(held_temperature());
}

void add_clock_commands(App &app) {
  const auto held = std::make_shared<bool>();
  const auto time = std::make_shared<std::string>();
  App *family =
      group(app, "clock", "Real-time clock", "clock set 2026-03-15T14:30:45", "get", [held] { show_clock(*held); });
  App *get = command_named(*family, "get");
  add_flag(get, "--held", *held, kHeldOption);
  App *set = command(*family, "set", "Sets the clock, and 24-hour mode", "clock set now",
                     holding_signals([time] { set_clock(*time); }));
  add_text(set, "TIME", *time, "YYYY-MM-DDTHH:MM:SS or now");
  command(*family, "poll", "Reads the chip and hands the time to the driver", "clock poll",
          holding_signals(poll_clock));
  command(*family, "12h", "Sets 12-hour mode", "clock 12h", holding_signals([] { set_hours(0); }));
  command(*family, "24h", "Sets 24-hour mode", "clock 24h", holding_signals([] { set_hours(1); }));
}

void add_temperature_command(App &app) {
  const auto held = std::make_shared<bool>();
  App *leaf = command(app, "temperature", "Board temperature in degrees Celsius", "temperature",
                      [held] { show_temperature(*held); });
  add_flag(leaf, "--held", *held, kHeldOption);
}
