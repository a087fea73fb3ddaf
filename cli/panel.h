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
  std::string type;  // AC or DC; empty when none is there
  bool good;
};

/** What the panel shows. What is not known is left out. */
struct PanelState {
  std::array<std::optional<unsigned>, std::size(panel_layout::kLights)> lights;    // set_light sets them
  std::array<std::string, panel_layout::kSlots> boards;                            // none, copper or sfp
  std::array<std::optional<panel_layout::PortState>, panel_layout::kPorts> ports;  // nothing where no board is
  std::string relay;
  std::string supplies;
  bool alarm = false;
  // For the picture alone:
  std::array<std::optional<SupplyState>, 2> supply;
  std::array<std::string, panel_layout::kPorts> modules;            // short names
  std::array<std::optional<unsigned>, panel_layout::kPorts> links;  // of copper modules: Mb/s, 0 without a link

  /** @param led    name in the layout; another throws
   *  @param state  0 off, 1 on, else blinking */
  void set_light(const std::string &led, unsigned state);
};

/** Draws it on the output, folded where the terminal is narrow. */
void draw_panel(const PanelState &state, bool colours, const char *line_end);
/** @return SVG */
std::string panel_picture(const PanelState &state);

#endif
