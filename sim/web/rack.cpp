#include <chrono>
#include <map>
#include <thread>

#include "board_file.h"
#include "boards.h"
#include "diagnostics.h"
#include "web.h"

// All boards at a glance.

namespace zelsim::web {
namespace {

using namespace std::chrono_literals;
/** Before a board's name in the name of its part of the news. */
const std::string kPrefix = "board:";
constexpr std::chrono::milliseconds kRackTurn = 100ms;
constexpr std::chrono::milliseconds kListing = 1s;

/** A board of the rack, as it was looked at last. */
struct Place {
  std::shared_ptr<const Attached> attached;  // null: it cannot be opened
  std::filesystem::path folder;
  BoardFile file;
  uint32_t seen;  // count of its changes then
};

class Rack : public Source {
  void turn() override;
  void list();
  void look(const std::string &name, Place &place);

  std::map<std::string, Place> places_;
  std::chrono::steady_clock::time_point listed_ = {};
};

// A board that was deleted, or removed by hand, and made anew has another file. The old mapping does not show that.
bool is_there(const Place &place) {
  bool is_deleted = place.attached == nullptr || place.attached->board->magic != kMagic;
  return !is_deleted && board_file(place.folder) == place.file;
}

void Rack::look(const std::string &name, Place &place) {
  try {
    tool::OpenBoard open = tool::look_at(name);
    place.attached = open.attached;
    place.folder = open.folder;
    place.file = board_file(open.folder);
    place.seen = __atomic_load_n(&open->watch.changes, __ATOMIC_SEQ_CST);
    news.put(kPrefix + name, text_of(summary_of(*open)));
  } catch (const std::runtime_error &error) {
    place.attached = nullptr;
    news.put(kPrefix + name, text_of({{"problem", error.what()}}));
  }
}

void Rack::list() {
  if (std::chrono::steady_clock::now() - listed_ < kListing) return;
  listed_ = std::chrono::steady_clock::now();
  std::map<std::string, Place> found;
  for (const std::string &name : tool::board_names()) {
    auto before = places_.find(name);
    if (before != places_.end() && is_there(before->second)) {
      found.insert(*before);
    } else {
      look(name, found[name]);
    }
  }
  for (const auto &[name, place] : places_) {
    if (!found.contains(name)) news.put(kPrefix + name, "null");
  }
  places_ = std::move(found);
}

void Rack::turn() {
  list();
  for (auto &[name, place] : places_) {
    if (!is_there(place)) continue;
    uint32_t changes = __atomic_load_n(&place.attached->board->watch.changes, __ATOMIC_SEQ_CST);
    if (changes != place.seen) look(name, place);
  }
  news.publish();
  std::this_thread::sleep_for(kRackTurn);
}

}  // namespace

Json summary_of(const Board &board) {
  unsigned modules = 0;
  unsigned dark = 0;
  unsigned transmit_faults = 0;
  unsigned alarms = 0;
  unsigned warnings = 0;
  for (unsigned port = 0; port < kPorts; ++port) {
    const Cage &cage = board.cages[port];
    if (!cage.fitted) continue;
    ++modules;
    bool in_alarm = unexplained_alarms(board, port, 0) != 0 || unexplained_alarms(board, port, 1) != 0;
    bool has_warning = unexplained_warnings(board, port, 0) != 0 || unexplained_warnings(board, port, 1) != 0;
    if (in_alarm) ++alarms;
    if (has_warning && !in_alarm) ++warnings;
    if (cage.loss_of_signal != 0) ++dark;
    if (cage.tx_fault != 0) ++transmit_faults;
  }
  unsigned failed_supplies = 0;
  unsigned pulled_supplies = 0;
  for (unsigned i = 0; i < kSupplies; ++i) {
    bool is_pulled = board.supply[i] == Supply::None;
    if (is_pulled) ++pulled_supplies;
    if (!is_pulled && board.supply_good[i] == 0) ++failed_supplies;
  }
  // A page fetches the picture again only when this number changes.
  size_t version = std::hash<std::string>()(tool::panel_picture(board));
  return {{"version", std::to_string(version)},
          {"alarm", board.gpio.alarm_led != 0},
          {"temperature", degrees_of(board.i2c.sensor.value[kSensorTemperature])},
          {"sensor_present", board.i2c.sensor_present != 0},
          {"clock_present", board.i2c.clock_present != 0},
          {"bus_held", board.i2c.busy != 0},
          {"modules", modules},
          {"module_alarms", alarms},
          {"module_warnings", warnings},
          {"without_light", dark},
          {"transmit_faults", transmit_faults},
          {"failed_supplies", failed_supplies},
          {"pulled_supplies", pulled_supplies},
          {"faults", board.rule_count}};
}

std::unique_ptr<Source> make_rack_source() { return std::make_unique<Rack>(); }

}  // namespace zelsim::web
