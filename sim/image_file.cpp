#include "image_file.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "board.h"
#include "system_calls.h"
#include "tool.h"

namespace zelsim::tool {
namespace {

/** Calls `work` with the place and size of each piece of a file that is no hole. */
template <typename Work>
void for_each_piece(int fd, Work work) {
  off_t at = 0;
  for (;;) {
    off_t begin = lseek(fd, at, SEEK_DATA);
    bool is_end = begin < 0 && errno == ENXIO;
    if (is_end) return;
    if (begin < 0) fail_to("read the flash image");
    off_t end = lseek(fd, begin, SEEK_HOLE);
    if (end < 0) end = kFlashSize;
    work(begin, end - begin);
    at = end;
  }
}

void copy_piece(int from, int to, off_t at, off_t size) {
  off64_t read_at = at;
  off64_t write_at = at;
  const off64_t end = read_at + size;
  while (read_at < end) {
    auto rest = static_cast<size_t>(end - read_at);
    ssize_t copied = copy_file_range(from, &read_at, to, &write_at, rest, 0);
    if (copied > 0) continue;
    // Not every file system copies within the kernel.
    std::vector<uint8_t> bytes(std::min<size_t>(rest, kSectorSize));
    ssize_t found = pread(from, bytes.data(), bytes.size(), static_cast<off_t>(read_at));
    if (found < 0) fail_to("read the flash image");
    if (found == 0) throw Failure("cannot read the flash image: it ends too early");
    ssize_t written = pwrite(to, bytes.data(), static_cast<size_t>(found), static_cast<off_t>(write_at));
    if (written < 0) fail_to("write the flash image");
    read_at += written;
    write_at += written;
  }
}

void check_copy(bool done) {
  if (!done) fail_to("copy the flash image");
}

}  // namespace

int open_file(const std::string &path, int flags) {
  int fd = open(path.c_str(), flags | O_CLOEXEC, 0666);
  if (fd < 0) fail_to("open " + path);
  return fd;
}

bool take_room(int fd, off_t at, off_t size) {
  if (size <= 0) return true;
  return fallocate(fd, FALLOC_FL_KEEP_SIZE, at, size) == 0 || errno == EOPNOTSUPP;
}

bool write_image(int fd, std::span<const uint8_t> bytes, off_t at) {
  while (!bytes.empty()) {
    ssize_t written = sys::pwrite(fd, bytes.data(), bytes.size(), at);
    if (written <= 0) return false;
    bytes = bytes.subspan(static_cast<size_t>(written));
    at += written;
  }
  return true;
}

bool make_hole(int fd, off_t at, off_t size) {
  if (size <= 0) return true;
  if (fallocate(fd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, at, size) == 0) return true;
  std::vector<uint8_t> zeros(static_cast<size_t>(size));
  return write_image(fd, zeros, at);
}

void take_room_for(int from, int to) {
  for_each_piece(from, [&](off_t at, off_t size) { check_copy(take_room(to, at, size)); });
}

void copy_image(int from, int to) {
  if (ioctl(to, FICLONE, from) == 0) return;
  take_room_for(from, to);
  off_t done = 0;
  for_each_piece(from, [&](off_t at, off_t size) {
    check_copy(make_hole(to, done, at - done));
    copy_piece(from, to, at, size);
    done = at + size;
  });
  check_copy(make_hole(to, done, off_t{kFlashSize} - done));
}

}  // namespace zelsim::tool
