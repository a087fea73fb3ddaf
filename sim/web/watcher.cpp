#include <chrono>
#include <thread>

#include "activity.h"
#include "documents.h"
#include "made_diagnostics.h"
#include "requests.h"
#include "web.h"

// Follows one board: its state as parts, the requests of programs as a log.

namespace zelsim::web {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Pauses between two looks at a board.
constexpr auto kChangesTurn = 33ms;                 // that changes
constexpr auto kRequestsTurn = 30ms;                // whose requests are listed
constexpr timespec kReadingsTurn = {0, 100000000};  // whose requests are looked at for what programs notice
constexpr auto kAbsence = 500ms;                    // that is gone
constexpr auto kTimesTurn = 1s;                     // where only its times advance

uint32_t changes_of(const Attached &attached) {
  return __atomic_load_n(&attached.board->watch.changes, __ATOMIC_SEQ_CST);
}

class Watcher : public Source {
 public:
  explicit Watcher(std::string board) : board_(std::move(board)) {}

 private:
  void turn() override;
  bool idle_turn() override;
  bool is_same() const;
  void attach();
  void publish_parts();
  void put_board(const Board &board);
  void put_writing();
  bool take_requests();
  bool times_are_due() const { return times_wait_ && Clock::now() - last_sent_at_ >= kTimesTurn; }
  void await_news();

  const std::string board_;
  std::shared_ptr<const Attached> attached_;  // null: there is no board
  std::filesystem::path folder_;              // of the attached board
  BoardFile file_ = {};
  bool is_published_ = false;  // the parts were put since it was attached
  uint32_t seen_ = 0;          // count of the board's changes when the parts were put
  Json last_document_ = {};    // the board as it was put last, without the times that advance by themselves
  Clock::time_point last_sent_at_ = {};
  bool times_wait_ = false;  // they have advanced, and nothing else has changed
  Sectors sectors_ = {};
  Requests requests_;
  RequestRate rate_;
  Activity activity_;
};

// False if no board is attached, or if it was removed, perhaps to be made anew.
bool Watcher::is_same() const {
  bool was_there = attached_ != nullptr && file_.state != 0;
  return was_there && board_file(folder_) == file_;
}

void Watcher::attach() {
  if (is_same()) return;
  tool::OpenBoard open = tool::look_at(board_);
  attached_ = open.attached;
  folder_ = open.folder;
  file_ = board_file(folder_);
  activity_.follow(file_, folder_);
  is_published_ = false;
  sectors_ = {};
}

// Pages let the clock run by themselves. Pauses of programs advance it, too, at each of their steps. If nothing but the times
// has changed, they are put once a second.
void Watcher::put_board(const Board &board) {
  const Json document = tool::document_of(board, folder_);
  Json rest = document;
  rest.erase("paused_us");
  rest["i2c"]["clock"] = board.i2c.clock.shift_us;
  bool only_times = rest == last_document_;
  times_wait_ = only_times && Clock::now() - last_sent_at_ < kTimesTurn;
  if (times_wait_) return;
  news.put(kBoardPart, text_of(document));
  last_document_ = std::move(rest);
  last_sent_at_ = Clock::now();
}

// A writing is over when its process has ended, or when nothing has changed for a while.
void Watcher::put_writing() {
  bool is_there = attached_ != nullptr;
  const FlashActivity &flash = activity_.flash();
  if (is_there && flash.is_waiting()) activity_.look(*copy_of(*attached_->board), news);
  news.put("writing", text_of(is_there ? writing_document(flash) : Json()));
  bool is_written = is_there && flash.last_sector().has_value();
  news.put("written_sector", is_written ? std::to_string(*flash.last_sector()) : "null");
  bool has_broken_off = is_there && !flash.broken_off().empty();
  news.put("broken_off", has_broken_off ? text_of(flash.broken_off()) : "null");
}

// Programs wait only while copy_of() copies the board.
void Watcher::publish_parts() {
  try {
    attach();
    seen_ = changes_of(*attached_);
    std::unique_ptr<Board> board = copy_of(*attached_->board);
    put_board(*board);
    history.look(*board);
    news.put("optics_as_set", text_of(tool::diagnostics_as_set(*board)));
    news.put("picture", text_of(tool::panel_picture(*board)));
    news.put("regions", text_of(tool::regions_of(board->flash)));
    news.put("sectors", text_of(sectors_document(folder_, *board, sectors_)));
    news.put("gone", "null");
    activity_.look(*board, news);
    is_published_ = true;
  } catch (const std::runtime_error &error) {
    news.put("gone", text_of(error.what()));
    attached_ = nullptr;
  }
}

bool Watcher::take_requests() {
  Listing listing = has_readers_of_requests() ? Listing::All : Listing::Noticing;
  return requests_.take(attached_, listing, news, activity_);
}

// The board wakes those who wait for a change. Requests of programs are looked at from time to time.
void Watcher::await_news() {
  std::this_thread::sleep_for(attached_ != nullptr ? kChangesTurn : kAbsence);
  while (has_readers() && is_same() && changes_of(*attached_) == seen_) {
    if (has_readers_of_requests()) {
      std::this_thread::sleep_for(kRequestsTurn);
    } else {
      await_change(*attached_->board, seen_, kReadingsTurn);
    }
    bool has_told = take_requests();
    bool has_new_rate = rate_.count(attached_, news, history);
    if (has_told || has_new_rate || activity_.flash().is_waiting() || times_are_due()) return;
  }
}

// Single values are read without the lock.
bool Watcher::idle_turn() {
  requests_.pause(news, activity_);
  try {
    attach();
    history.look(*attached_->board);
    rate_.count(attached_, news, history);
  } catch (const std::runtime_error &) {
    attached_ = nullptr;
  }
  return attached_ != nullptr;
}

void Watcher::turn() {
  bool is_due = !is_same() || !is_published_ || changes_of(*attached_) != seen_ || times_are_due();
  if (is_due) publish_parts();
  if (attached_ != nullptr) take_requests();
  put_writing();
  if (attached_ != nullptr) rate_.count(attached_, news, history);
  news.publish();
  await_news();
}

}  // namespace

std::unique_ptr<Source> make_board_source(const std::string &board) { return std::make_unique<Watcher>(board); }

}  // namespace zelsim::web
