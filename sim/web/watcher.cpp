#include <fcntl.h>
#include <sys/stat.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "system_calls.h"
#include "web.h"

namespace zelsim::web {
namespace {

using namespace std::chrono_literals;

// Between two looks at a board that changes, at one that is gone; and a page's patience.
constexpr std::chrono::milliseconds kTurn = 33ms, kAbsence = 500ms, kSilence = 10s;

uint32_t changes_of(const Attached &attached) {
  return __atomic_load_n(&attached.board->watch.changes, __ATOMIC_SEQ_CST);
}

// Lines of the trace since the reader's last visit. Each visit asks for as many as there is room for.
Json lines_for(Reader &reader, const std::shared_ptr<const Attached> &attached) {
  constexpr uint32_t kRoom = kWatchedBytes - 1024;  // a line may go beyond it
  Board &board = *attached->board;
  Guard guard(board, Intent::Look);
  Watch &watch = board.watch;
  if (reader.board != attached) reader.position = watch.written;
  reader.board = attached;
  bool missed = watch.written - reader.position >= kRoom;
  if (missed) reader.position = watch.written;
  std::string text;
  while (reader.position != watch.written) text += watch.lines[reader.position++ % kWatchedBytes];
  watch.wanted = watch.written + kRoom;
  if (missed) text = "... more requests than can be shown\n";
  return split(text.substr(0, text.find_last_of('\n')), '\n');
}

// Pages in use. The image is stored inverted: an erased byte is 0.
uint16_t used_pages(int fd, unsigned sector) {
  static constexpr uint8_t kErased[kPageSize] = {};
  uint8_t bytes[kSectorSize] = {};
  sys::pread(fd, bytes, sizeof bytes, off_t{sector} * off_t{kSectorSize});
  unsigned used = 0;
  for (uint32_t at = 0; at < kSectorSize; at += kPageSize) used += std::memcmp(bytes + at, kErased, kPageSize) != 0;
  return static_cast<uint16_t>(used);
}

ino_t state_file_of(const std::filesystem::path &folder) {
  struct stat state = {};
  stat((folder.native() + kStateFile).c_str(), &state);
  return state.st_ino;
}

}  // namespace

bool Watcher::add_reader() {
  std::lock_guard lock(mutex_);
  asked_.notify_one();
  return readers_ < kMostReaders && ++readers_ > 0;
}

// True while the board is the one that is attached: it may have been removed, and made anew.
bool Watcher::is_same() const { return attached_ != nullptr && state_file_of(folder_) == state_file_; }

void Watcher::attach() {
  if (is_same()) return;
  auto [folder, attached] = [&] {  // the board's lock, which comes last, ends here
    tool::OpenBoard open = tool::look_at(board_);
    return std::pair(open.folder, open.attached);
  }();
  std::lock_guard lock(mutex_);
  attached_ = attached;
  folder_ = folder;
  state_file_ = state_file_of(folder);
  sectors_ = {};
}

// Each document looks at the board by itself: a change in between is counted, too, and brings another turn.
uint32_t Watcher::publish() {
  Json parts;
  uint32_t seen = 0;
  try {
    attach();
    seen = changes_of(*attached_);
    tool::CommandLine line = {board_};
    std::string picture = tool::panel_picture(*tool::look_at(board_));
    parts = {{"gone", nullptr},
             {"board", tool::board_document(line)},
             {"picture", picture},
             {"regions", tool::flash_document(line)["regions"]},
             {"sectors", sectors_document(board_, sectors_)}};
  } catch (const std::runtime_error &error) {
    parts = {{"gone", error.what()}};
  }
  std::lock_guard lock(mutex_);
  if (!parts["gone"].is_null()) attached_ = nullptr;
  for (const auto &[name, value] : parts.items()) {
    std::string text = value.dump(-1, ' ', false, Json::error_handler_t::replace);
    if (Part &part = parts_[name]; part.first != text) part = {text, ++version_};
  }
  ++turn_;
  published_.notify_all();
  return seen;
}

void Watcher::run() {
  for (;;) {
    {
      std::unique_lock lock(mutex_);
      asked_.wait(lock, [this] { return readers_ > 0; });
    }
    uint32_t seen = publish();
    std::this_thread::sleep_for(attached_ != nullptr ? kTurn : kAbsence);
    while (is_same() && changes_of(*attached_) == seen) await_change(*attached_->board, seen);
  }
}

std::string Watcher::news(Reader &reader) const {
  std::string text;
  auto add = [&text](const std::string &name, const std::string &value) {
    text += (text.empty() ? "{\"" : ",\"") + name + "\":" + value;
  };
  for (const auto &[name, part] : parts_)
    if (part.second > reader.version) add(name, part.first);
  reader.version = version_;
  if (reader.wants_requests && attached_ != nullptr)
    if (Json lines = lines_for(reader, attached_); !lines.empty()) add("requests", lines.dump());
  return text.empty() ? text : text + '}';
}

std::string Watcher::next(Reader &reader) {
  auto end = std::chrono::steady_clock::now() + kSilence;
  std::string text;
  std::unique_lock lock(mutex_);
  while (text.empty() && published_.wait_until(lock, end, [&] { return turn_ != reader.turn; })) {
    reader.turn = turn_;
    text = news(reader);
  }
  return text;
}

// The counters are taken first: what changes while sectors are read is found next time.
Json sectors_document(const std::string &board, Sectors &known) {
  const Sectors before = known;
  std::string image;
  {
    tool::OpenBoard open = tool::look_at(board);
    known.counters = open->flash;
    known.reflashed = open->watch.reflashed;
    image = open.folder.native() + kFlashFile;
  }
  const Flash &was = before.counters, &is = known.counters;
  bool all = !before.counted || before.reflashed != known.reflashed;
  sys::File file(sys::open(image.c_str(), O_RDONLY | O_CLOEXEC));
  for (unsigned i = 0; i < kSectors; ++i)
    if (all || was.erases[i] != is.erases[i] || was.programs[i] != is.programs[i])
      known.used[i] = used_pages(file.get(), i);
  known.counted = true;
  return {{"erases", is.erases}, {"used", known.used}};
}

}  // namespace zelsim::web
