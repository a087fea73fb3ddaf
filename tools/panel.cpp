#include <unistd.h>

#include <thread>

#include "../console/panel_layout.h"
#include "records.h"

namespace layout = panel_layout;

static bool watching;
static uint32_t pictures;

/** Null for what cannot be read at the moment: boards come and go while the panel is drawn. The command fails then. */
template <class Read>
static Json attempt(Read read) {
  try {
    return read();
  } catch (const Failure &failure) {
    postpone(failure);
    return {};
  }
}

/** The modules' memories are not read, so that watching never moves the cage selection under another program. */
static Json readPanel() {
  requireBoard();
  return record("leds", attempt(leds), "relay", attempt(relay), "power", attempt(power), "board", attempt(board),
                "ports", attempt([] { return ports(Signals::OfModules); }));
}

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
    cells[y][x] = {glyph, colourful() ? colour : layout::Plain};
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

  const bool folded = columns() < static_cast<size_t>(layout::kWidth);
  std::pair<std::string, layout::Colour> cells[2 * layout::kHeight][layout::kWidth];
};

static void drawLights(Canvas &canvas, const Json &states) {
  for (const layout::Light &light : layout::kLights) {
    canvas.put(light.legend_x, light.y, light.legend);
    for (const Json &led : states) {
      if (led["led"] != light.led) continue;
      const Json &state = led["state"];
      const layout::Colour colour = state == "off" ? layout::Dim : light.colour;
      const char *const glyphs[2][3] = {{".", "*", "~"}, {"○", "●", "◐"}};
      canvas.set(light.x, light.y, glyphs[hasGlyphs()][state == "off" ? 0 : state == "on" ? 1 : 2], colour);
    }
  }
}

static void drawPort(Canvas &canvas, const Json &port) {
  if (port["type"] == "none") return;
  const layout::Look &look =
      layout::lookOf({port["los"] == 1, port["tx_disable"] == 1, port["tx_fault"] == 1, port["module"] == false,
                      port["status"] != "ok", port["type"] == "copper"});
  const auto [x, y] = layout::portAt(port["port"]);
  canvas.put(x, y - 1, format("%2d", port["port"].get<int>()), layout::Dim);
  canvas.put(x, y, look.glyph, look.colour);
}

static void drawPanel(const Json &state, const char *line_end) {
  Canvas canvas;
  canvas.box(0, 0, canvas.width(), canvas.height());
  for (const layout::Frame &frame : layout::kFrames) {
    canvas.box(frame.x, frame.y, frame.width, frame.height);
    std::string legend = frame.legend;
    if (frame.slot > 0 && state["board"].is_object())
      legend += ": " + state["board"]["slots"][static_cast<size_t>(frame.slot) - 1]["board"].get<std::string>();
    canvas.put(frame.x + 1, frame.y, " " + legend.substr(0, static_cast<size_t>(frame.width) - 4) + " ");
  }
  for (const Json &port : state["ports"]) drawPort(canvas, port);
  drawLights(canvas, state["leds"]);
  if (state["relay"].is_object())
    canvas.put(layout::kTextX, layout::kRelayY, "RELAY " + state["relay"]["relay"].dump());
  if (state["power"].is_object()) {
    const bool alarm = state["power"]["alarm"];
    canvas.put(canvas.folded ? 2 : layout::kTextX, layout::kSupplyY + (canvas.folded ? 1 : 0),
               "SUPPLIES " + state["power"]["mode"].get<std::string>() + (alarm ? ", ALARM" : ", good"),
               alarm ? layout::Red : layout::Green);
  }
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

/** With --watch, redraws twice a second, in place on a terminal. */
static void draw() {
  const bool in_place = watching && !settings.json && isScreen(out);
  if (in_place) std::fputs("\033[2J", out);
  auto next = std::chrono::steady_clock::now();
  for (uint32_t i = 1; std::ferror(out) == 0; ++i) {
    takePostponed();  // the last picture's failures count
    const Json state = readPanel();
    if (in_place) std::fputs("\033[H", out);
    if (settings.json)
      show(state);
    else
      drawPanel(state, in_place ? "\033[K\n" : "\n");
    std::fflush(out);
    if (!watching || i == pictures) return;
    next = std::max(next + std::chrono::milliseconds(500), std::chrono::steady_clock::now());
    std::this_thread::sleep_until(next);
  }
}

void addPanelCommand(App &app) {
  App *panel = command(app, "panel", "Draws the front panel as it looks now", "panel --watch", draw);
  flag(panel, "--watch", watching, "Redraw twice a second until interrupted");
  number(panel, "--pictures", pictures, "With --watch: stop after this many (0 = never)", 0, 1000000);
  flag(panel, "--color", settings.colour, "Colours without a terminal too");
}
