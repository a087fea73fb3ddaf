#include <algorithm>

#include "tool.h"

Progress::Progress(const char *what, uint64_t total)
    : what_(what), total_(total), visible_(is_screen(stderr) && !settings.verbose) {}

Progress::~Progress() {
  if (visible_) std::fputs("\r\033[K", stderr);
}

void Progress::at(uint64_t done) {
  if (done < done_) start_ = Clock::now();
  done_ = std::min(done, total_);
  if (visible_ && Clock::now() - drawn_ >= std::chrono::milliseconds(100)) draw();
}

void Progress::draw() {
  constexpr int kWidth = 30;
  drawn_ = Clock::now();
  const double seconds = std::chrono::duration<double>(drawn_ - start_).count() + 1e-3;
  const double rate = static_cast<double>(done_) / seconds + 1;
  const double share = static_cast<double>(done_) / static_cast<double>(std::max<uint64_t>(total_, 1));
  const std::string bar(static_cast<size_t>(share * kWidth), '#');
  std::fprintf(stderr, "\r\033[K%s [%-*s] %3.0f %%  %.0f KiB/s  %.0f s left", what_, kWidth, bar.c_str(), share * 100,
               rate / 1024, static_cast<double>(total_ - done_) / rate);
}
