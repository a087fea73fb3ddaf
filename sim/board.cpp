
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <time.h>

#include "request.h"
#include "system_calls.h"

namespace zelsim {
namespace {

// What is wrong with a board's two files, or null.
const char *fault_of(int state, int flash) {
  struct {
    uint64_t magic;
    uint32_t version, size;
  } head = {};
  if (state < 0 || flash < 0) return strerror(errno);
  if (sys::lseek(state, 0, SEEK_END) != sizeof(Board)) return "the state file has a wrong size";
  if (sys::pread(state, &head, sizeof head, 0) != sizeof head || head.magic != kMagic)
    return "the state file has no magic number";
  if (head.version != kVersion || head.size != sizeof(Board)) return "the state file has the version of another zelsim";
  return sys::lseek(flash, 0, SEEK_END) != kFlashSize ? "the flash image has a wrong size" : nullptr;
}

void make_mutex(Board &board) {
  pthread_mutexattr_t kind;
  pthread_mutexattr_init(&kind);
  pthread_mutexattr_setpshared(&kind, PTHREAD_PROCESS_SHARED);
  pthread_mutexattr_setrobust(&kind, PTHREAD_MUTEX_ROBUST);
  if (pthread_mutex_init(&board.mutex, &kind) == ENOTSUP) {  // an emulator of another processor has no robust ones
    pthread_mutexattr_setrobust(&kind, PTHREAD_MUTEX_STALLED);
    pthread_mutex_init(&board.mutex, &kind);
  }
  pthread_mutexattr_destroy(&kind);
}

int open_in(const char *folder, const char *file, int flags, mode_t mode = 0) {
  char path[kPathMax + 32];
  snprintf(path, sizeof path, "%s%s", folder, file);
  return sys::open(path, flags | O_CLOEXEC, mode);
}

}  // namespace

bool attach(const char *folder, Attached *attached, char *error, size_t error_size) {
  *attached = {};
  sys::File state(open_in(folder, kStateFile, O_RDWR)), flash(open_in(folder, kFlashFile, O_RDONLY));
  if (const char *fault = fault_of(state.get(), flash.get())) {
    snprintf(error, error_size, "%s is missing, damaged or no board: %s", folder, fault);
    return false;
  }
  // The file lock lives as long as the mapping, beyond the descriptor's end. Whoever finds nobody else on the board
  // makes the mutex anew, as a machine that stopped, or a copied folder, may have left it locked by a process long
  // gone.
  bool alone = flock(state.get(), LOCK_EX | LOCK_NB) == 0;
  if (!alone) flock(state.get(), LOCK_SH);
  void *board = mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED, state.get(), 0);
  void *image = mmap(nullptr, kFlashSize, PROT_READ, MAP_SHARED, flash.get(), 0);
  if (board == MAP_FAILED || image == MAP_FAILED) {
    snprintf(error, error_size, "the board in %s cannot be mapped: %s", folder, strerror(errno));
    return false;
  }
  *attached = {static_cast<Board *>(board), static_cast<const uint8_t *>(image)};
  if (alone) make_mutex(*attached->board);
  if (alone) flock(state.get(), LOCK_SH);
  return true;
}

void detach(const Attached &attached) {
  munmap(attached.board, sizeof(Board));
  munmap(const_cast<uint8_t *>(attached.inverted_flash), kFlashSize);
}

const char *variable(const char *name) {
  const char *value = getenv(name);
  return value != nullptr ? value : "";
}

bool is_on(const char *name) { return variable(name)[0] != '\0' && strcmp(variable(name), "0") != 0; }

// Once for a process: a program stays on the board that it met first.
const Attached *environment_board() {
  static pthread_once_t once = PTHREAD_ONCE_INIT;
  static Attached attached;
  pthread_once(&once, [] {
    char error[2 * kPathMax];
    const char *folder = variable("ZELSIM_BOARD_DIR");
    bool wanted = folder[0] != '\0';
    if (wanted && !attach(folder, &attached, error, sizeof error)) dprintf(STDERR_FILENO, "zelsim: %s\n", error);
  });
  errno = variable("ZELSIM_BOARD_DIR")[0] != '\0' ? ENXIO : 0;
  return attached.board != nullptr ? &attached : nullptr;
}

void reset_hardware(Board &board) {
  Gpio before = board.gpio;
  board.gpio = {};
  board.gpio.selected_cage = kNoCage;
  board.gpio.hardware_resets = before.hardware_resets;
  board.gpio.reset_key = before.reset_key;
  memset(board.chain, 0, sizeof board.chain);
  memset(board.registers, 0, sizeof board.registers);
  reset_expanders(board);
}

void power_on(Board &board) {
  board.gpio = {};
  board.i2c = {};
  reset_hardware(board);
  start_main_expanders(board);
  board.i2c.io_level[0] = board.i2c.io_level[1] = 0xff;
  reset_clock(board.i2c.clock);
  board.i2c.clock_present = board.i2c.sensor_present = 1;
  board.i2c.sensor = {0, {25 << 8, 0, 75 << 8, 80 << 8}};
  for (Cage &cage : board.cages) unplug(cage);
  board.supply[0] = board.supply[1] = Supply::Ac;
  board.supply_good[0] = board.supply_good[1] = 1;
  board.flash.chip_index = board.flash.debug = board.flash.extended_address = 0;
  heal(board);
  board.paused_us = 0;
  board.settle_ms = 200;
}

void fit(Board &board, unsigned slot, uint8_t type) {
  board.i2c.slot_type[slot] = type;
  board.i2c.slot_alive[slot] = type != kNoBoard;
  for (unsigned i = 0; i < kPortsPerSlot; ++i) unplug(board.cages[slot * kPortsPerSlot + i]);
  start_daughter_expanders(board, slot);
}

int64_t now_us(const Board &board) {
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  return wrapping_sum(int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000, static_cast<int64_t>(board.paused_us));
}

// A sleeper that was killed costs one call in vain.
void announce_change(Board &board) {
  __atomic_add_fetch(&board.watch.changes, 1, __ATOMIC_SEQ_CST);
  if (__atomic_exchange_n(&board.watch.awaited, 0, __ATOMIC_SEQ_CST) != 0) sys::futex_wake_all(&board.watch.changes);
}

void await_change(Board &board, uint32_t seen) {
  __atomic_store_n(&board.watch.awaited, 1, __ATOMIC_SEQ_CST);
  sys::futex_wait(&board.watch.changes, seen, {2, 0});
}

Guard::Guard(Board &board, Intent intent) : board_(board), intent_(intent) {
  if (pthread_mutex_lock(&board_.mutex) != EOWNERDEAD) return;
  count_rules(board_);  // all that may be half done and no model checks at use
  pthread_mutex_consistent(&board_.mutex);
}

Guard::~Guard() {
  if (intent_ == Intent::Change) announce_change(board_);
  pthread_mutex_unlock(&board_.mutex);
}

}  // namespace zelsim
