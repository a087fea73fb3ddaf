#include "activity.h"

#include <algorithm>
#include <cstring>
#include <numeric>

#include "board.h"
#include "flash_map.h"
#include "indicators.h"
#include "trace.h"
#include "web.h"

namespace zelsim::web {
namespace {

using namespace std::chrono_literals;

constexpr size_t kMostEntries = 300;
constexpr auto kQuiet = 2s;  // without a write, and what was written is told

std::string text_in(const char *text, size_t size) { return {text, strnlen(text, size)}; }

std::string changer(const Board &board, Node node) {
  const ChangedBy &by = board.watch.changed_by[static_cast<unsigned>(node)];
  if (by.process == 0) return "a program";
  return text_in(by.program, sizeof by.program) + '[' + std::to_string(by.process) + ']';
}

std::string led_text(uint8_t state) { return name_of("off|on|blinking", state); }
std::string flag_text(uint8_t flag) { return std::to_string(flag); }
std::string switch_text(uint8_t flag) { return flag != 0 ? "on" : "off"; }
std::string relay_text(uint8_t flag) { return flag != 0 ? "closed" : "open"; }

/** A byte of the board's state that programs change. */
struct Watched {
  const char *name;
  Node node;
  uint8_t (*value)(const Board &board);
  std::string (*text)(uint8_t value);
};
constexpr Watched kWatched[] = {
    {"alarm relay", Node::Gpio, [](const Board &board) { return board.gpio.relay; }, relay_text},
    {"reset flag", Node::Gpio, [](const Board &board) { return board.gpio.reset_flag; }, flag_text},
    {"diagnostics flag", Node::Gpio, [](const Board &board) { return board.gpio.diag_flag; }, flag_text},
    {"flash access flag", Node::Gpio, [](const Board &board) { return board.gpio.flash_access_flag; }, flag_text},
    {"watchdog toggling", Node::Gpio, [](const Board &board) { return board.gpio.watchdog_toggling; }, switch_text},
    {"board of slot 1 alive", Node::I2c, [](const Board &board) { return board.i2c.slot_alive[0]; }, flag_text},
    {"board of slot 2 alive", Node::I2c, [](const Board &board) { return board.i2c.slot_alive[1]; }, flag_text},
    {"board of slot 3 alive", Node::I2c, [](const Board &board) { return board.i2c.slot_alive[2]; }, flag_text},
};

uint64_t sum(const uint32_t (&counts)[kSectors]) { return std::accumulate(counts, counts + kSectors, uint64_t{0}); }

std::string region_of(unsigned sector) {
  for (const tool::FlashRegion &region : tool::flash_regions())
    if (sector >= region.first_sector && sector < region.end_sector()) return region.name;
  return tool::kUnusedRegion;
}

}  // namespace

void Activity::add(News &news, int64_t at_us, const std::string &who, const std::string &command,
                   const std::string &text, const std::string &undo) {
  Json entry = {{"id", ++entries_}, {"at", at_us / 1000}, {"who", who}};
  if (!command.empty()) entry["command"] = "zelsim " + command;
  if (!text.empty()) entry["text"] = text;
  if (!undo.empty()) entry["undo"] = split(undo, ';');
  news.add("activity", text_of(entry), kMostEntries);
}

// Returns true if one of the acts takes all that programs had set with it.
bool Activity::tell_acts(const Board &now, News &news) {
  bool resets = false;
  uint32_t missed = now.watch.acts_done - acts_;
  if (missed > kActs) acts_ = now.watch.acts_done - kActs;
  for (; acts_ != now.watch.acts_done; ++acts_) {
    const Act &act = now.watch.acts[acts_ % kActs];
    std::string command = text_in(act.command, sizeof act.command);
    add(news, act.at_us, text_in(act.who, sizeof act.who), command, "", text_in(act.undo, sizeof act.undo));
    for (const char *each : {"reset", "load", "fit", "plug", "unplug"}) resets |= command.starts_with(each);
  }
  return resets;
}

void Activity::tell_changes(const Board &now, News &news) {
  int64_t at = host_time_us();
  for (const tool::Indicator &indicator : tool::kIndicators) {
    uint8_t old_state = indicator.state(before_->gpio), state = indicator.state(now.gpio);
    if (old_state == state || indicator.led[0] == '\0') continue;
    std::string name = indicator.key;
    std::ranges::replace(name, '_', ' ');
    add(news, at, changer(now, Node::Gpio), "", "LED " + name + ": " + led_text(old_state) + " → " + led_text(state),
        "");
  }
  for (const Watched &watched : kWatched) {
    uint8_t old_value = watched.value(*before_), value = watched.value(now);
    if (old_value == value) continue;
    std::string change = watched.text(old_value) + " → " + watched.text(value);
    add(news, at, changer(now, watched.node), "", std::string(watched.name) + ": " + change, "");
  }
  if (before_->gpio.hardware_resets != now.gpio.hardware_resets)
    add(news, at, changer(now, Node::Gpio), "", "hardware reset", "");
  for (unsigned port = 0; port < kPorts; ++port) {
    if (!has_cage(now, port) || tx_disable(*before_, port) == tx_disable(now, port)) continue;
    std::string state = tx_disable(now, port) != 0 ? "off" : "on";
    add(news, at, changer(now, Node::I2c), "", "port " + std::to_string(port) + ": transmitter " + state, "");
  }
}

// Writes come by the thousand: their beginning is told, and once they are over what they were.
void Activity::tell_flash(const Board &now, News &news) {
  uint64_t erased = sum(now.flash.erases) - sum(before_->flash.erases);
  uint64_t programmed = now.flash.bytes_programmed - before_->flash.bytes_programmed;
  bool reset = sum(now.flash.erases) < sum(before_->flash.erases) ||
               now.flash.bytes_programmed < before_->flash.bytes_programmed;
  bool writes = !reset && (erased > 0 || programmed > 0);
  bool is_over = !writer_.empty() && Clock::now() - written_at_ > kQuiet;
  if (is_over) {
    std::string text = "flash, " + region_ + ": " + std::to_string(erased_) + " sectors erased, " +
                       std::to_string(programmed_) + " bytes written";
    add(news, host_time_us(), writer_, "", text, "");
    writer_.clear();
  }
  if (!writes) return;
  if (writer_.empty()) {
    erased_ = programmed_ = 0;
    writer_ = changer(now, Node::Flash);
    unsigned sector = 0;
    while (sector < kSectors - 1 && now.flash.erases[sector] == before_->flash.erases[sector] &&
           now.flash.programs[sector] == before_->flash.programs[sector])
      ++sector;
    region_ = region_of(sector);
    add(news, host_time_us(), writer_, "", "flash, " + region_ + ": begins to " + (erased > 0 ? "erase" : "write"), "");
  }
  erased_ += erased;
  programmed_ += programmed;
  written_at_ = Clock::now();
}

void Activity::look(const std::shared_ptr<const Attached> &attached, std::unique_ptr<Board> now, News &news) {
  if (attached_ == attached) {
    bool resets = tell_acts(*now, news);
    if (!resets) tell_changes(*now, news);
    tell_flash(*now, news);
  } else {
    // What was done before anybody watched is told, too, as far as it is known.
    acts_ = now->watch.acts_done - std::min(now->watch.acts_done, uint32_t{kActs});
    tell_acts(*now, news);
  }
  attached_ = attached;
  before_ = std::move(now);
}

}  // namespace zelsim::web
