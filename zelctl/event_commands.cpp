#include "event_commands.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <thread>

#include "../cli/child.h"
#include "../cli/program.h"

using namespace std::chrono_literals;

constexpr size_t kMostWaiting = 1000;

static void warn(const std::string &why, const std::string &line) { complain("--exec: " + why + " on: " + line, 0); }

EventCommands::~EventCommands() {
  if (running_ != 0) end_child(running_);
}

void EventCommands::add(const Event &event) {
  if (waiting_.size() >= kMostWaiting) {
    warn("too many events wait: nothing is run", event.line());
    return;
  }
  Work work{event.line(), fields_of(event)};
  work.fields.emplace_back("ZELBOARD_MESSAGE", event.line());
  work.fields.emplace_back("ZELBOARD_TROUBLE", event.trouble ? "yes" : "no");
  waiting_.push_back(std::move(work));
}

/** The environment of a command: this program's environment and the event. */
static std::vector<std::string> environment_with(const Fields &fields) {
  std::vector<std::string> all = own_environment();
  std::erase_if(all, [](const std::string &entry) { return entry.starts_with("ZELBOARD_"); });
  for (const auto &[name, value] : fields) all.push_back(name + "=" + value);
  return all;
}

void EventCommands::start() {
  const Work work = std::move(waiting_.front());
  waiting_.pop_front();
  line_ = work.line;
  deadline_ = Clock::now() + limit_;
  // The event is never part of the command's text.
  const int error = start_child(running_, {"/bin/sh", "-c", command_}, environment_with(work.fields), STDERR_FILENO);
  if (error == 0) return;
  running_ = 0;
  warn(std::string("cannot be run: ") + std::strerror(error), line_);
}

void EventCommands::check_running() {
  const std::optional<int> status = status_if_ended(running_);
  if (!status && Clock::now() < deadline_) return;
  if (!status) {
    end_child(running_);
    warn(format("takes longer than %d seconds, and was ended", static_cast<int>(limit_.count())), line_);
  } else if (WIFSIGNALED(*status)) {
    warn(format("ended by signal %d", WTERMSIG(*status)), line_);
  } else if (WEXITSTATUS(*status) != 0) {
    warn(format("ended with status %d", WEXITSTATUS(*status)), line_);
  }
  running_ = 0;
}

void EventCommands::step() {
  if (running_ != 0) check_running();
  if (running_ == 0 && !waiting_.empty()) start();
}

void EventCommands::finish() {
  const auto end = Clock::now() + limit_;
  while (busy() && Clock::now() < end && !interrupted()) {
    step();
    std::this_thread::sleep_for(10ms);
  }
  if (running_ != 0) {
    end_child(running_);
    running_ = 0;
    warn("the monitor ends: the command was ended", line_);
  }
  for (const Work &work : waiting_) warn("the monitor ends: nothing is run", work.line);
}
