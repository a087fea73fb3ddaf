#include "node_table.h"

#include <dirent.h>
#include <dlfcn.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <atomic>

namespace zelsim {
namespace {

std::atomic<Node> g_nodes[kMaxDescriptor];

void store(int fd, Node node) {
  if (fd <= STDERR_FILENO && node == Node::Flash) take_standard_stream(fd);
  g_nodes[fd] = node;
}

// The node of a file in the board's folder.
Node node_of_file(const char *file) {
  for (const NodeDescription &node : kNodes) {
    if (strcmp(file, node.file) == 0) return node.node;
  }
  return Node::None;
}

// Notes a descriptor, an entry of /proc/self/fd, if it is open on a node or on a node's file in the board's folder.
void note_inherited(int descriptors, const char *entry, const char *folder) {
  char target[PATH_MAX + 32];
  ssize_t length = readlinkat(descriptors, entry, target, sizeof target - 1);
  if (length < 0) return;
  target[length] = '\0';
  size_t folder_length = strlen(folder);
  bool in_folder = folder_length > 0 && strncmp(target, folder, folder_length) == 0;
  Node node = in_folder ? node_of_file(target + folder_length) : node_of_path(target);
  if (node != Node::None) set_node(static_cast<int>(strtol(entry, nullptr, 10)), node);
}

// The files of inherited descriptors show which of them are nodes.
void scan_inherited() {
  char folder[PATH_MAX];
  if (realpath(variable(kBoardFolderVariable), folder) == nullptr) folder[0] = '\0';
  DIR *descriptors = opendir("/proc/self/fd");
  if (descriptors == nullptr) return;
  for (;;) {
    const dirent *entry = readdir(descriptors);
    if (entry == nullptr) break;
    note_inherited(dirfd(descriptors), entry->d_name, folder);
  }
  closedir(descriptors);
}

__attribute__((constructor)) void start() { scan_inherited(); }

}  // namespace

Node node_of(int fd) { return in_table(fd) ? g_nodes[fd].load(std::memory_order_relaxed) : Node::None; }

void set_node(int fd, Node node) {
  if (!in_table(fd) || g_nodes[fd].load(std::memory_order_relaxed) == node) return;
  store(fd, node);
}

Node node_of_path(const char *path) {
  if (path == nullptr) return Node::None;
  for (const NodeDescription &node : kNodes) {
    if (strcmp(path, node.path) == 0) return node.node;
  }
  return Node::None;
}

bool file_of(Node node, char *path) {
  const NodeDescription *description = description_of(node);
  if (description == nullptr || environment_board() == nullptr) return false;
  snprintf(path, kFileMax, "%s%s", variable(kBoardFolderVariable), description->file);
  return true;
}

void *next_function(const char *name) { return dlsym(RTLD_NEXT, name); }

}  // namespace zelsim
