#include <unistd.h>

#include "preload.h"
#include "trace.h"

// Pauses. If the user wants it, they are counted instead of slept; the board's time advances in both cases.

using namespace zelsim;

#pragma GCC visibility push(default)
extern "C" {

int usleep(useconds_t microseconds) {
  const Attached *attached = environment_board();
  if (attached != nullptr) trace(kNoResult, "pause %uus", microseconds);
  bool is_counted = attached != nullptr && is_on(kFastVariable);
  if (!is_counted) return behind<usleep>("usleep")(microseconds);
  __atomic_add_fetch(&attached->board->paused_us, microseconds, __ATOMIC_RELAXED);
  return 0;
}

}  // extern "C"
#pragma GCC visibility pop
