/** @file
 *  The front panel as it looks: in a terminal, and as a picture. */
#ifndef ZELBOARD_CLI_PANEL_H
#define ZELBOARD_CLI_PANEL_H

#include <array>
#include <optional>
#include <string>

#include "panel_layout.h"

/** A power supply. */
struct SupplyState {
  std::string type;  // AC or DC; empty if none is there
  bool good;
};

/** What the panel shows. What is not known stays empty. */
struct PanelState {
  /** By LED of the layout: a panel_layout::LightState. A larger number blinks, too. */
  std::array<std::optional<unsigned>, std::size(panel_layout::kLights)> lights;
  std::array<std::string, panel_layout::kSlots> boards;  // none, copper or sfp
  /** A port without a board has no state. */
  std::array<std::optional<panel_layout::PortState>, panel_layout::kPorts> ports;
  /** By lamp of the layout, as the lights. */
  std::array<std::optional<unsigned>, std::size(panel_layout::kTestLamps)> test_lamps;
  std::array<std::optional<unsigned>, panel_layout::kPorts> links;  // of copper ports: Mb/s, 0 without a link
  std::string relay;                                                // a number as text, "0": open
  std::string supplies_text;                                        // both in one text, as "two AC"
  bool alarm = false;
  // For the picture only:
  std::array<SupplyState, 2> supply_states;               // each by itself
  std::array<std::string, panel_layout::kPorts> modules;  // short names

  /** @param led  a name in the layout; throws for another one */
  void set_light(const std::string &led, unsigned state);
};

/** Draws the panel on the output, folded if the terminal is narrow. */
void draw_panel(const PanelState &state, bool colours, const char *line_end);
/** @return SVG */
std::string panel_picture(const PanelState &state);

#endif
