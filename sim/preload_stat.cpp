#include <bits/wordsize.h>

// A 32-bit machine has other structures and calls for this; there programs see the files behind the nodes.
#if __WORDSIZE == 64

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include "node_table.h"
#include "system_calls.h"

// The libc functions that ask what a file is: programs see three character devices.

namespace {

using namespace zelsim;

constexpr mode_t kDeviceMode = S_IFCHR | 0660;
constexpr unsigned kLocalMajor = 240;  // 240 to 254 are for local use

unsigned minor_of(Node node) { return static_cast<unsigned>(node) - static_cast<unsigned>(Node::Gpio); }

/** Node that a pair of folder and path names: the descriptor itself where the path is empty. */
Node target(int folder, const char **path, int flags, char *file) {
  if ((flags & AT_EMPTY_PATH) && (*path == nullptr || **path == '\0')) return node_of(folder);
  Node node = node_of_path(*path);
  if (!file_of(node, file)) return Node::None;
  *path = file;
  return node;
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

int fstatat(int folder, const char *path, struct stat *status, int flags) noexcept {
  char file[kFileMax];
  Node node = target(folder, &path, flags, file);
  int result = static_cast<int>(syscall(SYS_newfstatat, folder, path, status, flags));
  if (result != 0 || node == Node::None) return result;
  status->st_mode = kDeviceMode;
  status->st_rdev = makedev(kLocalMajor, minor_of(node));
  status->st_size = status->st_blocks = 0;
  return 0;
}

int statx(int folder, const char *path, int flags, unsigned mask, struct statx *status) noexcept {
  char file[kFileMax];
  Node node = target(folder, &path, flags, file);
  int result = static_cast<int>(syscall(SYS_statx, folder, path, flags, mask, status));
  if (result != 0 || node == Node::None) return result;
  status->stx_mode = kDeviceMode;
  status->stx_rdev_major = kLocalMajor;
  status->stx_rdev_minor = minor_of(node);
  status->stx_size = status->stx_blocks = 0;
  return 0;
}

int fstat(int fd, struct stat *status) noexcept { return fstatat(fd, "", status, AT_EMPTY_PATH); }
int stat(const char *path, struct stat *status) noexcept { return fstatat(AT_FDCWD, path, status, 0); }
int lstat(const char *path, struct stat *status) noexcept {
  return fstatat(AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW);
}

// Both structures are the same on a 64-bit machine.
#pragma GCC diagnostic ignored "-Wattribute-alias"
int fstatat64(int folder, const char *path, struct stat64 *status, int flags) noexcept
    __attribute__((alias("fstatat")));
int fstat64(int fd, struct stat64 *status) noexcept __attribute__((alias("fstat")));
int stat64(const char *path, struct stat64 *status) noexcept __attribute__((alias("stat")));
int lstat64(const char *path, struct stat64 *status) noexcept __attribute__((alias("lstat")));

}  // extern "C"
#pragma GCC visibility pop

#endif
