#pragma once

#include "line_buffer.h"

namespace zelsim {

/** Adds a line to the recording. It may stay in the shared memory for a while before it goes into the file. */
void append_line(const char *text, size_t size);

/** A call that has begun, as long as this lives. If its process is killed meanwhile, the recording says so. */
class Begun {
 public:
  explicit Begun(const NodeCall &call);
  ~Begun();
  Begun(const Begun &) = delete;
  Begun &operator=(const Begun &) = delete;

 private:
  BegunCall *row_;
};

}  // namespace zelsim
