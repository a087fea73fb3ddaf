#pragma once

#include <cstddef>

#include "state.h"

// The board of this process: where its folder is, its mapped state, its lock, its chips.

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
void detach(const Attached &attached);

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

/** Wakes those who watch the board. */
void announce_change(Board &board);

/** Sleeps until the count of changes is another than `seen`, or some seconds have passed. */
void await_change(Board &board, uint32_t seen);

enum class Intent : uint8_t { Change, Look };

/** Holds the board's lock for a scope, and in the end announces a change. Its holder may die at any point: the next one
 *  takes over. */
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

// The chips of the board, as the I2C driver and the world meet them.

constexpr int kFail = 0xffff, kBusBusy = 0xfffa;

/** One transfer as the chip sees it: what stands in its address byte, the offset bytes sent first, and the data. */
struct Transfer {
  bool write;
  uint8_t address;  // 8-bit form
  uint32_t offset;
  uint8_t offset_len;
  uint8_t *data;
  uint8_t len;

  /** The register pointer: the offset, else the first byte written, else what it was. Drops that byte from the data. */
  void take_pointer(uint8_t *pointer, unsigned registers);
};

/** A kind of chip and the addresses that it answers to. One that is not there answers kFail. */
struct I2cDevice {
  uint8_t first, last;
  int (*answer)(Board &board, Transfer &transfer);
};

constexpr uint8_t kFirstWide = 0x40, kFirstNarrow = 0x70;
int expander(Board &board, Transfer &transfer);
int clock_chip(Board &board, Transfer &transfer);
int temperature_sensor(Board &board, Transfer &transfer);
int module_memory(Board &board, Transfer &transfer);
int copper_phy(Board &board, Transfer &transfer);

void reset_expanders(Board &board);

/** Working configuration as the switch's start-up program leaves it: every transmitter off, the cages' other lines inputs. */
void start_daughter_expanders(Board &board, unsigned slot);
void start_main_expanders(Board &board);
void reset_clock(Clock &clock);

/** The chip's time, in seconds since 1970 without time zones. */
int64_t clock_seconds(const Board &board);
void set_clock(Board &board, int64_t seconds);

/** 1 = the module's transmitter is off: driven so, or pulled up while the expander's line is an input. */
uint8_t tx_disable(const Board &board, unsigned port);

/** A cage that exists: one of the main board's, or on a fitted board with cages. */
bool has_cage(const Board &board, unsigned port);
/** Puts a module with this identification page into a cage. Light is there and nothing fails until the world says so.
 *  */
void plug(Board &board, unsigned port, const char *name, const uint8_t *page, PhyKind phy);
void unplug(Cage &cage);

void restart_negotiation(const Board &board, Cage &cage);

/** SoC, switch-chip and port PHY registers: what was written comes back, 0 before. False when the table is full. */
uint32_t read_register(const Board &board, RegisterSpace space, uint8_t port, uint32_t address);
bool write_register(Board &board, RegisterSpace space, uint8_t port, uint32_t address, uint32_t value);

constexpr uint32_t kWatchdogRegister = 0x20300, kWatchdogEnabled = 0x100;

/** The power status byte of the GPIO driver. */
uint8_t power_status(const Board &board);

}  // namespace zelsim
