#include "node_table.h"

#include <dirent.h>
#include <dlfcn.h>
#include <limits.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <atomic>

namespace zelsim {
namespace {

std::atomic<Node> g_nodes[kMaxDescriptor];
std::atomic<pid_t> g_owner;

bool in_table(int fd) { return fd >= 0 && fd < kMaxDescriptor; }

Node node_at(int index) { return static_cast<Node>(index + 1); }

void note_owner() { g_owner = getpid(); }

void store(int fd, Node node) {
  if (fd <= STDERR_FILENO && node == Node::Flash) take_standard_stream(fd);
  g_nodes[fd] = node;
}

// Descriptors that came through exec are recognised by the board's files that they are open on.
void scan_inherited() {
  char folder[PATH_MAX], target[PATH_MAX + 32];
  DIR *own = realpath(variable("ZELSIM_BOARD_DIR"), folder) != nullptr ? opendir("/proc/self/fd") : nullptr;
  while (const dirent *entry = own != nullptr ? readdir(own) : nullptr) {
    ssize_t length = readlinkat(dirfd(own), entry->d_name, target, sizeof target - 1);
    target[length > 0 ? length : 0] = '\0';
    bool ours = strncmp(target, folder, strlen(folder)) == 0;
    for (int i = 0; ours && i < 3; ++i) {
      if (strcmp(target + strlen(folder), kNodeFiles[i]) == 0)
        store(static_cast<int>(strtol(entry->d_name, nullptr, 10)), node_at(i));
    }
  }
  if (own != nullptr) closedir(own);
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

Node node_of_path(const char *path) {
  constexpr const char *kPaths[] = {"/dev/zel_gpio", "/dev/zel_i2c", "/dev/zel_spi_flash"};
  for (int i = 0; i < 3; ++i) {
    if (path != nullptr && strcmp(path, kPaths[i]) == 0) return node_at(i);
  }
  return Node::None;
}

bool file_of(Node node, char *path) {
  if (node == Node::None || environment_board() == nullptr) return false;
  snprintf(path, kFileMax, "%s%s", variable("ZELSIM_BOARD_DIR"), kNodeFiles[static_cast<int>(node) - 1]);
  return true;
}

void *next_function(const char *name) { return dlsym(RTLD_NEXT, name); }

}  // namespace zelsim
