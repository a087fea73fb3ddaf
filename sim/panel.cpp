#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "../console/panel_layout.h"
#include "panel_artwork.h"
#include "tool.h"

// The front panel as a picture, in the layout that zelctl draws in a terminal.

namespace zelsim::tool {
namespace {

namespace layout = panel_layout;

// By layout::Colour.
constexpr const char *kColours[] = {"#e8edf2", "#95a1ae", "#ff5f57", "#3fd96c", "#ffb224", "#57a9ff", "#66d4e8"};

// Places in cells, a text from the upper left corner of its first one.
struct Picture {
  FILE *file;
  void text(double x, double y, layout::Colour colour, const std::string &text) const {
    constexpr char kText[] = "<text x=\"%g\" y=\"%g\" fill=\"%s\">%s</text>\n";
    std::fprintf(file, kText, x * 10, y * 20 + 14, kColours[colour], text.c_str());
  }
  void shape(const std::string &shape, double x, double y, layout::Colour colour, const std::string &id) const {
    constexpr char kShape[] = "<use id=\"%s\" href=\"#%s\" x=\"%g\" y=\"%g\" color=\"%s\"/>\n";
    std::fprintf(file, kShape, id.c_str(), shape.c_str(), x * 10, y * 20, kColours[colour]);
  }
  void port(double x, double y, const layout::Look &look, const std::string &id) const {
    shape(look.glyph[0] != '[' ? "jack" : look.glyph[1] == ' ' ? "cage" : "module", x, y, look.colour, id);
  }
};

void draw_boards(const Picture &picture, const Board &board) {
  for (const auto &[legend, slot, x, y, width, height] : layout::kFrames) {
    std::string type = board_type(board, slot > 0 ? static_cast<unsigned>(slot) - 1 : kSlots);
    picture.shape(type, x, y + .6, layout::Plain, "slot" + std::to_string(slot));
    picture.text(x + .4, y - .4, layout::Plain, legend + (slot > 0 ? ": " + type : ""));
  }
  for (unsigned port = 0; port < kPorts; ++port) {
    std::string type = board_type(board, port / kPortsPerSlot), number = std::to_string(port);
    if (type == "none") continue;
    const Cage &cage = board.cages[port];
    bool disabled = tx_disable(board, port) != 0, copper = type == "copper";
    auto [x, y] = layout::portAt(static_cast<int>(port));
    const layout::Look &look =
        layout::lookOf({cage.los != 0, disabled, cage.txfault != 0, !cage.fitted, false, copper});
    picture.port(x, y, look, "port" + number);
    picture.text(x + (port < 10 ? 1.1 : .8), y - .95, layout::Dim, number);
  }
}

void draw_lights(const Picture &picture, const Gpio &gpio) {
  constexpr const char *kStates[] = {"off", "on", "blinking"};
  const uint8_t *power = gpio.power_led, *speed = gpio.speed_led;
  const uint8_t states[] = {gpio.system_led,    gpio.alarm_led, power[0], power[1], gpio.ring_master_led,
                            gpio.ring_fail_led, speed[0],       speed[1], speed[2], speed[3]};
  for (size_t i = 0; i < std::size(states); ++i) {
    const auto &[led, legend, colour, legend_x, x, y] = layout::kLights[i];
    picture.text(legend_x, y, layout::Plain, legend);
    picture.shape(kStates[std::min<int>(states[i], 2)], x + .8, y + .5, colour, led);
  }
}

// The power supervision raises its alarm when there are two supplies and not both are good.
void draw_supplies(const Picture &picture, const Board &board) {
  constexpr unsigned kTwoSupplies = 0x08, kBothGood = 0xc0;
  unsigned status = power_status(board);
  bool alarm = (status & kTwoSupplies) != 0 && (status & kBothGood) != kBothGood;
  auto name = [](Supply type) { return type == Supply::None ? "none" : type == Supply::Ac ? "AC" : "DC"; };
  std::string first = name(board.supply[0]), second = name(board.supply[1]);
  std::string text = "SUPPLIES " + (first == second ? "two " + first : first + " and " + second);
  picture.text(layout::kTextX, layout::kSupplyY, alarm ? layout::Red : layout::Green,
               text + (alarm ? ", ALARM" : ", good"));
  picture.text(layout::kTextX, layout::kRelayY, layout::Plain, "RELAY " + std::to_string(board.gpio.relay));
}

void draw_legend(const Picture &picture) {
  double x = 1.4, y = layout::kHeight - .7;
  for (const layout::Look &look : layout::kLooks) {
    if (look.meaning == nullptr) continue;
    picture.port(x, y, look, look.glyph);
    picture.text(x + 3.6, y, layout::Plain, look.meaning);
    x += 6 + .65 * static_cast<double>(std::strlen(look.meaning));
  }
}

}  // namespace

std::string panel_picture(const Board &board) {
  char *text = nullptr;
  size_t size = 0;
  Picture picture = {open_memstream(&text, &size)};
  std::fputs(kArtwork, picture.file);
  draw_boards(picture, board);
  draw_lights(picture, board.gpio);
  draw_supplies(picture, board);
  draw_legend(picture);
  std::fputs("</svg>\n", picture.file);
  std::fclose(picture.file);
  std::string svg(text, size);
  std::free(text);
  return svg;
}

void draw_panel(const Line &line) { write_file("--svg", line.svg, panel_picture(*look_at(line.board))); }

}  // namespace zelsim::tool
