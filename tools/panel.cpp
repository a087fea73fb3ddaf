#include <unistd.h>

#include <chrono>
#include <thread>

#include "panel_layout.h"
#include "records.h"

namespace layout = panel_layout;

static bool watching;
static uint32_t pictures;

constexpr const char *kPlain = "0", *kDim = "2", *kRed = "31", *kGreen = "32", *kAmber = "33", *kBlue = "34",
                     *kCyan = "36";

/** Null for what cannot be read at the moment: boards come and go while the panel is drawn. */
template <class Read>
static Json attempt(Read read) {
  try {
    return read();
  } catch (const Failure &) {
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
class Canvas {
 public:
  void put(int x, int y, const std::string &text, const char *colour = kPlain) {
    for (size_t i = 0; i < text.size(); ++i) set(x + static_cast<int>(i), y, text.substr(i, 1), colour);
  }
  /** One character, of any number of bytes. */
  void set(int x, int y, const std::string &glyph, const char *colour) {
    cells_[static_cast<size_t>(y)][static_cast<size_t>(x)] = {glyph, colourful() ? colour : kPlain};
  }
  void box(int x, int y, int width, int height) {
    const std::string edge = "+" + std::string(static_cast<size_t>(width) - 2, '-') + "+";
    for (const int row : {y, y + height - 1}) put(x, row, edge, kDim);
    for (int row = y + 1; row < y + height - 1; ++row)
      for (const int column : {x, x + width - 1}) put(column, row, "|", kDim);
  }
  std::string text(const char *line_end) const {
    std::string all;
    const char *colour = kPlain;
    for (const auto &line : cells_) {
      for (const Cell &cell : line) {
        if (std::exchange(colour, cell.colour) != cell.colour) all += format("\033[0;%sm", cell.colour);
        all += cell.glyph;
      }
      all += line_end;
    }
    return all;
  }

 private:
  struct Cell {
    std::string glyph = " ";
    const char *colour = kPlain;
  };
  Cell cells_[layout::kHeight][layout::kWidth];
};

static void drawLights(Canvas &canvas, const Json &states) {
  constexpr const char *kColours[] = {kGreen, kRed, kAmber};
  for (const layout::Light &light : layout::kLights) {
    canvas.put(light.legend_x, light.legend_y, light.legend);
    for (const Json &led : states) {
      if (led["led"] != light.led) continue;
      const Json &state = led["state"];
      const char *colour = state == "off" ? kDim : kColours[static_cast<int>(light.colour)];
      canvas.set(light.x, light.y, state == "off" ? "○" : state == "on" ? "●" : "◐", colour);
    }
  }
}

static void drawPort(Canvas &canvas, const Json &port) {
  using Look = std::pair<const char *, const char *>;
  if (port["type"] == "none") return;
  const Look look = port["type"] == "copper"  ? Look{"RJ", kCyan}
                    : port["status"] != "ok"  ? Look{"[?]", kRed}
                    : port["module"] == false ? Look{"[ ]", kDim}
                    : port["tx_fault"] == 1   ? Look{"[!]", kRed}
                    : port["tx_disable"] == 1 ? Look{"[x]", kBlue}
                    : port["los"] == 1        ? Look{"[-]", kAmber}
                                              : Look{"[*]", kGreen};
  const layout::Port place = layout::portAt(port["port"]);
  canvas.put(place.x, place.y - 1, format("%2d", place.port), kDim);
  canvas.put(place.x, place.y, look.first, look.second);
}

static void drawPanel(const Json &state, const char *line_end) {
  Canvas canvas;
  canvas.box(0, 0, layout::kWidth, layout::kHeight);
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
    canvas.put(layout::kTextX, layout::kSupplyY,
               "SUPPLIES " + state["power"]["mode"].get<std::string>() + (alarm ? ", ALARM" : ", good"),
               alarm ? kRed : kGreen);
  }
  std::fprintf(out, "%s[*] signal  [-] no signal  [x] transmitter off  [!] fault  [ ] empty  RJ copper%s",
               canvas.text(line_end).c_str(), line_end);
}

/** Redraws twice a second, in place on a terminal. */
static void watch() {
  const bool terminal = isatty(fileno(out)) != 0;
  if (terminal) std::fputs("\033[2J", out);
  auto next = std::chrono::steady_clock::now();
  for (uint32_t i = 1; std::ferror(out) == 0; ++i) {
    const Json state = readPanel();
    if (terminal) std::fputs("\033[H", out);
    drawPanel(state, terminal ? "\033[K\n" : "\n");
    if (i == pictures) return;
    next = std::max(next + std::chrono::milliseconds(500), std::chrono::steady_clock::now());
    std::this_thread::sleep_until(next);
  }
}

void addPanelCommand(App &app) {
  App *panel = command(app, "panel", "Draws the front panel as it looks now", "panel --watch", [] {
    if (watching) return watch();
    const Json state = readPanel();
    if (settings.json) return show(state);
    drawPanel(state, "\n");
  });
  panel->add_flag("--watch", watching, "Redraw twice a second until interrupted");
  number(panel, "--pictures", pictures, "With --watch: stop after this many (0 = never)", 0, 1000000);
  panel->add_flag("--color", settings.colour, "Colours without a terminal too");
}
