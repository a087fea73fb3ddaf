/** @file
 *  The geometry of the front panel, as data: where its LEDs, ports, cages and legends are. Positions are in cells, from
 *  the panel's upper left corner; a cell is as wide as a character and as high as a line, about 1 to 2. */
#ifndef ZELCTL_PANEL_LAYOUT_H
#define ZELCTL_PANEL_LAYOUT_H

namespace panel_layout {

constexpr int kWidth = 74, kHeight = 11;

enum class Colour { Green, Red, Amber };

/** A LED, its legend beside or above it. */
struct Light {
  const char *led;
  const char *legend;
  Colour colour;
  int x, y;                // the light
  int legend_x, legend_y;  // where its legend begins
};
constexpr Light kLights[] = {
    {"system", "SYS", Colour::Green, 7, 1, 2, 1},       {"alarm", "ALM", Colour::Red, 7, 2, 2, 2},
    {"power1", "PWR1", Colour::Green, 15, 1, 10, 1},    {"power2", "PWR2", Colour::Green, 15, 2, 10, 2},
    {"ring-master", "RM", Colour::Green, 21, 1, 18, 1}, {"ring-fail", "RF", Colour::Amber, 21, 2, 18, 2},
    {"speed24", "", Colour::Green, 62, 6, 62, 6},       {"speed25", "", Colour::Green, 62, 8, 62, 8},
    {"speed26", "", Colour::Green, 69, 6, 69, 6},       {"speed27", "", Colour::Green, 69, 8, 69, 8},
};

/** A frame around a group of ports. */
struct Frame {
  const char *legend;
  int slot;  // 0 = main board
  int x, y, width, height;
};
constexpr Frame kFrames[] = {
    {"slot 1", 1, 1, 4, 18, 6}, {"slot 2", 2, 20, 4, 18, 6}, {"slot 3", 3, 39, 4, 18, 6}, {"10G", 0, 58, 4, 15, 6}};

constexpr int kPortWidth = 3;  // a port's number stands on the line above the port

struct Port {
  int port;
  int x, y;  // left end of the port
};
/** Even ports in the upper row, odd ones below, four columns a slot; two columns of 10G cages. */
constexpr Port portAt(int port) {
  const int first_cage = 24, ports_per_slot = 8;
  const bool cage = port >= first_cage;
  const int place = port % ports_per_slot;
  const int frame_x = kFrames[cage ? 3 : port / ports_per_slot].x;
  return {port, frame_x + 1 + place / 2 * (cage ? 7 : 4), place % 2 == 0 ? 6 : 8};
}

/** Lines of text: the relay and the supplies. */
constexpr int kTextX = 26, kRelayY = 1, kSupplyY = 2;

}  // namespace panel_layout

#endif
