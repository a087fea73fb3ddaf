#include <vector>

#include "panel_drawing.h"
#include "text.h"

namespace layout = panel_layout;

// A port of the panel's picture: its cage, its module with the signs of its state, its link.

namespace {

// What stands inside a port.
constexpr int kPortHeight = 78;
constexpr int kPortNumberY = 11;
constexpr int kCageY = 16;
constexpr int kCageHeight = 36;
constexpr int kModuleNameY = 66;

constexpr Sign kFaultSign = {"sign-fault", kRed, "transmit fault", &layout::PortState::tx_fault};
constexpr Sign kNoLightSign = {"sign-dark", kOrange, "no light", &layout::PortState::los};
constexpr Sign kTransmitterOffSign = {"sign-off", kGrey, "transmitter off", &layout::PortState::tx_disable};
constexpr Sign kHighAlarmSign = {"sign-high", kRed, "high alarm", &layout::PortState::high_alarm};
constexpr Sign kLowAlarmSign = {"sign-low", kRed, "low alarm", &layout::PortState::low_alarm};
constexpr Sign kHighWarningSign = {"sign-warn-high", kYellow, "high warning", &layout::PortState::high_warning};
constexpr Sign kLowWarningSign = {"sign-warn-low", kYellow, "low warning", &layout::PortState::low_warning};
constexpr Sign kTroubles[] = {kFaultSign,       kHighAlarmSign,  kLowAlarmSign,      kNoLightSign,
                              kHighWarningSign, kLowWarningSign, kTransmitterOffSign};
constexpr Sign kGoodSign = {"sign-signal", kBlue, "signal", nullptr};
constexpr Sign kLegend[] = {kGoodSign,      kNoLightSign,  kTransmitterOffSign, kFaultSign,
                            kHighAlarmSign, kLowAlarmSign, kHighWarningSign,    kLowWarningSign};

/** The name, cut where there is no more room. */
std::string shortened(const std::string &name) {
  constexpr size_t kMost = 10;
  if (length_of(name) <= kMost) return name;
  return first_characters(name, kMost - 1) + "…";
}

std::string speed_text(unsigned speed) {
  if (speed == 0) return "down";
  if (speed == 1000) return "1G";
  return std::to_string(speed) + "M";
}

void draw_module(const Picture &picture, const layout::PortState &port, int x, int y, const std::string &id) {
  std::vector<Sign> signs;
  for (const Sign &sign : kTroubles) {
    if (port.*sign.holds) signs.push_back(sign);
  }
  if (signs.empty()) signs.push_back(kGoodSign);
  picture.shape("module", x, y, signs[0].colour, id);
  constexpr size_t kMostSigns = 3;  // that stand side by side with room between them
  const int sign_width = signs.size() > kMostSigns ? 12 : 18;
  const int gaps = static_cast<int>(signs.size()) - 1;
  int sign_x = x + kPortWidth / 2 - gaps * sign_width / 2;
  for (const Sign &sign : signs) {
    picture.shape(sign.shape, sign_x, y + kCageHeight / 2, kDark);
    sign_x += sign_width;
  }
}

/** The link of a copper port, on the line of the port's number: a small LED and, right of it, the speed. */
void draw_link(const Picture &picture, unsigned speed, int x, int y, const std::string &id) {
  constexpr int kCharacterWidth = 7;
  constexpr int kLightWidth = 9;
  const int right = x + kPortWidth - 2;  // the frame of a selected port stands at its edge
  const std::string text = speed_text(speed);
  const int text_width = kCharacterWidth * static_cast<int>(text.size());
  picture.text(right, y + kPortNumberY, kSoft, text, kSmallEnd);
  picture.shape(speed > 0 ? "link" : "no-link", right - text_width - kLightWidth, y + 7, colour_of_led(layout::Green),
                "link" + id);
}

}  // namespace

std::span<const Sign> signs_of_ports() { return kLegend; }

void draw_port(const Picture &picture, const PanelState &state, unsigned number, int x, int y) {
  const layout::PortState &port = *state.ports[number];
  const std::string id = "port" + std::to_string(number);
  std::string name = shortened(escaped(state.modules[number]));
  picture.text(x + 2, y + kPortNumberY, kWhite, std::to_string(number), kBold);
  if (port.copper) {
    picture.shape("jack", x, y + kCageY, kWhite, id);
    name = "RJ45";
  } else if (port.empty) {
    picture.shape("cage", x, y + kCageY, kWhite, id);
  } else {
    draw_module(picture, port, x, y + kCageY, id);
  }
  const char *const name_colour = port.copper ? kSoft : kWhite;
  if (!name.empty()) picture.text(x + kPortWidth / 2, y + kModuleNameY, name_colour, name, kSmallMiddle);
  const std::optional<unsigned> link = state.links[number];
  if (link) draw_link(picture, *link, x, y, id);
  picture.place(id, x, y - 2, kPortWidth, kPortHeight);
}

const char *colour_of_led(layout::Colour colour) {
  switch (colour) {
    case layout::Plain:
      return kWhite;
    case layout::Dim:
      return kSoft;
    case layout::Red:
      return "#ff6b62";
    case layout::Green:
      return "#52dd7c";
    case layout::Amber:
      return kOrange;
    case layout::Blue:
      return kBlue;
    case layout::Cyan:
      return "#7adcf0";
  }
  return kWhite;
}
