#pragma once

#include <string.h>

#include "environment.h"

namespace zelsim {

/** Calls `work` for the folders of PATH, in their order, until it returns true. The recorder does so inside of programs
 *  that it records: it takes no memory.
 *  @param work  bool(const char *folder, int length); no NUL ends the folder
 *  @return true if `work` returned true for a folder */
template <typename Work>
bool any_folder_in_path(Work work) {
  const char *folder = variable("PATH");
  while (*folder != '\0') {
    size_t length = strcspn(folder, ":");
    if (work(folder, static_cast<int>(length))) return true;
    folder += length;
    if (*folder == ':') ++folder;
  }
  return false;
}

}  // namespace zelsim
