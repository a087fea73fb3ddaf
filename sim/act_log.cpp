#include "act_log.h"

#include <algorithm>
#include <cstring>

#include "trace.h"

// The log of acts in the board. A text that is longer than its room goes on in the next place.

namespace zelsim::tool {
namespace {

// A zero ends each text.
constexpr size_t kCommandRoom = sizeof Act::command - 1;
constexpr size_t kUndoRoom = sizeof Act::undo - 1;

// Puts a piece of a text into a field: the first one, the second one ...
template <size_t Size>
void put_piece(char (&to)[Size], const std::string &text, size_t piece) {
  constexpr size_t kRoom = Size - 1;
  size_t from = std::min(text.size(), piece * kRoom);
  std::memset(to, 0, Size);
  text.copy(to, kRoom, from);
}

/** Number of pieces into which a text must be cut. */
size_t pieces_of(const std::string &text, size_t room) { return (text.size() + room - 1) / room; }

template <size_t Size>
std::string text_in(const char (&text)[Size]) {
  return {text, strnlen(text, Size)};
}

const Act &act_at(const Watch &watch, uint32_t position) { return watch.acts[position % kActs]; }

// True for a place that goes on with the text of the one before.
bool goes_on(const Act &act) { return act.who[0] == '\0'; }

}  // namespace

void keep(Board &board, LoggedEntry entry) {
  Watch &watch = board.watch;
  if (pieces_of(entry.undo, kUndoRoom) > kActs) entry.undo = kNoWayBack;
  size_t pieces = std::max(pieces_of(entry.command, kCommandRoom), pieces_of(entry.undo, kUndoRoom));
  pieces = std::min(pieces, size_t{kActs});
  int64_t at_us = host_time_us();
  for (size_t piece = 0; piece < pieces; ++piece) {
    Act &act = watch.acts[watch.acts_done % kActs];
    act.at_us = at_us;
    act.change = number_of_change(board);
    act.undoes = entry.undoes;
    put_piece(act.who, piece == 0 ? entry.who : "", 0);
    put_piece(act.command, entry.command, piece);
    put_piece(act.undo, entry.undo, piece);
    ++watch.acts_done;
  }
}

LoggedEntry take_entry(const Watch &watch, uint32_t &position) {
  const Act &first = act_at(watch, position);
  LoggedEntry entry = {.at_us = first.at_us, .change = first.change, .undoes = first.undoes, .who = text_in(first.who)};
  bool is_whole = false;
  while (!is_whole) {
    const Act &act = act_at(watch, position);
    entry.command += text_in(act.command);
    entry.undo += text_in(act.undo);
    ++position;
    is_whole = position == watch.acts_done || !goes_on(act_at(watch, position));
  }
  entry.number = position;
  return entry;
}

// If the beginning of an act is overwritten, the rest of the act is left out.
uint32_t oldest_position(const Watch &watch) {
  uint32_t position = watch.acts_done - std::min(watch.acts_done, uint32_t{kActs});
  while (position != watch.acts_done && goes_on(act_at(watch, position))) ++position;
  return position;
}

std::vector<LoggedEntry> entries_of(const Watch &watch) {
  std::vector<LoggedEntry> entries;
  uint32_t position = oldest_position(watch);
  while (position != watch.acts_done) entries.push_back(take_entry(watch, position));
  return entries;
}

std::string told_name(const LoggedEntry &entry) {
  size_t title_end = entry.command.find('\n');
  bool is_one_command = title_end == std::string::npos;
  if (is_one_command) return "zelsim " + entry.command;
  bool has_title = title_end > 0;
  if (has_title) return entry.command.substr(0, title_end);
  const std::string commands = entry.command.substr(1);
  std::string name = "zelsim ";
  for (char c : commands) {
    name += c;
    if (c == ';') name += ' ';
  }
  return name;
}

}  // namespace zelsim::tool
