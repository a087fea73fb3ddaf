#include "file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "output.h"
#include "program.h"

namespace fs = std::filesystem;

/** The file at the end of a chain of symbolic links. */
static fs::path behind_links(fs::path path) {
  constexpr int kMostLinks = 40;  // the kernel follows 40, too
  std::error_code error;
  for (int links = 0; links < kMostLinks; ++links) {
    if (!fs::is_symlink(path, error)) break;
    path = path.parent_path() / fs::read_symlink(path, error);
  }
  return path;
}

OutputFile::OutputFile(const std::string &path, const std::string &argument)
    : complaint_(argument + ": cannot write '" + path + "': "), target_(behind_links(path)) {
  hold_signals();
  if (!target_.has_filename()) fail(path.empty() ? ENOENT : EISDIR);
  struct stat old = {};
  const bool exists = stat(target_.c_str(), &old) == 0;
  // A file that cannot be written is not replaced either.
  if (exists) check(access(target_.c_str(), W_OK) == 0);
  if (!exists) {
    open_beside(nullptr);
  } else if (S_ISREG(old.st_mode)) {
    const mode_t mode = old.st_mode & 07777;
    open_beside(&mode);
  } else {
    open_in_place();
  }
}

void OutputFile::open_in_place() {
  fd_ = open(target_.c_str(), O_WRONLY | O_CLOEXEC);
  check(fd_ >= 0);
}

/** @param mode  of the old file; null if there is none */
void OutputFile::open_beside(const mode_t *mode) {
  fresh_ = target_.parent_path() / (".new-" + std::to_string(getpid()));
  unlink(fresh_.c_str());  // a killed process with the same number may have left one
  fd_ = open(fresh_.c_str(), O_WRONLY | O_CLOEXEC | O_CREAT | O_EXCL, 0666);
  check(fd_ >= 0);
  if (mode != nullptr && fchmod(fd_, *mode) != 0) {
    const int error = errno;
    close(fd_);
    unlink(fresh_.c_str());
    fail(error);
  }
}

OutputFile::~OutputFile() {
  if (fd_ >= 0) close(fd_);
  if (!fresh_.empty()) unlink(fresh_.c_str());
}

void OutputFile::fail(int error) const { throw Failure(complaint_ + std::strerror(error)); }

void OutputFile::check(bool done) const {
  if (!done) fail(errno);
}

void OutputFile::write(Bytes bytes) { check(write_all(fd_, bytes)); }

void OutputFile::commit() {
  if (!fresh_.empty()) check(fsync(fd_) == 0);
  const int fd = fd_;
  fd_ = -1;
  check(close(fd) == 0);
  if (fresh_.empty()) return;
  check(rename(fresh_.c_str(), target_.c_str()) == 0);
  fresh_.clear();
}

void write_file(const std::string &path, Bytes bytes, const std::string &argument) {
  OutputFile file(path, argument);
  file.write(bytes);
  file.commit();
}

void write_output(const std::string &path, Bytes bytes, const std::string &argument) {
  if (path != "-")
    write_file(path, bytes, argument);
  else
    std::fwrite(bytes.data(), 1, bytes.size(), out);
}

bool write_all(int fd, Bytes bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes = bytes.subspan(static_cast<size_t>(written));
  }
  return true;
}

std::string content_of(int fd) {
  const off_t size = std::max<off_t>(lseek(fd, 0, SEEK_END), 0);
  std::string text(static_cast<size_t>(size), '\0');
  if (pread(fd, text.data(), text.size(), 0) < 0) return {};
  return text;
}

void refuse_unreadable(const std::string &path, const std::string &argument) {
  refuse_argument(argument, "cannot read '" + path + "': " + std::strerror(errno));
}

std::vector<uint8_t> read_file(const std::string &path, size_t most, const std::string &argument) {
  std::ifstream file(path == "-" ? "/dev/stdin" : path, std::ios::binary);
  std::vector<uint8_t> bytes;
  constexpr size_t kPiece = 0x10000;
  while (file && bytes.size() <= most) {
    const size_t size = bytes.size();
    bytes.resize(size + kPiece);
    file.read(reinterpret_cast<char *>(bytes.data() + size), kPiece);
    bytes.resize(size + static_cast<size_t>(file.gcount()));
  }
  if (!file.is_open() || file.bad()) refuse_unreadable(path, argument);
  if (bytes.size() > most) refuse_argument(argument, "'" + path + "' has more than " + std::to_string(most) + " bytes");
  return bytes;
}
