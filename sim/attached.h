#pragma once

#include <cstddef>

#include "state.h"

// The board of this process: its mapped state, its lock, and the count of its changes.

namespace zelsim {

constexpr char kStateFile[] = "/state";
constexpr size_t kPathMax = 1024;

/** A mapped board. The flash image is stored inverted: what was never written is a hole of the file. */
struct Attached {
  Board *board;
  const uint8_t *inverted_flash;
};

/** Maps the board in `folder`. Returns false on failure, with one line in `error`. */
bool attach(const char *folder, Attached *attached, char *error, size_t error_size);
void detach(const Attached &attached);

/** A mutex in shared memory, whose holder may die. */
void make_shared_mutex(pthread_mutex_t &mutex);

/** The board that ZELSIM_BOARD_DIR named when this process first asked. Null if there is none: errno is then 0 if none
 *  is asked for, and ENXIO (after one line on stderr) if it is unusable. */
const Attached *environment_board();

/** Wakes those who watch the board. */
void announce_change(Board &board);

/** Sleeps until the count of changes is another than `seen`, or some seconds have passed. */
void await_change(Board &board, uint32_t seen);

enum class Intent : uint8_t { Change, Look };

/** Holds the board's lock for a scope. At the end it announces a change, except with Intent::Look. Its holder may die at
 *  any point: the next one takes over. */
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
