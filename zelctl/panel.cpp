#include <memory>
#include <thread>

#include "../cli/panel.h"
#include "records.h"

struct PanelOptions {
  bool watch = false;
  uint32_t pictures = 0;  // 0 = until interrupted
};

/** The answer, or null if it cannot be read: boards come and go while the panel is drawn. The command fails at its end. */
template <class Read>
static Json attempt(Read read) {
  try {
    return read();
  } catch (const Failure &failure) {
    postpone(failure);
    return {};
  }
}

/** Does not read the modules' memories: that would move the cage selection, which another program may be using. */
static Json read_panel() {
  require_board();
  return record("leds", attempt(leds), "relay", attempt(relay), "power", attempt(power), "board", attempt(board),
                "ports", attempt([] { return ports(ReadSignals::OfModulesOnly); }));
}

static panel_layout::LightState light_of(const Json &state) {
  if (state == "off") return panel_layout::kLightOff;
  if (state == "on") return panel_layout::kLightOn;
  return panel_layout::kLightBlinking;
}

static panel_layout::PortState port_of(const Json &port) {
  panel_layout::PortState state{};
  state.los = port["loss_of_signal"] == 1;
  state.tx_disable = port["tx_disable"] == 1;
  state.tx_fault = port["tx_fault"] == 1;
  state.empty = port["module"] == false;
  state.silent = port["status"] != "ok";
  state.copper = port["type"] == "copper";
  return state;
}

static PanelState state_of(const Json &shown) {
  PanelState state;
  for (const Json &led : shown["leds"]) state.set_light(led["led"].get<std::string>(), light_of(led["state"]));
  if (shown["board"].is_object()) {
    for (const Json &slot : shown["board"]["slots"])
      state.boards.at(slot["slot"].get<size_t>() - FW_SLOT_FIRST) = slot["board"];
  }
  for (const Json &port : shown["ports"]) {
    if (port["type"] != "none") state.ports.at(port["port"].get<size_t>()) = port_of(port);
  }
  if (shown["relay"].is_object()) state.relay = shown["relay"]["relay"].dump();
  if (shown["power"].is_object()) {
    state.supplies_text = shown["power"]["mode"];
    state.alarm = shown["power"]["alarm"];
  }
  return state;
}

/** With --watch it redraws twice a second, on a screen in place. */
static void draw(const PanelOptions &options) {
  using namespace std::chrono;
  constexpr const char *kClearScreen = "\033[2J";
  constexpr const char *kHome = "\033[H";
  constexpr const char *kClearLineEnd = "\033[K\n";
  const bool in_place = options.watch && !settings.json && is_screen(out);
  const bool colours = settings.colour || colourful();
  const char *const line_end = in_place ? kClearLineEnd : "\n";
  if (in_place) std::fputs(kClearScreen, out);
  auto next = steady_clock::now();
  uint32_t drawn = 0;
  while (std::ferror(out) == 0) {
    take_postponed();  // only the last picture's failures count
    const Json state = read_panel();
    if (in_place) std::fputs(kHome, out);
    if (settings.json)
      show(state);
    else
      draw_panel(state_of(state), colours, line_end);
    std::fflush(out);
    ++drawn;
    if (!options.watch || drawn == options.pictures) return;
    next = std::max(next + milliseconds(500), steady_clock::now());
    std::this_thread::sleep_until(next);
  }
}

void add_panel_command(App &app) {
  const auto options = std::make_shared<PanelOptions>();
  App *panel =
      command(app, "panel", "Draws the front panel as it looks now", "panel --watch", [options] { draw(*options); });
  add_flag(panel, "--watch", options->watch, "Redraw twice a second until interrupted");
  add_number(panel, "--pictures", options->pictures, "With --watch: stop after this many (0 = never)", 0, 1000000);
  add_flag(panel, "--color", settings.colour, "Colours without a terminal too");
}
