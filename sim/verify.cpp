#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <ctime>
#include <map>

#include "model_answer.h"
#include "request.h"
#include "tool.h"

// `zelsim verify`: where the virtual switch answers recorded calls otherwise.

namespace zelsim::tool {
namespace {

// What changes by itself is compared less strictly.
constexpr int64_t kClockTolerance = 60;        // seconds; a chip loses or gains some in a month
constexpr double kTemperatureTolerance = 2.0;  // degrees Celsius
enum Volatile : unsigned { ClockTime, Temperature, PhyCounters, kVolatiles };
struct VolatileField {
  const char *field;
  const char *tolerance;
};
constexpr VolatileField kVolatileFields[kVolatiles] = {
    {"clock", "60 s"}, {"temperature", "2 C"}, {"error counters of PHYs", "not compared"}};

/** A field in which an answer is another one. */
struct Difference {
  std::string field;
  std::string recorded;
  std::string model;
};
using Differences = std::vector<Difference>;

/** Counts what agreed only within a tolerance. */
using Tolerated = std::array<unsigned, kVolatiles>;

std::string hex(std::span<const uint8_t> bytes) { return bytes.empty() ? "-" : hex_text(bytes); }

std::string result_of(const NodeCall &call, int64_t result, int error) {
  if (result < 0) {
    const char *name = strerrorname_np(error);
    return std::string("-1 ") + (name != nullptr ? name : "?");
  }
  bool is_small = result <= 9 || call.kind == CallKind::Command;
  return format(is_small ? "%lld" : "0x%llx", static_cast<long long>(result));
}

uint32_t word_at(std::span<const uint8_t> bytes, size_t at) {
  uint32_t word = 0;
  std::memcpy(&word, bytes.data() + at, sizeof word);
  return word;
}

float degrees_at(std::span<const uint8_t> bytes) {
  float degrees = 0;
  std::memcpy(&degrees, bytes.data(), sizeof degrees);
  return degrees;
}

// A clock record as the I2C driver keeps it: words from byte 4 on.
int64_t seconds_of_record(std::span<const uint8_t> record) {
  auto field = [&](size_t index) { return static_cast<int>(word_at(record, 4 + 4 * index)); };
  tm time = {};
  time.tm_sec = field(0);
  time.tm_min = field(1);
  time.tm_hour = field(2);
  time.tm_mday = field(3);
  time.tm_mon = field(4);
  time.tm_year = field(5);
  return timegm(&time);
}

/** Compares the records of one call. */
class Comparison {
 public:
  Comparison(const RecordedCall &recorded, const Answer &model, std::optional<unsigned> port, Tolerated &tolerated)
      : recorded_(recorded), before_(recorded.after()), after_(model.after), port_(port), tolerated_(tolerated) {}

  Differences differences() {
    const NodeCall &call = recorded_.call;
    if (call.kind == CallKind::Read) compare_flash();
    if (call.kind == CallKind::Request) compare_request(request_of(call.node, static_cast<uint8_t>(call.number)));
    return std::move(found_);
  }

 private:
  void add(const std::string &field, const std::string &recorded, const std::string &model) {
    if (recorded != model) found_.push_back({field, recorded, model});
  }

  void compare_bytes(const std::string &field) { add(field, hex(before_), hex(after_)); }

  void compare_request(const Request *request) {
    bool is_short = request == nullptr || before_.size() < record_size(*request) || after_.size() < before_.size();
    if (is_short) return compare_bytes("record");
    switch (request->shape) {
      case Shape::None:
        return;
      case Shape::Byte:
        return add(request->fields, std::to_string(before_[0]), std::to_string(after_[0]));
      case Shape::Pair:
        return compare_pair(split(request->fields, ' '));
      case Shape::Register:
        return add(format("address=0x%x value", word_at(before_, 0)), format("0x%08x", word_at(before_, 4)),
                   format("0x%08x", word_at(after_, 4)));
      case Shape::Rtc:
        return compare_clock_record();
      case Shape::Temperature:
        return compare_degrees("temperature", degrees_at(before_), degrees_at(after_));
      case Shape::Identification:
        return compare_bytes("id");
      case Shape::Transfer:
        return request->fills ? compare_transfer() : compare_bytes("record");
    }
  }

  void compare_pair(const Words &names) {
    std::string field = names[0] + "=" + std::to_string(before_[0]) + " " + names[1];
    add(field, std::to_string(before_[1]), std::to_string(after_[1]));
  }

  void compare_clock(const std::string &field, int64_t recorded, int64_t model) {
    if (recorded == model) return;
    if (std::abs(recorded - model) <= kClockTolerance) {
      ++tolerated_[ClockTime];
    } else {
      add(field, time_text(recorded), time_text(model));
    }
  }

  void compare_degrees(const std::string &field, double recorded, double model) {
    if (recorded == model) return;
    if (std::abs(recorded - model) <= kTemperatureTolerance) {
      ++tolerated_[Temperature];
    } else {
      add(field, format("%.1f", recorded), format("%.1f", model));
    }
  }

  void compare_clock_record() {
    add("mode24", std::to_string(before_[0]), std::to_string(after_[0]));
    bool has_times = word_at(before_, 16) != 0 && word_at(after_, 16) != 0;  // days begin with 1
    if (has_times) return compare_clock("clock", seconds_of_record(before_), seconds_of_record(after_));
    constexpr size_t kTimeAt = 4, kTimeSize = 24;
    add("clock", hex(before_.subspan(kTimeAt, kTimeSize)), hex(after_.subspan(kTimeAt, kTimeSize)));
  }

  void compare_transfer() {
    constexpr uint8_t kClockTime = 0x64, kSensor = 0x9e, kPhy = 0xac;
    uint8_t address = before_[kAddress];
    size_t len = std::min<size_t>(before_[kLen], kMaxTransfer);
    bool starts_at_zero = before_[kOffsetLen] > 0 && word_at(before_, kOffset) == 0;
    if (address == kClockTime && len == 7)
      return compare_clock("addr=0x64 clock", clock_reading(before_.data()), clock_reading(after_.data()));
    if (address == kSensor && starts_at_zero && len == 2) return compare_sensor();
    if (address == kPhy) return compare_phy(len);
    for (size_t i = 0; i < len; ++i) {
      if (before_[i] != after_[i]) add(place(address, i), format("%02x", before_[i]), format("%02x", after_[i]));
    }
  }

  void compare_sensor() {
    auto degrees = [](std::span<const uint8_t> raw) { return static_cast<int16_t>(raw[0] << 8 | raw[1]) / 256.0; };
    compare_degrees("addr=0x9e temperature", degrees(before_), degrees(after_));
  }

  // IEEE 802.3 clause 22: the low byte of register 10 counts idle errors. Register 21 counts receive errors on common PHYs.
  static unsigned compared_bits(unsigned number) {
    constexpr unsigned kGigabitStatus = 10, kReceiveErrors = 21;
    if (number == kReceiveErrors) return 0;
    return number == kGigabitStatus ? 0xff00 : 0xffff;
  }

  void compare_phy(size_t len) {
    for (size_t i = 0; i + 1 < len; i += 2) {
      unsigned number = word_at(before_, kOffset) + static_cast<unsigned>(i / 2);
      auto value = [&](std::span<const uint8_t> raw) { return static_cast<unsigned>(raw[i] << 8 | raw[i + 1]); };
      unsigned unequal = value(before_) ^ value(after_);
      if (unequal == 0) continue;
      if ((unequal & compared_bits(number)) == 0) {
        ++tolerated_[PhyCounters];
      } else {
        add(format("addr=0xac%s register=%u", port_text().c_str(), number), format("0x%04x", value(before_)),
            format("0x%04x", value(after_)));
      }
    }
  }

  std::string port_text() const { return port_ ? format(" port=%u", *port_) : ""; }

  // A module's memory is the selected one's.
  std::string place(uint8_t address, size_t i) const {
    constexpr uint8_t kFirstOfModule = 0xa0;
    std::string of_module = address >= kFirstOfModule ? port_text() : "";
    bool has_offset = before_[kOffsetLen] > 0;
    auto offset = has_offset ? word_at(before_, kOffset) : 0;
    return format("addr=0x%02x%s byte=0x%02x", address, of_module.c_str(), offset + static_cast<unsigned>(i));
  }

  void compare_flash() {
    auto at = static_cast<uint32_t>(recorded_.call.at);
    uint32_t last_sector = UINT32_MAX;
    for (size_t i = 0; i < std::min(before_.size(), after_.size()); ++i) {
      uint32_t address = at + static_cast<uint32_t>(i);
      bool is_known = address / kSectorSize == last_sector;
      if (is_known || before_[i] == after_[i]) continue;
      last_sector = address / kSectorSize;
      add(format("sector=0x%08x", last_sector * kSectorSize), format("%02x at 0x%08x", before_[i], address),
          format("%02x at 0x%08x", after_[i], address));
    }
  }

  const RecordedCall &recorded_;
  std::span<const uint8_t> before_;  // what the recording has
  std::span<const uint8_t> after_;   // what the model has
  std::optional<unsigned> port_;
  Tolerated &tolerated_;
  Differences found_;
};

// Of a call with another result nothing else is compared.
Differences compare(const RecordedCall &recorded, const Answer &answer, std::optional<unsigned> port,
                    Tolerated &tolerated) {
  const NodeCall &call = recorded.call;
  bool opened = call.kind == CallKind::Open && call.result >= 0;
  std::string expected = result_of(call, opened ? 0 : call.result, call.error);
  std::string found = result_of(call, answer.result, answer.error);
  if (expected != found) return {{"result", expected, found}};
  if (call.result < 0) return {};
  return Comparison(recorded, answer, port, tolerated).differences();
}

const char *request_name(const NodeCall &call) {
  switch (call.kind) {
    case CallKind::Open:
      return "open";
    case CallKind::Read:
      return "read";
    case CallKind::Write:
      return "write";
    case CallKind::Seek:
      return "lseek";
    case CallKind::Command:
      return "debugCmd";
    default:
      return "";
  }
}

std::string request_label(const NodeCall &call) {
  if (call.kind != CallKind::Request) return request_name(call);
  const Request *request = request_of(call.node, static_cast<uint8_t>(call.number));
  return request != nullptr ? request->name : format("0x%02X", call.number & 0xff);
}

/** Differences of the same node, request and field. */
struct Group {
  Json row;
  unsigned count = 0;
  Json lines = Json::array();  // of the file, the first ones
};

class Report {
 public:
  void add(const RecordedCall &recorded, const Differences &differences) {
    constexpr size_t kLines = 5;
    if (!differences.empty()) ++differing_;
    for (const Difference &difference : differences) {
      std::string node = recorded.call.node == Node::None ? "-" : node_name(recorded.call.node);
      std::string request = request_label(recorded.call);
      Group &group = group_of(node, request, difference);
      ++group.count;
      if (group.lines.size() < kLines) group.lines.push_back(recorded.line);
    }
  }

  unsigned differing() const { return differing_; }

  Json rows() const {
    Json all = Json::array();
    for (const Group &group : groups_) {
      Json row = group.row;
      row["count"] = group.count;
      row["lines"] = group.lines;
      all.push_back(row);
    }
    return all;
  }

 private:
  Group &group_of(const std::string &node, const std::string &request, const Difference &difference) {
    auto [place, is_new] = places_.try_emplace({node, request, difference.field}, groups_.size());
    if (is_new) {
      Json row = record("node", node, "request", request, "field", difference.field, "recorded", difference.recorded,
                        "model", difference.model);
      groups_.push_back({row});
    }
    return groups_[place->second];
  }

  std::vector<Group> groups_;
  std::map<std::array<std::string, 3>, size_t> places_;
  unsigned differing_ = 0;
};

Json tolerances_of(const Tolerated &tolerated) {
  Json rows = Json::array();
  for (unsigned i = 0; i < kVolatiles; ++i)
    rows.push_back(
        record("field", kVolatileFields[i].field, "tolerance", kVolatileFields[i].tolerance, "used", tolerated[i]));
  return rows;
}

}  // namespace

void verify_model(const CommandLine &line) {
  const Recording recording = read_recording(line.words[0]);
  std::string board = look_at(line.board).folder.filename();
  Model model(line.board, recording);
  Report report;
  Tolerated tolerated = {};
  unsigned compared = 0;
  for (const RecordedCall &recorded : recording.calls) {
    std::optional<Answer> answer = model.answer(recorded);
    if (!answer) continue;
    ++compared;
    report.add(recorded, compare(recorded, *answer, model.selected_port(), tolerated));
  }
  print(record("recording", line.words[0], "board", board, "calls", recording.calls.size(), "compared", compared,
               "differing", report.differing(), "tolerances", tolerances_of(tolerated), "differences", report.rows()),
        line.json);
  if (report.differing() > 0)
    throw Failure(format("the model answers %u of %u calls otherwise", report.differing(), compared));
}

}  // namespace zelsim::tool
