#pragma once

#include <cstddef>

#include "state.h"

// The board of this process: where its folder is, its mapped state, its lock.

namespace zelsim {

constexpr char kStateFile[] = "/state";
constexpr char kFlashFile[] = "/flash.inverted";
/** The files that the nodes open, in the order of Node. The two drivers without data have empty ones. */
constexpr const char *kNodeFiles[] = {"/gpio", "/i2c", kFlashFile};

constexpr size_t kPathMax = 1024;

/** A mapped board. The flash image is stored inverted: what was never written is a hole of the
 *  file. */
struct Attached {
  Board *board;
  const uint8_t *inverted_flash;
};

/** Maps the board in `folder`. On failure false, and one line in `error`. */
bool attach(const char *folder, Attached *attached, char *error, size_t error_size);

/** What `zelsim run` hands to programs in the environment: ZELSIM_BOARD_DIR, the folder of the board; ZELSIM_TRACE, a
 *  file or "-" for standard error; and switches, off when missing, empty or "0". A missing text is empty. */
const char *variable(const char *name);
bool is_on(const char *name);

/** The board that ZELSIM_BOARD_DIR named when this process first asked. Null when there is none; errno is then 0 when
 *  none is asked for, and ENXIO (after one line on stderr) when it is unusable. */
const Attached *environment_board();

/** State of a switch that has started up, the flash contents and their counters apart. Its expanders are configured;
 *  only a hardware reset takes them back to their power-on state. */
void power_on(Board &board);

/** The chips that a hardware reset reaches: LEDs, flags, watchdog, cage select, expanders. */
void reset_hardware(Board &board);

/** Fits a board into slot index 0 to 2, or takes it out; either pulls the modules and resets the expanders there. */
void fit(Board &board, unsigned slot, uint8_t type);

/** Times in a damaged state file may be anything: their sum wraps. */
inline int64_t wrapping_sum(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}

/** The board's time: the host's, advanced by the pauses that were counted instead of slept. */
int64_t now_us(const Board &board);

/** Holds the board's lock for a scope. Its holder may die at any point: the next one takes over. */
class Guard {
 public:
  explicit Guard(Board &board);
  ~Guard();
  Guard(const Guard &) = delete;
  Guard &operator=(const Guard &) = delete;

 private:
  Board &board_;
};

}  // namespace zelsim
