/** @file
 *  The front panel as it looks: in a terminal, and as a picture. */
#ifndef ZELBOARD_CLI_PANEL_H
#define ZELBOARD_CLI_PANEL_H

#include <optional>
#include <string>

#include "panel_layout.h"

/** A power supply. */
struct SupplyState {
  std::string type;  // AC or DC; empty when none is there
  bool good;
};

/** What is not known is left out. */
struct PanelState {
  std::optional<unsigned> lights[std::size(panel_layout::kLights)];  // 0 off, 1 on, else blinking
  std::string boards[3];                                             // none, copper or sfp
  std::optional<panel_layout::PortState> ports[28];                  // none where no board is
  std::string relay, supplies;
  bool alarm = false;
  // For the picture alone:
  std::optional<SupplyState> supply[2];
  std::string modules[28];            // short names
  std::optional<unsigned> links[28];  // of copper modules: Mb/s, 0 without a link
};

/** Draws it on the output, folded where the terminal is narrow. */
void draw_panel(const PanelState &state, bool colours, const char *line_end);
/** @return SVG */
std::string panel_picture(const PanelState &state);

#endif
