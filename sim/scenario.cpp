#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "../cli/captured.h"
#include "tool.h"

// Scenarios: a file of timed acts. A line is a time in seconds and a command line of zelsim.

namespace zelsim::tool {
namespace {

constexpr double kLongest = 1e7;  // seconds

struct TimedAct {
  int64_t at_us;
  Words words;
  std::string place;  // file and line, for messages
};

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

/** The words of a line, as in a shell: blanks within quotes belong to a word, and a word that begins with # begins a
 *  comment. Nothing if a quote does not end. */
std::optional<Words> words_of(const std::string &text) {
  Words words;
  constexpr char kNoQuote = '\0';
  bool within_word = false;
  char quote = kNoQuote;
  for (char c : text) {
    bool quoted = quote != kNoQuote;
    if (!quoted && is_blank(c)) {
      within_word = false;
      continue;
    }
    bool begins_comment = !within_word && c == '#';
    if (begins_comment) break;
    if (!within_word) words.emplace_back();
    within_word = true;
    bool begins_quote = !quoted && (c == '\'' || c == '"');
    if (c == quote) {
      quote = kNoQuote;
    } else if (begins_quote) {
      quote = c;
    } else {
      words.back() += c;
    }
  }
  if (quote != kNoQuote) return std::nullopt;
  return words;
}

/** The time of an act in microseconds. A + before it counts from the previous act. */
int64_t time_of(const std::string &text, int64_t previous_us, const std::string &place) {
  bool from_previous = text.starts_with("+");
  std::string digits = from_previous ? text.substr(1) : text;
  char *end = nullptr;
  double seconds = std::strtod(digits.c_str(), &end);
  bool begins_with_digit = std::isdigit(static_cast<unsigned char>(digits[0])) != 0;
  bool is_number = begins_with_digit && *end == '\0' && seconds <= kLongest;
  if (!is_number) throw Usage(place + ": '" + text + "' is not a time in seconds, as 2.5 or +0.5");
  int64_t at_us = std::llround(seconds * 1e6);
  if (from_previous) at_us += previous_us;
  if (at_us < previous_us) throw Usage(place + ": the time " + text + " is earlier than the time of the previous act");
  return at_us;
}

/** Does the act, or only checks it. Throws with its place if it fails. */
void perform_act(const TimedAct &act, Perform how) {
  Captured printed(stdout);
  Captured output(out);
  Captured errors(stderr);
  int status = execute(act.words, how);
  if (status == 0) return;
  std::string why = errors.text();
  std::erase(why, '\n');
  constexpr std::string_view kPrefix = "zelsim: ";
  if (why.starts_with(kPrefix)) why.erase(0, kPrefix.size());
  if (how == Perform::Check) throw Usage(act.place + ": " + why);
  throw Failure(act.place + ": " + why);
}

// False for `create` and `delete`, since a scenario runs on one board; for `play`, which would nest; and for commands that
// take the process.
bool is_act(const std::string &command) {
  constexpr const char *kOthers[] = {"create", "delete", "play"};
  bool is_other = std::ranges::find(kOthers, command) != std::end(kOthers);
  return !is_other && !takes_the_process(command);
}

/** The command of a line, without the name of the program before it. */
Words command_in(Words words, const std::string &place) {
  if (!words.empty() && words.front() == kProgram) words.erase(words.begin());
  if (words.empty()) throw Usage(place + ": a time without a command");
  const std::string &command = words.front();
  if (!is_act(command)) throw Usage(place + ": '" + command + "' is no act");
  return words;
}

std::vector<TimedAct> read_scenario(const std::string &file) {
  constexpr size_t kMost = 16 << 20;
  std::vector<uint8_t> bytes = read_file(file, kMost);
  std::string text(bytes.begin(), bytes.end());
  constexpr std::string_view kMark = "\xef\xbb\xbf";  // some editors write this before UTF-8
  if (text.starts_with(kMark)) text.erase(0, kMark.size());
  std::vector<TimedAct> acts;
  int64_t previous_us = 0;
  unsigned number = 0;
  for (const std::string &line : split(text, '\n')) {
    ++number;
    std::string place = "FILE: " + file + ", line " + std::to_string(number);
    std::optional<Words> words = words_of(line);
    if (!words) throw Usage(place + ": a quote has no end");
    if (words->empty()) continue;
    int64_t at_us = time_of(words->front(), previous_us, place);
    words->erase(words->begin());
    acts.push_back({at_us, command_in(*words, place), place});
    perform_act(acts.back(), Perform::Check);
    previous_us = at_us;
  }
  return acts;
}

/** The act's command line, on the scenario's board unless it names another one. */
Words words_on_board(Words words, const std::string &board) {
  // Behind "--" a word is no option.
  auto end_of_options = std::ranges::find(words, "--");
  bool names_board = std::any_of(words.begin(), end_of_options, [](const std::string &word) {
    return word == "--board" || word.starts_with("--board=");
  });
  if (!names_board && !board.empty()) words.insert(end_of_options, {"--board", board});
  return words;
}

/** Waits until the board's time is `end_us`. Throws if the board is deleted, or somebody interrupts. */
void wait_until(Board &board, int64_t end_us, bool fast) {
  constexpr int64_t kLookUs = 2000;  // a program that counts its pauses makes the board's time jump
  for (;;) {
    int64_t left_us = end_us - now_us(board);
    if (left_us <= 0) return;
    if (interrupted()) throw Failure("interrupted");
    if (board.magic != kMagic) throw Failure("the board was deleted");
    if (fast) {
      __atomic_add_fetch(&board.paused_us, static_cast<uint64_t>(left_us), __ATOMIC_RELAXED);
    } else {
      usleep(static_cast<useconds_t>(std::min(left_us, kLookUs)));
    }
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
    act.words = words_on_board(act.words, line.board);
    perform_act(act, Perform::Do);
  }
}

}  // namespace zelsim::tool
