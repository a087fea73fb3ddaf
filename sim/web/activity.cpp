#include "activity.h"

#include <algorithm>
#include <cstring>

#include "act_log.h"
#include "change_text.h"
#include "trace.h"
#include "web.h"

namespace zelsim::web {
namespace {

constexpr size_t kMostEntries = 1 + kLoggedChanges + kActs;  // that the board was made, and all that its logs hold

std::string text_in(const char *text, size_t size) { return {text, strnlen(text, size)}; }

// An act is one command; or a title, which may be empty, a line feed, and commands.
void put_act(Json &row, const std::string &act) {
  size_t end = act.find('\n');
  if (end == std::string::npos) {
    row["command"] = "zelsim " + act;
    return;
  }
  if (end > 0) row["title"] = act.substr(0, end);
  row["commands"] = Json::array();
  for (const std::string &command : split(act.substr(end + 1), ';')) row["commands"].push_back("zelsim " + command);
}

// True for an act that leaves nothing of the board that earlier acts were done to.
bool replaces_all(const std::string &act) {
  std::string command = act.substr(0, act.find(' '));
  return command == "reset" || command == "load";
}

// The row of an act that cannot be undone any more.
std::string without_undo(const std::string &row) {
  Json changed = Json::parse(row);
  bool had_one = changed.erase("undo") > 0;
  return had_one ? text_of(changed) : row;
}

// The numbers of changes wrap.
bool is_before(const Act &act, const Change &change) { return static_cast<int32_t>(act.change - change.number) < 0; }

}  // namespace

void Activity::add(News &news, const Entry &entry) {
  ++entries_;
  last_us_ = std::max(last_us_, entry.at_us);
  Json row = {{"id", entries_}, {"at", entry.at_us / 1000}, {"who", entry.who}};
  if (!entry.act.empty()) put_act(row, entry.act);
  if (!entry.text.empty()) row["text"] = entry.text;
  if (entry.number != 0) row["act"] = entry.number;
  if (entry.undoes != 0) row["undoes"] = entry.undoes;
  if (entry.undo == kNoWayBack) {
    row["final"] = true;
  } else if (!entry.undo.empty()) {
    row["undo"] = split(entry.undo, ';');
  }
  if (entry.request != 0) row["request"] = entry.request;
  if (entry.barrier) {
    row["barrier"] = true;
    news.change_entries("activity", without_undo);
  }
  news.add("activity", text_of(row), kMostEntries);
}

void Activity::add(News &news, const FlashLines &lines) {
  for (const FlashLine &line : lines) add(news, {.at_us = line.at_us, .who = line.who, .text = line.text});
}

void Activity::tell_reading(const TraceRecord &record, const std::string &changed, uint64_t request, News &news) {
  std::string who = text_in(record.program, sizeof record.program) + '[' + std::to_string(record.process) + ']';
  add(news, {.at_us = record.at_us, .who = who, .text = "reads " + changed, .request = request});
}

// Goes on to the next act. One act may take several entries of the log.
void Activity::tell_act(const Watch &watch, News &news) {
  const tool::LoggedEntry act = tool::take_entry(watch, acts_);
  add(news, {.at_us = act.at_us,
             .who = act.who,
             .act = act.command,
             .number = act.number,
             .undoes = act.undoes,
             .undo = act.undo,
             .barrier = replaces_all(act.command)});
}

// Goes on to the next change.
void Activity::tell_change(const Watch &watch, News &news) {
  const uint32_t entry = changes_;
  const Change &change = change_at(watch, entry);
  ++changes_;
  if (is_of_flash(change)) {
    add(news, flash_.take(change));
    return;
  }
  add(news, flash_.end_before(change));
  std::string text = text_of_change(watch, entry);
  if (!text.empty()) add(news, {.at_us = change.at_us, .who = program_of(change), .text = text});
}

void Activity::follow(const BoardFile &file, const std::filesystem::path &folder) {
  if (file == file_) return;
  file_ = file;
  folder_ = folder;
  begins_ = true;
}

// The logs also hold what happened before anybody watched. The time of the board's file is a little coarse: it is taken no
// earlier than the last entry, which tells of the board that had the name before.
void Activity::begin(const Watch &watch, News &news) {
  begins_ = false;
  int64_t at_us = std::max(file_.made_us, last_us_);
  add(news, {.at_us = at_us, .who = "zelsim", .text = "the board was made", .barrier = true});
  acts_ = tool::oldest_position(watch);
  changes_ = watch.logged - std::min(watch.logged, uint32_t{kLoggedChanges});
  reflashed_ = watch.reflashed;
  flash_ = {};
}

void Activity::count_missed(const Watch &watch, News &news) {
  uint32_t acts = watch.acts_done - acts_;
  uint32_t changes = watch.logged - changes_;
  if (acts > kActs) {
    acts_ = tool::oldest_position(watch);
    add(news, {.at_us = last_us_, .who = "zelsim", .text = "earlier acts are no longer in the board's log"});
  }
  if (changes <= kLoggedChanges) return;
  changes_ = watch.logged - kLoggedChanges;
  std::string missed = std::to_string(changes - kLoggedChanges);
  int64_t at_us = change_at(watch, changes_).at_us;
  add(news, {.at_us = at_us, .who = "zelsim", .text = missed + " changes are no longer in the board's log"});
}

void Activity::look(const Board &now, News &news) {
  const Watch &watch = now.watch;
  if (begins_) begin(watch, news);
  bool has_last = changes_ != 0 && watch.logged - changes_ < kLoggedChanges;
  if (has_last) flash_.take_growth(change_at(watch, changes_ - 1));
  count_missed(watch, news);
  if (reflashed_ != watch.reflashed) flash_.lose_written();
  reflashed_ = watch.reflashed;
  while (acts_ != watch.acts_done || changes_ != watch.logged) {
    const Act &act = watch.acts[acts_ % kActs];
    bool has_act = acts_ != watch.acts_done;
    bool has_change = changes_ != watch.logged;
    bool act_is_next = has_act && (!has_change || is_before(act, change_at(watch, changes_)));
    int64_t next_us = act_is_next ? act.at_us : change_at(watch, changes_).at_us;
    add(news, flash_.end_quiet(watch, next_us));
    if (act_is_next) {
      tell_act(watch, news);
    } else {
      tell_change(watch, news);
    }
  }
  add(news, flash_.look(watch, folder_));
}

}  // namespace zelsim::web
