/** @file
 *  Runs the operator's command for each event while the monitor goes on: one at a time, in order, and each only for a
 *  limited time. */
#ifndef ZELCTL_EVENT_COMMANDS_H
#define ZELCTL_EVENT_COMMANDS_H

#include <sys/types.h>

#include <chrono>
#include <deque>

#include "event.h"

class EventCommands {
 public:
  /** @param command  line for the shell
   *  @param limit    how long the command may take for one event */
  EventCommands(std::string command, std::chrono::seconds limit) : command_(std::move(command)), limit_(limit) {}
  EventCommands(const EventCommands &) = delete;
  EventCommands &operator=(const EventCommands &) = delete;
  /** Ends the command that runs. */
  ~EventCommands();

  void add(const Event &event);
  /** Looks after the command that runs: it may have ended, or it takes too long. Then starts the next one. Does not
   *  wait. */
  void step();
  bool busy() const { return running_ != 0 || !waiting_.empty(); }
  /** Runs the commands that wait. All of them together have the time limit of one. A signal ends that sooner. */
  void finish();

 private:
  using Clock = std::chrono::steady_clock;
  struct Work {
    std::string line;
    Fields fields;
  };
  void start();
  void check_running();

  const std::string command_;
  const std::chrono::seconds limit_;
  std::deque<Work> waiting_;
  pid_t running_ = 0;  // 0 = none
  std::string line_;   // the event of the running command
  Clock::time_point deadline_;
};

#endif
