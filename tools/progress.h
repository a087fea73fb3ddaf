/** @file
 *  Progress of long work: a bar with rate and time left, on a terminal only. */
#ifndef ZELCTL_PROGRESS_H
#define ZELCTL_PROGRESS_H

#include <chrono>
#include <thread>

#include "tool.h"

namespace zelctl {

class Progress {
 public:
  /** @param passes  names of the passes over `total` bytes that the work makes, in order */
  Progress(std::vector<std::string> passes, uint64_t total);
  /** Takes the bar away. */
  ~Progress();
  Progress(const Progress &) = delete;
  Progress &operator=(const Progress &) = delete;

  /** Shows how far the pass is; a step back begins the next pass. */
  void at(uint64_t done);
  /** Follows, until the end, the position at which this process has the file open: that is how a library call which
   *  reads or writes the file for a long time shows where it is. */
  void follow(const std::string &path);

 private:
  using Clock = std::chrono::steady_clock;
  void draw(Clock::time_point now);

  std::vector<std::string> passes_;
  uint64_t total_;
  uint64_t done_ = 0;
  size_t pass_ = 0;
  Clock::time_point start_ = Clock::now();
  Clock::time_point drawn_ = start_;
  bool visible_;
  std::jthread follower_;
};

}  // namespace zelctl

#endif
