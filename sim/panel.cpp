#include "../cli/panel.h"

#include <algorithm>
#include <cstring>
#include <tuple>

#include "diagnostics.h"
#include "indicators.h"
#include "tool.h"

// What the front panel shows of a board.

namespace zelsim::tool {
namespace {

constexpr bool every_led_is_known() {
  return std::ranges::all_of(panel_layout::kLights,
                             [](const panel_layout::Light &light) { return indicator_of_led(light.led) != nullptr; });
}
static_assert(every_led_is_known(), "the panel's layout has an LED that the board does not have");
static_assert(std::tuple_size_v<decltype(PanelState::ports)> == kPorts);
static_assert(std::tuple_size_v<decltype(PanelState::boards)> == kSlots);

// The power supervision raises its alarm when there are two supplies and not both are good.
bool supply_alarm(const Board &board) {
  constexpr unsigned kBothGood = kFirstSupplyGood | kSecondSupplyGood;
  unsigned status = power_status(board);
  return (status & kTwoSupplies) != 0 && (status & kBothGood) != kBothGood;
}

std::string supply_words(const Board &board) {
  auto name = [](Supply type) { return name_of(kSupplyTitles, static_cast<unsigned>(type)); };
  std::string first = name(board.supply[0]);
  std::string second = name(board.supply[1]);
  if (first == "none" && second == "none") return "none";
  if (first == "none") return "one " + second;
  if (second == "none") return "one " + first;
  if (first == second) return "two " + first;
  return first + " and " + second;
}

panel_layout::PortState port_state(const Board &board, unsigned port) {
  const Cage &cage = board.cages[port];
  panel_layout::PortState state = {};
  state.los = cage.loss_of_signal != 0;
  state.tx_disable = tx_disable(board, port) != 0;
  state.tx_fault = cage.tx_fault != 0;
  state.empty = !cage.fitted;
  for (unsigned i = 0; i < kQuantities; ++i) {
    auto quantity = static_cast<Quantity>(i);
    unsigned alarms = unexplained_alarms(board, port, flag_byte_of(quantity));
    unsigned warnings = unexplained_warnings(board, port, flag_byte_of(quantity));
    if ((alarms & high_flag_of(quantity)) != 0) state.high_alarm = true;
    if ((alarms & low_flag_of(quantity)) != 0) state.low_alarm = true;
    if ((warnings & high_flag_of(quantity)) != 0) state.high_warning = true;
    if ((warnings & low_flag_of(quantity)) != 0) state.low_warning = true;
  }
  // A port has one sign for each side: the worst one.
  if (state.high_alarm) state.high_warning = false;
  if (state.low_alarm) state.low_warning = false;
  return state;
}

void add_lights(PanelState &state, const Board &board) {
  for (size_t i = 0; i < std::size(panel_layout::kLights); ++i) {
    const Indicator *indicator = indicator_of_led(panel_layout::kLights[i].led);
    state.lights[i] = indicator->state(board.gpio);
  }
}

void add_boards(PanelState &state, const Board &board) {
  for (unsigned slot = 0; slot < kSlots; ++slot) {
    state.boards[slot] = board_type(board, slot);
    if (state.boards[slot] == "none") continue;
    for (unsigned place = 0; place < kPortsPerSlot; ++place) {
      unsigned port = slot * kPortsPerSlot + place;
      state.ports[port] = port_state(board, port);
      state.ports[port]->copper = state.boards[slot] == "copper";
    }
  }
  for (unsigned port = kFirstMainPort; port < kPorts; ++port) state.ports[port] = port_state(board, port);
}

void add_modules(PanelState &state, const Board &board) {
  for (unsigned port = 0; port < kPorts; ++port) {
    const Cage &cage = board.cages[port];
    state.modules[port] = std::string(cage.name, strnlen(cage.name, sizeof cage.name));
    if (!has_link(board, port)) continue;
    // Without its transmitter a copper module keeps its PHY in reset.
    bool in_reset = !has_jack(board, port) && tx_disable(board, port) != 0;
    state.links[port] = in_reset ? 0 : cage.link_speed;
  }
}

void add_supplies(PanelState &state, const Board &board) {
  for (unsigned i = 0; i < kSupplies; ++i) {
    bool is_there = board.supply[i] != Supply::None;
    std::string type = is_there ? name_of(kSupplyTitles, static_cast<unsigned>(board.supply[i])) : "";
    state.supply_states[i] = {type, board.supply_good[i] != 0};
  }
  state.supplies_text = supply_words(board);
  state.alarm = supply_alarm(board);
}

void add_test_lamps(PanelState &state, const Board &board) {
  for (size_t i = 0; i < state.test_lamps.size(); ++i) {
    const panel_layout::TestLamp &lamp = panel_layout::kTestLamps[i];
    state.test_lamps[i] = board.chain[lamp.group][lamp.bit];
  }
}

PanelState state_of(const Board &board) {
  PanelState state;
  add_test_lamps(state, board);
  add_lights(state, board);
  add_boards(state, board);
  add_modules(state, board);
  add_supplies(state, board);
  state.relay = std::to_string(board.gpio.relay);
  return state;
}

}  // namespace

std::string panel_picture(const Board &board) { return panel_picture(state_of(board)); }

void draw_panel(const CommandLine &line) {
  const PanelState state = state_of(*look_at(line.board));
  if (line.svg) {
    write_output(*line.svg, bytes_of(panel_picture(state)), "--svg");
  } else {
    draw_panel(state, colourful(), "\n");
  }
}

}  // namespace zelsim::tool
