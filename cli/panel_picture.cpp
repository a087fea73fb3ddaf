#include <algorithm>
#include <cstdio>

#include "panel_artwork.h"
#include "panel_drawing.h"
#include "text.h"
#include "text_stream.h"

namespace layout = panel_layout;

// The panel as a picture. It consists of blocks: the indicators, the slots, the main board's cages, and a legend. Each
// block is a nested picture, so that a page can arrange the blocks as it has room. A part that people can point at has a
// rectangle around it. The rectangle's name is "place-" and the name of the part.

namespace {

// Lengths are in units of the artwork. Inside a block they count from its upper left corner.
constexpr int kBlockHeight = 200;
constexpr int kBlockY = 16;
struct Block {
  const char *name;
  int x;
  int width;
};
constexpr int kSlotWidth = 300;
constexpr Block kIndicators = {"indicators", 44, 250};
constexpr Block kSlotBlocks[layout::kSlots] = {
    {"slot1", 304, kSlotWidth}, {"slot2", 614, kSlotWidth}, {"slot3", 924, kSlotWidth}};
constexpr Block kMainCages = {"cages", 1234, 176};

constexpr int kMargin = 12;  // between a block's edge and its texts
constexpr int kTitleY = 20;
constexpr int kTitleHeight = 28;

// The places of ports in a block.
constexpr int kPortStep = 71;      // from column to column in a slot
constexpr int kMainPortStep = 86;  // the same for the cages of the main board
constexpr int kFirstPortX = 10;
constexpr int kRowY[] = {32, 114};  // even ports, odd ports

void begin_block(const Picture &picture, const Block &block) {
  picture.begin_block(block.name, block.x, kBlockY, block.width, kBlockHeight);
}

constexpr const char *kShapes[] = {"off", "on", "blinking"};  // by layout::LightState

void draw_light(const Picture &picture, const PanelState &state, size_t number, int x, int y) {
  const layout::Light &light = layout::kLights[number];
  const unsigned lit = std::min<unsigned>(state.lights[number].value_or(layout::kLightOff), layout::kLightBlinking);
  const bool alerts = lit == layout::kLightOn && light.colour == layout::Red;
  picture.shape(alerts ? "alert" : kShapes[lit], x, y, colour_of_led(light.colour), light.led);
}

void draw_slot(const Picture &picture, const PanelState &state, unsigned slot) {
  const std::string type = state.boards[slot].empty() ? "none" : state.boards[slot];
  const bool has_board = type != "none";
  const std::string number = std::to_string(slot + 1);
  const std::string id = "slot" + number;
  begin_block(picture, kSlotBlocks[slot]);
  picture.shape(("board-" + type).c_str(), 0, 0, kWhite, id);
  picture.text(kMargin, kTitleY, kWhite, "Slot " + number, kTitle);
  if (has_board)
    picture.text(kSlotWidth - kMargin, kTitleY, kSoft, type == "sfp" ? "SFP" : type, kEnd);
  else
    picture.text(kSlotWidth / 2, 108, kSoft, "no board", kMiddle);
  picture.place(id, 0, 0, kSlotWidth, has_board ? kTitleHeight : kBlockHeight);
  for (unsigned place = 0; place < layout::kPortsPerSlot; ++place) {
    const unsigned port = slot * layout::kPortsPerSlot + place;
    const int column = static_cast<int>(place) / 2;
    const int x = kFirstPortX + column * kPortStep;
    if (state.ports[port]) draw_port(picture, state, port, x, kRowY[place % 2]);
  }
  picture.end_block();
}

/** The LEDs of a cage stand at its upper right corner. */
void draw_lights_of_cage(const Picture &picture, const PanelState &state, unsigned port, int x, int y) {
  for (size_t i = 0; i < std::size(layout::kLights); ++i) {
    const bool is_here = layout::kLights[i].cage == static_cast<int>(port);
    if (is_here) draw_light(picture, state, i, x + kPortWidth - 9, y + 6);
  }
}

void draw_main_cages(const Picture &picture, const PanelState &state) {
  begin_block(picture, kMainCages);
  picture.shape("board-main", 0, 0, kWhite, "slot0");
  picture.text(kMargin, kTitleY, kWhite, "10G", kTitle);
  picture.text(kMainCages.width - kMargin, kTitleY, kSoft, "main board", kEnd);
  for (unsigned place = 0; place < layout::kCages; ++place) {
    const unsigned port = layout::kFirstCage + place;
    const int column = static_cast<int>(place) / 2;
    const int x = kFirstPortX + 2 + column * kMainPortStep;
    const int y = kRowY[place % 2];
    if (state.ports[port]) draw_port(picture, state, port, x, y);
    draw_lights_of_cage(picture, state, port, x, y);
  }
  picture.end_block();
}

std::string text_of(const SupplyState &supply) {
  if (supply.type.empty()) return "pulled";
  return supply.type + (supply.good ? " good" : " failed");
}

void draw_supply(const Picture &picture, const PanelState &state, unsigned supply) {
  constexpr int kStep = 120;
  constexpr int kWidth = 106;
  constexpr int kHeight = 40;
  const SupplyState &now = state.supply_states[supply];
  const bool good = !now.type.empty() && now.good;
  const std::string number = std::to_string(supply + 1);
  const std::string id = "supply" + number;
  const int x = kMargin + static_cast<int>(supply) * kStep;
  const int y = 122;
  picture.shape("supply", x, y, kWhite, id);
  picture.text(x + 10, y + 16, kSoft, "Supply " + number, kSmall);
  picture.text(x + 10, y + 32, good ? kWhite : kOrange, text_of(now), kBold);
  picture.place(id, x, y, kWidth, kHeight);
}

// The places of the LEDs of the whole switch.
constexpr int kFirstLightY = 44;
constexpr int kLightRows = 3;
constexpr int kLightColumns = 2;
constexpr int kLightColumnStep = 92;
constexpr int kLightRowStep = 26;

/** The lamps of the lamp test, two by two right of the LEDs. */
void draw_test_lamps(const Picture &picture, const PanelState &state) {
  constexpr int kX = kMargin + kLightColumns * kLightColumnStep;
  constexpr int kLampStep = 24;
  if (!state.test_lamps[0]) return;
  picture.text(kX, kFirstLightY + 4, kWhite, layout::kTestLegend);
  for (size_t i = 0; i < state.test_lamps.size(); ++i) {
    const unsigned lit = std::min<unsigned>(state.test_lamps[i].value_or(layout::kLightOff), layout::kLightBlinking);
    const int place = static_cast<int>(i);
    const int x = kX + 9 + place % 2 * kLampStep;
    const int y = kFirstLightY + (1 + place / 2) * kLightRowStep;
    picture.shape(kShapes[lit], x, y, colour_of_led(layout::kTestColour), layout::kTestLamps[i].name);
  }
}

/** The LEDs of the whole switch, three in a column. The LEDs of a cage are drawn beside the cage. */
void draw_switch_lights(const Picture &picture, const PanelState &state) {
  constexpr int kOfTheSwitch = static_cast<int>(
      std::ranges::count_if(layout::kLights, [](const layout::Light &light) { return light.cage < 0; }));
  static_assert(kOfTheSwitch <= kLightRows * kLightColumns,
                "no room in the picture: change the rows or the step of the columns");
  int drawn = 0;
  for (size_t i = 0; i < std::size(layout::kLights); ++i) {
    const layout::Light &light = layout::kLights[i];
    if (light.cage >= 0) continue;
    const int x = kMargin + drawn / kLightRows * kLightColumnStep;
    const int y = kFirstLightY + drawn % kLightRows * kLightRowStep;
    draw_light(picture, state, i, x + 9, y);
    picture.text(x + 26, y + 4, kWhite, light.legend);
    picture.place(std::string("led-") + light.led, x, y - 13, kLightColumnStep - 8, kLightRowStep);
    ++drawn;
  }
}

void draw_indicators(const Picture &picture, const PanelState &state) {
  constexpr int kRelayY = 186;
  begin_block(picture, kIndicators);
  picture.text(kMargin, kTitleY, kWhite, "Managed switch, " + std::to_string(layout::kPorts) + " ports", kTitle);
  draw_switch_lights(picture, state);
  draw_test_lamps(picture, state);
  for (unsigned i = 0; i < state.supply_states.size(); ++i) draw_supply(picture, state, i);
  const std::string relay = state.relay == "0" ? "open" : "closed";
  if (!state.relay.empty()) picture.text(kMargin, kRelayY, kSoft, "Alarm relay " + relay);
  if (state.alarm) picture.text(kIndicators.width - kMargin, kRelayY, kOrange, "power alarm", kBoldEnd);
  picture.end_block();
}

/** What the colours and signs of modules mean. @return where the next entry begins */
int draw_sign_legend(const Picture &picture) {
  constexpr int kStep = 140;
  int x = 0;
  for (const Sign &sign : signs_of_ports()) {
    std::fprintf(picture.file, "<rect x=\"%d\" y=\"2\" width=\"34\" height=\"22\" rx=\"2\" fill=\"%s\"/>\n", x,
                 sign.colour);
    picture.shape(sign.shape, x + 17, 13, kDark);
    picture.text(x + 42, 17, kSoft, sign.meaning);
    x += kStep;
  }
  return x;
}

void draw_light_legend(const Picture &picture, int x) {
  struct Entry {
    const char *shape;
    const char *meaning;
  };
  constexpr Entry kEntries[] = {{"off", "LED off"}, {"on", "on"}, {"blinking", "blinking"}};
  constexpr int kStep = 82;
  for (const Entry &entry : kEntries) {
    picture.shape(entry.shape, x + 8, 13, colour_of_led(layout::Green));
    picture.text(x + 24, 17, kSoft, entry.meaning);
    x += kStep;
  }
}

void draw_legend(const Picture &picture) {
  constexpr int kX = 44;
  constexpr int kY = 238;
  constexpr int kWidth = 1366;
  constexpr int kHeight = 28;
  picture.begin_block("legend", kX, kY, kWidth, kHeight);
  const int behind_signs = draw_sign_legend(picture);
  draw_light_legend(picture, behind_signs);
  picture.end_block();
}

}  // namespace

std::string xml_text(const std::string &text) {
  std::string shown;
  for (const char c : escaped(text)) {
    if (c == '&')
      shown += "&amp;";
    else if (c == '<')
      shown += "&lt;";
    else if (c == '>')
      shown += "&gt;";
    else
      shown += c;
  }
  return shown;
}

std::string panel_picture(const PanelState &state) {
  TextStream svg;
  const Picture picture = {svg.file()};
  std::fputs(kArtwork, picture.file);
  draw_indicators(picture, state);
  for (unsigned slot = 0; slot < std::size(kSlotBlocks); ++slot) draw_slot(picture, state, slot);
  draw_main_cages(picture, state);
  draw_legend(picture);
  std::fputs("</svg>\n", picture.file);
  return svg.text();
}
