#include "copied_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>

// A file is named only on proof. A program may have several files open, read them faster or slower than it writes, or write
// what it has read long before: sizes and positions alone would be a guess.

namespace zelsim::web {
namespace {

namespace fs = std::filesystem;

constexpr uint32_t kLeastProof = 0x1000;       // bytes; many files are alike in their first ones
constexpr uint64_t kMostReadAhead = 0x100000;  // that a program has read, and not written yet

// How many bytes the process has read of a file: the position of its descriptor. `description` is the descriptor's file in
// /proc/NUMBER/fdinfo, which begins with `pos:` and `flags:`, the flags as an octal number. Zero for a file that is open for
// writing.
uint64_t bytes_read(const fs::path &description) {
  std::ifstream lines(description);
  std::string name;
  uint64_t position = 0;
  unsigned flags = 0;
  lines >> name >> std::dec >> position >> name >> std::oct >> flags;
  bool reads_only = (flags & O_ACCMODE) == O_RDONLY;
  return lines && reads_only ? position : 0;
}

// True if the flash has, from `address` on, the bytes of the file from `offset` on. The image is stored inverted.
bool is_copied(int flash, uint32_t address, int file, uint64_t offset, uint32_t size) {
  constexpr uint32_t kPiece = 0x4000;
  uint8_t stored[kPiece];
  uint8_t wanted[kPiece];
  for (uint32_t done = 0; done < size; done += kPiece) {
    uint32_t piece = std::min(kPiece, size - done);
    auto count = static_cast<ssize_t>(piece);
    if (sys::pread(flash, stored, piece, off_t{address} + off_t{done}) != count) return false;
    if (sys::pread(file, wanted, piece, static_cast<off_t>(offset) + off_t{done}) != count) return false;
    for (uint32_t i = 0; i < piece; ++i) wanted[i] = static_cast<uint8_t>(~wanted[i]);
    if (std::memcmp(stored, wanted, piece) != 0) return false;
  }
  return true;
}

bool is_same_file(int one, int other) {
  struct stat first = {};
  struct stat second = {};
  bool are_there = fstat(one, &first) == 0 && fstat(other, &second) == 0;
  return are_there && first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

}  // namespace

// True while the bytes that are written go on as the file does.
bool CopiedFile::holds(const Run &run, int flash) {
  bool is_inside = run.start >= base_ && run.end - base_ <= size_;
  if (!is_inside) return false;
  bool goes_on = run.start == compared_.start && run.end >= compared_.end;
  uint32_t from = goes_on ? compared_.end : run.start;
  if (!is_copied(flash, from, file_->get(), from - base_, run.end - from)) return false;
  compared_ = run;
  return true;
}

// Two files that both fit prove nothing, also when one of them is closed later. A process of another user shows no files.
void CopiedFile::search(uint32_t process, const Run &run, int flash) {
  bool is_unclear = unclear_start_ == run.start;
  if (is_unclear || !run.is_whole || run.size() < kLeastProof) return;
  std::error_code none;
  fs::path folder = "/proc/" + std::to_string(process);
  fs::directory_iterator end;
  for (fs::directory_iterator entry(folder / "fd", none); entry != end; entry.increment(none)) {
    const fs::path &descriptor = entry->path();
    if (!fs::is_regular_file(descriptor, none)) continue;
    uint64_t size = fs::file_size(descriptor, none);
    uint64_t read = bytes_read(folder / "fdinfo" / descriptor.filename());
    bool is_in_step = read >= run.size() && read - run.size() <= kMostReadAhead && run.size() <= size;
    if (!is_in_step) continue;
    fs::path path = fs::read_symlink(descriptor, none);
    bool is_closed = path.empty();  // meanwhile
    if (is_closed) continue;
    auto file = std::make_shared<const sys::File>(sys::open(descriptor.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!is_copied(flash, run.start, file->get(), 0, run.size())) continue;
    bool is_second = file_ != nullptr && !is_same_file(file_->get(), file->get());
    if (is_second) {
      file_ = nullptr;
      unclear_start_ = run.start;
      return;
    }
    file_ = file;
    name_ = path.filename();
    size_ = size;
  }
  base_ = run.start;
  compared_ = run;
}

void CopiedFile::look(uint32_t process, const Run &run, int flash) {
  if (file_ != nullptr && holds(run, flash)) return;
  file_ = nullptr;
  search(process, run, flash);
}

}  // namespace zelsim::web
