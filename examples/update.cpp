// Programs a firmware image into a partition of the flash and verifies it, with a progress bar on standard error.
//
//   update IMAGE PARTITION
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zelboard/zelboard.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

namespace {

/** Draws how far the copy is while it lives. The copy reads the image once, so the position of the file tells, seen
 *  through a duplicate: the copy closes its own descriptor. What the library prints meanwhile is not shown. */
class ProgressBar {
 public:
  ProgressBar(int fd, off_t size) : fd_(dup(fd)), stdout_(dup(STDOUT_FILENO)), size_(size) {
    std::fflush(stdout);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
    drawer_ = std::thread([this] {
      while (!done_) {
        draw();
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
      }
    });
  }
  ~ProgressBar() {
    done_ = true;
    drawer_.join();
    draw();
    std::fputs("\n", stderr);
    std::fflush(stdout);
    dup2(stdout_, STDOUT_FILENO);
    close(stdout_);
    close(fd_);
  }
  ProgressBar(const ProgressBar &) = delete;
  ProgressBar &operator=(const ProgressBar &) = delete;

 private:
  void draw() const {
    constexpr int kWidth = 40;
    const auto percent = static_cast<unsigned>(lseek(fd_, 0, SEEK_CUR) * 100 / size_);
    const std::string bar(percent * kWidth / 100, '#');
    std::fprintf(stderr, "\r[%-*s] %3u %%%s", kWidth, bar.c_str(), percent, percent < 100 ? "" : ", verifying");
  }

  int fd_;
  int stdout_;
  off_t size_;
  std::atomic<bool> done_ = false;
  std::thread drawer_;
};

int complain(const std::string &line, int status) {
  std::fprintf(stderr, "update: %s\n", line.c_str());
  return status;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 3) return complain("IMAGE and PARTITION are required", 2);
  const std::string image = argv[1];
  const std::string number = argv[2];
  if (number != "1" && number != "2") return complain("PARTITION: '" + number + "' is neither 1 nor 2", 2);
  const uint32_t partition = number == "1" ? 1 : 2;

  const int fd = open(image.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat about;
  if (fd < 0 || fstat(fd, &about) != 0) return complain("IMAGE: " + image + ": " + std::strerror(errno), 2);
  const uint32_t room = FW_SpiFlash_GetMapLen(partition == 1 ? FW_REGION_IMAGE_1 : FW_REGION_IMAGE_2);
  if (room == FW_REFUSED) return complain("the flash does not answer", 1);
  // The library programs as much as it gets: what is too long would run into the next region.
  if (!S_ISREG(about.st_mode) || about.st_size == 0 || about.st_size > static_cast<off_t>(room)) {
    return complain("IMAGE: " + image + " is no file of 1 to " + std::to_string(room) + " bytes", 2);
  }

  uint32_t status = 0;
  {
    const ProgressBar bar(fd, about.st_size);
    status = FW_FlashCopy(fd, partition);
  }
  if (status != 0) return complain("partition " + number + ": failed, or refused by the diagnostic flags", 1);
  std::printf("Partition %u holds %s, %lld bytes, verified.\n", partition, image.c_str(),
              static_cast<long long>(about.st_size));
  return 0;
}
