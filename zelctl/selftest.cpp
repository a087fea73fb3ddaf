#include <cmath>

#include "records.h"

/** A subsystem is in order if it answers, and if nothing in its answer is bad. */
struct Check {
  const char *subsystem;
  Json (*ask)();
  const char *bad_key = nullptr;    // null: nothing in the answer is bad
  const char *bad_value = nullptr;  // as it is printed
};

/** Whole degrees: the sensor's first byte. */
static Json sensor() {
  const auto degrees = sensed_degrees();
  require(degrees ? FW_OK : FW_ABSENT, "temperature sensor");
  return record("degrees", static_cast<int>(std::floor(*degrees)));
}

static Json first_phy() { return phy_register(0, 2); }
static Json cages() { return ports(ReadSignals::OfModulesOnly); }

constexpr Check kChecks[] = {
    {"leds", leds},
    {"relay", relay},
    {"flags", flags},
    {"reset", reset_key},
    {"watchdog", watchdog},
    {"debugCmd", first_phy},
    {"power", power, "alarm", "yes"},
    {"i2c-bus", bus_busy, "busy", "yes"},
    {"boards", board},
    {"cages", cages, "tx_fault", "1"},
    {"modules", modules, "checksums", "wrong"},
    {"clock", clock_mode},
    {"temperature", sensor},
    {"flash-chip", flash_id, "chip", "unknown"},
    {"flash-map", flash_regions},
    {"environment", environment, "state", "damaged"},
    {"mac-backup", mac_backup},
    {"databases", databases, "verdict", "damaged"},
    {"identity", identity},
};

/** An answer in one line: its plain values, or the number of its rows. */
static std::string summary(const Json &answer) {
  if (answer.is_array()) return std::to_string(answer.size()) + " rows";
  std::string line;
  for (const auto &[key, value] : answer.items()) {
    const std::string text = value.is_array() ? summary(value) : cell(key, value);
    add_item(line, key + " " + text);
  }
  return line;
}

/** The first row of an answer that has the bad value; empty if none has. */
static std::string bad_row(const Json &answer, const Check &check) {
  if (check.bad_key == nullptr) return {};
  const Json rows = answer.is_array() ? answer : Json::array({answer});
  for (const Json &row : rows) {
    for (const auto &[key, value] : row.items()) {
      if (key == check.bad_key && cell(key, value) == check.bad_value) return summary(row);
    }
  }
  return {};
}

struct Verdict {
  bool good;
  std::string detail;
};

static Verdict run_check(const Check &check) {
  try {
    const Json answer = check.ask();
    const auto failure = take_postponed();
    if (failure) return {false, failure->what()};
    const std::string bad = bad_row(answer, check);
    if (!bad.empty()) return {false, bad};
    return {true, summary(answer)};
  } catch (const Failure &failure) {
    return {false, failure.what()};
  }
}

static void selftest() {
  require_board();
  hold_signals();  // a check that a signal ends has not failed
  Json rows = Json::array();
  uint32_t failed = 0;
  for (const Check &check : kChecks) {
    const auto [good, detail] = run_check(check);
    if (interrupted()) {
      show(rows);
      throw Failure{
          format("interrupted: %zu of %zu subsystems were tested, %u failed", rows.size(), std::size(kChecks), failed)};
    }
    if (!good) ++failed;
    rows.push_back(record("subsystem", check.subsystem, "verdict", good ? "ok" : "failed", "detail", detail));
  }
  show(rows);
  if (failed != 0) throw Failure{format("%u of %zu subsystems failed", failed, std::size(kChecks))};
}

void add_selftest_command(App &app) {
  command(app, "selftest", "Walks every subsystem; changes nothing but the cage selection", "selftest --json",
          selftest);
}
