#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "board_changes.h"
#include "event_commands.h"
#include "journal.h"
#include "optics.h"

struct MonitorOptions {
  uint32_t interval = 1000;  // milliseconds
  uint32_t lifetime = 0;     // seconds; 0 = until a signal comes
  uint32_t hot = 80;         // degrees Celsius
  bool initial = false;
  bool to_journal = false;
  std::string journal_socket;   // empty: the usual one
  std::string command;          // for each event; empty = none
  uint32_t command_limit = 30;  // seconds
};

/** Who gets the events: the output or the journal, and the operator's command. */
class Listeners {
 public:
  explicit Listeners(const MonitorOptions &options)
      : options_(options),
        socket_(options.journal_socket.empty() ? kJournalSocket : options.journal_socket),
        commands_(options.command, std::chrono::seconds(options.command_limit)) {
    if (options.to_journal) journal_.emplace(socket_);
  }

  void tell(const Event &event) {
    if (options_.to_journal)
      send(event);
    else
      print(event);
    if (!options_.command.empty()) commands_.add(event);
  }

  EventCommands &commands() { return commands_; }

 private:
  void send(const Event &event) const {
    if (journal_->add(event)) return;
    complain("--journal: " + socket_ + ": " + std::strerror(errno) + ": " + event.line(), 0);
  }

  static void print(const Event &event) {
    if (settings.json) {
      const std::string json = event_record(event).dump(-1, ' ', false, Json::error_handler_t::replace);
      std::fprintf(out, "%s\n", json.c_str());
    } else {
      std::fprintf(out, "%s %s\n", time_stamp(false).c_str(), event.line().c_str());
    }
  }

  const MonitorOptions &options_;
  const std::string socket_;  // of the journal
  std::optional<Journal> journal_;
  EventCommands commands_;
};

static bool reader_is_gone() {
  pollfd output{fileno(out), 0, 0};
  return poll(&output, 1, 0) > 0 && (output.revents & POLLERR) != 0;
}

using Clock = std::chrono::steady_clock;

/** Waits, while the operator's commands go on. Looks for a signal even if the time is over already: a round can take longer
 *  than its interval.
 *  @param output_fd  a descriptor that reports an error when nobody reads the events any more; -1 = none
 *  @return false if a signal has come, or nobody reads the events any more */
static bool wait_until(Clock::time_point until, int signals, int output_fd, EventCommands &commands) {
  using namespace std::chrono;
  constexpr milliseconds kLongestWhileBusy(50);
  pollfd events[] = {{signals, POLLIN, 0}, {output_fd, 0, 0}};
  for (;;) {
    commands.step();
    auto pause = std::max(ceil<milliseconds>(until - Clock::now()), milliseconds(0));
    if (commands.busy()) pause = std::min(pause, kLongestWhileBusy);
    const bool has_event = poll(events, std::size(events), static_cast<int>(pause.count())) > 0;
    if (has_event) return false;
    if (Clock::now() >= until) return true;
  }
}

/** The signal has done its work: it must not end the program once signals are released. */
static void take_signals(int signals) {
  ssize_t size = 0;
  do {
    signalfd_siginfo taken;
    size = read(signals, &taken, sizeof taken);
  } while (size > 0);
}

static void monitor(const MonitorOptions &options) {
  using namespace std::chrono;
  if (options.to_journal && settings.json) refuse_argument("--json", "does not go with --journal, which has fields");
  if (!options.to_journal && !options.journal_socket.empty())
    refuse_argument("--journal-socket", "goes with --journal only");
  Listeners listeners(options);
  hold_signals();  // a signal is looked for between two rounds, so that it interrupts no request
  const int signals = held_signals();
  const int output_fd = options.to_journal ? -1 : fileno(out);
  const auto end = options.lifetime == 0 ? Clock::time_point::max() : Clock::now() + seconds(options.lifetime);
  BoardChanges changes(options.hot, options.initial, [&](const Event &event) { listeners.tell(event); });
  auto next = Clock::now();
  while (std::ferror(out) == 0) {
    changes.look();
    std::fflush(out);
    next = std::max(next + milliseconds(options.interval), Clock::now());
    const bool goes_on = wait_until(std::min(next, end), signals, output_fd, listeners.commands());
    const bool is_over = end <= next;
    if (!goes_on || is_over) break;
  }
  take_signals(signals);
  listeners.commands().finish();
  if (reader_is_gone()) std::_Exit(0);  // nobody reads what is left in the output
}

void add_monitor_command(App &app) {
  const auto options = std::make_shared<MonitorOptions>();
  App *leaf = command(app, "monitor", "Prints what changes on the board, one line each, as it happens",
                      "monitor --json --interval 500", [options] { monitor(*options); });
  add_number(leaf, "--interval", options->interval,
             "Milliseconds from one round of questions to the next (1000); shorter changes can be missed", 10, 3600000);
  add_number(leaf, "--for", options->lifetime, "End after this many seconds (default: when interrupted)", 1, 31536000);
  add_number(leaf, "--hot", options->hot, "Degrees Celsius from which the board is hot (80)", 1, 127);
  optics_option(leaf, Flags::Left);
  add_flag(leaf, "--initial", options->initial, "First print the present state of everything");
  add_flag(leaf, "--journal", options->to_journal,
           "Write events to the systemd journal, with fields; do not print them");
  add_text(leaf, "--journal-socket", options->journal_socket,
           "Socket of the journal, for instance of another journal namespace", {}, "PATH");
  add_text(leaf, "--exec", options->command, "Shell command for each event; its environment describes the event", {},
           "COMMAND");
  add_number(leaf, "--exec-limit", options->command_limit, "Seconds after which such a command is ended (30)", 1,
             86400);
}
