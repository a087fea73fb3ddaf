#include "twin_modules.h"

#include <algorithm>
#include <cstring>
#include <span>

#include "../cli/module_page.h"
#include "made_diagnostics.h"
#include "modules.h"
#include "phy.h"

// The modules of a report, with their PHYs.

namespace zelsim::tool {
namespace {

using namespace phy;

constexpr uint32_t kHighestWord = 0xffff;

/** A register of a PHY as the report has it. */
struct PhyValue {
  uint32_t number;
  uint32_t value;
};

std::vector<PhyValue> phy_values(const Json &registers) {
  std::vector<PhyValue> values;
  for (const Json &row : registers) {
    auto number = number_of(member(row, {"register"}), kPhyRegisters - 1);
    auto value = number_of(member(row, {"value"}), kHighestWord);
    if (number && value) values.push_back({*number, *value});
  }
  return values;
}

// The page in a file of the report; nothing if the report does not have the file as a whole.
std::optional<MemoryPage> page_in(const ArchivedFiles &files, const Json &name) {
  const std::vector<uint8_t> *bytes = file_of(files, name);
  MemoryPage page = {};
  if (bytes == nullptr || bytes->size() != page.size()) return {};
  std::ranges::copy(*bytes, page.begin());
  return page;
}

PhyKind phy_kind(const Json &row, ::ModulePage page) {
  if (!is_copper_module(page)) return PhyKind::None;
  for (const Json &value : member(row, {"phy"})) {
    bool is_maker = number_of(member(value, {"register"}), kPhyRegisters - 1) == Identifier1;
    bool is_marvell = number_of(member(value, {"value"}), kHighestWord) == kMarvellIdentifier1;
    if (is_maker && !is_marvell) return PhyKind::Other;
  }
  return PhyKind::Marvell;
}

void plug_reported(unsigned port, const Json &row, const ArchivedFiles &files, const MemoryPage &page, Board &board,
                   Notes &notes) {
  const ::ModulePage first_half = std::span(page).first<kPageLength>();
  std::string name = catalogue_name(page);
  if (name.empty()) name = part_number_of(first_half);
  if (name.empty()) name = "module";
  const Json &a2 = member(row, {"a2"});
  DiagnosticsMemory diagnostics = diagnostics_for_cage(page, page_in(files, a2));
  plug(board, port, name.c_str(), page.data(), phy_kind(row, first_half), diagnostics);
  board.gpio.selected_cage = static_cast<uint8_t>(port);  // the report selected it last
  if (!a2.is_null() && !diagnostics.present)
    notes.add(format("port %u: page A2h", port),
              "page A0h announces no page A2h, or the report does not have its bytes");
  if (board.cages[port].phy != PhyKind::None && !member(row, {"phy"}).is_array())
    notes.add(format("port %u: PHY of the module", port), "it was switched off with its transmitter");
}

uint16_t phy_value(Board &board, uint8_t number) {
  uint8_t data[2] = {};
  Transfer transfer = {
      .write = false, .address = kModulePhyAddress, .offset = number, .offset_len = 1, .data = data, .len = 2};
  copper_phy(board, transfer);
  return static_cast<uint16_t>(data[0] << 8 | data[1]);
}

// Sets the link that the PHY's status register shows.
void set_link(Cage &cage, uint32_t status) {
  cage.link_speed = 10;
  if (status & kSpeed100) cage.link_speed = 100;
  if (status & kSpeed1000) cage.link_speed = 1000;
  if (!(status & kLink)) cage.link_speed = 0;
  cage.full_duplex = (status & kFullDuplex) != 0;
}

// Compares what the PHY answers with the report.
void check_phy(unsigned port, const std::vector<PhyValue> &wanted, Board &board, Notes &notes) {
  board.gpio.selected_cage = static_cast<uint8_t>(port);
  for (const PhyValue &row : wanted) {
    uint16_t value = phy_value(board, static_cast<uint8_t>(row.number));
    if (value != row.value)
      notes.add(format("port %u: PHY register %u", port, row.number), format("0x%04x, not 0x%04x", value, row.value));
  }
}

void set_phy(unsigned port, const std::vector<PhyValue> &wanted, Board &board, Notes &notes) {
  Cage &cage = board.cages[port];
  for (const PhyValue &row : wanted) {
    if (row.number == PhyStatus) {
      set_link(cage, row.value);
    } else {
      cage.phy_register[row.number] = static_cast<uint16_t>(row.value);
    }
  }
  if (cage.link_speed == 0) notes.add(format("port %u: duplex of the link", port), "the link was down");
  cage.negotiating_since_us = now_us(board) - int64_t{board.settle_ms} * 1000;  // it has settled
}

// If a module was dark, the report has only what it measures without light or laser. What it measures with them is not
// known: the module gets usual values.
void light_module(unsigned port, Board &board, Notes &notes) {
  struct Part {
    Quantity quantity;
    const char *name;
    const char *why;
  };
  constexpr Part kParts[] = {
      {kBias, "bias of the laser that is on", "it was off; it gets a usual value"},
      {kTxPower, "power of the laser that is on", "it was off; it gets a usual value"},
      {kRxPower, "received power", "there was no light; it gets a usual value"},
  };
  Cage &cage = board.cages[port];
  std::string module(cage.name, strnlen(cage.name, sizeof cage.name));
  for (const Part &part : kParts) {
    if (!is_dark(board, port, part.quantity)) continue;
    uint8_t *measured = cage.diagnostics.page + place_of(part.quantity);
    std::memcpy(cage.diagnostics.dark + sizeof(uint16_t) * part.quantity, measured, sizeof(uint16_t));
    uint16_t usual = usual_word(cage, module, part.quantity);
    measured[0] = static_cast<uint8_t>(usual >> 8);
    measured[1] = static_cast<uint8_t>(usual);
    notes.add(format("port %u: %s", port, part.name), part.why);
  }
}

}  // namespace

unsigned plug_modules(const Json &report, const ArchivedFiles &files, Board &board, Notes &notes) {
  unsigned plugged = 0;
  for (const Json &row : member(report, {"modules"})) {
    auto port = number_of(member(row, {"port"}), kPorts - 1);
    if (!port || !has_cage(board, *port)) continue;
    std::optional<MemoryPage> page = page_in(files, member(row, {"a0"}));
    if (!page) {
      notes.add(format("port %u: module", *port), "the report does not have its page A0h");
      continue;
    }
    plug_reported(*port, row, files, *page, board, notes);
    ++plugged;
  }
  return plugged;
}

void set_phys(const Json &report, Board &board, Notes &notes) {
  uint8_t selected = board.gpio.selected_cage;
  for (const Json &row : member(report, {"modules"})) {
    auto port = number_of(member(row, {"port"}), kPorts - 1);
    const Json &registers = member(row, {"phy"});
    if (!port || !registers.is_array() || board.cages[*port].phy == PhyKind::None) continue;
    const std::vector<PhyValue> wanted = phy_values(registers);
    set_phy(*port, wanted, board, notes);
    check_phy(*port, wanted, board, notes);
  }
  board.gpio.selected_cage = selected;
}

void light_modules(Board &board, Notes &notes) {
  for (unsigned port = 0; port < kPorts; ++port) {
    bool measures = has_cage(board, port) && board.cages[port].fitted && board.cages[port].diagnostics.present;
    if (measures) light_module(port, board, notes);
  }
}

}  // namespace zelsim::tool
