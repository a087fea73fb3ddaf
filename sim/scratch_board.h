#pragma once

#include <string>

#include "boards.h"

// A copy of a board, to be used freely. It is removed at the end of its scope.

namespace zelsim::tool {

class ScratchBoard {
 public:
  explicit ScratchBoard(const std::string &board);
  ~ScratchBoard();
  ScratchBoard(const ScratchBoard &) = delete;
  ScratchBoard &operator=(const ScratchBoard &) = delete;

  const std::string &folder() const { return folder_; }
  const Attached &attached() const { return attached_; }
  Board &operator*() const { return *attached_.board; }

 private:
  void remove_folder() const;

  std::string folder_;
  Attached attached_ = {};
};

}  // namespace zelsim::tool
