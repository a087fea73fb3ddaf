#include <algorithm>
#include <cerrno>
#include <cstring>
#include <regex>

#include "../tools/panel_layout.h"
#include "devices.h"
#include "tool.h"

// The front panel as a picture, in the layout that zelctl draws in a terminal; a cell is 10 by 20 units.

namespace zelsim::tool {
namespace {

namespace layout = panel_layout;

constexpr const char *kColours[] = {"#e8edf2", "#95a1ae", "#ff5f57", "#3fd96c", "#ffb224", "#57a9ff", "#66d4e8"};
constexpr const char *kLedStates[] = {"off", "on", "blinking"};

// The case with its mounting ears, and the shapes that stand on it: LEDs around their middle, ports from their upper
// left corner.
constexpr char kHead[] = R"svg(<svg xmlns="http://www.w3.org/2000/svg" viewBox="-42 -2 824 252" width="824" height="252"
 font-family="Helvetica,Arial,sans-serif" font-size="12"><defs>
<linearGradient id="steel" x2="0" y2="1"><stop stop-color="#4b5560"/><stop offset="1" stop-color="#2b323a"/></linearGradient>
<circle id="off" r="5.5" fill="#161b20" stroke="#77838f"/>
<circle id="on" r="7.5" fill="currentColor" stroke="currentColor" stroke-opacity=".35" stroke-width="5"/>
<g id="blinking"><use href="#off"/><path d="M0-5.5a5.5 5.5 0 0 0 0 11z" fill="currentColor"/></g>
<g id="cage"><rect x="1" y="1" width="28" height="18" rx="2" fill="#a9b3be"/><path d="M4 4h22v12H4z" fill="#0f1317"/></g>
<g id="module"><use href="#cage"/><path d="M4 4h22v12H4zM7 7v6h6V7zm10 0v6h6V7z" fill="currentColor"/></g>
<g id="jack"><rect x="1" width="28" height="20" rx="2" fill="#a9b3be"/><path d="M5 6h5V3h10v3h5v11H5z" fill="#0f1317"/>
<path d="M8.5 17v-5m2.6 5v-5m2.6 5v-5m2.6 5v-5m2.6 5v-5m2.6 5v-5" stroke="currentColor"/></g>
<g id="ear"><rect width="50" height="248" rx="4" fill="#2b323a" stroke="#59646f"/>
<path d="M12 30h14m-14 188h14" stroke="#0f1317" stroke-width="10" stroke-linecap="round"/></g></defs>
<use href="#ear" x="-40"/><use href="#ear" transform="translate(780) scale(-1 1)"/>
<rect width="740" height="248" rx="4" fill="url(#steel)" stroke="#59646f"/>
)svg";

// Places are in cells, a text's is the upper left corner of its first one.
struct Picture {
  FILE *file;
  void text(double x, double y, layout::Colour colour, const std::string &text) const {
    std::fprintf(file, "<text x=\"%g\" y=\"%g\" fill=\"%s\">%s</text>\n", x * 10, y * 20 + 14, kColours[colour],
                 text.c_str());
  }
  void shape(const char *shape, double x, double y, layout::Colour colour, const std::string &id) const {
    std::fprintf(file, "<use id=\"%s\" href=\"#%s\" x=\"%g\" y=\"%g\" color=\"%s\"/>\n", id.c_str(), shape, x * 10,
                 y * 20, kColours[colour]);
  }
  void port(double x, double y, const layout::Look &look, const std::string &id) const {
    shape(look.glyph[0] != '[' ? "jack" : look.glyph[1] == ' ' ? "cage" : "module", x, y, look.colour, id);
  }
};

void draw_ports(const Picture &picture, const Board &board) {
  unsigned port = 0;
  for (const auto &[legend, slot, x, y, width, height] : layout::kFrames) {
    std::string type = slot > 0 ? board_type(board, static_cast<unsigned>(slot) - 1) : "10G";
    std::fprintf(picture.file,
                 "<rect x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" rx=\"3\" fill=\"%s\" stroke=\"#6b7682\"/>\n",
                 x * 10, y * 20 + 12, width * 10, height * 20 - 20, type == "none" ? "#1a1f25" : "#414b56");
    picture.text(x + .4, y - .4, layout::Plain, legend + (slot > 0 ? ": " + type : ""));
    for (unsigned end = std::min(port + kPortsPerSlot, kPorts); port < end; ++port) {
      if (type == "none") continue;
      const Cage &cage = board.cages[port];
      auto [left, top] = layout::portAt(static_cast<int>(port));
      picture.port(left, top,
                   layout::lookOf({cage.los != 0, tx_disable(board, port) != 0, cage.txfault != 0, cage.fitted == 0,
                                   false, type == "copper"}),
                   "port" + std::to_string(port));
      picture.text(left + (port < 10 ? 1.1 : .8), top - .95, layout::Dim, std::to_string(port));
    }
  }
}

void draw_lights(const Picture &picture, const Gpio &gpio) {
  const uint8_t states[] = {gpio.system_led,      gpio.alarm_led,     gpio.power_led[0], gpio.power_led[1],
                            gpio.ring_master_led, gpio.ring_fail_led, gpio.speed_led[0], gpio.speed_led[1],
                            gpio.speed_led[2],    gpio.speed_led[3]};
  const uint8_t *state = states;
  for (const auto &[led, legend, colour, legend_x, x, y] : layout::kLights) {
    picture.text(legend_x, y, layout::Plain, legend);
    picture.shape(kLedStates[std::min<int>(*state++, 2)], x + .8, y + .5, colour, led);
  }
  picture.text(layout::kTextX, layout::kRelayY, gpio.relay ? layout::Amber : layout::Plain,
               "RELAY " + std::to_string(gpio.relay));
}

void draw_supplies(const Picture &picture, const Board &board) {
  constexpr unsigned kTwoSupplies = 0x08, kBothGood = 0xc0;
  for (int i = 0; i < 2; ++i) {
    bool none = board.supply[i] == Supply::None, good = board.supply_good[i];
    std::string text = "SUPPLY " + std::to_string(i + 1) +
                       (none                            ? " none"
                        : board.supply[i] == Supply::Ac ? " AC"
                                                        : " DC");
    picture.text(layout::kTextX + i * 12, layout::kSupplyY,
                 none   ? layout::Dim
                 : good ? layout::Green
                        : layout::Red,
                 text + (none || good ? "" : " failed"));
  }
  unsigned status = power_status(board);
  bool alarm = (status & kTwoSupplies) != 0 && (status & kBothGood) != kBothGood;
  if (alarm) picture.text(layout::kTextX + 12, layout::kRelayY, layout::Red, "POWER ALARM");
}

void draw_legend(const Picture &picture) {
  double x = 1.4, y = layout::kHeight - .7;
  for (const layout::Look &look : layout::kLooks) {
    if (look.meaning == nullptr) continue;
    picture.port(x, y, look, look.glyph);
    picture.text(x + 3.6, y, layout::Plain, look.meaning);
    x += 6 + .65 * static_cast<double>(std::strlen(look.meaning));
  }
  x = 57;
  for (const char *state : kLedStates) {
    picture.shape(state, x, layout::kSupplyY + .5, layout::Green, std::string("led-") + state);
    picture.text(x + 1, layout::kSupplyY, layout::Plain, state);
    x += 3 + .6 * static_cast<double>(std::strlen(state));
  }
}

}  // namespace

void draw_panel(const Line &line) {
  OpenBoard board = open_board(line.board);
  Picture picture = {line.svg == "-" ? stdout : std::fopen(line.svg.c_str(), "w")};
  if (picture.file == nullptr) throw Usage("--svg: cannot open '" + line.svg + "': " + std::strerror(errno));
  std::string name = std::regex_replace(board.folder.filename().native(), std::regex("[<&]"), "_");
  std::fputs(kHead, picture.file);
  picture.text(57, layout::kRelayY, layout::Plain, name);
  draw_ports(picture, *board);
  draw_lights(picture, board->gpio);
  draw_supplies(picture, *board);
  draw_legend(picture);
  std::fputs("</svg>\n", picture.file);
  if (std::ferror(picture.file) || std::fclose(picture.file) != 0)
    throw Failure("cannot write " + line.svg + ": " + std::strerror(errno));
}

}  // namespace zelsim::tool
