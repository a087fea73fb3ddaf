/** @file
 *  The front panel, as data: where its LEDs, ports, cages and legends are, and how a port looks. It is drawn in a
 *  terminal and as a picture. Positions are in cells, from the panel's upper left corner; a cell is as wide as a
 *  character and as high as a line, about 1 to 2. */
#ifndef ZELBOARD_CLI_PANEL_LAYOUT_H
#define ZELBOARD_CLI_PANEL_LAYOUT_H

#include <iterator>

namespace panel_layout {

constexpr int kWidth = 74, kHeight = 11;
/** Where a panel that is too wide is cut: what lies right of this column and below this line goes under the rest. */
constexpr int kFoldX = 39, kFoldY = 4;

/** The board: daughter boards in slots, and behind their ports the cages of the main board. */
constexpr int kSlots = 3, kPortsPerSlot = 8, kPorts = 28;
constexpr int kFirstCage = kSlots * kPortsPerSlot;

enum Colour { Plain, Dim, Red, Green, Amber, Blue, Cyan };

/** A LED. Its legend stands before it on the same line. */
struct Light {
  const char *led, *legend;
  Colour colour;
  int legend_x, x, y;
};
inline constexpr Light kLights[] = {
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
inline constexpr Frame kSlotFrames[kSlots] = {
    {"slot 1", 1, 1, 4, 18, 6}, {"slot 2", 2, 20, 4, 18, 6}, {"slot 3", 3, 39, 4, 18, 6}};
inline constexpr Frame kCageFrame = {"10G", 0, 58, 4, 15, 6};
inline constexpr Frame kFrames[] = {kSlotFrames[0], kSlotFrames[1], kSlotFrames[2], kCageFrame};

struct Position {
  int x, y;
};
/** Left end of a port, which is three cells wide. Its number stands on the line above. Even ports are in the upper row,
 *  odd ones below, in four columns a slot, and two columns of 10G cages. */
constexpr Position port_at(int port) {
  constexpr int kUpperRow = 6, kLowerRow = 8;
  const bool cage = port >= kFirstCage;
  const Frame &frame = cage ? kCageFrame : kSlotFrames[port / kPortsPerSlot];
  const int column_width = cage ? 7 : 4;
  const int place = port % kPortsPerSlot;
  const int column = place / 2;
  return {frame.x + 1 + column * column_width, place % 2 == 0 ? kUpperRow : kLowerRow};
}

/** How a port looks. */
struct Look {
  const char *glyph;    // in a terminal
  const char *meaning;  // null: not in the legend
  Colour colour;
};
enum LookNumber { Signal, NoSignal, TransmitterOff, Fault, Empty, Silent, Copper };
inline constexpr Look kLooks[] = {
    {"[*]", "signal", Green},          // Signal
    {"[-]", "no signal", Amber},       // NoSignal
    {"[x]", "transmitter off", Blue},  // TransmitterOff
    {"[!]", "fault", Red},             // Fault
    {"[ ]", "empty", Dim},             // Empty
    {"[?]", nullptr, Red},             // Silent
    {"RJ", "copper", Cyan},            // Copper
};

/** What is known of a port whose slot has a board. */
struct PortState {
  bool los, tx_disable, tx_fault, empty;
  bool silent;  // its signals cannot be read
  bool copper;
};
constexpr LookNumber look_number_of(const PortState &port) {
  if (port.copper) return Copper;
  if (port.silent) return Silent;
  if (port.empty) return Empty;
  if (port.tx_fault) return Fault;
  if (port.tx_disable) return TransmitterOff;
  return port.los ? NoSignal : Signal;
}
constexpr const Look &look_of(const PortState &port) { return kLooks[look_number_of(port)]; }

/** Lines of text: the relay and the supplies. */
constexpr int kTextX = 26, kRelayY = 1, kSupplyY = 2;

}  // namespace panel_layout

#endif
