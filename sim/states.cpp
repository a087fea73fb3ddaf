#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fstream>
#include <set>

#include "nodes.h"
#include "rules.h"
#include "system_calls.h"
#include "tool.h"

// States that are saved under names: copies of the board's state and flash, in a folder of the board. A state is copied
// while no program is in a request, and never by half: it is saved aside and renamed; and one whose loading was cut off is
// loaded once more by whoever opens the board next.

namespace zelsim::tool {
namespace {

namespace fs = std::filesystem;

fs::path states_of(const fs::path &folder) { return folder / kStatesFolder; }

[[noreturn]] void fail_with(const std::string &what) { throw Failure("cannot " + what + ": " + std::strerror(errno)); }

int open_file(const std::string &path, int flags) {
  int fd = open(path.c_str(), flags | O_CLOEXEC, 0644);
  if (fd < 0) fail_with("open " + path);
  return fd;
}

/** Holds the board while no program is in a request; refuses to wait long for one. */
class Quiet {
 public:
  explicit Quiet(Board &board) : board_(board) {
    constexpr long kPatienceNs = 20000000;
    timespec end = {};
    clock_gettime(CLOCK_REALTIME, &end);
    end.tv_nsec += kPatienceNs;
    end.tv_sec += end.tv_nsec / 1000000000;
    end.tv_nsec %= 1000000000;
    int locked = pthread_mutex_timedlock(&board_.mutex, &end);
    if (locked == EOWNERDEAD) {
      count_rules(board_);
      pthread_mutex_consistent(&board_.mutex);
    } else if (locked != 0) {
      throw Failure("STATE: a program is in a request: try again when it is done");
    }
    for (uint32_t user : board_.watch.flash_users) {
      bool lives = user != 0 && (kill(static_cast<pid_t>(user), 0) == 0 || errno == EPERM);
      if (!lives) continue;
      pthread_mutex_unlock(&board_.mutex);
      throw Failure("STATE: process " + std::to_string(user) + " is in a request: try again when it is done");
    }
  }
  ~Quiet() {
    announce_change(board_);
    pthread_mutex_unlock(&board_.mutex);
  }
  Quiet(const Quiet &) = delete;
  Quiet &operator=(const Quiet &) = delete;

 private:
  Board &board_;
};

/** Calls `with` for each piece of a file that is no hole: where it begins and how long it is. */
template <typename With>
void each_piece(int fd, With with) {
  off_t at = 0;
  for (;;) {
    off_t begin = lseek(fd, at, SEEK_DATA);
    if (begin < 0) return;
    off_t end = lseek(fd, begin, SEEK_HOLE);
    if (end < 0) end = kFlashSize;
    with(begin, end - begin);
    at = end;
  }
}

void copy_piece(int from, int to, off_t at, off_t size) {
  off64_t read_at = at;
  off64_t write_at = at;
  const off64_t end = read_at + size;
  while (read_at < end) {
    auto rest = static_cast<size_t>(end - read_at);
    ssize_t copied = copy_file_range(from, &read_at, to, &write_at, rest, 0);
    if (copied > 0) continue;
    // Not every file system copies within the kernel.
    std::vector<uint8_t> bytes(std::min<size_t>(rest, kSectorSize));
    ssize_t found = pread(from, bytes.data(), bytes.size(), static_cast<off_t>(read_at));
    if (found <= 0 || pwrite(to, bytes.data(), static_cast<size_t>(found), static_cast<off_t>(write_at)) != found)
      fail_with("copy the flash image");
    read_at += found;
    write_at += found;
  }
}

// Room is taken before anything changes: a full disk leaves the old contents.
void take_room(int from, int to) {
  each_piece(from, [&](off_t at, off_t size) {
    if (fallocate(to, FALLOC_FL_KEEP_SIZE, at, size) != 0 && errno != EOPNOTSUPP) fail_with("copy the flash image");
  });
}

void make_hole(int fd, off_t at, off_t size) {
  if (size <= 0 || fallocate(fd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, at, size) == 0) return;
  std::vector<uint8_t> erased(static_cast<size_t>(size));
  if (pwrite(fd, erased.data(), erased.size(), at) != size) fail_with("copy the flash image");
}

/** Makes the image at `to` equal to the one at `from`. Where the file system can, they share their blocks. */
void copy_image(int from, int to) {
  if (ioctl(to, FICLONE, from) == 0) return;
  take_room(from, to);
  off_t done = 0;
  each_piece(from, [&](off_t at, off_t size) {
    make_hole(to, done, at - done);
    copy_piece(from, to, at, size);
    done = at + size;
  });
  make_hole(to, done, off_t{kFlashSize} - done);
}

/** What of a board is saved: all but what belongs to the processes that are on it. */
constexpr size_t kSavedFrom = offsetof(Board, gpio), kSavedSize = offsetof(Board, watch) - kSavedFrom;

std::unique_ptr<Board> read_state(const fs::path &folder) {
  auto saved = std::make_unique<Board>();
  std::ifstream file(folder.native() + kStateFile, std::ios::binary);
  file.read(reinterpret_cast<char *>(saved.get()), sizeof(Board));
  bool whole = file.gcount() == sizeof(Board) && saved->magic == kMagic && saved->version == kVersion;
  if (!whole) throw Failure("STATE: '" + folder.filename().native() + "' was saved by another zelsim or is damaged");
  return saved;
}

void write_state(const Board &board, const std::string &file) {
  auto saved = std::make_unique<Board>();
  saved->magic = kMagic;
  saved->version = kVersion;
  saved->size = sizeof(Board);
  std::memcpy(reinterpret_cast<uint8_t *>(saved.get()) + kSavedFrom,
              reinterpret_cast<const uint8_t *>(&board) + kSavedFrom, kSavedSize);
  std::ofstream state(file, std::ios::binary);
  state.write(reinterpret_cast<const char *>(saved.get()), sizeof(Board)).flush();
  if (!state) fail_with("write " + file);
}

/** Puts a fresh folder into the place of one that may be there. */
void put_in_place(const std::string &fresh, const fs::path &place) {
  if (!fs::exists(place)) return fs::rename(fresh, place);
  if (renameat2(AT_FDCWD, fresh.c_str(), AT_FDCWD, place.c_str(), RENAME_EXCHANGE) != 0) {
    fs::remove_all(place);
    fs::rename(fresh, place);
  }
}

void apply(const fs::path &folder, Board &board, const std::string &name) {
  fs::path place = states_of(folder) / name;
  std::unique_ptr<Board> saved = read_state(place);
  sys::File from(open_file(place.native() + kFlashFile, O_RDONLY)), to(open_file(folder.native() + kFlashFile, O_RDWR));
  take_room(from.get(), to.get());
  std::memset(board.watch.loading, 0, sizeof board.watch.loading);
  std::memcpy(board.watch.loading, name.data(), name.size());
  copy_image(from.get(), to.get());
  uint32_t last_rule = std::max(board.last_rule, saved->last_rule);
  std::memcpy(reinterpret_cast<uint8_t *>(&board) + kSavedFrom,
              reinterpret_cast<const uint8_t *>(saved.get()) + kSavedFrom, kSavedSize);
  board.last_rule = last_rule;
  ++board.watch.reflashed;
  board.watch.loading[0] = '\0';
}

void check_state(const fs::path &folder, const std::string &name) {
  check_name(name, "STATE");
  if (!fs::exists(states_of(folder) / name))
    throw Failure("STATE: no state '" + name + "' has been saved (zelsim states lists them)");
}

}  // namespace

void save_state(const CommandLine &line) {
  check_name(line.words[0], "STATE");
  auto [folder, attached] = attach_board(line.board);
  fs::create_directories(states_of(folder));
  std::string fresh = states_of(folder) / ".new-XXXXXX";
  if (mkdtemp(fresh.data()) == nullptr) fail_with("make " + fresh);
  std::shared_ptr<void> removed_in_the_end(nullptr, [&](void *) {
    std::error_code ignored;
    fs::remove_all(fresh, ignored);
  });
  sys::File from(open_file(folder.native() + kFlashFile, O_RDONLY));
  sys::File to(open_file(fresh + kFlashFile, O_RDWR | O_CREAT));
  if (ftruncate(to.get(), kFlashSize) != 0) fail_with("write the flash image");
  {
    Quiet quiet(*attached->board);
    copy_image(from.get(), to.get());
    write_state(*attached->board, fresh + kStateFile);
  }
  put_in_place(fresh, states_of(folder) / line.words[0]);
}

void load_state(const CommandLine &line) {
  auto [folder, attached] = attach_board(line.board);
  check_state(folder, line.words[0]);
  Quiet quiet(*attached->board);
  apply(folder, *attached->board, line.words[0]);
}

void forget_state(const CommandLine &line) {
  auto [folder, attached] = attach_board(line.board);
  check_state(folder, line.words[0]);
  fs::remove_all(states_of(folder) / line.words[0]);
}

void finish_loading(const std::filesystem::path &folder, Board &board) {
  std::string name(board.watch.loading, strnlen(board.watch.loading, sizeof board.watch.loading));
  if (name.empty()) return;
  bool is_there = fs::exists(states_of(folder) / name);
  if (is_there) apply(folder, board, name);
  board.watch.loading[0] = '\0';
}

Json states_document(const CommandLine &line) {
  auto [folder, attached] = attach_board(line.board);
  Json states = Json::array();
  std::error_code none;
  fs::directory_iterator entries(states_of(folder), none);
  for (const fs::path &place : std::set<fs::path>(entries, {})) {
    std::string name = place.filename();
    struct stat state = {};
    if (name[0] == '.' || stat((place.native() + kStateFile).c_str(), &state) != 0) continue;
    tm parts = {};
    char saved[32];
    std::strftime(saved, sizeof saved, "%Y-%m-%dT%H:%M:%S", gmtime_r(&state.st_mtime, &parts));
    struct stat image = {};
    stat((place.native() + kFlashFile).c_str(), &image);
    states.push_back({{"state", name}, {"saved", saved}, {"flash_on_disk", image.st_blocks * 512}});
  }
  return {{"states", states}};
}

}  // namespace zelsim::tool
