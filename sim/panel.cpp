#include <cerrno>
#include <cstring>
#include <regex>

#include "../tools/panel_layout.h"
#include "devices.h"
#include "tool.h"

// The front panel as a picture, in the layout that zelctl draws in a terminal.

namespace zelsim::tool {
namespace {

namespace layout = panel_layout;

constexpr int kCellWidth = 10, kCellHeight = 20;

// By layout::Colour.
constexpr const char *kColours[] = {"#e8edf2", "#95a1ae", "#ff5f57", "#3fd96c", "#ffb224", "#57a9ff", "#66d4e8"};
const char *colour_of(layout::Colour colour) { return kColours[static_cast<int>(colour)]; }

// The case with its mounting ears, for a width and a height in user units, and the shapes that stand on it. LEDs have
// their origin in the middle, ports in the upper left corner.
constexpr char kHead[] = R"(<svg xmlns="http://www.w3.org/2000/svg" viewBox="-42 -2 824 280" width="824" height="280"
 font-family="Helvetica,Arial,sans-serif" font-size="12" fill="#e8edf2">
<title>Front panel of %s</title>
<defs>
<linearGradient id="steel" x2="0" y2="1"><stop stop-color="#4b5560"/><stop offset="1" stop-color="#2b323a"/></linearGradient>
<g id="led0"><circle r="5.5" fill="#161b20" stroke="#77838f"/></g>
<g id="led1"><circle r="9.5" fill="currentColor" opacity=".3"/><circle r="5.5" fill="currentColor"/></g>
<g id="led2"><circle r="5.5" fill="#161b20" stroke="currentColor"/><path d="M0-5.5a5.5 5.5 0 0 0 0 11z" fill="currentColor"/></g>
<g id="cage"><rect x="1" y="1" width="28" height="18" rx="2" fill="#a9b3be"/><path d="M4 4h22v12H4z" fill="#0f1317"/></g>
<g id="module"><use href="#cage"/><path d="M4 4h22v12H4z" fill="currentColor"/><path d="M7 7h6v6H7zM17 7h6v6h-6z" fill="#0f1317"/></g>
<g id="jack"><rect x="1" width="28" height="20" rx="2" fill="#a9b3be"/><path d="M5 6h5V3h10v3h5v11H5z" fill="#0f1317"/>
<path d="M8.500 17v-5m2.600 5v-5m2.600 5v-5m2.600 5v-5m2.600 5v-5m2.600 5v-5" stroke="currentColor"/></g>
<g id="ear"><rect width="44" height="272" rx="4" fill="#2b323a" stroke="#59646f"/><rect x="9" y="30" width="18" height="10" rx="5"
 fill="#0f1317"/><rect x="9" y="232" width="18" height="10" rx="5" fill="#0f1317"/></g>
</defs>
<use href="#ear" x="-40"/><use href="#ear" transform="translate(780) scale(-1 1)"/>
<rect width="740" height="272" rx="4" fill="url(#steel)" stroke="#59646f"/>
)";

void draw_text(FILE *out, int x, int y, const char *more, const char *text) {
  std::fprintf(out, "<text x=\"%d\" y=\"%d\" %s>%s</text>\n", x, y, more, text);
}

void draw_led(FILE *out, const char *id, int x, int y, unsigned state, layout::Colour colour) {
  std::fprintf(out, "<use id=\"%s\" href=\"#led%u\" x=\"%d\" y=\"%d\" color=\"%s\"/>\n", id, state, x, y, colour_of(colour));
}

void draw_port(FILE *out, const char *id, int x, int y, const layout::Look &look) {
  const char *shape = look.glyph[0] != '[' ? "jack" : look.glyph[1] == ' ' ? "cage" : "module";
  std::fprintf(out, "<use id=\"%s\" href=\"#%s\" x=\"%d\" y=\"%d\" color=\"%s\"><title>%s: %s</title></use>\n", id, shape, x, y,
               colour_of(look.colour), id, look.meaning);
}
