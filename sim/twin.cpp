#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "../cli/archive.h"
#include "../cli/module_page.h"
#include "diagnostics_page.h"
#include "flash_map.h"
#include "modules.h"
#include "system_calls.h"
#include "tool.h"

// `zelsim create --from`: a board like the one that `zelctl report` was asked on.

namespace zelsim::tool {
namespace {

constexpr size_t kLargestReport = 64u << 20;

/** A member of an object by its names; null where there is none. */
const Json &member(const Json &from, std::initializer_list<const char *> names) {
  static const Json kNothing;
  const Json *at = &from;
  for (const char *name : names) {
    if (!at->is_object() || !at->contains(name)) return kNothing;
    at = &(*at)[name];
  }
  return *at;
}

/** A report is somebody else's file: what is no number of the range counts as missing. */
std::optional<uint32_t> number_of(const Json &value, uint32_t highest) {
  if (value.is_boolean()) return value.get<bool>() ? 1 : 0;
  if (!value.is_number_integer()) return {};
  auto number = value.get<int64_t>();
  if (number < 0 || number > highest) return {};
  return static_cast<uint32_t>(number);
}

std::string text_of(const Json &value) { return value.is_string() ? value.get<std::string>() : ""; }

std::vector<uint8_t> bytes_of_hex(const Json &value) {
  std::string digits = text_of(value);
  std::erase_if(digits, [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) == 0; });
  std::vector<uint8_t> bytes;
  for (size_t i = 0; i + 1 < digits.size(); i += 2)
    bytes.push_back(static_cast<uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
  return bytes;
}

/** A time of the report in seconds since 1970, a Z behind it or not. */
std::optional<int64_t> seconds_of(const Json &value) {
  constexpr size_t kLength = sizeof "2026-03-15T14:30:45" - 1;
  std::optional<std::tm> time = time_in(text_of(value).substr(0, kLength));
  if (!time) return {};
  return timegm(&*time);
}

void put(uint8_t &field, const Json &value) { field = static_cast<uint8_t>(number_of(value, 255).value_or(field)); }

struct LedField {
  const char *led;
  size_t offset;
};
constexpr LedField kLeds[] = {
    {"system", offsetof(Gpio, system_led)},           {"alarm", offsetof(Gpio, alarm_led)},
    {"power1", offsetof(Gpio, power_led[0])},         {"power2", offsetof(Gpio, power_led[1])},
    {"ring-master", offsetof(Gpio, ring_master_led)}, {"ring-fail", offsetof(Gpio, ring_fail_led)},
    {"speed24", offsetof(Gpio, speed_led[0])},        {"speed25", offsetof(Gpio, speed_led[1])},
    {"speed26", offsetof(Gpio, speed_led[2])},        {"speed27", offsetof(Gpio, speed_led[3])},
};

constexpr uint8_t kPhyAddress = 0xac;

uint16_t phy_value(Board &board, uint8_t number) {
  uint8_t data[2] = {};
  Transfer transfer = {
      .write = false, .address = kPhyAddress, .offset = number, .offset_len = 1, .data = data, .len = 2};
  copper_phy(board, transfer);
  return static_cast<uint16_t>(data[0] << 8 | data[1]);
}

/** Makes a fresh board like the one of a report. */
class Twin {
 public:
  Twin(const Json &report, const ArchivedFiles &files, const Attached &attached)
      : report_(report), files_(files), board_(*attached.board) {}

  void build(const std::string &folder) {
    build_slots();
    build_supplies();
    build_gpio();
    build_clock();
    build_temperature();
    build_registers();
    build_modules();
    build_signals();
    build_expanders();
    build_phys();
    build_flash(folder);
    note_what_no_driver_tells();
  }

  unsigned modules() const { return modules_; }
  /** What the report does not hold, or the board cannot be made like. */
  const Json &not_held() const { return not_held_; }

 private:
  const Json &at(std::initializer_list<const char *> names) const { return member(report_, names); }

  const std::vector<uint8_t> *file(const Json &name) const {
    auto found = files_.find(text_of(name));
    return found != files_.end() ? &found->second : nullptr;
  }

  void note(const std::string &what, const std::string &why) { not_held_.push_back(record("what", what, "why", why)); }

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
    constexpr unsigned kFirstGood = 0x40;  // of the power status; the second one's is the bit above
    auto status = number_of(at({"power_status"}), 255);
    for (const Json &row : at({"supplies"})) {
      auto supply = number_of(member(row, {"supply"}), kSupplies);
      auto conf = number_of(member(row, {"conf"}), static_cast<uint32_t>(Supply::Dc));
      if (!supply || *supply == 0) continue;
      if (!conf) note(format("supply %u", *supply), "its type is none that the virtual switch has");
      unsigned index = *supply - 1;
      if (conf) board_.supply[index] = static_cast<Supply>(*conf);
      if (status) board_.supply_good[index] = (*status & kFirstGood << index) != 0;
    }
    if (status && *status != power_status(board_))
      note("power status", format("bits 0x%02x go with no supplies", *status ^ power_status(board_)));
  }

  void build_gpio() {
    Gpio &gpio = board_.gpio;
    auto *fields = reinterpret_cast<uint8_t *>(&gpio);
    for (const Json &row : at({"leds"})) {
      for (const LedField &led : kLeds) {
        if (text_of(member(row, {"led"})) == led.led) put(fields[led.offset], member(row, {"value"}));
      }
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
    constexpr size_t kTimeFields = 7;
    constexpr int64_t kMicroseconds = 1000000;
    Clock &clock = board_.i2c.clock;
    put(board_.i2c.clock_present, at({"clock", "alive"}));
    put(clock.value[0], at({"clock", "chip", "status"}));
    std::vector<uint8_t> registers = bytes_of_hex(at({"clock", "chip", "registers"}));
    if (registers.size() == kTimeFields) {
      auto chip = static_cast<time_t>(clock_reading(registers.data()));
      auto host = seconds_of(at({"clock", "chip", "host_time"}));
      if (host) {
        clock.shift_us = (chip - *host) * kMicroseconds;
      } else {
        set_clock(board_, chip);
      }
      int weekday = clock_weekday(registers.data());
      clock.weekday_shift = static_cast<uint8_t>((weekday - std::gmtime(&chip)->tm_wday + 7) % 7);
    }
    build_held_clock();
  }

  void build_held_clock() {
    uint8_t *record = board_.i2c.rtc_record;
    put(record[0], at({"clock", "held", "mode24"}));
    put(record[1], at({"clock", "held", "pm"}));
    auto seconds = seconds_of(at({"clock", "held", "time"}));
    if (!seconds) return;
    auto time = static_cast<time_t>(*seconds);
    const std::tm &held = *std::gmtime(&time);
    const int words[] = {held.tm_sec, held.tm_min, held.tm_hour, held.tm_mday, held.tm_mon, held.tm_year, held.tm_wday};
    std::memcpy(record + 4, words, sizeof words);
  }

  void build_temperature() {
    put(board_.i2c.sensor_present, at({"temperature", "alive"}));
    std::vector<uint8_t> sensed = bytes_of_hex(at({"temperature", "chip", "register"}));
    if (sensed.size() == 2) board_.i2c.sensor.value[0] = static_cast<uint16_t>(sensed[0] << 8 | sensed[1]);
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

  // What the platform's tool prints ends with the value.
  void set_switch_phy(uint32_t port, uint32_t number, const std::string &printed) {
    size_t value_at = printed.rfind("0x");
    auto value = value_at != std::string::npos ? number_in(printed.substr(value_at), 0, 0xffff) : std::nullopt;
    if (value) {
      set_register(RegisterSpace::Phy, port, number, *value);
    } else {
      note(format("PHY of switch port %u, register %u", port, number), "debugCmd printed no value: " + printed);
    }
  }

  void build_modules() {
    for (const Json &row : at({"modules"})) {
      auto port = number_of(member(row, {"port"}), kPorts - 1);
      if (!port || !has_cage(board_, *port)) continue;
      std::optional<MemoryPage> page = page_in(member(row, {"a0"}));
      if (page) {
        build_module(*port, row, *page);
      } else {
        note(format("port %u: module", *port), "the report has not its page A0h");
      }
    }
  }

  std::optional<MemoryPage> page_in(const Json &name) const {
    const std::vector<uint8_t> *bytes = file(name);
    MemoryPage page = {};
    if (bytes == nullptr || bytes->size() != page.size()) return {};
    std::copy(bytes->begin(), bytes->end(), page.begin());
    return page;
  }

  void build_module(unsigned port, const Json &row, const MemoryPage &page) {
    const ::ModulePage first_half = std::span(page).first<kPageLength>();
    std::string name = printable(part_number_of(first_half));
    const Json &a2 = member(row, {"a2"});
    Diagnostics diagnostics = diagnostics_for_cage(page, page_in(a2));
    plug(board_, port, name.empty() ? "module" : name.c_str(), page.data(), phy_kind(row, first_half), diagnostics);
    board_.gpio.selected_cage = static_cast<uint8_t>(port);  // where the report has left it
    ++modules_;
    if (!a2.is_null() && !diagnostics.present)
      note(format("port %u: page A2h", port), "page A0h announces none, or the report has not its bytes");
    if (board_.cages[port].phy != PhyKind::None && !member(row, {"phy"}).is_array())
      note(format("port %u: PHY of the module", port), "it was switched off with its transmitter");
  }

  // The maker stands in register 2.
  static PhyKind phy_kind(const Json &row, ::ModulePage page) {
    constexpr uint32_t kMaker = 2, kMarvell = 0x0141;
    if (!is_copper_module(page)) return PhyKind::None;
    for (const Json &phy : member(row, {"phy"})) {
      bool is_other =
          number_of(member(phy, {"register"}), 31) == kMaker && number_of(member(phy, {"value"}), 0xffff) != kMarvell;
      if (is_other) return PhyKind::Other;
    }
    return PhyKind::Marvell;
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

  // Registers as the chip has them: input, output, polarity and configuration of one or two ports.
  void build_expanders() {
    for (const Json &row : at({"expanders"})) {
      auto address = number_of(member(row, {"address"}), 0xfe);
      const Json &registers = member(row, {"registers"});
      if (!address || !registers.is_array()) continue;
      for (size_t i = 0; i < registers.size(); ++i) {
        auto value = number_of(registers[i], 255);
        if (value) set_expander(static_cast<uint8_t>(*address), static_cast<uint8_t>(i), static_cast<uint8_t>(*value));
      }
      if (*address == kMainWideAddress) build_io_levels(registers);
      check_inputs(static_cast<uint8_t>(*address), registers);
    }
  }

  int move(uint8_t address, uint8_t number, uint8_t &value, bool write) {
    Transfer transfer = {
        .write = write, .address = address, .offset = number, .offset_len = 1, .data = &value, .len = 1};
    return expander(board_, transfer);
  }

  static bool is_expander(uint8_t address) {
    bool wide = address >= kFirstWideAddress && address <= kMainWideAddress;
    bool narrow = address >= kFirstNarrowAddress && address <= kLastNarrowAddress;
    return (wide || narrow) && address % 2 == 0;
  }

  void set_expander(uint8_t address, uint8_t number, uint8_t value) {
    if (is_expander(address)) move(address, number, value, true);
  }

  // Levels that come from outside show where a line is an input.
  void build_io_levels(const Json &registers) {
    constexpr size_t kPolarity = 4;
    constexpr size_t kConfiguration = 6;
    constexpr size_t kAllRegisters = 8;
    if (registers.size() != kAllRegisters) return;
    for (size_t port = 0; port < std::size(board_.i2c.io_level); ++port) {
      auto shown = number_of(registers[port], 255).value_or(0xff);
      auto polarity = number_of(registers[kPolarity + port], 255).value_or(0);
      auto inputs = number_of(registers[kConfiguration + port], 255).value_or(0xff);
      board_.i2c.io_level[port] = static_cast<uint8_t>((shown ^ polarity) | ~inputs);
    }
  }

  void check_inputs(uint8_t address, const Json &registers) {
    if (!is_expander(address)) return;
    size_t inputs = address <= kMainWideAddress ? 2 : 1;
    for (size_t i = 0; i < std::min(inputs, registers.size()); ++i) {
      uint8_t value = 0;
      auto wanted = number_of(registers[i], 255);
      bool is_read = move(address, static_cast<uint8_t>(i), value, false) == 0;
      if (is_read && wanted && *wanted != value)
        note(format("expander 0x%02X, register %zu", address, i),
             format("lines 0x%02x are levels that no module gives", *wanted ^ value));
    }
  }

  // After the expanders: a PHY answers while its transmitter is on.
  void build_phys() {
    uint8_t selected = board_.gpio.selected_cage;
    for (const Json &row : at({"modules"})) {
      auto port = number_of(member(row, {"port"}), kPorts - 1);
      const Json &registers = member(row, {"phy"});
      if (!port || !registers.is_array() || board_.cages[*port].phy == PhyKind::None) continue;
      build_phy(*port, registers);
    }
    board_.gpio.selected_cage = selected;
  }

  void build_phy(unsigned port, const Json &registers) {
    constexpr unsigned kPhyRegisters = 32, kPhyStatus = 17;
    Cage &cage = board_.cages[port];
    for (const Json &row : registers) {
      auto number = number_of(member(row, {"register"}), kPhyRegisters - 1);
      auto value = number_of(member(row, {"value"}), 0xffff);
      if (!number || !value) continue;
      if (*number == kPhyStatus) {
        set_link(cage, *value);
      } else {
        cage.phy_register[*number] = static_cast<uint16_t>(*value);
      }
    }
    cage.negotiating_since_us = now_us(board_) - int64_t{board_.settle_ms} * 1000;
    board_.gpio.selected_cage = static_cast<uint8_t>(port);
    for (const Json &row : registers) {
      auto number = number_of(member(row, {"register"}), kPhyRegisters - 1);
      auto wanted = number_of(member(row, {"value"}), 0xffff);
      if (!number || !wanted) continue;
      uint16_t value = phy_value(board_, static_cast<uint8_t>(*number));
      if (value != *wanted)
        note(format("port %u: PHY register %u", port, *number), format("0x%04x, not 0x%04x", value, *wanted));
    }
  }

  static void set_link(Cage &cage, uint32_t status) {
    constexpr uint32_t k1000 = 0x8000, k100 = 0x4000, kFullDuplex = 0x2000, kLink = 0x0400;
    cage.link_speed = 10;
    if (status & k100) cage.link_speed = 100;
    if (status & k1000) cage.link_speed = 1000;
    if (!(status & kLink)) cage.link_speed = 0;
    cage.full_duplex = (status & kFullDuplex) != 0;
  }

  void build_flash(const std::string &folder) {
    const std::vector<uint8_t> *whole = file(at({"flash", "content"}));
    const std::vector<uint8_t> *environment = file(at({"environment", "file"}));
    if (whole != nullptr && whole->size() == kFlashSize) {
      write_flash(folder, 0, *whole);
    } else {
      if (environment != nullptr) write_flash(folder, flash_range("Environment").start, *environment);
      note_regions();
    }
    for (const Json &name : at({"redacted", "variables"}))
      note("variable " + text_of(name) + " of the boot environment", "the report has it without its value");
    std::vector<uint8_t> id = bytes_of_hex(at({"flash", "jedec_id"}));
    bool other_chip = !id.empty() && id != std::vector<uint8_t>{0x20, 0xba, 0x19};
    if (other_chip) note("flash chip " + text_of(at({"flash", "jedec_id"})), "the virtual switch has another one");
  }

  static void write_flash(const std::string &folder, uint32_t start, std::span<const uint8_t> bytes) {
    sys::File file(sys::open((folder + kFlashFile).c_str(), O_RDWR | O_CLOEXEC));
    std::vector<uint8_t> stored(kSectorSize);
    bytes = bytes.first(std::min<size_t>(bytes.size(), kFlashSize - start));
    for (size_t at = 0; at < bytes.size(); at += kSectorSize) {
      std::span<const uint8_t> sector = bytes.subspan(at, std::min<size_t>(kSectorSize, bytes.size() - at));
      bool is_erased = std::ranges::all_of(sector, [](uint8_t byte) { return byte == 0xff; });
      if (is_erased) continue;
      std::ranges::transform(sector, stored.begin(), [](uint8_t byte) { return static_cast<uint8_t>(~byte); });
      auto place = static_cast<off_t>(start + at);
      if (sys::pwrite(file.get(), stored.data(), sector.size(), place) != std::ssize(sector))
        throw Failure(std::string("cannot write the flash image: ") + std::strerror(errno));
    }
  }

  void note_regions() {
    for (const Json &row : at({"flash", "regions"})) {
      std::string name = text_of(member(row, {"region"}));
      auto used = number_of(member(row, {"used_sectors"}), kSectors).value_or(0);
      if (used > 0 && text_of(member(row, {"code"})) != "E")
        note("flash region " + name, "the report was made without --flash");
    }
  }

  void note_what_no_driver_tells() {
    constexpr const char *kUntold[] = {
        "reset flag",        "I/O value",         "fail flags of clock and sensor", "whether the watchdog is toggled",
        "serial-GPIO chain", "wear of the flash", "registers that are in no report"};
    for (const Json &row : at({"not_read"})) note(text_of(member(row, {"what"})), text_of(member(row, {"why"})));
    for (const char *what : kUntold) note(what, "no driver tells of it");
  }

  const Json &report_;
  const ArchivedFiles &files_;
  Board &board_;
  Json not_held_ = Json::array();
  unsigned modules_ = 0;
};

ArchivedFiles files_of_report(const std::string &path) {
  try {
    return files_of_tar(unpacked(read_file(path, kLargestReport, "--from"), kLargestReport));
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
  Json not_held;
  std::filesystem::path folder = make_board(line.name(), [&](const Attached &attached, const std::string &fresh) {
    Twin twin(report, files, attached);
    twin.build(fresh);
    modules = twin.modules();
    not_held = twin.not_held();
  });
  bool has_flash = files.contains("flash.bin");
  print(record("board", folder.filename().native(), "modules", modules, "flash", has_flash, "not_held", not_held),
        line.json);
}

}  // namespace zelsim::tool
