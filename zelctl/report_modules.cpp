#include "report.h"

#include "optics.h"

constexpr size_t kWholePage = 256;

using WholePage = std::vector<uint8_t>;

static ModulePage first_half(const WholePage &page) { return ModulePage(page.data(), kPageLength); }

static WholePage read_page(uint32_t port, uint8_t address) {
  WholePage page(kWholePage);
  for (const uint32_t offset : {0U, static_cast<uint32_t>(kPageLength)})
    require_port(FW_I2C_BufRead(address, offset, 1, kPageLength, page.data() + offset), port, "memory of the module");
  return page;
}

/** Both pages of one module, and what a PHY in it says. */
struct Memory {
  WholePage a0, a2;
  Json phy;
};

/** Only registers without a bit that reading clears. A module that is switched off keeps its PHY in reset: null. */
static Json read_phy(uint32_t port) {
  constexpr uint32_t kNumbers[] = {0, 2, 3, 4, 5, 9, 15, 17, 27};
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

/** All modules answer at the same addresses: whoever else selects a cage meanwhile is noticed by page A0h, which is read
 *  again in the end. */
static Memory read_memory(Report &report, uint32_t port) {
  constexpr int kAttempts = 3;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    require_port(FW_SfpSel(port), port, "selection of the cage");
    Memory memory{read_page(port, FW_SFP_MEMORY), {}, {}};
    const ModulePage a0 = first_half(memory.a0);
    if (offers_diagnostics(a0)) {
      report.ask(format("port %u: page A2h", port), [&]() -> Json {
        memory.a2 = read_page(port, kDiagnosticsMemory);
        return {};
      });
    }
    if (is_copper_module(a0)) memory.phy = report.ask(format("port %u: PHY", port), [&] { return read_phy(port); });
    if (read_page(port, FW_SFP_MEMORY) == memory.a0) return memory;
  }
  throw Failure{format("port %u: another program keeps selecting other cages", port)};
}

static Json module_row(Report &report, uint32_t port) {
  const Memory memory = read_memory(report, port);
  const ModulePage a0 = first_half(memory.a0);
  Json row = record("port", port, "a0", format("modules/port-%02u-a0.bin", port), "a2", nullptr);
  report.add_file(row["a0"], memory.a0);
  if (!memory.a2.empty()) {
    row["a2"] = format("modules/port-%02u-a2.bin", port);
    report.add_file(row["a2"], memory.a2);
  }
  append(row, "copper", is_copper_module(a0), "checksums", checksums_hold(a0) ? "correct" : "wrong", "decoded",
         decode_page(a0), "diagnostics", memory.a2.empty() ? Json() : decode_diagnostics(a0, first_half(memory.a2)),
         "phy", memory.phy);
  if (has_diagnostics(a0) && needs_address_change(a0))
    report.note(format("port %u: page A2h", port), "the module wants its address changed by a write");
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
