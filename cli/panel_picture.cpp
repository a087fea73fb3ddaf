#include <cstdio>
#include <cstdlib>

#include "panel.h"
#include "panel_artwork.h"

// The panel as a picture. It consists of blocks: the indicators, the slots, the main board's cages, and a legend. Each is
// a picture of its own inside, so that a page may arrange them as it has room. A part that somebody can point at has a
// rectangle around it whose name is "place-" and the part's.

namespace layout = panel_layout;

namespace {

/** In units of the artwork, where a part of a block stands from the block's upper left corner. */
constexpr int kBlockHeight = 200, kBlockY = 16;
struct Block {
  const char *name;
  int x, width;
};
constexpr Block kIndicators = {"indicators", 44, 250};
constexpr Block kSlots[] = {{"slot1", 304, 300}, {"slot2", 614, 300}, {"slot3", 924, 300}};
constexpr Block kMainCages = {"cages", 1234, 176};
constexpr int kLegendX = 44, kLegendY = 238, kLegendWidth = 1366, kLegendHeight = 28;

constexpr int kPortWidth = 66, kPortStep = 71, kPortHeight = 78, kCageY = 16, kCageHeight = 36;
constexpr int kFirstPortX = 10, kRowY[] = {32, 114};

constexpr char kWhite[] = "#f0f4f8", kSoft[] = "#c3ccd5", kDark[] = "#0c1014";
constexpr char kBlue[] = "#6bb8ff", kOrange[] = "#ffb03a", kGrey[] = "#d5dde5", kRed[] = "#ff7b72";
/** By layout::Colour; of LEDs. */
constexpr const char *kColours[] = {kWhite, kSoft, "#ff6b62", "#52dd7c", kOrange, kBlue, "#7adcf0"};

/** What a port with a module shows: the first that holds gives its colour, each its sign. */
struct Sign {
  const char *shape, *colour, *meaning;
  bool layout::PortState::*holds;
};
constexpr Sign kSigns[] = {{"sign-fault", kRed, "transmit fault", &layout::PortState::tx_fault},
                           {"sign-dark", kOrange, "no light", &layout::PortState::los},
                           {"sign-off", kGrey, "transmitter off", &layout::PortState::tx_disable}};
constexpr Sign kGood = {"sign-signal", kBlue, "signal", nullptr};

struct Picture {
  FILE *file;
  void text(int x, int y, const char *colour, const std::string &text, const char *style = "") const {
    std::fprintf(file, "<text x=\"%d\" y=\"%d\" fill=\"%s\"%s>%s</text>\n", x, y, colour, style, text.c_str());
  }
  void shape(const char *shape, int x, int y, const char *colour, const std::string &id = "") const {
    std::string name = id.empty() ? "" : " id=\"" + id + "\"";
    std::fprintf(file, "<use%s href=\"#%s\" x=\"%d\" y=\"%d\" color=\"%s\"/>\n", name.c_str(), shape, x, y, colour);
  }
  void place(const std::string &part, int x, int y, int width, int height) const {
    constexpr char kPlace[] = "<rect id=\"place-%s\" x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" fill=\"none\"/>\n";
    std::fprintf(file, kPlace, part.c_str(), x, y, width, height);
  }
  void begin_block(const char *name, int x, int y, int width, int height) const {
    constexpr char kBegin[] =
        "<svg id=\"block-%s\" x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" viewBox=\"0 0 %d %d\">\n";
    std::fprintf(file, kBegin, name, x, y, width, height, width, height);
  }
  void begin_block(const Block &block) const { begin_block(block.name, block.x, kBlockY, block.width, kBlockHeight); }
  void end_block() const { std::fputs("</svg>\n", file); }
};

constexpr char kMiddle[] = " text-anchor=\"middle\"", kEnd[] = " text-anchor=\"end\"";
constexpr char kTitle[] = " font-size=\"13\" font-weight=\"600\"", kNumber[] = " font-weight=\"700\"";
constexpr char kName[] = " text-anchor=\"middle\" font-size=\"11\"";

/** A name as long as there is room for. */
std::string shortened(const std::string &name) {
  constexpr size_t kMost = 10;
  return name.size() <= kMost ? name : name.substr(0, kMost - 1) + "…";
}

void draw_light(const Picture &picture, const PanelState &state, size_t light, int x, int y) {
  constexpr const char *kStates[] = {"off", "on", "blinking"};
  unsigned lit = std::min(state.lights[light].value_or(0), 2U);
  bool alerts = lit == 1 && layout::kLights[light].colour == layout::Red;
  picture.shape(alerts ? "alert" : kStates[lit], x, y, kColours[layout::kLights[light].colour],
                layout::kLights[light].led);
}

std::string speed_text(unsigned speed) {
  if (speed == 0) return "down";
  return speed == 1000 ? "1G" : std::to_string(speed) + "M";
}

void draw_module(const Picture &picture, const layout::PortState &port, int x, int y, const std::string &id) {
  std::vector<Sign> signs;
  for (const Sign &sign : kSigns)
    if (port.*sign.holds) signs.push_back(sign);
  if (signs.empty()) signs.push_back(kGood);
  picture.shape("module", x, y, signs[0].colour, id);
  constexpr int kSignWidth = 18;
  int sign_x = x + kPortWidth / 2 - (static_cast<int>(signs.size()) - 1) * kSignWidth / 2;
  for (const Sign &sign : signs) {
    picture.shape(sign.shape, sign_x, y + kCageHeight / 2, kDark);
    sign_x += kSignWidth;
  }
}

void draw_port(const Picture &picture, const PanelState &state, unsigned number, int x, int y) {
  const layout::PortState &port = *state.ports[number];
  std::string id = "port" + std::to_string(number), name = shortened(state.modules[number]);
  picture.text(x + 2, y + 11, kWhite, std::to_string(number), kNumber);
  if (port.copper) {
    picture.shape("jack", x, y + kCageY, kWhite, id);
    name = "RJ45";
  } else if (port.empty) {
    picture.shape("cage", x, y + kCageY, kWhite, id);
  } else {
    draw_module(picture, port, x, y + kCageY, id);
  }
  if (!name.empty()) picture.text(x + kPortWidth / 2, y + 66, port.copper ? kSoft : kWhite, name, kName);
  if (auto link = state.links[number]) {
    picture.text(x + kPortWidth - 2, y + 11, kSoft, speed_text(*link), " text-anchor=\"end\" font-size=\"11\"");
    picture.shape(*link > 0 ? "on" : "off", x + kPortWidth - 38, y + 7, kColours[layout::Green], "link" + id);
  }
  picture.place(id, x, y - 2, kPortWidth, kPortHeight);
}

void draw_slot(const Picture &picture, const PanelState &state, unsigned slot) {
  constexpr unsigned kPortsPerSlot = 8;
  std::string type = state.boards[slot].empty() ? "none" : state.boards[slot], number = std::to_string(slot + 1);
  picture.begin_block(kSlots[slot]);
  picture.shape(("board-" + type).c_str(), 0, 0, kWhite, "slot" + number);
  picture.text(12, 20, kWhite, "Slot " + number, kTitle);
  if (type != "none") picture.text(288, 20, kSoft, type == "sfp" ? "SFP" : type, kEnd);
  if (type == "none") picture.text(150, 108, kSoft, "no board", kMiddle);
  picture.place("slot" + number, 0, 0, 300, type == "none" ? kBlockHeight : 28);
  for (unsigned i = 0; i < kPortsPerSlot; ++i) {
    unsigned port = slot * kPortsPerSlot + i;
    int x = kFirstPortX + static_cast<int>(i / 2) * kPortStep;
    if (state.ports[port]) draw_port(picture, state, port, x, kRowY[i % 2]);
  }
  picture.end_block();
}

// The LED beside a port of these is the port's own.
void draw_main_cages(const Picture &picture, const PanelState &state) {
  constexpr unsigned kFirst = 24, kFirstSpeedLight = 6, kCages = 4;
  constexpr int kStep = 86;
  picture.begin_block(kMainCages);
  picture.shape("board-main", 0, 0, kWhite, "slot0");
  picture.text(12, 20, kWhite, "10G", kTitle);
  picture.text(164, 20, kSoft, "main board", kEnd);
  for (unsigned i = 0; i < kCages; ++i) {
    int x = kFirstPortX + 2 + static_cast<int>(i / 2) * kStep, y = kRowY[i % 2];
    if (state.ports[kFirst + i]) draw_port(picture, state, kFirst + i, x, y);
    draw_light(picture, state, kFirstSpeedLight + i, x + kPortWidth - 9, y + 6);
  }
  picture.end_block();
}

void draw_supply(const Picture &picture, const PanelState &state, unsigned supply) {
  const std::optional<SupplyState> &now = state.supply[supply];
  std::string number = std::to_string(supply + 1), text = "not known";
  int x = 12 + static_cast<int>(supply) * 120, y = 122;
  bool there = now && !now->type.empty();
  if (now) text = there ? now->type + (now->good ? " good" : " failed") : "pulled";
  picture.shape("supply", x, y, kWhite, "supply" + number);
  picture.text(x + 10, y + 16, kSoft, "Supply " + number, " font-size=\"11\"");
  picture.text(x + 10, y + 32, there && now->good ? kWhite : kOrange, text, kNumber);
  picture.place("supply" + number, x, y, 106, 40);
}

// The indicators of the whole switch; those of a port stand beside it.
void draw_indicators(const Picture &picture, const PanelState &state) {
  constexpr size_t kRows = 3, kLights = 6;
  picture.begin_block(kIndicators);
  picture.text(12, 20, kWhite, "Managed switch, 28 ports", kTitle);
  for (size_t i = 0; i < kLights; ++i) {
    int x = 12 + static_cast<int>(i / kRows) * 120, y = 44 + static_cast<int>(i % kRows) * 26;
    draw_light(picture, state, i, x + 9, y);
    picture.text(x + 26, y + 4, kWhite, layout::kLights[i].legend);
    picture.place(std::string("led-") + layout::kLights[i].led, x, y - 13, 106, 26);
  }
  if (state.supply[0] || state.supply[1]) {
    for (unsigned i = 0; i < 2; ++i) draw_supply(picture, state, i);
  } else if (!state.supplies.empty()) {
    picture.text(12, 146, kWhite, "Supplies: " + state.supplies);
  }
  if (!state.relay.empty())
    picture.text(12, 186, kSoft, std::string("Alarm relay ") + (state.relay == "0" ? "open" : "closed"));
  if (state.alarm) picture.text(238, 186, kOrange, "power alarm", " text-anchor=\"end\" font-weight=\"700\"");
  picture.end_block();
}

void draw_legend(const Picture &picture) {
  picture.begin_block("legend", kLegendX, kLegendY, kLegendWidth, kLegendHeight);
  int x = 0;
  constexpr Sign kAll[] = {kGood, kSigns[1], kSigns[2], kSigns[0]};
  for (const Sign &sign : kAll) {
    std::fprintf(picture.file, "<rect x=\"%d\" y=\"2\" width=\"34\" height=\"22\" rx=\"2\" fill=\"%s\"/>\n", x,
                 sign.colour);
    picture.shape(sign.shape, x + 17, 13, kDark);
    picture.text(x + 42, 17, kSoft, sign.meaning);
    x += 160;
  }
  for (auto [shape, meaning] :
       {std::pair("off", "LED off"), std::pair("on", "on"), std::pair("blinking", "blinking")}) {
    picture.shape(shape, x + 8, 13, kColours[layout::Green]);
    picture.text(x + 24, 17, kSoft, meaning);
    x += 100;
  }
  picture.end_block();
}

}  // namespace

std::string panel_picture(const PanelState &state) {
  char *text = nullptr;
  size_t size = 0;
  const Picture picture = {open_memstream(&text, &size)};
  std::fputs(kArtwork, picture.file);
  draw_indicators(picture, state);
  for (unsigned slot = 0; slot < std::size(kSlots); ++slot) draw_slot(picture, state, slot);
  draw_main_cages(picture, state);
  draw_legend(picture);
  std::fputs("</svg>\n", picture.file);
  std::fclose(picture.file);
  std::string svg(text, size);
  std::free(text);
  return svg;
}
