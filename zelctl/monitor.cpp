#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <ctime>

#include "board_state.h"

static uint32_t interval = 1000, lifetime, threshold = 80;
static bool initial;

/** Local time for people, UTC in JSON. */
static std::string time_stamp() {
  timespec now{};
  std::timespec_get(&now, TIME_UTC);
  const std::tm *parts = settings.json ? std::gmtime(&now.tv_sec) : std::localtime(&now.tv_sec);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", parts);
  return format("%s.%03d%s", text, static_cast<int>(now.tv_nsec / 1000000), settings.json ? "Z" : "");
}

static void tell(const std::string &subject, const Json &label, const std::string &before, const std::string &now,
                 const std::string &detail) {
  if (!settings.json) {
    const std::string tail = detail.empty() ? "" : " (" + detail + ")";
    std::fprintf(out, "%s %s: %s -> %s%s\n", time_stamp().c_str(), subject.c_str(), before.c_str(), now.c_str(),
                 tail.c_str());
    return;
  }
  Json event = record("time", time_stamp(), "subject", subject);
  event.update(label);
  append(event, "old", before, "new", now);
  if (!detail.empty()) event["detail"] = detail;
  std::fprintf(out, "%s\n", event.dump().c_str());
}

/** Compares each round with what was known before. */
class Monitor {
 public:
  void look() {
    Round round;
    before_ = std::exchange(known_, {});
    std::map<std::string, std::string> silences;  // of all who are asked: why there is no answer, or nothing
    for (const Reading &reading : read_board(round, false)) {
      std::string &silence = silences[reading.source];
      if (silence.empty()) silence = reading.silence;
      if (reading.value)
        compare(reading);
      else if (const auto found = before_.find(reading.subject); found != before_.end() || first_)
        known_[reading.subject] = first_ ? "" : found->second;
    }
    if (first_ && !round.up[Gpio] && !round.up[I2c]) require_board();
    for (const auto &[source, why] : silences)
      note(source + "?", source, Json::object(), why.empty() ? kAnswers : kSilent, kAnswers, why);
    first_ = false;
    std::fflush(out);
  }

 private:
  static constexpr const char *kAnswers = "answers", *kSilent = "does not answer";

  void compare(const Reading &reading) {
    std::string now = reading.state(), detail;
    if (reading.subject == kTemperature) {
      constexpr double kHysteresis = 5;
      const bool was_hot = before_.contains(reading.subject) && before_[reading.subject] == reading.states[1];
      now = reading.states[*reading.value >= threshold - (was_hot ? kHysteresis : 0) ? 1 : 0];
      detail = format("%.1f degrees", *reading.value);
    }
    Json label = Json::object();
    if (!reading.label.empty()) {
      const bool numbered = std::isdigit(reading.which[0]) != 0;
      label[reading.label] = numbered ? Json(std::stoi(reading.which)) : Json(reading.which);
    }
    note(reading.subject, reading.subject, label, now, reading.states.empty() ? now : reading.states[0], detail);
  }

  /** Tells what has changed. What comes with a module or a board is told unless it is as usual; what never answered
   *  before is learned in silence, as all is in the first round. */
  void note(const std::string &key, const std::string &subject, const Json &label, const std::string &now,
            const std::string &usual, const std::string &detail) {
    known_[key] = now;
    if (const auto found = before_.find(key); found != before_.end()) {
      if (!found->second.empty() && found->second != now) tell(subject, label, found->second, now, detail);
    } else if (first_ ? now == kSilent || (initial && usual != kAnswers) : now != usual) {
      tell(subject, label, first_ ? "unknown" : "absent", now, detail);
    }
  }

  std::map<std::string, std::string> before_, known_;  // "" = it has not answered yet
  bool first_ = true;
};

static bool reader_is_gone() {
  pollfd output{fileno(out), 0, 0};
  return poll(&output, 1, 0) > 0 && (output.revents & POLLERR) != 0;
}

static void monitor() {
  using namespace std::chrono;
  hold_signals();  // those that end it are taken between two rounds, so that no request is interrupted
  const int signals = held_signals();
  const auto end = lifetime == 0 ? steady_clock::time_point::max() : steady_clock::now() + seconds(lifetime);
  Monitor changes;
  for (auto next = steady_clock::now(); std::ferror(out) == 0;) {
    changes.look();
    const auto now = steady_clock::now();
    next = std::max(next + milliseconds(interval), now);
    const auto pause = ceil<milliseconds>(std::min(next, end) - now);
    pollfd events[] = {{signals, POLLIN, 0}, {fileno(out), 0, 0}};
    if (poll(events, std::size(events), static_cast<int>(pause.count())) > 0 || std::min(next, end) == end) break;
  }
  signalfd_siginfo taken;
  while (read(signals, &taken, sizeof taken) > 0) continue;
  if (reader_is_gone()) std::_Exit(0);  // there is nobody to whom anything that is left could be written
}

void add_monitor_command(App &app) {
  App *leaf = command(app, "monitor", "Prints what changes on the board, one line each, as it happens",
                      "monitor --json --interval 500", monitor);
  number(leaf, "--interval", interval, "Milliseconds from one round of questions to the next (1000)", 10, 3600000);
  number(leaf, "--for", lifetime, "Seconds after which it ends, else when it is interrupted", 1, 31536000);
  number(leaf, "--hot", threshold, "Degrees Celsius from which the board is hot (80)", 1, 127);
  flag(leaf, "--initial", initial, "First print what stands now");
}
