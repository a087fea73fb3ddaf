#include "progress.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace zelctl {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

/** Position of this process's descriptor on the file; -1 when none is open. */
int64_t positionIn(const fs::path &file) {
  std::error_code error;
  for (const fs::directory_entry &entry : fs::directory_iterator("/proc/self/fd", error)) {
    if (fs::read_symlink(entry.path(), error) != file) continue;
    std::ifstream info("/proc/self/fdinfo/" + entry.path().filename().string());
    std::string word;
    int64_t position = -1;
    if (info >> word >> position) return position;
  }
  return -1;
}

}  // namespace

Progress::Progress(std::vector<std::string> passes, uint64_t total)
    : passes_(std::move(passes)), total_(total), visible_(isatty(STDERR_FILENO) != 0 && !settings.verbose) {}

Progress::~Progress() {
  follower_ = {};  // stops and joins, so that nothing is drawn behind this line
  if (visible_) std::fputs("\r\033[K", stderr);
}

void Progress::at(uint64_t done) {
  if (!visible_) return;
  const Clock::time_point now = Clock::now();
  if (done < done_) {
    pass_ = std::min(pass_ + 1, passes_.size() - 1);
    start_ = now;
  }
  done_ = std::min(done, total_);
  if (now - drawn_ >= 100ms) draw(now);
}

void Progress::draw(Clock::time_point now) {
  constexpr size_t kWidth = 30;
  drawn_ = now;
  if (done_ >= total_ && pass_ + 1 < passes_.size()) {
    // The pass after this one may not show its position: reading back what was programmed, for one.
    std::fprintf(stderr, "\r\033[K%s ...", passes_[pass_ + 1].c_str());
    return;
  }
  const double seconds = std::chrono::duration<double>(now - start_).count();
  const double share = total_ == 0 ? 1.0 : static_cast<double>(done_) / static_cast<double>(total_);
  const double rate = seconds > 0 ? static_cast<double>(done_) / seconds : 0;
  const std::string bar(static_cast<size_t>(share * kWidth), '#');
  std::fprintf(stderr, "\r\033[K%s [%-30s] %3.0f %%  %.0f KiB/s", passes_[pass_].c_str(), bar.c_str(), share * 100,
               rate / 1024);
  if (rate > 0) std::fprintf(stderr, "  %.0f s left", static_cast<double>(total_ - done_) / rate);
}

void Progress::follow(const std::string &path) {
  if (!visible_) return;
  follower_ = std::jthread([this, file = fs::absolute(path)](const std::stop_token &stop) {
    for (std::error_code error; !stop.stop_requested(); std::this_thread::sleep_for(100ms)) {
      const int64_t position = positionIn(fs::canonical(file, error));
      if (position >= 0) at(static_cast<uint64_t>(position));
    }
  });
}

}  // namespace zelctl
