#include <ctime>

#include "records.h"

constexpr const char *kClock = "real-time clock", *kSensor = "temperature sensor";
constexpr uint32_t kTransferLimit = FW_I2C_LEN_MAX;

static uint32_t address, offset, length, offset_len = 1;
static std::vector<uint32_t> values;
static std::string time_text;
static bool held;

static void read_device() {
  uint8_t bytes[kTransferLimit] = {};
  require(FW_I2C_BufRead(static_cast<uint8_t>(address), offset, offset_len, static_cast<uint8_t>(length), bytes),
          format("I2C device 0x%02X", address));
  if (settings.json) return show(record("address", address, "offset", offset, "data", hex_text({bytes, length})));
  hexdump({bytes, length}, offset);
}

static void write_device() {
  const std::vector<uint8_t> bytes(values.begin(), values.end());
  if (bytes.size() > kTransferLimit) refuse_argument("BYTES", format("more than %u", kTransferLimit));
  require(FW_I2C_BufWrite(static_cast<uint8_t>(address), offset, offset_len, static_cast<uint8_t>(bytes.size()),
                          bytes.data()),
          format("I2C device 0x%02X", address));
}

static void poll_clock() { require(FW_PollRtc(), kClock); }

static void get_clock() {
  if (!held) poll_clock();
  rtc_record clock{};
  require(FW_GetRtc(&clock), kClock);
  const rtc_tm &tm = clock.tm;
  if (tm.tm_mday == 0) throw Failure{"the driver holds no time yet: zelctl clock poll"};
  // In 12-hour mode the chip counts 0-11 beside its AM/PM flag.
  const int hour = tm.tm_hour + (clock.mode24 == 0 && clock.pm != 0 ? 12 : 0);
  const std::string time =
      format("%04d-%02d-%02dT%02d:%02d:%02d", tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, hour, tm.tm_min, tm.tm_sec);
  show(record("time", time, "hours", clock.mode24 != 0 ? 24 : 12));
}

static void set_clock() {
  const std::time_t now = std::time(nullptr);
  const auto given = time_text == "now" ? *std::localtime(&now) : time_in(time_text);
  if (!given) refuse_argument("TIME", "'" + time_text + "' is not like 2026-03-15T14:30:45, from 2000 to 2099");
  const std::tm &time = *given;
  rtc_record clock{};
  clock.tm = {time.tm_sec, time.tm_min, time.tm_hour, time.tm_mday, time.tm_mon, time.tm_year, 0, 0, 0, 0, 0};
  require(FW_SetRtc(&clock), kClock);
  poll_clock();  // so that the driver's readers see the new time
}

static void set_hours(uint8_t mode) { require(FW_SetRtc1224(&mode), kClock); }

static void add_i2c(App &app) {
  App *family = command(app, "i2c", "Transfers on the board's I2C bus", "i2c read 0x9e 0 2");
  App *read = command(*family, "read", "Reads from a device", "i2c read 0x40 2 1", read_device);
  App *write = command(*family, "write", "Writes to a device", "i2c write 0x40 2 0x44", write_device);
  for (App *leaf : {read, write}) {
    number(leaf, "ADDRESS", address, "Device address, 8-bit form", 0, 0xFF);
    number(leaf, "OFFSET", offset, "Register or memory address in the device", 0, 0xFFFFFFFF);
    number(leaf, "--offset-len", offset_len, "Offset bytes that are sent (1)", 0, 4);
  }
  number(read, "LENGTH", length, "Bytes", 1, kTransferLimit);
  bytes(write, "BYTES", values, "Bytes to write");
  command(*family, "busy", "The bus-busy flag", "i2c busy", [] { show(bus_busy()); });
  command(*family, "refresh", "Refreshes the bus", "i2c refresh", [] { require(FW_ReflashI2CBus(), "I2C bus"); });
}

Json bus_busy() { return record("busy", byte_of(FW_Get_I2C_Busy, "I2C busy flag") != 0); }

Json clock_mode() { return record("hours", byte_of(FW_GetRtc1224, kClock) == 1 ? 24 : 12); }

std::optional<double> sensed_degrees() {
  uint8_t raw[2] = {};
  if (byte_of(FW_GetLM75_Alive, kSensor) == 0) return {};
  require(FW_I2C_BufRead(0x9E, 0, 1, sizeof raw, raw), kSensor);
  return (static_cast<int16_t>(raw[0] << 8 | raw[1]) >> 7) * 0.5;  // nine bits of half a degree each
}

Json temperature() {
  temp_record held_value{};
  require(FW_GetTemperature(&held_value), kSensor);
  return record("temperature", held_value.temperature);
}

void add_bus_commands(App &app) {
  add_i2c(app);
  App *family = group(app, "clock", "Real-time clock", "clock set 2026-03-15T14:30:45", "get", get_clock);
  App *get = command_named(*family, "get");
  App *set = command(*family, "set", "Sets the clock, and 24-hour mode", "clock set now", set_clock);
  any_text(set, "TIME", time_text, "YYYY-MM-DDTHH:MM:SS or now");
  command(*family, "poll", "Reads the chip and hands the time to the driver", "clock poll", poll_clock);
  command(*family, "12h", "Sets 12-hour mode", "clock 12h", [] { set_hours(0); });
  command(*family, "24h", "Sets 24-hour mode", "clock 24h", [] { set_hours(1); });
  App *sensor = command(app, "temperature", "Board temperature in degrees Celsius", "temperature", [] {
    if (!held) require(FW_PollTemperature(), kSensor);
    show(temperature());
  });
  for (App *leaf : {get, sensor}) flag(leaf, "--held", held, "What the driver holds; the chip is not read");
}
