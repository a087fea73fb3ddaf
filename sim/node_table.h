#pragma once

#include "board.h"

// Which of this process's descriptors are nodes, and where a node's path leads.

namespace zelsim {

/** Descriptors from here on are never nodes. */
constexpr int kMaxDescriptor = 65536;
inline bool in_table(int fd) { return fd >= 0 && fd < kMaxDescriptor; }

/** The node of a descriptor, Node::None for anything else. */
Node node_of(int fd);

/** Follows an open, a duplication or a close. */
void set_node(int fd, Node node);

/** A duplicate begins at the position of its descriptor. Only the recorder keeps positions. It does not see that a later move
 *  of one of the two moves the other. */
void follow_duplicate(int from, int to);

/** Replaces standard stream 0, 1 or 2 by a stream of ours: its descriptor becomes the flash node. */
void take_standard_stream(int fd);

Node node_of_path(const char *path);

/** Writes into `path` the path of the file that stands for a node on this process's board. `path` has kFileMax bytes.
 *  Returns false for Node::None, and if there is no board, with errno as environment_board() leaves it. */
bool file_of(Node node, char *path);
constexpr size_t kFileMax = kPathMax + sizeof kFlashFile;

void *next_function(const char *name);

/** The function behind the preload layer's own function of this name. */
template <auto *Own>
__attribute__((visibility("hidden"))) auto *behind(const char *name) {
  static auto *const found = reinterpret_cast<decltype(Own)>(next_function(name));
  return found;
}

}  // namespace zelsim
