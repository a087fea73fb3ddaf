#include "board_file.h"

#include <sys/stat.h>

#include "attached.h"
#include "nodes.h"

namespace zelsim::web {

// Nobody writes to a node's empty file: it has the time at which the board was made.
BoardFile board_file(const std::filesystem::path &folder) {
  constexpr int64_t kSecondUs = 1000000;
  constexpr int64_t kMicrosecondNs = 1000;
  struct stat state = {};
  struct stat node = {};
  bool is_there = stat((folder.native() + kStateFile).c_str(), &state) == 0 &&
                  stat((folder.native() + description_of(Node::Gpio)->file).c_str(), &node) == 0;
  if (!is_there) return {};
  return {state.st_ino, node.st_mtim.tv_sec * kSecondUs + node.st_mtim.tv_nsec / kMicrosecondNs};
}

}  // namespace zelsim::web
