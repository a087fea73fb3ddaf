#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <ctime>

#include "board_state.h"

static uint32_t interval = 1000, lifetime, threshold = 80;
static bool initial;

/** Local time for people, UTC in JSON. */
static std::string timeStamp() {
  timespec now{};
  std::timespec_get(&now, TIME_UTC);
  const std::tm *parts = settings.json ? std::gmtime(&now.tv_sec) : std::localtime(&now.tv_sec);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", parts);
  return format("%s.%03d%s", text, static_cast<int>(now.tv_nsec / 1000000), settings.json ? "Z" : "");
}

static void tell(const std::string &subject, const Json &labels, const std::string &before, const std::string &now,
                 const std::string &detail = "") {
  if (!settings.json) {
    std::fprintf(out, "%s %s: %s -> %s%s\n", timeStamp().c_str(), subject.c_str(), before.c_str(), now.c_str(),
                 detail.empty() ? "" : (" (" + detail + ")").c_str());
    return;
  }
  Json event = record("time", timeStamp(), "subject", subject);
  if (!labels.is_null()) event.update(labels);
  append(event, "old", before, "new", now);
  if (!detail.empty()) event["detail"] = detail;
  std::fprintf(out, "%s\n", event.dump().c_str());
}

/** Compares each round with what was known before. */
class Monitor {
 public:
  void look() {
    Round round;
    std::map<std::string, Known> before = std::exchange(known_, {});
    std::map<std::string, std::string> silences;
    for (const Reading &reading : readBoard(round, false)) {
      if (!reading.value) silences.emplace(reading.source, reading.silence);
      compare(reading, before);
    }
    if (first_ && !round.up[Gpio] && !round.up[I2c]) requireBoard();
    for (const auto &[source, why] : silences)
      if (!silent_.contains(source)) tell(source, {}, first_ ? kUnknown : kAnswers, kSilent, why);
    for (const auto &[source, why] : silent_)
      if (!silences.contains(source)) tell(source, {}, kSilent, kAnswers);
    silent_ = silences;
    first_ = false;
  }

 private:
  using Known = std::optional<double>;  // nothing: it has not answered yet
  static constexpr const char *kUnknown = "unknown", *kAnswers = "answers", *kSilent = "does not answer";

  /** What does not answer stays what it was; what is not there any more is forgotten. What comes with a module or a board is
   *  told unless it is in the first of its states. */
  void compare(const Reading &reading, const std::map<std::string, Known> &before) {
    const Watched &what = *reading.what;
    const auto found = before.find(reading.subject);
    const bool is_new = found == before.end() && !first_;
    const Known last = found != before.end() ? found->second : is_new ? Known(0) : Known();
    if (!reading.value) {
      if (!is_new) known_[reading.subject] = last;
      return;
    }
    const double now = stateOf(reading, last);
    known_[reading.subject] = now;
    if (last ? *last == now : !(first_ && initial)) return;
    const std::string old = is_new ? "absent" : last ? wordOf(what, *last) : kUnknown;
    tell(reading.subject, labelOf(reading), old, wordOf(what, now),
         what.event.has_threshold ? format("%.1f degrees", *reading.value) : "");
  }

  static Json labelOf(const Reading &reading) {
    const char *label = reading.what->metric.label;
    if (label == nullptr) return {};
    return record(label, std::isdigit(reading.which[0]) != 0 ? Json(std::stoi(reading.which)) : Json(reading.which));
  }

  /** With a threshold: whether it is reached, or not yet left far enough below. */
  static double stateOf(const Reading &reading, const Known &last) {
    constexpr double kHysteresis = 5;
    if (!reading.what->event.has_threshold) return *reading.value;
    return *reading.value >= threshold - (last == 1 ? kHysteresis : 0) ? 1 : 0;
  }

  std::map<std::string, Known> known_;
  std::map<std::string, std::string> silent_;  // why
  bool first_ = true;
};

/** Signals that end the monitor are taken between two rounds, so that no request is interrupted. */
static int endingSignals() {
  sigset_t ending;
  sigemptyset(&ending);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&ending, number);
  sigprocmask(SIG_BLOCK, &ending, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  return signalfd(-1, &ending, SFD_CLOEXEC);
}

static bool readerIsGone() {
  pollfd output{fileno(out), 0, 0};
  return poll(&output, 1, 0) > 0 && (output.revents & POLLERR) != 0;
}

static void monitor() {
  using namespace std::chrono;
  const int signals = endingSignals();
  const auto end = lifetime == 0 ? steady_clock::time_point::max() : steady_clock::now() + seconds(lifetime);
  Monitor board;
  for (auto next = steady_clock::now(); std::ferror(out) == 0;) {
    board.look();
    const auto now = steady_clock::now();
    next = std::max(next + milliseconds(interval), now);
    const auto pause = ceil<milliseconds>(std::min(next, end) - now);
    pollfd events[] = {{signals, POLLIN, 0}, {fileno(out), 0, 0}};
    if (poll(events, std::size(events), static_cast<int>(pause.count())) > 0 || std::min(next, end) == end) break;
  }
  if (readerIsGone()) std::_Exit(0);  // there is nobody to whom anything that is left could be written
}

void addMonitorCommand(App &app) {
  App *leaf = command(app, "monitor", "Prints what changes on the board, one line each, as it happens",
                      "monitor --json --interval 500", monitor);
  number(leaf, "--interval", interval, "Milliseconds from one round of questions to the next (1000)", 10, 3600000);
  number(leaf, "--for", lifetime, "Seconds after which it ends, else when it is interrupted", 1, 31536000);
  number(leaf, "--hot", threshold, "Degrees Celsius from which the board is hot (80)", 1, 127);
  leaf->add_flag("--initial", initial, "First print what stands now");
}
