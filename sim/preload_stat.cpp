#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "preload.h"

// What programs ask about a path: a node's file stands for the node.

using namespace zelsim;

#pragma GCC visibility push(default)
extern "C" {

int access(const char *path, int mode) noexcept {
  char file[kFileMax];
  return behind<access>("access")(file_behind(path, file), mode);
}

int fstatat(int folder, const char *path, struct stat *status, int flags) noexcept {
  char file[kFileMax];
  return behind<fstatat>("fstatat")(folder, file_behind(path, file), status, flags);
}

int stat(const char *path, struct stat *status) noexcept { return fstatat(AT_FDCWD, path, status, 0); }

int statx(int folder, const char *path, int flags, unsigned mask, struct statx *status) noexcept {
  char file[kFileMax];
  return behind<statx>("statx")(folder, file_behind(path, file), flags, mask, status);
}

#if __WORDSIZE == 64
#ifndef __clang__
#pragma GCC diagnostic ignored "-Wattribute-alias"  // both structures are the same on such a machine
#endif
int fstatat64(int folder, const char *path, struct stat64 *status, int flags) noexcept
    __attribute__((alias("fstatat")));
int stat64(const char *path, struct stat64 *status) noexcept __attribute__((alias("stat")));
#endif

}  // extern "C"
#pragma GCC visibility pop
