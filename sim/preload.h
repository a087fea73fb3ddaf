#pragma once

#include <errno.h>
#include <sys/uio.h>

#include "node_table.h"

// The libc functions by which programs reach a node. Each asks one question, "is it a node?", and hands everything else
// to the function behind it. The flash node is read and written like a file; the other two only take requests. Programs
// that make system calls of their own are not seen.

namespace zelsim {

inline bool is_node(int fd) { return node_of(fd) != Node::None; }

/** Lets a call fail with this errno. */
inline int failed(int error) {
  errno = error;
  return -1;
}

/** The piece that a readv or writev on a node moves: the first one that is not empty. Callers must expect a short count. */
inline iovec first_piece(const iovec *pieces, int count) {
  for (int i = 0; i < count; ++i) {
    if (pieces[i].iov_len > 0) return pieces[i];
  }
  return {};
}

/** The node's file if a program asks about a node's path, else the path. `file` takes kFileMax bytes. */
inline const char *file_behind(const char *path, char *file) { return file_of(node_of_path(path), file) ? file : path; }

}  // namespace zelsim
