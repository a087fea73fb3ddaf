#include "../cli/panel.h"

#include "tool.h"

// What the front panel shows of a board.

namespace zelsim::tool {
namespace {

// The power supervision raises its alarm when there are two supplies and not both are good.
bool supply_alarm(const Board &board) {
  constexpr unsigned kTwoSupplies = 0x08, kBothGood = 0xc0;
  unsigned status = power_status(board);
  return (status & kTwoSupplies) != 0 && (status & kBothGood) != kBothGood;
}

std::string supplies_of(const Board &board) {
  auto name = [](Supply type) { return name_of("none|AC|DC", static_cast<unsigned>(type)); };
  std::string first = name(board.supply[0]), second = name(board.supply[1]);
  return first == second ? "two " + first : first + " and " + second;
}

PanelState state_of(const Board &board) {
  const Gpio &gpio = board.gpio;
  const uint8_t *power = gpio.power_led, *speed = gpio.speed_led;
  PanelState state = {{gpio.system_led, gpio.alarm_led, power[0], power[1], gpio.ring_master_led, gpio.ring_fail_led,
                       speed[0], speed[1], speed[2], speed[3]},
                      {board_type(board, 0), board_type(board, 1), board_type(board, 2)},
                      {},
                      std::to_string(gpio.relay),
                      supplies_of(board),
                      supply_alarm(board)};
  for (unsigned port = 0; port < kPorts; ++port) {
    std::string type = board_type(board, port / kPortsPerSlot);
    const Cage &cage = board.cages[port];
    if (type != "none")
      state.ports[port] = {cage.los != 0,   tx_disable(board, port) != 0, cage.txfault != 0, !cage.fitted, false,
                           type == "copper"};
  }
  return state;
}

}  // namespace

std::string panel_picture(const Board &board) { return panel_picture(state_of(board)); }

void draw_panel(const Line &line) {
  const PanelState state = state_of(*look_at(line.board));
  if (!line.svg) return draw_panel(state, colourful(), "\n");
  write_output(*line.svg, bytes_of(panel_picture(state)), "--svg");
}

}  // namespace zelsim::tool
