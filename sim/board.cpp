#include "board.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <time.h>

#include <atomic>

#include "devices.h"
#include "request.h"
#include "system_calls.h"

extern "C" char **environ;

namespace zelsim {
namespace {

struct Environment {
  uint64_t signature;
  Options options;
  Attached attached;
  bool attached_once() const { return attached.board != nullptr; }
  // A deleted board has lost its magic number: a new one may stand in the same folder.
  bool alive() const { return attached_once() && attached.board->magic == kMagic; }
  bool matches(uint64_t wanted) const { return signature == wanted && (options.folder[0] == '\0' || alive()); }
};

std::atomic<const Environment *> g_environment;
pthread_mutex_t g_environment_mutex = PTHREAD_MUTEX_INITIALIZER;
const Environment kNoEnvironment = {};

const Environment &environment() {
  const Environment *current = g_environment.load(std::memory_order_acquire);
  return current != nullptr ? *current : kNoEnvironment;
}

// A hash of our variables, in one pass: it is taken at every open of a node, so that a program may set them for itself.
uint64_t environment_signature() {
  uint64_t hash = 0xcbf29ce484222325;
  for (char **entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    if (strncmp(*entry, "ZELSIM_", 7) != 0) continue;
    for (const char *c = *entry; *c != '\0'; ++c) hash = (hash ^ static_cast<uint8_t>(*c)) * 0x100000001b3;
  }
  return hash;
}

const char *variable(const char *name) {
  const char *value = getenv(name);
  return value != nullptr ? value : "";
}

bool is_on(const char *name) { return variable(name)[0] != '\0' && strcmp(variable(name), "0") != 0; }

void read_options(Options &options) {
  snprintf(options.folder, kPathMax, "%s", variable("ZELSIM_BOARD_DIR"));
  snprintf(options.trace, kPathMax, "%s", variable("ZELSIM_TRACE"));
  for (int i = 0; i < 3; ++i)
    snprintf(options.node_file[i], sizeof options.node_file[i], "%s%s", options.folder, kNodeFiles[i]);
  options.trace_opens = is_on("ZELSIM_TRACE_OPENS");
  options.fast = is_on("ZELSIM_FAST");
  options.chip_times = is_on("ZELSIM_CHIP_TIMES");
}

// The old value is never unmapped: another thread may be in the middle of a request on it.
void renew_environment(uint64_t signature) {
  const Environment &current = environment();
  void *memory = mmap(nullptr, sizeof(Environment), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return;
  auto *fresh = static_cast<Environment *>(memory);
  fresh->signature = signature;
  read_options(fresh->options);
  bool same_folder = strcmp(current.options.folder, fresh->options.folder) == 0;
  char error[2 * kPathMax];
  if (same_folder && current.alive()) {
    fresh->attached = current.attached;
  } else if (fresh->options.folder[0] != '\0' &&
             !attach(fresh->options.folder, &fresh->attached, error, sizeof error)) {
    bool told = same_folder && !current.attached_once();
    if (!told) dprintf(STDERR_FILENO, "zelsim: %s\n", error);
  }
  g_environment.store(fresh, std::memory_order_release);
}

struct Head {
  uint64_t magic;
  uint32_t version, size;
};

// What is wrong with an open state file, or null.
const char *fault_of_state(int fd) {
  sys::Status status;
  Head head = {};
  if (sys::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size != sizeof(Board))
    return "the state file has a wrong size";
  if (sys::pread(fd, &head, sizeof head, 0) != sizeof head || head.magic != kMagic)
    return "the state file has no magic number";
  if (head.version != kVersion || head.size != sizeof(Board)) return "the state file has the version of another zelsim";
  return nullptr;
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

// What a process that died with the lock may have left half done and no model checks at use.
void repair(Board &board) {
  uint32_t used = 0;
  for (const FaultRule &rule : board.rules) used += rule.effect != Effect::None;
  board.rule_count = used;
}

}  // namespace

bool attach(const char *folder, Attached *attached, char *error, size_t error_size) {
  *attached = {};
  sys::File state(open_in(folder, kStateFile, O_RDWR)), flash(open_in(folder, kFlashFile, O_RDONLY));
  sys::Status status;
  bool readable = state.ok() && flash.ok() && sys::fstat(flash.get(), &status) == 0;
  const char *fault = readable ? fault_of_state(state.get()) : strerror(errno);
  if (fault == nullptr && status.st_size != kFlashSize) fault = "the flash image has a wrong size";
  if (fault != nullptr) {
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

const Attached *environment_board() {
  uint64_t wanted = environment_signature();
  if (!environment().matches(wanted)) {
    pthread_mutex_lock(&g_environment_mutex);
    if (!environment().matches(wanted)) renew_environment(wanted);
    pthread_mutex_unlock(&g_environment_mutex);
  }
  if (environment().attached_once()) return &environment().attached;
  errno = environment().options.folder[0] == '\0' ? 0 : ENXIO;
  return nullptr;
}

const Attached *current_board() {
  return environment().attached_once() ? &environment().attached : environment_board();
}

const Options &options() { return environment().options; }

bool make_board_files(const char *folder) {
  Board board;
  memset(&board, 0, sizeof board);
  board.magic = kMagic;
  board.version = kVersion;
  board.size = sizeof board;
  power_on(board);
  constexpr int kNew = O_RDWR | O_CREAT | O_EXCL;
  for (const char *file : kNodeFiles) {
    sys::File made(open_in(folder, file, kNew, 0666));
    if (!made.ok() || (file == kFlashFile && sys::ftruncate(made.get(), kFlashSize) != 0)) return false;
  }
  sys::File state(open_in(folder, kStateFile, kNew, 0666));
  return state.ok() && sys::write(state.get(), &board, sizeof board) == sizeof board;
}

void reset_hardware(Board &board) {
  uint32_t resets = board.gpio.hardware_resets;
  uint8_t key = board.gpio.reset_key;
  board.gpio = {};
  board.gpio.selected_cage = kNoCage;
  board.gpio.hardware_resets = resets;
  board.gpio.reset_key = key;
  memset(board.chain, 0, sizeof board.chain);
  memset(board.registers, 0, sizeof board.registers);
  for (Expander &expander : board.i2c.wide) reset_expander(expander);
  for (Expander &expander : board.i2c.narrow) reset_expander(expander);
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

Guard::Guard(Board &board) : board_(board) {
  if (pthread_mutex_lock(&board_.mutex) != EOWNERDEAD) return;
  repair(board_);
  pthread_mutex_consistent(&board_.mutex);
}

Guard::~Guard() { pthread_mutex_unlock(&board_.mutex); }

}  // namespace zelsim
