#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "captured.h"
#include "tool.h"

// Scenarios: what happens to a switch, and when. A line is a time in seconds and a command line of zelsim.

namespace zelsim::tool {
namespace {

constexpr double kLongest = 1e7;  // seconds

struct TimedAct {
  int64_t at_us;
  Words words;
  std::string place;  // file and line, for messages
};

/** Words as a shell takes them apart: quotes keep blanks. Nothing when a quote does not end. */
std::optional<Words> words_of(const std::string &text) {
  Words words;
  bool within = false;
  char quote = '\0';
  for (char c : text) {
    bool blank = c == ' ' || c == '\t' || c == '\r';
    if (quote == '\0' && blank) {
      within = false;
      continue;
    }
    if (!within) words.emplace_back();
    within = true;
    if (c == quote) {
      quote = '\0';
    } else if (quote == '\0' && (c == '\'' || c == '"')) {
      quote = c;
    } else {
      words.back() += c;
    }
  }
  if (quote != '\0') return std::nullopt;
  return words;
}

/** Microseconds; with + from the act before. */
int64_t time_of(const std::string &text, int64_t before, const std::string &place) {
  bool from_before = text.starts_with("+");
  const char *digits = text.c_str() + (from_before ? 1 : 0);
  char *end = nullptr;
  double seconds = std::strtod(digits, &end);
  bool number = std::isdigit(static_cast<unsigned char>(*digits)) != 0 && *end == '\0' && seconds <= kLongest;
  if (!number) throw Usage(place + ": '" + text + "' is not a time in seconds, as 2.5 or +0.5");
  int64_t at = std::llround(seconds * 1e6) + (from_before ? before : 0);
  if (at < before) throw Usage(place + ": the time " + text + " is before that of the act before");
  return at;
}

/** Does the act, or only looks whether it could be one. */
void perform(const TimedAct &act, Perform how) {
  Captured printed(stdout);
  Captured output(out);
  Captured errors(stderr);
  int status = execute(act.words, how);
  std::string why = errors.text();
  std::erase(why, '\n');
  if (why.starts_with("zelsim: ")) why.erase(0, 8);
  if (status == 0) return;
  if (how == Perform::Check) throw Usage(act.place + ": " + why);
  throw Failure(act.place + ": " + why);
}

std::vector<TimedAct> read_scenario(const std::string &file) {
  constexpr size_t kMost = 16 << 20;
  std::vector<uint8_t> bytes = read_file(file, kMost);
  std::vector<TimedAct> acts;
  int64_t at = 0;
  unsigned number = 0;
  for (const std::string &line : split(std::string(bytes.begin(), bytes.end()), '\n')) {
    std::string place = "FILE: " + file + ", line " + std::to_string(++number);
    auto words = words_of(line);
    if (!words) throw Usage(place + ": a quote has no end");
    if (words->empty() || words->front().starts_with("#")) continue;
    at = time_of(words->front(), at, place);
    words->erase(words->begin());
    if (!words->empty() && words->front() == "zelsim") words->erase(words->begin());
    if (words->empty()) throw Usage(place + ": a time without a command");
    for (const char *becomes : {"run", "record", "serve", "batch", "play"})
      if (words->front() == becomes) throw Usage(place + ": '" + becomes + "' is no act");
    acts.push_back({at, *words, place});
    perform(acts.back(), Perform::Check);
  }
  return acts;
}

/** Until the board's time; as long as the board is there, and nobody interrupts. */
void wait_until(Board &board, int64_t then, bool fast) {
  constexpr int64_t kLook = 2000;  // programs that count their pauses let the board's time jump
  for (int64_t left = then - now_us(board); left > 0; left = then - now_us(board)) {
    if (interrupted()) throw Failure("interrupted");
    if (board.magic != kMagic) throw Failure("the board was deleted");
    if (fast)
      __atomic_add_fetch(&board.paused_us, static_cast<uint64_t>(left), __ATOMIC_RELAXED);
    else
      usleep(static_cast<useconds_t>(std::min(left, kLook)));
  }
}

}  // namespace

void play(const CommandLine &line) {
  hold_signals();
  std::vector<TimedAct> acts = read_scenario(line.words[0]);
  std::shared_ptr<const Attached> attached = look_at(line.board).attached;
  int64_t start = now_us(*attached->board);
  for (TimedAct &act : acts) {
    wait_until(*attached->board, wrapping_sum(start, act.at_us), line.fast);
    // The board of this scenario, unless the line names another.
    bool named = std::ranges::find(act.words, "--board") != act.words.end();
    if (!named && !line.board.empty()) act.words.insert(act.words.end(), {"--board", line.board});
    perform(act, Perform::Do);
  }
}

}  // namespace zelsim::tool
