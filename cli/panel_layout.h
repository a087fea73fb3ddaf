/** @file
 *  The front panel, as data: where its LEDs, ports, cages and legends are, and how a port looks. It is drawn in a
 *  terminal and as a picture. Positions are in cells from the panel's upper left corner. A cell is as wide as a
 *  character and as high as a line. */
#ifndef ZELBOARD_CLI_PANEL_LAYOUT_H
#define ZELBOARD_CLI_PANEL_LAYOUT_H

#include <iterator>

namespace panel_layout {

constexpr int kWidth = 74;
constexpr int kHeight = 11;
/** Where a panel that is too wide is cut. The part right of this column and below this line goes under the rest. */
constexpr int kFoldX = 39;
constexpr int kFoldY = 4;

/** The ports of the daughter boards in the slots come first, the cages of the main board behind them. */
constexpr int kSlots = 3;
constexpr int kPortsPerSlot = 8;
constexpr int kPorts = 28;
constexpr int kFirstCage = kSlots * kPortsPerSlot;
constexpr int kCages = kPorts - kFirstCage;

enum Colour { Plain, Dim, Red, Green, Amber, Blue, Cyan };

/** An LED. Its legend stands before it on the same line. */
struct Light {
  const char *led;
  const char *legend;
  Colour colour;
  int legend_x;
  int x;
  int y;
  int cage = -1;  // port of the cage that it belongs to; -1: it belongs to the whole switch
};
inline constexpr Light kLights[] = {
    {"system", "SYS", Green, 2, 7, 1},        //
    {"alarm", "ALM", Red, 2, 7, 2},           //
    {"power1", "PWR1", Green, 10, 15, 1},     //
    {"power2", "PWR2", Green, 10, 15, 2},     //
    {"ring-master", "RM", Green, 18, 21, 1},  //
    {"ring-fail", "RF", Amber, 18, 21, 2},    //
    {"speed24", "", Green, 62, 62, 6, 24},    //
    {"speed25", "", Green, 62, 62, 8, 25},    //
    {"speed26", "", Green, 69, 69, 6, 26},    //
    {"speed27", "", Green, 69, 69, 8, 27},
};

/** A lamp of the lamp test, with its position on the serial-GPIO chain. */
struct TestLamp {
  const char *name;
  unsigned group;
  unsigned bit;
};
/** They stand beside each other. A terminal shows them while one is lit. */
inline constexpr TestLamp kTestLamps[] = {
    {"lamp-5-1", 5, 1}, {"lamp-13-1", 13, 1}, {"lamp-5-3", 5, 3}, {"lamp-6-1", 6, 1}};
inline constexpr char kTestLegend[] = "TEST";
inline constexpr Colour kTestColour = Amber;
inline constexpr int kTestLegendX = 29;
inline constexpr int kTestX = 34;
inline constexpr int kTestY = 3;

/** What an LED does. */
enum LightState : unsigned { kLightOff, kLightOn, kLightBlinking };

/** A frame around a group of ports. */
struct Frame {
  const char *legend;
  int slot;  // 0 = main board
  int x;
  int y;
  int width;
  int height;
};
inline constexpr Frame kSlotFrames[kSlots] = {
    {"slot 1", 1, 1, 4, 18, 6}, {"slot 2", 2, 20, 4, 18, 6}, {"slot 3", 3, 39, 4, 18, 6}};
inline constexpr Frame kCageFrame = {"10G", 0, 58, 4, 15, 6};
inline constexpr Frame kFrames[] = {kSlotFrames[0], kSlotFrames[1], kSlotFrames[2], kCageFrame};

struct Position {
  int x;
  int y;
};
/** The left end of a port. A port is three cells wide; its number stands on the line above. Even ports are in the upper
 *  row, odd ports in the lower row. A slot has four columns, the 10G cages have two. */
constexpr Position port_at(int port) {
  constexpr int kUpperRow = 6;
  constexpr int kLowerRow = 8;
  const bool cage = port >= kFirstCage;
  const Frame &frame = cage ? kCageFrame : kSlotFrames[port / kPortsPerSlot];
  const int column_width = cage ? 7 : 4;
  const int place = port % kPortsPerSlot;  // also for a cage: the first one has place 0
  const int column = place / 2;
  return {frame.x + 1 + column * column_width, place % 2 == 0 ? kUpperRow : kLowerRow};
}

/** How a port looks. */
struct Look {
  const char *glyph;    // in a terminal
  const char *meaning;  // null: not in the legend
  Colour colour;
};
inline constexpr Look kSignal = {"[*]", "signal", Green};
inline constexpr Look kNoSignal = {"[-]", "no signal", Amber};
inline constexpr Look kTransmitterOff = {"[x]", "transmitter off", Blue};
inline constexpr Look kFault = {"[!]", "fault", Red};
inline constexpr Look kEmpty = {"[ ]", "empty", Dim};
inline constexpr Look kSilent = {"[?]", nullptr, Red};
inline constexpr Look kCopper = {"RJ", "copper", Cyan};
/** Where the link of a copper port is known, its speed stands in its place. */
inline constexpr Look kCopperLink = {"1G", "copper link", Cyan};
inline constexpr Look kNoCopperLink = {"--", "no link", Dim};
/** In the order of the legend. */
inline constexpr Look kLooks[] = {kSignal, kNoSignal, kTransmitterOff, kFault, kEmpty, kSilent, kCopper};

/** What is known of a port whose slot has a board. */
struct PortState {
  bool los;
  bool tx_disable;
  bool tx_fault;
  bool empty;
  bool silent;  // its signals cannot be read
  bool copper;
  // Of the module's diagnostics, where they are known:
  bool high_alarm;
  bool low_alarm;
  bool high_warning;
  bool low_warning;
};
constexpr const Look &look_of(const PortState &port) {
  if (port.copper) return kCopper;
  if (port.silent) return kSilent;
  if (port.empty) return kEmpty;
  if (port.tx_fault) return kFault;
  if (port.tx_disable) return kTransmitterOff;
  if (port.los) return kNoSignal;
  return kSignal;
}

/* Lines of text: the relay and the supplies. */
constexpr int kTextX = 26;
constexpr int kRelayY = 1;
constexpr int kSupplyY = 2;

}  // namespace panel_layout

#endif
