#pragma once

#include <errno.h>

#include "environment.h"
#include "recorder_file.h"

// How the recorder makes a call that a program has asked for.

namespace zelsim {

/** True if calls are written down. */
inline bool records() {
  static const bool on = variable(kRecordVariable)[0] != '\0';
  return on;
}

/** Makes a call by the function behind, and keeps its result, errno and times. */
template <typename Function>
auto make_timed(NodeCall &call, Function function) {
  call.began_ns = monotonic_ns();
  Begun begun(call);
  auto result = function();
  call.error = errno;
  call.ended_ns = monotonic_ns();
  call.result = static_cast<int64_t>(result);
  return result;
}

}  // namespace zelsim
