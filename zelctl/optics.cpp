#include "optics.h"

WholePage identification_page(uint32_t port) {
  require_cage(port);
  select_module(port);
  return read_whole_page(port, FW_SFP_MEMORY, kIdentification);
}

WholePage diagnostics_page(uint32_t port) {
  require_diagnostics(port, lower_half_of(identification_page(port)));
  return read_whole_page(port, kDiagnosticsMemory, kDiagnostics);
}

DiagnosticPages diagnostic_pages(uint32_t port) {
  require_cage(port);
  select_module(port);
  DiagnosticPages pages{};
  pages.identification = read_lower_half(port, FW_SFP_MEMORY, kIdentification);
  require_diagnostics(port, pages.identification);
  pages.diagnostics = read_lower_half(port, kDiagnosticsMemory, kDiagnostics);
  return pages;
}

Json diagnostics_record(uint32_t port, const DiagnosticPages &pages) {
  Json all = record("port", port, "vendor", vendor_of(pages.identification), "part_number",
                    part_number_of(pages.identification));
  all.update(decode_diagnostics(pages.identification, pages.diagnostics));
  return all;
}

static bool is_gone(uint32_t port) {
  uint8_t absent = 0;
  return FW_GetPortSfpPresnt(port, &absent) == 0 && absent != 0;
}

/** @return nothing for a module without diagnostics */
static std::optional<Diagnostics> read_diagnostics(Round &round, uint32_t port, Flags flags) {
  round.asked = Gpio;
  require_port(FW_SfpSel(port), port, "selection of the cage");
  round.asked = I2c;
  const LowerHalf identification = read_lower_half(port, FW_SFP_MEMORY, kIdentification);
  if (!offers_diagnostics(identification)) return std::nullopt;
  const uint8_t length = flags == Flags::Read ? kPageLength : kDiagnosticsFlags;
  return diagnostics_in(identification, read_lower_half(port, kDiagnosticsMemory, kDiagnostics, length));
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

void optics_option(App *app) {
  flag(app, "--no-optics", diagnostics_left_alone, "Leave the modules' diagnostics, and the cage selection, alone");
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
    optics.source = reading.source;
    try {
      const auto found = read_diagnostics(round, optics.port, flags);
      if (!found) continue;
      optics.diagnostics = *found;
      optics.laser_is_off = port_has(readings, reading.which, "transmitter") ||
                            port_has(readings, reading.which, "fault") || found->soft_tx_disable.value_or(false);
    } catch (const Failure &failure) {
      if (is_gone(optics.port)) continue;
      optics.silence = failure.what();
      round.up[round.asked] = false;
    }
    all.push_back(optics);
  }
  return all;
}
