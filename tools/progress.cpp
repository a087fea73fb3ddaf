#include "tool.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;
using namespace std::chrono_literals;

/** Position of this process's descriptor on the file; -1 when none is open. */
static int64_t positionIn(const fs::path &file) {
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

Progress::Progress(const char *what, uint64_t total)
    : what_(what), total_(total), visible_(isatty(STDERR_FILENO) != 0 && !settings.verbose) {}

Progress::~Progress() {
  follower_ = {};  // stops and joins, so that nothing is drawn behind this line
  if (visible_) std::fputs("\r\033[K", stderr);
}

void Progress::at(uint64_t done) {
  if (done < done_) start_ = Clock::now();
  done_ = std::min(done, total_);
  if (visible_ && Clock::now() - drawn_ >= 100ms) draw();
}

void Progress::draw() {
  constexpr size_t kWidth = 30;
  drawn_ = Clock::now();
  const double seconds = std::chrono::duration<double>(drawn_ - start_).count() + 1e-3;
  const double rate = static_cast<double>(done_) / seconds + 1;
  const double share = static_cast<double>(done_) / static_cast<double>(std::max<uint64_t>(total_, 1));
  const std::string bar(static_cast<size_t>(share * kWidth), '#');
  std::fprintf(stderr, "\r\033[K%s [%-30s] %3.0f %%  %.0f KiB/s  %.0f s left", what_, bar.c_str(), share * 100,
               rate / 1024, static_cast<double>(total_ - done_) / rate);
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
