/** @file
 *  The operator's command for each event, beside the monitor: one at a time, in order, and never for ever. */
#ifndef ZELCTL_EVENT_COMMANDS_H
#define ZELCTL_EVENT_COMMANDS_H

#include <sys/types.h>

#include <chrono>
#include <deque>

#include "event.h"

class EventCommands {
 public:
  /** A line for the shell, and how long each may take. */
  EventCommands(std::string command, std::chrono::seconds limit) : command_(std::move(command)), limit_(limit) {}
  EventCommands(const EventCommands &) = delete;
  EventCommands &operator=(const EventCommands &) = delete;
  /** Ends a command that still runs. */
  ~EventCommands();

  void add(const Event &event);
  /** Takes note of a command that has ended, ends one that takes too long, and starts the next. Does not wait. */
  void step();
  bool busy() const { return running_ != 0 || !waiting_.empty(); }
  /** Lets those that wait run, all of them for as long as one may take; a signal ends that sooner. */
  void finish();

 private:
  using Clock = std::chrono::steady_clock;
  struct Work {
    std::string line;
    Fields fields;
  };
  void start();
  void reap();

  const std::string command_;
  const std::chrono::seconds limit_;
  std::deque<Work> waiting_;
  std::string line_;  // of the event that the running command has
  pid_t running_ = 0;
  Clock::time_point deadline_;
};

#endif
