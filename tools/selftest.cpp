#include "records.h"

namespace zelctl {

namespace {

/** A subsystem is in order when it answers and nothing in its answer is bad. */
struct Check {
  const char *subsystem;
  Json (*ask)();
  const char *bad_key = "";
  const char *bad_value = "";
};

/** The temperature without a poll, which would hand it to the driver. */
Json sensor() {
  uint8_t raw[2] = {};
  require(byteOf(FW_GetLM75_Alive, "temperature sensor") == 0 ? FW_ABSENT : FW_I2C_BufRead(0x9E, 0, 1, 2, raw), "temperature sensor");
  return record("degrees", static_cast<int8_t>(raw[0]));
}

constexpr Check kChecks[] = {
    {"leds", leds},
    {"relay", relay},
    {"flags", flags},
    {"reset", resetKey},
    {"watchdog", watchdog},
    {"debugCmd", [] { return phyRegister(0, 2); }},
    {"power", power, "alarm", "yes"},
    {"i2c-bus", busBusy, "busy", "yes"},
    {"boards", board},
    {"cages", [] { return ports(Signals::OfModules); }, "tx_fault", "1"},
    {"modules", modules, "checksums", "wrong"},
    {"clock", clockMode},
    {"temperature", sensor},
    {"flash-chip", flashId, "chip", "unknown"},
    {"flash-map", flashRegions},
    {"environment", environment, "state", "damaged"},
    {"mac-backup", macBackup},
    {"databases", databases, "verdict", "damaged"},
    {"identity", identity},
};

/** One line of an answer: its plain values, or the number of its rows. */
std::string summary(const Json &answer) {
  if (answer.is_array()) return std::to_string(answer.size()) + " rows";
  std::string line;
  for (const auto &[key, value] : answer.items())
    line += (line.empty() ? "" : ", ") + key + " " + (value.is_array() ? summary(value) : cell(key, value));
  return line;
}

/** The first bad thing in an answer; empty when there is none. */
std::string badIn(const Json &answer, const Check &check) {
  for (const Json &row : answer.is_array() ? answer : Json::array({answer})) {
    if (row.contains(check.bad_key) && cell(check.bad_key, row[check.bad_key]) == check.bad_value) return summary(row);
    if (row.contains("status") && row["status"] != "ok" && row["status"] != "FW_ABSENT" &&
        row["status"] != "FW_NOT_SFP")
      return summary(row);
  }
  return {};
}

void selftest() {
  requireBoard();
  Json rows = Json::array();
  uint32_t failed = 0;
  for (const Check &check : kChecks) {
    std::string bad, detail;
    try {
      const Json answer = check.ask();
      bad = badIn(answer, check);
      detail = summary(answer);
    } catch (const Failure &failure) {
      bad = failure.line;
    }
    failed += bad.empty() ? 0 : 1;
    rows.push_back(record("subsystem", check.subsystem, "verdict", bad.empty() ? "ok" : "failed", "detail",
                          bad.empty() ? detail : bad));
  }
  show(rows);
  if (failed != 0) throw Failure{format("%u of %zu subsystems failed", failed, std::size(kChecks))};
}

}  // namespace

void addSelftestCommand(CLI::App &app) {
  command(app, "selftest", "Walks every subsystem without changing anything", "selftest --json", selftest);
}

}  // namespace zelctl
