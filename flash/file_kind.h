// What a path names, asked before it is opened: opening a FIFO would wait for a writer.
#pragma once

#include <sys/stat.h>

namespace zel {

/// True for what has no size to work with, so that a file of a known length cannot be read from it.
inline bool is_pipe_or_directory(const char *path) {
  struct stat status {};
  return stat(path, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISDIR(status.st_mode));
}

}  // namespace zel
