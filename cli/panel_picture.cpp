#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "panel.h"
#include "panel_artwork.h"

namespace layout = panel_layout;

/** By layout::Colour. */
constexpr const char *kColours[] = {"#e8edf2", "#95a1ae", "#ff5f57", "#3fd96c", "#ffb224", "#57a9ff", "#66d4e8"};

/** Places in cells, a text from the upper left corner of its first one. */
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

static void draw_boards(const Picture &picture, const PanelState &state) {
  for (const auto &[legend, slot, x, y, width, height] : layout::kFrames) {
    const std::string type = slot > 0 ? state.boards[slot - 1] : "main";
    picture.shape(type, x, y + .6, layout::Plain, "slot" + std::to_string(slot));
    picture.text(x + .4, y - .4, layout::Plain, legend + (slot > 0 ? ": " + type : ""));
  }
  for (int port = 0; port < std::ssize(state.ports); ++port) {
    if (!state.ports[port]) continue;
    const auto [x, y] = layout::port_at(port);
    const std::string number = std::to_string(port);
    picture.port(x, y, layout::look_of(*state.ports[port]), "port" + number);
    picture.text(x + (port < 10 ? 1.1 : .8), y - .95, layout::Dim, number);
  }
}

static void draw_lights(const Picture &picture, const PanelState &state) {
  constexpr const char *kStates[] = {"off", "on", "blinking"};
  for (size_t i = 0; i < std::size(layout::kLights); ++i) {
    const auto &[led, legend, colour, legend_x, x, y] = layout::kLights[i];
    picture.text(legend_x, y, layout::Plain, legend);
    picture.shape(kStates[std::min(state.lights[i].value_or(0), 2U)], x + .8, y + .5, colour, led);
  }
}

static void draw_legend(const Picture &picture) {
  double x = 1.4, y = layout::kHeight - .7;
  for (const layout::Look &look : layout::kLooks) {
    if (look.meaning == nullptr) continue;
    picture.port(x, y, look, look.glyph);
    picture.text(x + 3.6, y, layout::Plain, look.meaning);
    x += 6 + .65 * static_cast<double>(std::strlen(look.meaning));
  }
}

std::string panel_picture(const PanelState &state) {
  char *text = nullptr;
  size_t size = 0;
  const Picture picture = {open_memstream(&text, &size)};
  std::fputs(kArtwork, picture.file);
  draw_boards(picture, state);
  draw_lights(picture, state);
  picture.text(layout::kTextX, layout::kSupplyY, state.alarm ? layout::Red : layout::Green,
               "SUPPLIES " + state.supplies + (state.alarm ? ", ALARM" : ", good"));
  picture.text(layout::kTextX, layout::kRelayY, layout::Plain, "RELAY " + state.relay);
  draw_legend(picture);
  std::fputs("</svg>\n", picture.file);
  std::fclose(picture.file);
  std::string svg(text, size);
  std::free(text);
  return svg;
}
