#include "optics.h"

#include <algorithm>

using PageBytes = std::array<uint8_t, kPageLength>;

static PageBytes page_of(const std::vector<uint8_t> &bytes) {
  PageBytes page{};
  std::copy_n(bytes.begin(), page.size(), page.begin());
  return page;
}

/** A page has two halves, each of one transfer. */
static std::vector<uint8_t> read_page(uint32_t port, uint8_t address, const char *what) {
  std::vector<uint8_t> bytes(kPageBytes);
  for (size_t at = 0; at < kPageBytes; at += kPageLength)
    require_port(FW_I2C_BufRead(address, static_cast<uint32_t>(at), 1, kPageLength, bytes.data() + at), port, what);
  return bytes;
}

void select_module(uint32_t port) {
  uint8_t absent = 1;
  require_port(FW_GetPortSfpPresnt(port, &absent), port, "presence of a module");
  if (absent != 0) throw Failure{format("port %u: the cage is empty", port), FW_NOT_SET};
  require_port(FW_SfpSel(port), port, "selection of the cage");
}

constexpr const char *kIdentification = "memory of the module", *kDiagnostics = "diagnostics of the module";

static void require_diagnostics(uint32_t port, ModulePage identification) {
  if (!has_diagnostics(identification))
    throw Failure{format("port %u: the module has no digital diagnostics (page A2h)", port), FW_NOT_SET};
  if (needs_address_change(identification))
    throw Failure{format("port %u: the module's diagnostics need an address change, which is not supported", port),
                  FW_NOT_SET};
}

bool offers_diagnostics(ModulePage identification) {
  return has_diagnostics(identification) && !needs_address_change(identification);
}

std::vector<uint8_t> identification_page(uint32_t port) {
  require_cage(port);
  select_module(port);
  return read_page(port, FW_SFP_MEMORY, kIdentification);
}

std::vector<uint8_t> diagnostics_page(uint32_t port) {
  require_diagnostics(port, page_of(identification_page(port)));
  return read_page(port, kDiagnosticsMemory, kDiagnostics);
}

static PageBytes first_half(uint32_t port, uint8_t address, uint8_t length, const char *what) {
  PageBytes page{};
  require_port(FW_I2C_BufRead(address, 0, 1, length, page.data()), port, what);
  return page;
}

DiagnosticPages diagnostic_pages(uint32_t port) {
  require_cage(port);
  select_module(port);
  DiagnosticPages pages{};
  pages.identification = first_half(port, FW_SFP_MEMORY, kPageLength, kIdentification);
  require_diagnostics(port, pages.identification);
  pages.diagnostics = first_half(port, kDiagnosticsMemory, kPageLength, kDiagnostics);
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
static std::optional<Diagnostics> read_module_of(Round &round, uint32_t port, Flags flags) {
  constexpr uint8_t kBeforeFlags = 112;
  round.asked = Gpio;
  require_port(FW_SfpSel(port), port, "selection of the cage");
  round.asked = I2c;
  const PageBytes identification = first_half(port, FW_SFP_MEMORY, kPageLength, kIdentification);
  if (!offers_diagnostics(identification)) return {};
  const uint8_t length = flags == Flags::Read ? kPageLength : kBeforeFlags;
  return diagnostics_in(identification, first_half(port, kDiagnosticsMemory, length, kDiagnostics));
}

static bool is_set(const std::vector<Reading> &readings, const std::string &subject) {
  for (const Reading &reading : readings)
    if (reading.subject == subject) return reading.value == 1.0;
  return false;
}

static bool left_out;

void optics_option(App *app) {
  flag(app, "--no-optics", left_out, "Leave the modules' diagnostics, and the cage selection, alone");
}

std::vector<Optics> read_optics(Round &round, const std::vector<Reading> &readings, Flags flags) {
  std::vector<Optics> all;
  if (left_out) return all;
  for (const Reading &reading : readings) {
    const std::string port = "port " + reading.which;
    if (reading.subject != port + " module" || reading.value != 1.0) continue;
    Optics optics{static_cast<uint32_t>(std::stoul(reading.which)), reading.which, reading.source, false, {}, ""};
    try {
      const auto found = read_module_of(round, optics.port, flags);
      if (!found) continue;
      optics.diagnostics = *found;
      optics.laser_is_off = is_set(readings, port + " transmitter") || is_set(readings, port + " fault") ||
                            found->soft_tx_disable.value_or(false);
    } catch (const Failure &failure) {
      if (is_gone(optics.port)) continue;
      optics.silence = failure.what();
      round.up[round.asked] = false;
    }
    all.push_back(optics);
  }
  return all;
}
