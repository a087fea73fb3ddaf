#include <unistd.h>

#include <thread>

#include "../cli/panel.h"
#include "records.h"

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
static Json read_panel() {
  require_board();
  return record("leds", attempt(leds), "relay", attempt(relay), "power", attempt(power), "board", attempt(board),
                "ports", attempt([] { return ports(Signals::OfModules); }));
}

static PanelState state_of(const Json &shown) {
  PanelState state;
  size_t light = 0;
  for (const Json &led : shown["leds"])
    state.lights[light++] = led["state"] == "off" ? 0 : led["state"] == "on" ? 1 : 2;
  if (shown["board"].is_object())
    for (size_t slot = 0; slot < std::size(state.boards); ++slot)
      state.boards[slot] = shown["board"]["slots"][slot]["board"];
  for (const Json &port : shown["ports"])
    if (port["type"] != "none")
      state.ports[port["port"].get<size_t>()] = {port["los"] == 1,       port["tx_disable"] == 1,
                                                 port["tx_fault"] == 1,  port["module"] == false,
                                                 port["status"] != "ok", port["type"] == "copper"};
  if (shown["relay"].is_object()) state.relay = shown["relay"]["relay"].dump();
  if (!shown["power"].is_object()) return state;
  state.supplies = shown["power"]["mode"];
  state.alarm = shown["power"]["alarm"];
  return state;
}

/** With --watch, redraws twice a second, in place on a terminal. */
static void draw() {
  const bool in_place = watching && !settings.json && is_screen(out);
  if (in_place) std::fputs("\033[2J", out);
  auto next = std::chrono::steady_clock::now();
  for (uint32_t i = 1; std::ferror(out) == 0; ++i) {
    take_postponed();  // the last picture's failures count
    const Json state = read_panel();
    if (in_place) std::fputs("\033[H", out);
    if (settings.json)
      show(state);
    else
      draw_panel(state_of(state), settings.colour || colourful(), in_place ? "\033[K\n" : "\n");
    std::fflush(out);
    if (!watching || i == pictures) return;
    next = std::max(next + std::chrono::milliseconds(500), std::chrono::steady_clock::now());
    std::this_thread::sleep_until(next);
  }
}

void add_panel_command(App &app) {
  App *panel = command(app, "panel", "Draws the front panel as it looks now", "panel --watch", draw);
  flag(panel, "--watch", watching, "Redraw twice a second until interrupted");
  number(panel, "--pictures", pictures, "With --watch: stop after this many (0 = never)", 0, 1000000);
  flag(panel, "--color", settings.colour, "Colours without a terminal too");
}
