#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "event_commands.h"
#include "journal.h"
#include "optics.h"

static uint32_t interval = 1000, lifetime, threshold = 80, command_limit = 30;
static bool initial, to_journal;
static std::string journal_socket = kJournalSocket, event_command;

/** Who is told: whoever reads the output or the journal, and the operator's command. */
class Listeners {
 public:
  Listeners() : commands_(event_command, std::chrono::seconds(command_limit)) {
    if (to_journal) journal_.emplace(journal_socket);
  }

  void tell(const Event &event) {
    if (!journal_)
      print(event);
    else if (!journal_->add(event))
      complain("--journal: " + journal_socket + ": " + std::strerror(errno) + ": " + event.line(), 0);
    if (!event_command.empty()) commands_.add(event);
  }

  EventCommands &commands() { return commands_; }

 private:
  static void print(const Event &event) {
    if (settings.json)
      std::fprintf(out, "%s\n", event_record(event).dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
    else
      std::fprintf(out, "%s %s\n", time_stamp(false).c_str(), event.line().c_str());
  }

  std::optional<Journal> journal_;
  EventCommands commands_;
};

/** "port-module" for what is called "port %s module". */
static std::string kind_of(const Watched &what) {
  std::string kind = what.subject;
  if (const size_t place = kind.find(" %s"); place != std::string::npos) kind.erase(place, 3);
  std::replace(kind.begin(), kind.end(), ' ', '-');
  return kind;
}

/** Compares each round with what was known before. */
class Monitor {
 public:
  explicit Monitor(Listeners &listeners) : listeners_(listeners) {}

  void look() {
    Round round;
    before_ = std::exchange(known_, {});
    std::map<std::string, std::string> silences;  // of all who are asked: why there is no answer, or nothing
    std::vector<Reading> readings = read_board(round, false);
    add_optics(round, readings);
    for (const Reading &reading : readings) {
      std::string &silence = silences[reading.source];
      if (silence.empty()) silence = reading.silence;
      if (reading.value)
        compare(reading);
      else if (const auto found = before_.find(reading.subject); found != before_.end() || first_)
        known_[reading.subject] = first_ ? "" : found->second;
    }
    if (first_ && !round.up[Gpio] && !round.up[I2c]) require_board();
    for (const auto &[source, why] : silences) {
      Event event{"answer", source, "", "", "", why.empty() ? kAnswers : kSilent, why, !why.empty()};
      note(source + "?", event, kAnswers);
    }
    first_ = false;
    std::fflush(out);
  }

 private:
  static constexpr const char *kAnswers = "answers", *kSilent = "does not answer";

  void compare(const Reading &reading) {
    Event event{kind_of(*reading.what), reading.subject, reading.label, reading.which, "",
                reading.word(),         reading.detail,  false};
    if (reading.subject == kTemperature) {
      constexpr double kHysteresis = 5;
      const bool was_hot = before_.contains(reading.subject) && before_[reading.subject] == reading.states[1];
      event.now = reading.states[*reading.value >= threshold - (was_hot ? kHysteresis : 0) ? 1 : 0];
      event.detail = format("%.1f degrees", *reading.value);
    }
    event.trouble = reading.trouble || event.now == reading.what->trouble;
    note(reading.subject, event, reading.states.empty() ? event.now : reading.states[0]);
  }

  /** Tells what has changed. What comes with a module or a board is told unless it is as usual; what never answered
   *  before is learned in silence, as all is in the first round. */
  void note(const std::string &key, Event &event, const std::string &usual) {
    known_[key] = event.now;
    if (const auto found = before_.find(key); found != before_.end()) {
      event.before = found->second;
      if (!event.before.empty() && event.before != event.now) listeners_.tell(event);
    } else if (first_ ? event.now == kSilent || (initial && usual != kAnswers) : event.now != usual) {
      event.before = first_ ? "unknown" : "absent";
      listeners_.tell(event);
    }
  }

  Listeners &listeners_;
  std::map<std::string, std::string> before_, known_;  // "" = it has not answered yet
  bool first_ = true;
};

static bool reader_is_gone() {
  pollfd output{fileno(out), 0, 0};
  return poll(&output, 1, 0) > 0 && (output.revents & POLLERR) != 0;
}

using Clock = std::chrono::steady_clock;

/** The operator's commands go on meanwhile. @return false when a signal has come, or nobody reads the output any more */
static bool wait_until(Clock::time_point until, int signals, EventCommands &commands) {
  using namespace std::chrono;
  // Nothing is printed while the journal gets the events: that its reader goes means nothing.
  pollfd events[] = {{signals, POLLIN, 0}, {to_journal ? -1 : fileno(out), 0, 0}};
  while (true) {
    commands.step();
    const auto now = Clock::now();
    if (now >= until) return true;
    auto pause = ceil<milliseconds>(until - now);
    if (commands.busy()) pause = std::min(pause, milliseconds(50));
    if (poll(events, std::size(events), static_cast<int>(pause.count())) > 0) return false;
  }
}

static void monitor() {
  using namespace std::chrono;
  if (to_journal && settings.json) refuse_argument("--json", "does not go with --journal, which has fields");
  Listeners listeners;
  hold_signals();  // those that end it are taken between two rounds, so that no request is interrupted
  const int signals = held_signals();
  const auto end = lifetime == 0 ? Clock::time_point::max() : Clock::now() + seconds(lifetime);
  Monitor changes(listeners);
  auto next = Clock::now();
  while (std::ferror(out) == 0) {
    changes.look();
    next = std::max(next + milliseconds(interval), Clock::now());
    if (!wait_until(std::min(next, end), signals, listeners.commands()) || end <= next) break;
  }
  signalfd_siginfo taken;
  while (read(signals, &taken, sizeof taken) > 0) continue;
  listeners.commands().finish();
  if (reader_is_gone()) std::_Exit(0);  // there is nobody to whom anything that is left could be written
}

void add_monitor_command(App &app) {
  App *leaf = command(app, "monitor", "Prints what changes on the board, one line each, as it happens",
                      "monitor --json --interval 500", monitor);
  number(leaf, "--interval", interval,
         "Milliseconds from one round of questions to the next (1000); what lasts shorter can be missed", 10, 3600000);
  number(leaf, "--for", lifetime, "Seconds after which it ends, else when it is interrupted", 1, 31536000);
  number(leaf, "--hot", threshold, "Degrees Celsius from which the board is hot (80)", 1, 127);
  optics_option(leaf);
  flag(leaf, "--initial", initial, "First print what stands now");
  flag(leaf, "--journal", to_journal, "Events go to the systemd journal, with fields, and are not printed");
  any_text(leaf, "--journal-socket", journal_socket, "The journal's socket, of another journal namespace for instance");
  any_text(leaf, "--exec", event_command, "Shell command for each event, which is in its environment");
  number(leaf, "--exec-limit", command_limit, "Seconds after which such a command is ended (30)", 1, 86400);
}
