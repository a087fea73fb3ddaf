/** @file
 *  The front panel, as data: where its LEDs, ports, cages and legends are, and how a port looks. It is drawn in a
 *  terminal and as a picture. Positions are in cells, from the panel's upper left corner; a cell is as wide as a
 *  character and as high as a line, about 1 to 2. */
#ifndef ZELBOARD_CLI_PANEL_LAYOUT_H
#define ZELBOARD_CLI_PANEL_LAYOUT_H

#include <utility>

namespace panel_layout {

constexpr int kWidth = 74, kHeight = 11;
/** Where a panel that is too wide is cut: what lies right of this column and below this line goes under the rest. */
constexpr int kFoldX = 39, kFoldY = 4;

enum Colour { Plain, Dim, Red, Green, Amber, Blue, Cyan };

/** A LED, its legend before it on the same line. */
struct Light {
  const char *led, *legend;
  Colour colour;
  int legend_x, x, y;
};
constexpr Light kLights[] = {
    {"system", "SYS", Green, 2, 7, 1},       {"alarm", "ALM", Red, 2, 7, 2},
    {"power1", "PWR1", Green, 10, 15, 1},    {"power2", "PWR2", Green, 10, 15, 2},
    {"ring-master", "RM", Green, 18, 21, 1}, {"ring-fail", "RF", Amber, 18, 21, 2},
    {"speed24", "", Green, 62, 62, 6},       {"speed25", "", Green, 62, 62, 8},
    {"speed26", "", Green, 69, 69, 6},       {"speed27", "", Green, 69, 69, 8},
};

/** A frame around a group of ports. */
struct Frame {
  const char *legend;
  int slot;  // 0 = main board
  int x, y, width, height;
};
constexpr Frame kFrames[] = {
    {"slot 1", 1, 1, 4, 18, 6}, {"slot 2", 2, 20, 4, 18, 6}, {"slot 3", 3, 39, 4, 18, 6}, {"10G", 0, 58, 4, 15, 6}};

/** Left end of a port, which is three cells wide, its number on the line above: even ports in the upper row, odd ones
 *  below, four columns a slot; two columns of 10G cages. */
constexpr std::pair<int, int> port_at(int port) {
  const int first_cage = 24, ports_per_slot = 8;
  const bool cage = port >= first_cage;
  const int place = port % ports_per_slot;
  const int frame_x = kFrames[cage ? 3 : port / ports_per_slot].x;
  return {frame_x + 1 + place / 2 * (cage ? 7 : 4), place % 2 == 0 ? 6 : 8};
}

/** How a port looks. */
struct Look {
  const char *glyph, *meaning;  // without a meaning it is not in the legend
  Colour colour;
};
constexpr Look kLooks[] = {{"[*]", "signal", Green}, {"[-]", "no signal", Amber}, {"[x]", "transmitter off", Blue},
                           {"[!]", "fault", Red},    {"[ ]", "empty", Dim},       {"[?]", nullptr, Red},
                           {"RJ", "copper", Cyan}};

/** What is known of a port; a slot without a board has none. */
struct PortState {
  bool los, tx_disable, tx_fault, empty, silent, copper;
};
/** Each of these gives a port the next look; the last one that holds wins. */
constexpr const Look &look_of(const PortState &port) {
  const bool holds[] = {true, port.los, port.tx_disable, port.tx_fault, port.empty, port.silent, port.copper};
  int look = sizeof holds - 1;
  while (!holds[look]) --look;
  return kLooks[look];
}

/** Lines of text: the relay and the supplies. */
constexpr int kTextX = 26, kRelayY = 1, kSupplyY = 2;

}  // namespace panel_layout

#endif
