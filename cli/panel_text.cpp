#include <algorithm>
#include <array>
#include <cstdint>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "output.h"
#include "panel.h"

namespace layout = panel_layout;

/** The escape code of a colour; it stands behind "0;". */
static const char *code_of(layout::Colour colour) {
  switch (colour) {
    case layout::Plain:
      return "0";
    case layout::Dim:
      return "2";
    case layout::Red:
      return "31";
    case layout::Green:
      return "32";
    case layout::Amber:
      return "33";
    case layout::Blue:
      return "34";
    case layout::Cyan:
      return "36";
  }
  return "0";
}

/** A grid of characters with colours. In a folded panel the right half is below the left half. */
class Canvas {
 public:
  explicit Canvas(bool colours) : colours_(colours), folded_(columns() < static_cast<size_t>(layout::kWidth)) {}

  bool folded() const { return folded_; }
  int width() const { return folded_ ? layout::kFoldX : layout::kWidth; }
  int height() const { return folded_ ? layout::kHeight + kMoveDown : layout::kHeight; }

  /** One character, of any number of bytes, at a place of the unfolded panel. */
  void set(int x, int y, const std::string &glyph, layout::Colour colour) {
    const bool moved = folded_ && x >= layout::kFoldX && y >= layout::kFoldY;
    const int column = moved ? x - kMoveLeft : x;
    const int row = moved ? y + kMoveDown : y;
    if (column < width()) cells_[row][column] = {glyph, colours_ ? colour : layout::Plain};
  }
  /** Several characters, all of them ASCII. */
  void put(int x, int y, const std::string &text, layout::Colour colour = layout::Plain) {
    for (const char c : text) {
      set(x, y, std::string(1, c), colour);
      ++x;
    }
  }
  void box(int x, int y, int width, int height) {
    const int right = x + width - 1;
    const int bottom = y + height - 1;
    const std::string edge = "+" + std::string(static_cast<size_t>(width) - 2, '-') + "+";
    put(x, y, edge, layout::Dim);
    put(x, bottom, edge, layout::Dim);
    for (int row = y + 1; row < bottom; ++row) {
      put(x, row, "|", layout::Dim);
      put(right, row, "|", layout::Dim);
    }
  }
  void print(const char *line_end) const {
    layout::Colour present = layout::Plain;
    for (int y = 0; y < height(); ++y) {
      for (int x = 0; x < width(); ++x) {
        const Cell &cell = cells_[y][x];
        if (cell.colour != present) std::fprintf(out, "\033[0;%sm", code_of(cell.colour));
        present = cell.colour;
        std::fputs(cell.glyph.empty() ? " " : cell.glyph.c_str(), out);
      }
      std::fputs(line_end, out);
    }
    if (present != layout::Plain) std::fputs("\033[0m", out);
  }

 private:
  /* How far the right half moves: its first column becomes column 1, its first line the last line of the left half. */
  static constexpr int kMoveLeft = layout::kFoldX - 1;
  static constexpr int kMoveDown = layout::kHeight - 1 - layout::kFoldY;

  struct Cell {
    std::string glyph;
    layout::Colour colour = layout::Plain;
  };
  const bool colours_;
  const bool folded_;
  Cell cells_[layout::kHeight + kMoveDown][layout::kWidth];
};

void PanelState::set_light(const std::string &led, unsigned state) {
  for (size_t i = 0; i < lights.size(); ++i) {
    if (led != layout::kLights[i].led) continue;
    lights[i] = state;
    return;
  }
  throw std::logic_error("the panel has no LED " + led);
}

static void draw_light(Canvas &canvas, unsigned state, int x, int y, layout::Colour colour) {
  using Glyphs = std::array<const char *, 3>;  // by LightState
  const Glyphs glyphs = has_glyphs() ? Glyphs{"○", "●", "◐"} : Glyphs{".", "*", "~"};
  const unsigned lit = std::min<unsigned>(state, layout::kLightBlinking);
  canvas.set(x, y, glyphs[lit], lit == layout::kLightOff ? layout::Dim : colour);
}

// A legend stays in front of its LED. The LEDs above the fold stay inside the frame of a folded panel.
static constexpr bool has_room(const layout::Light &light) {
  const int end_of_legend = light.legend_x + static_cast<int>(std::string_view(light.legend).size());
  const bool is_in_frame = light.y >= layout::kFoldY || light.x < layout::kFoldX - 1;
  return end_of_legend <= light.x && is_in_frame;
}
static_assert(std::ranges::all_of(layout::kLights, has_room), "an LED stands on its legend or on the frame");

static void draw_lights(Canvas &canvas, const PanelState &state) {
  for (size_t i = 0; i < state.lights.size(); ++i) {
    const layout::Light &light = layout::kLights[i];
    canvas.put(light.legend_x, light.y, light.legend);
    if (state.lights[i]) draw_light(canvas, *state.lights[i], light.x, light.y, light.colour);
  }
}

static void draw_test_lamps(Canvas &canvas, const PanelState &state) {
  bool is_lit = false;
  for (const std::optional<unsigned> &lamp : state.test_lamps) {
    if (lamp.value_or(layout::kLightOff) != layout::kLightOff) is_lit = true;
  }
  if (!is_lit) return;
  canvas.put(layout::kTestLegendX, layout::kTestY, layout::kTestLegend);
  int x = layout::kTestX;
  for (const std::optional<unsigned> &lamp : state.test_lamps) {
    draw_light(canvas, lamp.value_or(layout::kLightOff), x, layout::kTestY, layout::kTestColour);
    ++x;
  }
}

static void draw_frames(Canvas &canvas, const PanelState &state) {
  canvas.box(0, 0, canvas.width(), canvas.height());
  for (const layout::Frame &frame : layout::kFrames) {
    canvas.box(frame.x, frame.y, frame.width, frame.height);
    std::string legend = frame.legend;
    if (frame.slot > 0) {
      const std::string &board = state.boards[static_cast<size_t>(frame.slot - 1)];
      if (!board.empty()) legend += ": " + board;
    }
    const size_t room = static_cast<size_t>(frame.width) - 4;  // without the corners and the blanks around the legend
    legend.resize(std::min(legend.size(), room));
    canvas.put(frame.x + 1, frame.y, " " + legend + " ");
  }
}

/** A copper port shows the speed of its link where that is known. */
static layout::Look look_of(const PanelState &state, size_t port) {
  const layout::PortState &known = *state.ports[port];
  const std::optional<unsigned> &link = state.links[port];
  if (!known.copper || !link) return layout::look_of(known);
  layout::Look look = *link > 0 ? layout::kCopperLink : layout::kNoCopperLink;
  if (*link == 100) look.glyph = "100";
  if (*link == 10) look.glyph = "10";
  return look;
}

static bool knows_links(const PanelState &state) {
  for (size_t port = 0; port < state.ports.size(); ++port) {
    if (state.ports[port] && state.ports[port]->copper && state.links[port]) return true;
  }
  return false;
}

static void draw_ports(Canvas &canvas, const PanelState &state) {
  for (int port = 0; port < layout::kPorts; ++port) {
    if (!state.ports[static_cast<size_t>(port)]) continue;
    const layout::Look look = look_of(state, static_cast<size_t>(port));
    const auto [x, y] = layout::port_at(port);
    canvas.put(x, y - 1, format("%2d", port), layout::Dim);
    canvas.put(x, y, look.glyph, look.colour);
  }
}

static void draw_texts(Canvas &canvas, const PanelState &state) {
  if (!state.relay.empty()) canvas.put(layout::kTextX, layout::kRelayY, "RELAY " + state.relay);
  if (state.supplies_text.empty()) return;
  const std::string text = "SUPPLIES " + state.supplies_text + (state.alarm ? ", ALARM" : ", good");
  const layout::Colour colour = state.alarm ? layout::Red : layout::Green;
  // In a folded panel there is no room beside the LEDs.
  if (canvas.folded())
    canvas.put(2, layout::kSupplyY + 1, text, colour);
  else
    canvas.put(layout::kTextX, layout::kSupplyY, text, colour);
}

/** The looks that the panel can have. */
static std::vector<layout::Look> legend_of(const PanelState &state) {
  std::vector<layout::Look> looks(std::begin(layout::kLooks), std::end(layout::kLooks));
  if (!knows_links(state)) return looks;
  std::erase_if(looks, [](const layout::Look &look) { return look.glyph == layout::kCopper.glyph; });
  looks.push_back(layout::kCopperLink);
  looks.push_back(layout::kNoCopperLink);
  return looks;
}

/** As many entries on a line as fit. */
static void print_legend(const PanelState &state, const char *line_end) {
  std::string line;
  for (const layout::Look &look : legend_of(state)) {
    if (look.meaning == nullptr) continue;
    const std::string entry = std::string(look.glyph) + " " + look.meaning;
    const std::string longer = line.empty() ? entry : line + "  " + entry;
    if (!line.empty() && longer.size() > columns()) {
      std::fprintf(out, "%s%s", line.c_str(), line_end);
      line = entry;
    } else {
      line = longer;
    }
  }
  std::fprintf(out, "%s%s", line.c_str(), line_end);
}

void draw_panel(const PanelState &state, bool colours, const char *line_end) {
  Canvas canvas(colours);
  draw_frames(canvas, state);
  draw_ports(canvas, state);
  draw_lights(canvas, state);
  draw_test_lamps(canvas, state);
  draw_texts(canvas, state);
  canvas.print(line_end);
  print_legend(state, line_end);
}
