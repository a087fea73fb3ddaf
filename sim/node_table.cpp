#include "node_table.h"

#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <atomic>

#include "board.h"
#include "system_calls.h"

namespace zelsim {
namespace {

constexpr int kMaxDescriptor = 65536;
constexpr int kInheritedLimit = 256;  // descriptors looked at on the first use; shells keep theirs below

std::atomic<Node> g_nodes[kMaxDescriptor];
std::atomic<pid_t> g_owner;

bool in_table(int fd) { return fd >= 0 && fd < kMaxDescriptor; }

void note_owner() { g_owner = getpid(); }

void store(int fd, Node node) {
  Node before = g_nodes[fd].exchange(node);
  if (fd <= STDERR_FILENO && (before == Node::Flash || node == Node::Flash)) {
    follow_standard_stream(fd, node == Node::Flash);
  }
}

// Descriptors that came through exec are recognised by the board's files that they are open on.
void scan_inherited() {
  const char *folder = getenv("ZELSIM_BOARD_DIR");
  if (folder == nullptr || folder[0] == '\0' || strlen(folder) >= kPathMax) return;
  sys::Status wanted[3] = {}, found;
  for (int i = 0; i < 3; ++i) {
    char path[kPathMax + 32];
    strcpy(stpcpy(path, folder), kNodeFiles[i]);
    if (sys::stat(path, &wanted[i]) != 0) return;
  }
  for (int fd = 0; fd < kInheritedLimit; ++fd) {
    if (sys::fstat(fd, &found) != 0) continue;
    for (int i = 0; i < 3; ++i) {
      bool same = found.st_ino == wanted[i].st_ino && found.st_dev == wanted[i].st_dev;
      if (same) store(fd, static_cast<Node>(static_cast<int>(Node::Gpio) + i));
    }
  }
}

// A child of vfork runs on its parent's memory but has descriptors of its own: what it closes or duplicates before its
// exec must not reach the parent's table. fork, unlike vfork, calls the handler.
__attribute__((constructor)) void start() {
  note_owner();
  pthread_atfork(nullptr, nullptr, note_owner);
  scan_inherited();
}

}  // namespace

Node node_of(int fd) { return in_table(fd) ? g_nodes[fd].load(std::memory_order_relaxed) : Node::None; }

void set_node(int fd, Node node) {
  if (!in_table(fd) || g_nodes[fd].load(std::memory_order_relaxed) == node) return;
  pid_t owner = g_owner;
  if (owner == 0 || owner == getpid()) store(fd, node);
}

void forget_nodes(unsigned first, unsigned last) {
  for (unsigned fd = first; fd <= last && fd < kMaxDescriptor; ++fd) set_node(static_cast<int>(fd), Node::None);
}

Node node_of_path(const char *path) {
  constexpr char kPrefix[] = "/dev/zel_";
  constexpr size_t kLength = sizeof kPrefix - 1;
  if (path == nullptr || strncmp(path, kPrefix, kLength) != 0) return Node::None;
  constexpr const char *kNames[] = {"gpio", "i2c", "spi_flash"};
  for (int i = 0; i < 3; ++i) {
    if (strcmp(path + kLength, kNames[i]) == 0) return static_cast<Node>(static_cast<int>(Node::Gpio) + i);
  }
  return Node::None;
}

const char *file_of(Node node) {
  if (environment_board() == nullptr) return nullptr;
  return options().node_file[static_cast<int>(node) - static_cast<int>(Node::Gpio)];
}

void *next_function(const char *name) { return dlsym(RTLD_NEXT, name); }

}  // namespace zelsim
