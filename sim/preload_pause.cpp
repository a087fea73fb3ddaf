#include <unistd.h>

#include "preload.h"
#include "trace.h"

// Pauses. They are counted instead of slept if the user asked for it; they still advance the board's time.

using namespace zelsim;

#pragma GCC visibility push(default)
extern "C" {

int usleep(useconds_t microseconds) {
  const Attached *attached = environment_board();
  if (attached != nullptr) trace(kNoResult, "pause %uus", microseconds);
  bool counts = attached != nullptr && is_on(kFastVariable);
  if (!counts) return behind<usleep>("usleep")(microseconds);
  __atomic_add_fetch(&attached->board->paused_us, microseconds, __ATOMIC_RELAXED);
  return 0;
}

}  // extern "C"
#pragma GCC visibility pop
