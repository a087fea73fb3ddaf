#include "report.h"

#include "module_memory.h"

/** Both pages of one module, and the registers of its PHY. */
struct Memory {
  WholePage identification;
  WholePage diagnostics;  // empty: there is none, or it cannot be read
  Json phy;
};

/** Null if the transmitter is off: the module then keeps its PHY in reset. */
static Json read_phy(uint32_t port) {
  constexpr uint32_t kNumbers[] = {0, 2, 3, 4, 5, 9, 15, 17, 27};  // reading these clears no bit
  uint8_t disabled = 1;
  require_port(FW_GetPortSfpTxDisable(port, &disabled), port, "transmitter");
  if (disabled != 0) return {};
  Json registers = Json::array();
  for (const uint32_t number : kNumbers) {
    uint8_t bytes[2] = {};
    require_port(FW_I2C_BufRead(FW_SFP_PHY, number, 1, sizeof bytes, bytes), port, "PHY of the module");
    registers.push_back(decode_register(number, static_cast<uint16_t>(bytes[0] << 8 | bytes[1])));
  }
  return registers;
}

static Memory read_selected(Report &report, uint32_t port) {
  Memory memory;
  memory.identification = read_whole_page(port, FW_SFP_MEMORY, kIdentificationText);
  const LowerHalf identification = lower_half_of(memory.identification);
  if (can_read_diagnostics(identification)) {
    report.ask(format("port %u: page A2h", port), [&]() -> Json {
      memory.diagnostics = read_whole_page(port, kDiagnosticsMemory, kDiagnosticsText);
      return {};
    });
  }
  if (is_copper_module(identification)) {
    memory.phy = report.ask(format("port %u: PHY", port), [&] { return read_phy(port); });
  }
  return memory;
}

/** All modules answer at the same addresses. Page A0h is read again at the end: another page means that another program
 *  has selected another cage meanwhile. */
static Memory read_memory(Report &report, uint32_t port) {
  constexpr int kAttempts = 3;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const size_t noted = report.not_read.size();
    require_port(FW_SfpSel(port), port, "selection of the cage");
    Memory memory = read_selected(report, port);
    if (read_whole_page(port, FW_SFP_MEMORY, kIdentificationText) == memory.identification) return memory;
    // What this attempt could not read may belong to the other module.
    report.not_read.erase(report.not_read.begin() + static_cast<std::ptrdiff_t>(noted), report.not_read.end());
  }
  throw Failure{format("port %u: another program keeps selecting other cages", port)};
}

static Json module_row(Report &report, uint32_t port) {
  const Memory memory = read_memory(report, port);
  const LowerHalf identification = lower_half_of(memory.identification);
  const bool has_a2 = !memory.diagnostics.empty();
  const std::string a0_file = format("modules/port-%02u-a0.bin", port);
  const std::string a2_file = format("modules/port-%02u-a2.bin", port);
  Json row = record("port", port, "a0", a0_file, "a2", nullptr);
  report.add_file(a0_file, memory.identification);
  if (has_a2) {
    row["a2"] = a2_file;
    report.add_file(a2_file, memory.diagnostics);
  }
  row["copper"] = is_copper_module(identification);
  row["checksums"] = checksums_hold(identification) ? "correct" : "wrong";
  row["decoded"] = decode_page(identification);
  row["diagnostics"] = nullptr;
  if (has_a2) row["diagnostics"] = decode_diagnostics(identification, lower_half_of(memory.diagnostics));
  row["phy"] = memory.phy;
  const bool hides_a2 = announces_diagnostics(identification) && needs_address_change(identification);
  if (hides_a2) report.note(format("port %u: page A2h", port), "the module wants its address changed by a write");
  return row;
}

void report_modules(Report &report) {
  Json all = Json::array();
  for (const Json &port : report.data["ports"]) {
    if (port["module"] != true) continue;
    const uint32_t number = port["port"];
    Json row = report.ask(format("port %u: module", number), [&] { return module_row(report, number); });
    if (!row.is_null()) all.push_back(std::move(row));
  }
  report.data["modules"] = all;
}
