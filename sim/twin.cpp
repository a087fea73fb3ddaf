#include <cstring>
#include <ctime>

#include "indicators.h"
#include "report_values.h"
#include "request.h"
#include "tool.h"
#include "twin_expanders.h"
#include "twin_flash.h"
#include "twin_modules.h"

// `zelsim create --from`: a board like the one of a report of zelctl.

namespace zelsim::tool {
namespace {

constexpr size_t kLargestReport = 64u << 20;

/** Sets a byte of the board; a value that is missing leaves it. */
void put(uint8_t &field, const Json &value) { field = static_cast<uint8_t>(number_of(value, 255).value_or(field)); }

/** Makes a fresh board like the one of a report. Modules and flash have files of their own. */
class Twin {
 public:
  Twin(const Json &report, const ArchivedFiles &files, const Attached &attached)
      : report_(report), files_(files), board_(*attached.board) {}

  void build(const std::string &folder) {
    note_what_was_not_read();
    build_slots();
    build_supplies();
    build_gpio();
    build_clock();
    build_temperature();
    build_registers();
    modules_ = plug_modules(report_, files_, board_, notes_);
    build_signals();
    set_expanders(report_, board_, notes_);
    light_modules(board_, notes_);
    set_phys(report_, board_, notes_);
    has_flash_ = fill_flash(report_, files_, folder, notes_);
    note_what_no_driver_tells();
  }

  unsigned modules() const { return modules_; }
  bool has_flash() const { return has_flash_; }
  const Json &not_held() const { return notes_.rows(); }

 private:
  const Json &at(std::initializer_list<const char *> names) const { return member(report_, names); }

  void note(const std::string &what, const std::string &why) { notes_.add(what, why); }

  void build_slots() {
    for (const Json &row : at({"slots"})) {
      auto slot = number_of(member(row, {"slot"}), kSlots);
      if (!slot || *slot == 0) continue;
      auto type = number_of(member(row, {"type"}), 255).value_or(kNoBoard);
      fit(board_, *slot - 1, static_cast<uint8_t>(type));
      board_.made_slots[*slot - 1] = static_cast<uint8_t>(type);
      put(board_.i2c.slot_alive[*slot - 1], member(row, {"alive"}));
    }
  }

  void build_supplies() {
    constexpr unsigned kGood[kSupplies] = {kFirstSupplyGood, kSecondSupplyGood};
    auto status = number_of(at({"power_status"}), 255);
    for (const Json &row : at({"supplies"})) {
      auto supply = number_of(member(row, {"supply"}), kSupplies);
      auto conf = number_of(member(row, {"conf"}), static_cast<uint32_t>(Supply::Dc));
      if (!supply || *supply == 0) continue;
      if (!conf) note(format("supply %u", *supply), "the virtual switch has no supply of its type");
      unsigned index = *supply - 1;
      if (conf) board_.supply[index] = static_cast<Supply>(*conf);
      if (status) board_.supply_good[index] = (*status & kGood[index]) != 0;
    }
    if (status && *status != power_status(board_))
      note("power status", format("bits 0x%02x do not agree with the supplies", *status ^ power_status(board_)));
  }

  void build_gpio() {
    Gpio &gpio = board_.gpio;
    for (const Json &row : at({"leds"})) {
      const Indicator *indicator = indicator_of_led(text_of(member(row, {"led"})));
      // A row without a name finds the relay, which is no LED and has no name either.
      bool is_led = indicator != nullptr && indicator->led[0] != '\0';
      if (is_led) put(indicator->state(gpio), member(row, {"value"}));
    }
    put(gpio.relay, at({"relay"}));
    put(gpio.diag_flag, at({"flags", "diagnostic"}));
    put(gpio.flash_access_flag, at({"flags", "flash_access_flag"}));
    put(gpio.reset_key, at({"reset", "reset_key"}));
    put(gpio.reset_process, at({"reset", "reset_process"}));
    put(gpio.debug, at({"debug_modes", "gpio"}));
    put(board_.i2c.debug, at({"debug_modes", "i2c"}));
    put(board_.flash.debug, at({"debug_modes", "flash"}));
    put(board_.i2c.busy, at({"i2c_busy"}));
    put(board_.flash.chip_index, at({"flash", "chip_index"}));
  }

  // The chip keeps its distance to the host's time.
  void build_clock() {
    constexpr int64_t kSecondUs = 1000000;
    Clock &clock = board_.i2c.clock;
    put(board_.i2c.clock_present, at({"clock", "alive"}));
    put(clock.value[kClockStatus], at({"clock", "chip", "status"}));
    std::vector<uint8_t> registers = bytes_of_hex(at({"clock", "chip", "registers"}));
    if (registers.size() == kClockTimeBytes) {
      auto chip = static_cast<time_t>(clock_reading(registers.data()));
      auto host = seconds_of(at({"clock", "chip", "host_time"}));
      if (host) {
        clock.shift_us = (chip - *host) * kSecondUs;
      } else {
        set_clock(board_, chip);
      }
      int weekday = clock_weekday(registers.data());
      clock.weekday_shift = weekday_shift(weekday, *std::gmtime(&chip));
    }
    build_held_clock();
  }

  // The record that the driver keeps for readers.
  void build_held_clock() {
    ClockRecord record = {};
    put(record.mode24, at({"clock", "held", "mode24"}));
    put(record.pm, at({"clock", "held", "pm"}));
    auto seconds = seconds_of(at({"clock", "held", "time"}));
    if (seconds) {
      auto time = static_cast<time_t>(*seconds);
      const std::tm &held = *std::gmtime(&time);
      record.second = held.tm_sec;
      record.minute = held.tm_min;
      record.hour = held.tm_hour;
      record.month_day = held.tm_mday;
      record.month = held.tm_mon;
      record.year = held.tm_year;
      record.weekday = held.tm_wday;
    }
    std::memcpy(board_.i2c.rtc_record, &record, sizeof record);
  }

  void build_temperature() {
    put(board_.i2c.sensor_present, at({"temperature", "alive"}));
    std::vector<uint8_t> sensed = bytes_of_hex(at({"temperature", "chip", "register"}));
    if (sensed.size() == 2)
      board_.i2c.sensor.value[kSensorTemperature] = static_cast<uint16_t>(sensed[0] << 8 | sensed[1]);
    const Json &held = at({"temperature", "held"});
    if (!held.is_number()) return;
    auto degrees = held.get<float>();
    std::memcpy(board_.i2c.temperature_record, &degrees, sizeof degrees);
  }

  void set_register(RegisterSpace space, uint32_t port, uint32_t address, uint32_t value) {
    bool differs = read_register(board_, space, static_cast<uint8_t>(port), address) != value;
    if (differs) write_register(board_, space, static_cast<uint8_t>(port), address, value);
  }

  void build_registers() {
    for (const Json &row : at({"soc_registers"})) {
      auto address = number_of(member(row, {"address"}), UINT32_MAX);
      auto value = number_of(member(row, {"value"}), UINT32_MAX);
      if (address && value) set_register(RegisterSpace::Soc, 0, *address, *value);
    }
    for (const Json &row : at({"switch_phys"})) {
      auto port = number_of(member(row, {"port"}), kPorts - 1);
      auto number = number_of(member(row, {"register"}), 31);
      if (port && number) set_switch_phy(*port, *number, text_of(member(row, {"debugCmd"})));
    }
  }

  // The platform's tool prints the value last.
  void set_switch_phy(uint32_t port, uint32_t number, const std::string &printed) {
    size_t value_at = printed.rfind("0x");
    auto value = value_at != std::string::npos ? number_in(printed.substr(value_at), 0, 0xffff) : std::nullopt;
    if (value) {
      set_register(RegisterSpace::Phy, port, number, *value);
    } else {
      note(format("PHY of switch port %u, register %u", port, number), "debugCmd printed no value: " + printed);
    }
  }

  void build_signals() {
    for (const Json &row : at({"ports"})) {
      auto port = number_of(member(row, {"port"}), kPorts - 1);
      if (!port || !has_cage(board_, *port)) continue;
      Cage &cage = board_.cages[*port];
      put(cage.tx_fault, member(row, {"tx_fault"}));
      put(cage.loss_of_signal, member(row, {"loss_of_signal"}));
      bool has_module = member(row, {"module"}) == true;
      if (has_module && !cage.fitted) note(format("port %u: module", *port), "the report could not read it");
    }
  }

  void note_what_was_not_read() {
    for (const Json &row : at({"not_read"})) note(text_of(member(row, {"what"})), text_of(member(row, {"why"})));
  }

  void note_what_no_driver_tells() {
    constexpr const char *kUntold[] = {"reset flag",
                                       "I/O value",
                                       "fail flags of clock and sensor",
                                       "whether the watchdog is toggled",
                                       "serial-GPIO chain",
                                       "wear of the flash",
                                       "registers that are in no report",
                                       "auto-negotiation time of copper PHYs (settle)"};
    for (const char *what : kUntold) note(what, "no driver tells of it");
  }

  const Json &report_;
  const ArchivedFiles &files_;
  Board &board_;
  Notes notes_;
  unsigned modules_ = 0;
  bool has_flash_ = false;  // all of it
};

ArchivedFiles files_of_report(const std::string &path) {
  try {
    return files_of_tar(unpack_whole(read_file(path, kLargestReport, "--from"), kLargestReport));
  } catch (const Failure &failure) {
    throw Usage("--from: '" + path + "' is no report: " + failure.what());
  }
}

Json report_in(const ArchivedFiles &files, const std::string &path) {
  constexpr unsigned kReportVersion = 1;
  auto found = files.find("report.json");
  Json report = found != files.end() ? Json::parse(found->second, nullptr, false) : Json();
  if (text_of(member(report, {"format"})) != "zelboard-report")
    throw Usage("--from: '" + path + "' is no report of zelctl");
  if (number_of(member(report, {"version"}), UINT32_MAX) != kReportVersion)
    throw Usage("--from: '" + path + "' is a report of another version");
  return report;
}

}  // namespace

void create_twin(const CommandLine &line) {
  if (!line.slots.empty()) throw Usage("--slots: the report of --from tells them");
  const ArchivedFiles files = files_of_report(line.from);
  const Json report = report_in(files, line.from);
  unsigned modules = 0;
  bool has_flash = false;
  Json not_held;
  std::filesystem::path folder = make_board(line.name(), [&](const Attached &attached, const std::string &fresh) {
    Twin twin(report, files, attached);
    twin.build(fresh);
    modules = twin.modules();
    has_flash = twin.has_flash();
    not_held = twin.not_held();
  });
  print(record("board", folder.filename().native(), "modules", modules, "flash", has_flash, "not_held", not_held),
        line.json);
}

}  // namespace zelsim::tool
