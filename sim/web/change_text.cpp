#include "change_text.h"

#include <algorithm>
#include <cstring>

#include "../../cli/panel_layout.h"
#include "../../cli/text.h"
#include "board.h"
#include "indicators.h"
#include "tool.h"

// The changes that programs make, in words.

namespace zelsim::web {
namespace {

using tool::ChainPosition;

std::string led_word(uint32_t state) { return name_of("off|on|blinking", state); }
std::string number_word(uint32_t value) { return std::to_string(value); }
std::string switch_word(uint32_t flag) { return flag != 0 ? "on" : "off"; }
std::string relay_word(uint32_t flag) { return flag != 0 ? "closed" : "open"; }
std::string hex_word(uint32_t value) { return format("0x%x", value); }

/** A byte of the board's state, or several of a kind, which count from 1. */
struct NamedByte {
  size_t offset;
  const char *name;
  std::string (*word)(uint32_t value);
  unsigned count = 1;
};
constexpr NamedByte kBytes[] = {
    {offsetof(Board, gpio.relay), "alarm relay", relay_word},
    {offsetof(Board, gpio.reset_flag), "reset flag", number_word},
    {offsetof(Board, gpio.diag_flag), "diagnostics flag", number_word},
    {offsetof(Board, gpio.flash_access_flag), "flash access flag", number_word},
    {offsetof(Board, gpio.watchdog_toggling), "watchdog toggling", switch_word},
    {offsetof(Board, gpio.io_value), "I/O value", hex_word},
    {offsetof(Board, gpio.debug), "debug mode of the GPIO driver", number_word},
    {offsetof(Board, i2c.debug), "debug mode of the I2C driver", number_word},
    {offsetof(Board, flash.debug), "debug mode of the flash driver", number_word},
    {offsetof(Board, i2c.busy), "I2C bus held", number_word},
    {offsetof(Board, i2c.clock_fail), "clock failure flag", number_word},
    {offsetof(Board, i2c.temperature_fail), "temperature failure flag", number_word},
    {offsetof(Board, i2c.slot_alive), "board alive in slot", number_word, kSlots},
};

// A change as a text: `from → to`.
std::string arrow(const std::string &name, const std::string &from, const std::string &to) {
  return name + ": " + from + " → " + to;
}

std::string number_change(const std::string &name, const Change &change) {
  return arrow(name, hex_word(change.before), hex_word(change.after));
}

std::string led_text(const tool::Indicator &indicator, const Change &change) {
  std::string name = indicator.key;
  std::ranges::replace(name, '_', ' ');
  return arrow("LED " + name, led_word(change.before), led_word(change.after));
}

size_t byte_of(const tool::Indicator &led) { return offsetof(Board, gpio) + led.offset; }

// True if an entry sets the position of an LED to the state that the LED itself was set to last: its own line has told it.
bool repeats_led(const Watch &watch, uint32_t entry, const ChainPosition &position) {
  const auto *led = std::ranges::find(tool::kIndicators, position, &tool::Indicator::position);
  if (led == std::end(tool::kIndicators)) return false;
  const uint32_t kept_before = kLoggedChanges - (watch.logged - entry);
  for (uint32_t back = 1; back <= kept_before; ++back) {
    const Change &earlier = change_at(watch, entry - back);
    bool is_led = earlier.kind == ChangeKind::Byte && earlier.address == byte_of(*led);
    if (is_led) return earlier.after == change_at(watch, entry).after;
  }
  return false;
}

std::string chain_text(const Watch &watch, uint32_t entry) {
  const Change &change = change_at(watch, entry);
  size_t number = change.address - offsetof(Board, chain);
  ChainPosition position = {static_cast<unsigned>(number / kChainBits), static_cast<unsigned>(number % kChainBits)};
  if (repeats_led(watch, entry, position)) return "";
  std::string name = "serial GPIO " + std::to_string(position.group) + '.' + std::to_string(position.bit);
  bool is_of_test = std::ranges::any_of(panel_layout::kTestLamps, [&](const panel_layout::TestLamp &lamp) {
    return position == ChainPosition{lamp.group, lamp.bit};
  });
  if (is_of_test) name = "lamp test, " + name;
  return arrow(name, led_word(change.before), led_word(change.after));
}

std::string byte_text(const Watch &watch, uint32_t entry) {
  const Change &change = change_at(watch, entry);
  size_t offset = change.address;
  for (const tool::Indicator &indicator : tool::kIndicators) {
    bool is_led = indicator.led[0] != '\0';
    if (is_led && offset == byte_of(indicator)) return led_text(indicator, change);
  }
  for (const NamedByte &byte : kBytes) {
    bool is_meant = offset >= byte.offset && offset < byte.offset + byte.count;
    if (!is_meant) continue;
    std::string name = byte.name;
    if (byte.count > 1) name += ' ' + std::to_string(offset - byte.offset + 1);
    return arrow(name, byte.word(change.before), byte.word(change.after));
  }
  bool is_chain = offset >= offsetof(Board, chain) && offset < offsetof(Board, chain) + sizeof Board::chain;
  return is_chain ? chain_text(watch, entry) : "";
}

std::string port_word(const Change &change) { return "port " + std::to_string(change.place); }

}  // namespace

std::string text_of_change(const Watch &watch, uint32_t entry) {
  const Change &change = change_at(watch, entry);
  switch (change.kind) {
    case ChangeKind::Byte:
      return byte_text(watch, entry);
    case ChangeKind::Transmitter:
      return port_word(change) + ": transmitter " + (change.after != 0 ? "off" : "on");
    case ChangeKind::IoOutput:
      return number_change("I/O output " + std::to_string(change.place), change);
    case ChangeKind::ClockTime:
      return arrow("clock", tool::time_text(change.before), tool::time_text(change.after));
    case ChangeKind::SensorRegister:
      return number_change("temperature sensor, register " + std::to_string(change.address), change);
    case ChangeKind::ModulePhy:
      return number_change(port_word(change) + ": register " + std::to_string(change.address) + " of the PHY", change);
    case ChangeKind::SocRegister:
      return number_change("SoC register " + hex_word(change.address), change);
    case ChangeKind::SwitchRegister:
      return number_change("switch-chip register " + hex_word(change.address), change);
    case ChangeKind::PhyRegister:
      return number_change(port_word(change) + ": PHY register " + hex_word(change.address), change);
    case ChangeKind::HardwareReset:
      return "hardware reset";
    default:
      return "";
  }
}

std::string program_of(const Change &change) {
  std::string name(change.program, strnlen(change.program, sizeof change.program));
  return name + '[' + std::to_string(change.process) + ']';
}

}  // namespace zelsim::web
