/** @file
 *  What the picture of the front panel is drawn with. Lengths are in units of the artwork. */
#ifndef ZELBOARD_CLI_PANEL_DRAWING_H
#define ZELBOARD_CLI_PANEL_DRAWING_H

#include <cstdio>
#include <span>
#include <string>

#include "panel.h"

inline constexpr char kWhite[] = "#f0f4f8";
inline constexpr char kSoft[] = "#c3ccd5";
inline constexpr char kDark[] = "#0c1014";
inline constexpr char kBlue[] = "#6bb8ff";
inline constexpr char kOrange[] = "#ffb03a";
inline constexpr char kGrey[] = "#d5dde5";
inline constexpr char kYellow[] = "#ffe45c";
inline constexpr char kRed[] = "#ff7b72";

const char *colour_of_led(panel_layout::Colour colour);

inline constexpr char kMiddle[] = " text-anchor=\"middle\"";
inline constexpr char kEnd[] = " text-anchor=\"end\"";
inline constexpr char kTitle[] = " font-size=\"13\" font-weight=\"600\"";
inline constexpr char kBold[] = " font-weight=\"700\"";
inline constexpr char kBoldEnd[] = " text-anchor=\"end\" font-weight=\"700\"";
inline constexpr char kSmall[] = " font-size=\"11\"";
inline constexpr char kSmallMiddle[] = " text-anchor=\"middle\" font-size=\"11\"";
inline constexpr char kSmallEnd[] = " text-anchor=\"end\" font-size=\"11\"";

/** The text as it stands in XML, on one line. */
std::string xml_text(const std::string &text);

/** An SVG that is being written. */
struct Picture {
  FILE *file;
  void text(int x, int y, const char *colour, const std::string &text, const char *style = "") const {
    const std::string shown = xml_text(text);
    std::fprintf(file, "<text x=\"%d\" y=\"%d\" fill=\"%s\"%s>%s</text>\n", x, y, colour, style, shown.c_str());
  }
  void shape(const char *shape, int x, int y, const char *colour, const std::string &id = "") const {
    const std::string name = id.empty() ? "" : " id=\"" + id + "\"";
    std::fprintf(file, "<use%s href=\"#%s\" x=\"%d\" y=\"%d\" color=\"%s\"/>\n", name.c_str(), shape, x, y, colour);
  }
  void place(const std::string &part, int x, int y, int width, int height) const {
    constexpr char kPlace[] = "<rect id=\"place-%s\" x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" fill=\"none\"/>\n";
    std::fprintf(file, kPlace, part.c_str(), x, y, width, height);
  }
  void begin_block(const char *name, int x, int y, int width, int height) const {
    constexpr char kBegin[] =
        "<svg id=\"block-%s\" x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" viewBox=\"0 0 %d %d\">\n";
    std::fprintf(file, kBegin, name, x, y, width, height, width, height);
  }
  void end_block() const { std::fputs("</svg>\n", file); }
};

/** A sign on a port with a module. The module has the colour of its first sign. */
struct Sign {
  const char *shape;
  const char *colour;
  const char *meaning;
  bool panel_layout::PortState::*holds;  // null: the sign of a module without troubles
};
/** All signs, in the order of the legend. */
std::span<const Sign> signs_of_ports();

inline constexpr int kPortWidth = 66;
/** Draws a port with what is in it, from its upper left corner on. */
void draw_port(const Picture &picture, const PanelState &state, unsigned number, int x, int y);

#endif
