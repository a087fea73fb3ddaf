/** @file
 *  A file is replaced as a whole or not at all: a full disk, a signal or a power cut leaves the one that was there.
 *  zelctl and zelsim write all their files so. */
#ifndef ZELBOARD_CONSOLE_REPLACE_FILE_H
#define ZELBOARD_CONSOLE_REPLACE_FILE_H

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>
#include <utility>

namespace replace_file {

/** Writes all, whatever pieces the kernel takes it in. @return 0 or an errno */
inline int writeAll(int fd, const void *data, size_t size) {
  for (const auto *next = static_cast<const char *>(data); size > 0;) {
    const ssize_t written = ::write(fd, next, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return errno;
    next += written;
    size -= static_cast<size_t>(written);
  }
  return 0;
}

/** A file that is written beside the one it replaces, and takes its place once it is whole and on the disk. The mode
 *  stays, and a link still leads to the file. What is no ordinary file, such as a pipe or /dev/full, is written in place.
 *  Each step returns 0 or an errno. */
class Replacement {
 public:
  Replacement() = default;
  Replacement(const Replacement &) = delete;
  Replacement &operator=(const Replacement &) = delete;
  ~Replacement() {
    if (fd_ >= 0) close(fd_);
    if (!fresh_.empty()) unlink(fresh_.c_str());
  }

  int start(const std::string &path) {
    namespace fs = std::filesystem;
    std::error_code no_link;
    target_ = path;
    for (int links = 0; links < 40 && fs::is_symlink(target_, no_link); ++links)
      target_ = target_.parent_path() / fs::read_symlink(target_, no_link);
    struct stat old = {};
    const bool exists = stat(target_.c_str(), &old) == 0, beside = !exists || S_ISREG(old.st_mode);
    if (exists && access(target_.c_str(), W_OK) != 0) return errno;
    if (!target_.has_filename()) return path.empty() ? ENOENT : EISDIR;
    if (beside) fresh_ = target_.parent_path() / (".new-" + std::to_string(getpid()));
    if (beside) unlink(fresh_.c_str());  // left by a killed process of this number
    fd_ = open(beside ? fresh_.c_str() : target_.c_str(), O_WRONLY | O_CLOEXEC | (beside ? O_CREAT | O_EXCL : 0), 0666);
    return fd_ >= 0 && (!beside || !exists || fchmod(fd_, old.st_mode & 07777) == 0) ? 0 : errno;
  }

  int write(const void *data, size_t size) const { return writeAll(fd_, data, size); }

  int commit() {
    if (!fresh_.empty() && fsync(fd_) != 0) return errno;
    if (close(std::exchange(fd_, -1)) != 0) return errno;
    if (!fresh_.empty() && rename(fresh_.c_str(), target_.c_str()) != 0) return errno;
    fresh_.clear();
    return 0;
  }

 private:
  std::filesystem::path target_, fresh_;
  int fd_ = -1;
};

inline int replace(const std::string &path, const void *data, size_t size) {
  Replacement file;
  int error = file.start(path);
  if (error == 0) error = file.write(data, size);
  return error != 0 ? error : file.commit();
}

}  // namespace replace_file

#endif
