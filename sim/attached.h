#pragma once

#include <cstddef>
#include <ctime>

#include "state.h"

// The board of this process: its mapped state, its lock, and the count of its changes.

namespace zelsim {

constexpr char kStateFile[] = "/state";
constexpr size_t kStateFileSize = sizeof(Board) + kWatchedBytes;
constexpr size_t kPathMax = 1024;

/** A mapped board. The flash image is stored inverted: what was never written is a hole of the file. */
struct Attached {
  Board *board;
  uint8_t *records;  // of the trace
  const uint8_t *inverted_flash;
};

/** Maps the board in `folder`. On failure returns false, with the reason in `why`. */
bool attach(const char *folder, Attached *attached, char *why, size_t why_size);
void detach(const Attached &attached);

/** The board that ZELSIM_BOARD_DIR names at the first call of this process. Null if there is none: errno is 0 if the
 *  variable is not set. If the board is unusable, errno is ENXIO, and the first call prints a line on stderr. */
const Attached *environment_board();

/** For a caller that got the lock because its holder has died: makes the lock usable again. */
void recover_lock(Board &board);

/** Wakes those who watch the board. */
void announce_change(Board &board);

/** Sleeps while the count of changes is `seen`, for some time at most. */
void await_change(Board &board, uint32_t seen, const timespec &at_most);

enum class Intent : uint8_t { Change, Look };

/** Holds the board's lock for a scope. Its end announces a change, except with Intent::Look. If the holder dies, the next
 *  one takes the lock over. */
class Guard {
 public:
  explicit Guard(Board &board, Intent intent = Intent::Change);
  ~Guard();
  Guard(const Guard &) = delete;
  Guard &operator=(const Guard &) = delete;

 private:
  Board &board_;
  Intent intent_;
};

}  // namespace zelsim
