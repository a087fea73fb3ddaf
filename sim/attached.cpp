#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/file.h>

#include "board.h"
#include "diagnostics.h"
#include "rules.h"
#include "shared_mutex.h"
#include "system_calls.h"

// The mapping of a board, its lock and the count of its changes.

namespace zelsim {
namespace {

// What is wrong with the two files of a board; null if nothing is.
const char *problem_of(int state_fd, int flash_fd) {
  struct {
    uint64_t magic;
    uint32_t version;
    uint32_t size;
  } head = {};
  if (state_fd < 0 || flash_fd < 0) return strerror(errno);
  if (sys::lseek(state_fd, 0, SEEK_END) != off_t{kStateFileSize}) return "the state file has a wrong size";
  ssize_t count = sys::pread(state_fd, &head, sizeof head, 0);
  if (count != sizeof head || head.magic != kMagic) return "the state file has no magic number";
  if (head.version != kVersion || head.size != sizeof(Board)) return "the state file has the version of another zelsim";
  if (sys::lseek(flash_fd, 0, SEEK_END) != kFlashSize) return "the flash image has a wrong size";
  return nullptr;
}

int open_in(const char *folder, const char *file, int flags, mode_t mode = 0) {
  char path[kPathMax + 32];
  snprintf(path, sizeof path, "%s%s", folder, file);
  return sys::open(path, flags | O_CLOEXEC, mode);
}

}  // namespace

bool attach(const char *folder, Attached *attached, char *why, size_t why_size) {
  sys::File state(open_in(folder, kStateFile, O_RDWR));
  sys::File flash(open_in(folder, kFlashFile, O_RDONLY));
  const char *problem = problem_of(state.get(), flash.get());
  if (problem != nullptr) {
    snprintf(why, why_size, "%s", problem);
    return false;
  }
  // The file lock lives as long as the mapping, even after the descriptor is closed. A process that is alone on the board
  // makes the mutex anew: after a crash of the machine, or in a copied folder, it may be locked by a process that is gone.
  bool alone = flock(state.get(), LOCK_EX | LOCK_NB) == 0;
  if (!alone) sys::lock_file(state.get(), LOCK_SH);
  void *board = mmap(nullptr, kStateFileSize, PROT_READ | PROT_WRITE, MAP_SHARED, state.get(), 0);
  void *image = mmap(nullptr, kFlashSize, PROT_READ, MAP_SHARED, flash.get(), 0);
  if (board == MAP_FAILED || image == MAP_FAILED) {
    snprintf(why, why_size, "its files cannot be mapped: %s", strerror(errno));
    if (board != MAP_FAILED) munmap(board, kStateFileSize);
    if (image != MAP_FAILED) munmap(image, kFlashSize);
    return false;
  }
  attached->board = static_cast<Board *>(board);
  attached->records = static_cast<uint8_t *>(board) + sizeof(Board);
  attached->inverted_flash = static_cast<const uint8_t *>(image);
  if (alone) {
    make_shared_mutex(attached->board->mutex);
    sys::lock_file(state.get(), LOCK_SH);
  }
  return true;
}

void detach(const Attached &attached) {
  munmap(attached.board, kStateFileSize);
  munmap(const_cast<uint8_t *>(attached.inverted_flash), kFlashSize);
}

namespace {

void attach_environment_board(Attached *attached) {
  const char *folder = variable(kBoardFolderVariable);
  if (folder[0] == '\0') return;
  char why[kPathMax];
  if (!attach(folder, attached, why, sizeof why))
    dprintf(STDERR_FILENO, "zelsim: the board in %s cannot be opened: %s\n", folder, why);
}

}  // namespace

// Attached once in a process: a program stays on its first board.
const Attached *environment_board() {
  static pthread_once_t once = PTHREAD_ONCE_INIT;
  static Attached attached;
  pthread_once(&once, [] { attach_environment_board(&attached); });
  if (attached.board != nullptr) return &attached;
  bool asked_for = variable(kBoardFolderVariable)[0] != '\0';
  errno = asked_for ? ENXIO : 0;
  return nullptr;
}

// The dead holder may have left anything half done. Each part is checked when it is used; only the rules are counted anew.
void recover_lock(Board &board) {
  count_rules(board);
  pthread_mutex_consistent(&board.mutex);
}

// A sleeper that was killed costs one needless wake-up.
void announce_change(Board &board) {
  __atomic_add_fetch(&board.watch.changes, 1, __ATOMIC_SEQ_CST);
  if (__atomic_exchange_n(&board.watch.awaited, 0, __ATOMIC_SEQ_CST) != 0) sys::futex_wake_all(&board.watch.changes);
}

void await_change(Board &board, uint32_t seen, const timespec &at_most) {
  __atomic_store_n(&board.watch.awaited, 1, __ATOMIC_SEQ_CST);
  sys::futex_wait(&board.watch.changes, seen, at_most);
}

Guard::Guard(Board &board, Intent intent) : board_(board), intent_(intent) {
  bool holder_has_died = lock_shared_mutex(board_.mutex) == EOWNERDEAD;
  if (holder_has_died) recover_lock(board_);
}

Guard::~Guard() {
  if (intent_ == Intent::Change) {
    latch_flags(board_);
    announce_change(board_);
  }
  pthread_mutex_unlock(&board_.mutex);
}

}  // namespace zelsim
