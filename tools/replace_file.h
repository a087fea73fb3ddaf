/** @file
 *  A file is replaced as a whole or not at all: a full disk, a signal or a power cut leaves the one that was there.
 *  zelctl and zelsim write all their files so. */
#ifndef ZELCTL_REPLACE_FILE_H
#define ZELCTL_REPLACE_FILE_H

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>

namespace replace_file {

inline bool writeAll(int fd, const char *data, size_t size) {
  while (size > 0) {
    const ssize_t written = write(fd, data, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    data += written;
    size -= static_cast<size_t>(written);
  }
  return true;
}

/** Writes beside the file, syncs and renames. The file keeps its mode, and a link still leads to it. What is no ordinary
 *  file, such as a pipe or /dev/full, is written in place.
 *  @return 0, or the errno of the first step that failed */
inline int replace(const std::string &path, const void *data, size_t size) {
  struct stat old = {};
  const bool exists = stat(path.c_str(), &old) == 0, beside = !exists || S_ISREG(old.st_mode);
  if (exists && access(path.c_str(), W_OK) != 0) return errno;
  std::error_code no_link;
  std::filesystem::path target = std::filesystem::canonical(path, no_link);
  if (no_link) target = path;
  const std::string fresh = beside ? target.parent_path() / (".new-" + std::to_string(getpid())) : target;
  if (beside) unlink(fresh.c_str());
  const int fd = open(fresh.c_str(), O_WRONLY | O_CLOEXEC | (beside ? O_CREAT | O_EXCL : 0), 0666);
  if (fd < 0) return errno;
  bool done = writeAll(fd, static_cast<const char *>(data), size);
  if (beside) done = done && (!exists || fchmod(fd, old.st_mode & 07777) == 0) && fsync(fd) == 0;
  int error = done ? 0 : errno;
  if (close(fd) != 0 && error == 0) error = errno;
  if (error == 0 && beside && rename(fresh.c_str(), target.c_str()) != 0) error = errno;
  if (error != 0 && beside) unlink(fresh.c_str());
  return error;
}

}  // namespace replace_file

#endif
