#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>

namespace zelsim::web {

/** Tells a board from a later one of the same name. */
struct BoardFile {
  ino_t state = 0;      // inode of the state's file; it is not used again while the file is mapped
  int64_t made_us = 0;  // since 1970
  bool operator==(const BoardFile &) const = default;
};

/** The board in a folder; BoardFile{} where there is none. */
BoardFile board_file(const std::filesystem::path &folder);

}  // namespace zelsim::web
