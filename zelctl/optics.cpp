#include "optics.h"

WholePage whole_identification(uint32_t port) {
  require_cage(port);
  select_module(port);
  return read_whole_page(port, FW_SFP_MEMORY, kIdentificationText);
}

WholePage whole_diagnostics(uint32_t port) {
  require_diagnostics(port, lower_half_of(whole_identification(port)));
  return read_whole_page(port, kDiagnosticsMemory, kDiagnosticsText);
}

LowerHalves lower_halves(uint32_t port) {
  require_cage(port);
  select_module(port);
  LowerHalves pages{};
  pages.identification = read_lower_half(port, FW_SFP_MEMORY, kIdentificationText);
  require_diagnostics(port, pages.identification);
  pages.diagnostics = read_lower_half(port, kDiagnosticsMemory, kDiagnosticsText);
  return pages;
}

Json diagnostics_record(uint32_t port, const LowerHalves &pages) {
  Json all = record("port", port, "vendor", vendor_of(pages.identification), "part_number",
                    part_number_of(pages.identification));
  all.update(decode_diagnostics(pages.identification, pages.diagnostics));
  return all;
}

enum class Presence { In, Gone, Unknown };
static Presence presence_of(uint32_t port) {
  uint8_t absent = 0;
  if (FW_GetPortSfpPresnt(port, &absent) != 0) return Presence::Unknown;
  return absent != 0 ? Presence::Gone : Presence::In;
}

static void read_module(Flags flags, Optics &optics) {
  const uint32_t port = optics.port;
  ask_driver(Gpio, [&] { require_port(FW_SfpSel(port), port, "selection of the cage"); });
  const LowerHalf identification = read_lower_half(port, FW_SFP_MEMORY, kIdentificationText);
  optics.vendor = vendor_of(identification);
  optics.part_number = part_number_of(identification);
  optics.serial_number = serial_number_of(identification);
  if (!can_read_diagnostics(identification)) return;
  const uint8_t length = flags == Flags::Read ? kPageLength : kDiagnosticsFlags;
  optics.diagnostics =
      diagnostics_in(identification, read_lower_half(port, kDiagnosticsMemory, kDiagnosticsText, length));
  optics.measures = true;
}

/** @param what  "transmitter" or "fault": words of the table of what is watched */
static bool port_has(const std::vector<Reading> &readings, const std::string &port, const char *what) {
  const std::string subject = "port " + port + " " + what;
  for (const Reading &reading : readings) {
    if (reading.subject == subject) return reading.value == 1.0;
  }
  return false;
}

static bool diagnostics_left_alone;

void optics_option(App *app, Flags flags) {
  std::string what = "Leave the modules' diagnostics, and the cage selection, alone. Without it ";
  if (flags == Flags::Read)
    what += "the modules' latched flags are read, and reading clears them";
  else
    what += "values are watched, but not the flags that modules latch, since reading clears them";
  add_flag(app, "--no-optics", diagnostics_left_alone, what.c_str());
}

static bool laser_is_off(const Optics &optics, const std::vector<Reading> &readings) {
  const bool by_cage = port_has(readings, optics.which, "transmitter") || port_has(readings, optics.which, "fault");
  return by_cage || optics.diagnostics.soft_tx_disable.value_or(false);
}

/** Notes who did not answer: the module alone, or the driver. @return false if the module was pulled meanwhile */
static bool note_silence(const SilentDriver &silent, const Reading &reading, Round &round, Optics &optics) {
  const Presence presence = presence_of(optics.port);
  if (presence == Presence::Gone) return false;
  optics.silence = silent.what();
  // If the module's presence can be read, the bus works: only the module is silent.
  const bool only_module = silent.driver == I2c && presence == Presence::In;
  if (only_module) return true;
  optics.source = reading.source;
  round.up[silent.driver] = false;
  return true;
}

bool is_module_reading(const Reading &reading) { return reading.subject == "port " + reading.which + " module"; }

std::vector<Optics> read_optics(Round &round, const std::vector<Reading> &readings, Flags flags) {
  std::vector<Optics> all;
  if (diagnostics_left_alone) return all;
  for (const Reading &reading : readings) {
    const bool is_fitted = is_module_reading(reading) && reading.value == 1.0;
    if (!is_fitted) continue;
    Optics optics;
    optics.port = static_cast<uint32_t>(std::stoul(reading.which));
    optics.which = reading.which;
    optics.source = {"port " + reading.which + " diagnostics", "port", reading.which};
    bool is_there = true;
    try {
      ask_driver(I2c, [&] { read_module(flags, optics); });
      optics.laser_is_off = laser_is_off(optics, readings);
    } catch (const SilentDriver &silent) {
      is_there = note_silence(silent, reading, round, optics);
    }
    if (is_there) all.push_back(optics);
  }
  return all;
}
