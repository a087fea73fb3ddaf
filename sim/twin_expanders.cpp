#include "twin_expanders.h"

#include <optional>

#include "request.h"
#include "tool.h"

namespace zelsim::tool {
namespace {

// The address of an expander that the virtual switch has, too.
std::optional<uint8_t> expander_of(const Json &row) {
  auto address = number_of(member(row, {"address"}), UINT8_MAX);
  if (!address || !is_expander(static_cast<uint8_t>(*address))) return std::nullopt;
  return static_cast<uint8_t>(*address);
}

int move(Board &board, uint8_t address, uint8_t number, uint8_t &value, bool write) {
  Transfer transfer = {.write = write, .address = address, .offset = number, .offset_len = 1, .data = &value, .len = 1};
  return expander(board, transfer);
}

void set_register(Board &board, uint8_t address, size_t number, uint32_t value) {
  auto byte = static_cast<uint8_t>(value);
  move(board, address, static_cast<uint8_t>(number), byte, true);
}

// Only a line that is an input shows the level from outside.
void set_levels(Board &board, const Json &registers) {
  constexpr size_t kPolarity = 4;
  constexpr size_t kConfiguration = 6;
  constexpr size_t kAllRegisters = 8;
  if (registers.size() != kAllRegisters) return;
  for (size_t port = 0; port < std::size(board.i2c.io_level); ++port) {
    auto shown = number_of(registers[port], 255).value_or(0xff);
    auto polarity = number_of(registers[kPolarity + port], 255).value_or(0);
    auto inputs = number_of(registers[kConfiguration + port], 255).value_or(0xff);
    board.i2c.io_level[port] = static_cast<uint8_t>((shown ^ polarity) | ~inputs);
  }
}

void check_inputs(Board &board, uint8_t address, const Json &registers, Notes &notes) {
  for (size_t i = 0; i < registers.size(); ++i) {
    uint8_t value = 0;
    auto wanted = number_of(registers[i], 255);
    bool is_read = move(board, address, static_cast<uint8_t>(i), value, false) == 0;
    if (is_read && wanted && *wanted != value)
      notes.add(format("expander 0x%02X, register %zu", address, i),
                format("lines 0x%02x are levels that no module gives", *wanted ^ value));
  }
}

}  // namespace

// The report has the registers in the order of the chip: input, output, polarity and configuration of its ports.
void set_expanders(const Json &report, Board &board, Notes &notes) {
  for (const Json &row : member(report, {"expanders"})) {
    std::optional<uint8_t> address = expander_of(row);
    const Json &registers = member(row, {"registers"});
    if (!address || !registers.is_array()) continue;
    for (size_t i = 0; i < registers.size(); ++i) {
      auto value = number_of(registers[i], 255);
      if (value) set_register(board, *address, i, *value);
    }
    if (*address == kMainWideAddress) set_levels(board, registers);
    check_inputs(board, *address, registers, notes);
  }
}

}  // namespace zelsim::tool
