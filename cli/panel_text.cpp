#include <cstdint>

#include "output.h"
#include "panel.h"

namespace layout = panel_layout;

/** A grid of characters with colours. */
struct Canvas {
  void put(int x, int y, const std::string &text, layout::Colour colour = layout::Plain) {
    for (size_t i = 0; i < text.size(); ++i) set(x + static_cast<int>(i), y, text.substr(i, 1), colour);
  }
  /** One character, of any number of bytes. A folded panel has its right half below the left one. */
  void set(int x, int y, const std::string &glyph, layout::Colour colour) {
    const bool below = folded && x >= layout::kFoldX && y >= layout::kFoldY;
    if (below) x -= layout::kFoldX - 1, y += layout::kHeight - 1 - layout::kFoldY;
    if (x >= width()) return;
    cells[y][x] = {glyph, colours ? colour : layout::Plain};
  }
  int width() const { return folded ? layout::kFoldX : layout::kWidth; }
  int height() const { return folded ? 2 * layout::kHeight - 1 - layout::kFoldY : layout::kHeight; }
  void box(int x, int y, int width, int height) {
    const std::string edge = "+" + std::string(static_cast<size_t>(width) - 2, '-') + "+";
    for (const int row : {y, y + height - 1}) put(x, row, edge, layout::Dim);
    for (int row = y + 1; row < y + height - 1; ++row)
      for (const int column : {x, x + width - 1}) put(column, row, "|", layout::Dim);
  }
  void print(const char *line_end) const {
    constexpr const char *kCodes[] = {"0", "2", "31", "32", "33", "34", "36"};
    layout::Colour now = layout::Plain;
    for (int y = 0; y < height(); ++y) {
      for (int x = 0; x < width(); ++x) {
        const auto &[glyph, colour] = cells[y][x];
        if (std::exchange(now, colour) != colour) std::fprintf(out, "\033[0;%sm", kCodes[now]);
        std::fputs(glyph.empty() ? " " : glyph.c_str(), out);
      }
      std::fputs(line_end, out);
    }
  }

  const bool colours;
  const bool folded = columns() < static_cast<size_t>(layout::kWidth);
  std::pair<std::string, layout::Colour> cells[2 * layout::kHeight][layout::kWidth] = {};
};

static void draw_lights(Canvas &canvas, const PanelState &state) {
  for (size_t i = 0; i < std::size(layout::kLights); ++i) {
    const layout::Light &light = layout::kLights[i];
    const char *const glyphs[2][3] = {{".", "*", "~"}, {"○", "●", "◐"}};
    canvas.put(light.legend_x, light.y, light.legend);
    if (!state.lights[i]) continue;
    const unsigned lit = std::min(*state.lights[i], 2U);
    canvas.set(light.x, light.y, glyphs[has_glyphs()][lit], lit == 0 ? layout::Dim : light.colour);
  }
}

static void draw_frames(Canvas &canvas, const PanelState &state) {
  canvas.box(0, 0, canvas.width(), canvas.height());
  for (const layout::Frame &frame : layout::kFrames) {
    canvas.box(frame.x, frame.y, frame.width, frame.height);
    const std::string board = frame.slot > 0 ? state.boards[frame.slot - 1] : "";
    const std::string legend = frame.legend + (board.empty() ? "" : ": " + board);
    canvas.put(frame.x + 1, frame.y, " " + legend.substr(0, static_cast<size_t>(frame.width) - 4) + " ");
  }
}

static void draw_ports(Canvas &canvas, const PanelState &state) {
  for (int port = 0; port < std::ssize(state.ports); ++port) {
    if (!state.ports[port]) continue;
    const layout::Look &look = layout::look_of(*state.ports[port]);
    const auto [x, y] = layout::port_at(port);
    canvas.put(x, y - 1, format("%2d", port), layout::Dim);
    canvas.put(x, y, look.glyph, look.colour);
  }
}

void draw_panel(const PanelState &state, bool colours, const char *line_end) {
  Canvas canvas{colours};
  draw_frames(canvas, state);
  draw_ports(canvas, state);
  draw_lights(canvas, state);
  if (!state.relay.empty()) canvas.put(layout::kTextX, layout::kRelayY, "RELAY " + state.relay);
  if (!state.supplies.empty())
    canvas.put(canvas.folded ? 2 : layout::kTextX, layout::kSupplyY + (canvas.folded ? 1 : 0),
               "SUPPLIES " + state.supplies + (state.alarm ? ", ALARM" : ", good"),
               state.alarm ? layout::Red : layout::Green);
  canvas.print(line_end);
  std::string line;
  for (const layout::Look &look : layout::kLooks) {
    if (look.meaning == nullptr) continue;
    const std::string entry = std::string(look.glyph) + " " + look.meaning;
    const bool fits = line.empty() || line.size() + 2 + entry.size() <= columns();
    if (!fits) std::fprintf(out, "%s%s", line.c_str(), line_end);
    line = !fits || line.empty() ? entry : line + "  " + entry;
  }
  std::fprintf(out, "%s%s", line.c_str(), line_end);
}
