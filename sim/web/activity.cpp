#include "activity.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <utility>

#include "board.h"
#include "flash_map.h"
#include "indicators.h"
#include "trace.h"
#include "web.h"

namespace zelsim::web {
namespace {

using namespace std::chrono_literals;

constexpr size_t kMostEntries = 300;
constexpr auto kQuiet = 2s;  // without a write: then the writing is over

std::string text_in(const char *text, size_t size) { return {text, strnlen(text, size)}; }

std::string program_text(const char *program, size_t size, uint32_t process) {
  return text_in(program, size) + '[' + std::to_string(process) + ']';
}

std::string changer(const Board &board, Node node) {
  const ChangedBy &last = board.watch.changed_by[static_cast<unsigned>(node)];
  if (last.process == 0) return "a program";
  return program_text(last.program, sizeof last.program, last.process);
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
  for (const tool::FlashRegion &region : tool::flash_regions()) {
    if (sector >= region.first_sector && sector < region.end_sector()) return region.name;
  }
  return tool::kUnusedRegion;
}

// The first sector that was erased or programmed since; the last one if none was.
unsigned first_changed_sector(const Flash &before, const Flash &now) {
  constexpr unsigned kLast = kSectors - 1;
  for (unsigned sector = 0; sector < kLast; ++sector) {
    bool is_erased = before.erases[sector] != now.erases[sector];
    bool is_programmed = before.programs[sector] != now.programs[sector];
    if (is_erased || is_programmed) return sector;
  }
  return kLast;
}

// True for a command that also resets what programs had set.
bool resets_states(const std::string &command) {
  constexpr std::string_view kCommands[] = {"reset", "load", "fit", "plug", "unplug"};
  return std::ranges::any_of(kCommands, [&](std::string_view name) { return command.starts_with(name); });
}

// A change as a text: `from → to`.
std::string arrow(const std::string &from, const std::string &to) { return from + " → " + to; }

}  // namespace

void Activity::add(News &news, const Entry &entry) {
  ++entries_;
  Json row = {{"id", entries_}, {"at", entry.at_us / 1000}, {"who", entry.who}};
  if (!entry.command.empty()) row["command"] = "zelsim " + entry.command;
  if (!entry.text.empty()) row["text"] = entry.text;
  if (!entry.undo.empty()) row["undo"] = split(entry.undo, ';');
  if (entry.request != 0) row["request"] = entry.request;
  news.add("activity", text_of(row), kMostEntries);
}

void Activity::tell_reading(const TraceRecord &record, const std::string &changed, uint64_t request, News &news) {
  std::string who = program_text(record.program, sizeof record.program, record.process);
  add(news, {.at_us = record.at_us, .who = who, .text = "reads " + changed, .request = request});
}

// Returns true if one of the acts resets what programs had set.
bool Activity::tell_acts(const Board &now, News &news) {
  bool resets = false;
  uint32_t missed = now.watch.acts_done - acts_;
  if (missed > kActs) acts_ = now.watch.acts_done - kActs;
  for (; acts_ != now.watch.acts_done; ++acts_) {
    const Act &act = now.watch.acts[acts_ % kActs];
    Entry entry = {.at_us = act.at_us, .who = text_in(act.who, sizeof act.who)};
    entry.command = text_in(act.command, sizeof act.command);
    entry.undo = text_in(act.undo, sizeof act.undo);
    add(news, entry);
    if (resets_states(entry.command)) resets = true;
  }
  return resets;
}

void Activity::tell_leds(const Board &now, News &news) {
  for (const tool::Indicator &indicator : tool::kIndicators) {
    uint8_t old_state = indicator.state(std::as_const(before_->gpio));
    uint8_t new_state = indicator.state(now.gpio);
    bool is_led = indicator.led[0] != '\0';
    if (!is_led || old_state == new_state) continue;
    std::string name = indicator.key;
    std::ranges::replace(name, '_', ' ');
    std::string change = arrow(led_text(old_state), led_text(new_state));
    add(news, {.at_us = host_time_us(), .who = changer(now, Node::Gpio), .text = "LED " + name + ": " + change});
  }
}

void Activity::tell_transmitters(const Board &now, News &news) {
  for (unsigned port = 0; port < kPorts; ++port) {
    if (!has_cage(now, port) || tx_disable(*before_, port) == tx_disable(now, port)) continue;
    std::string state = tx_disable(now, port) != 0 ? "off" : "on";
    std::string text = "port " + std::to_string(port) + ": transmitter " + state;
    add(news, {.at_us = host_time_us(), .who = changer(now, Node::I2c), .text = text});
  }
}

void Activity::tell_changes(const Board &now, News &news) {
  tell_leds(now, news);
  for (const Watched &watched : kWatched) {
    uint8_t old_value = watched.value(*before_);
    uint8_t new_value = watched.value(now);
    if (old_value == new_value) continue;
    std::string change = arrow(watched.text(old_value), watched.text(new_value));
    std::string text = std::string(watched.name) + ": " + change;
    add(news, {.at_us = host_time_us(), .who = changer(now, watched.node), .text = text});
  }
  if (before_->gpio.hardware_resets != now.gpio.hardware_resets)
    add(news, {.at_us = host_time_us(), .who = changer(now, Node::Gpio), .text = "hardware reset"});
  tell_transmitters(now, news);
}

void Activity::begin_writing(const Board &now, bool erases, News &news) {
  erased_ = 0;
  programmed_ = 0;
  writer_ = changer(now, Node::Flash);
  region_ = region_of(first_changed_sector(before_->flash, now.flash));
  std::string what = erases ? "erase" : "write";
  add(news, {.at_us = host_time_us(), .who = writer_, .text = "flash, " + region_ + ": begins to " + what});
}

void Activity::end_writing(News &news) {
  std::string text = "flash, " + region_ + ": " + std::to_string(erased_) + " sectors erased, " +
                     std::to_string(programmed_) + " bytes written";
  add(news, {.at_us = host_time_us(), .who = writer_, .text = text});
  writer_.clear();
}

// Writes come by the thousand: only their beginning and, when they are over, their sum are told.
void Activity::tell_flash(const Board &now, News &news) {
  uint64_t erases_before = sum(before_->flash.erases);
  uint64_t erases_now = sum(now.flash.erases);
  uint64_t bytes_before = before_->flash.bytes_programmed;
  uint64_t bytes_now = now.flash.bytes_programmed;
  bool is_over = !writer_.empty() && Clock::now() - written_at_ > kQuiet;
  if (is_over) end_writing(news);
  bool was_reset = erases_now < erases_before || bytes_now < bytes_before;
  bool was_written = erases_now > erases_before || bytes_now > bytes_before;
  if (was_reset || !was_written) return;
  if (writer_.empty()) begin_writing(now, erases_now > erases_before, news);
  erased_ += erases_now - erases_before;
  programmed_ += bytes_now - bytes_before;
  written_at_ = Clock::now();
}

void Activity::look(const std::shared_ptr<const Attached> &attached, std::unique_ptr<Board> now, News &news) {
  if (attached_ == attached) {
    bool resets = tell_acts(*now, news);
    if (!resets) tell_changes(*now, news);
    tell_flash(*now, news);
  } else {
    // The log also has acts from before anybody watched.
    acts_ = now->watch.acts_done - std::min(now->watch.acts_done, uint32_t{kActs});
    tell_acts(*now, news);
  }
  attached_ = attached;
  before_ = std::move(now);
}

}  // namespace zelsim::web
