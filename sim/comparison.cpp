#include "comparison.h"

#include <sys/wait.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <span>

#include "byte_order.h"
#include "comparison_transfer.h"
#include "findings.h"
#include "request.h"
#include "tool.h"

namespace zelsim::tool {
namespace {

std::string hex(std::span<const uint8_t> bytes) { return bytes.empty() ? "-" : hex_text(bytes); }

// How a command has ended, from its status as wait() has it.
std::string end_text(int status) {
  if (WIFSIGNALED(status)) return format("signal %d", WTERMSIG(status));
  return format("exit status %d", WEXITSTATUS(status));
}

std::string result_of(const NodeCall &call, int64_t result, int error) {
  if (result < 0) {
    const char *name = strerrorname_np(error);
    return std::string("-1 ") + (name != nullptr ? name : "?");
  }
  if (call.kind == CallKind::Command) return end_text(static_cast<int>(result));
  constexpr int64_t kHighestDecimal = 9;
  bool is_decimal = result <= kHighestDecimal;
  return format(is_decimal ? "%lld" : "0x%llx", static_cast<long long>(result));
}

float degrees_at(std::span<const uint8_t> bytes) {
  float degrees = 0;
  std::memcpy(&degrees, bytes.data(), sizeof degrees);
  return degrees;
}

ClockRecord clock_record(std::span<const uint8_t> bytes) {
  ClockRecord record;
  std::memcpy(&record, bytes.data(), sizeof record);
  return record;
}

int64_t seconds_of(const ClockRecord &record) {
  tm time = {};
  time.tm_sec = record.second;
  time.tm_min = record.minute;
  time.tm_hour = record.hour;
  time.tm_mday = record.month_day;
  time.tm_mon = record.month;
  time.tm_year = record.year;
  return timegm(&time);
}

std::string text_of(std::span<const uint8_t> bytes) { return {bytes.begin(), bytes.end()}; }

// The hexadecimal number that ends a text, as debugCmd prints values.
std::optional<uint32_t> last_number(const std::string &text) {
  size_t at = text.rfind("0x");
  if (at == std::string::npos) return {};
  size_t end = text.find_last_not_of(" \r\n") + 1;
  return number_in(text.substr(at, end - at), 0, UINT32_MAX);
}

// For a transfer: the chip's address, and the selected port if the chip is a module's. Empty for other calls.
std::string chip_text(const RecordedCall &recorded, std::optional<unsigned> port) {
  const NodeCall &call = recorded.call;
  if (call.kind != CallKind::Request) return "";
  const Request *request = request_of(call.node, static_cast<uint8_t>(call.number));
  bool is_transfer = request != nullptr && request->shape == Shape::Transfer && recorded.given.size() >= kTransferSize;
  if (!is_transfer) return "";
  uint8_t address = recorded.given[kAddress];
  std::string text = format("addr=0x%02x ", address);
  if (address >= kModuleAddress && port) text += format("port=%u ", *port);
  return text;
}

struct PowerBit {
  unsigned bit;
  const char *set;
  const char *clear;
};
constexpr PowerBit kPowerBits[] = {
    {kTwoSupplies, "two supplies", "one supply"},
    {kFirstSupplyGood, "supply 1 good", "supply 1 not good"},
    {kSecondSupplyGood, "supply 2 good", "supply 2 not good"},
    {kFirstSupplyDc, "supply 1 DC", "supply 1 AC"},
    {kSecondSupplyDc, "supply 2 DC", "supply 2 AC"},
};

// A power status as a number, and in words the bits that differ from another status.
std::string power_text(unsigned status, unsigned other) {
  std::string text = format("0x%02x", status);
  for (const PowerBit &row : kPowerBits) {
    bool differs = ((status ^ other) & row.bit) != 0;
    if (differs) text += std::string(", ") + ((status & row.bit) != 0 ? row.set : row.clear);
  }
  return text;
}

/** Compares the records, or the data, of one call. */
class Comparison {
 public:
  Comparison(const RecordedCall &recorded, const Answer &model, std::optional<unsigned> port, Tolerated &tolerated)
      : recorded_(recorded),
        recorded_bytes_(recorded.after()),
        model_bytes_(model.after),
        port_(port),
        found_(tolerated) {}

  Differences differences() {
    const NodeCall &call = recorded_.call;
    if (call.kind == CallKind::Read) compare_flash();
    if (is_tool_run(call)) compare_printed();
    if (call.kind == CallKind::Request) compare_request(request_of(call.node, static_cast<uint8_t>(call.number)));
    return found_.differences();
  }

 private:
  void add(const std::string &field, const std::string &recorded, const std::string &model) {
    found_.add(field, recorded, model);
  }

  // The switch's own tool may print other words: the number at the end of the line counts.
  void compare_printed() {
    std::string recorded = text_of(recorded_.taken);
    std::string model = text_of(model_bytes_);
    std::optional<uint32_t> recorded_value = last_number(recorded);
    std::optional<uint32_t> model_value = last_number(model);
    std::string field = text_of(recorded_.given);
    field.erase(0, field.find(' ') + 1);
    if (recorded_value && model_value) {
      add(field + " value", format("0x%04x", *recorded_value), format("0x%04x", *model_value));
    } else {
      add(field + " printed", escaped(recorded), escaped(model));
    }
  }

  void compare_bytes(const std::string &field) { add(field, hex(recorded_bytes_), hex(model_bytes_)); }

  void compare_request(const Request *request) {
    bool is_whole = request != nullptr && recorded_bytes_.size() >= record_size(*request) &&
                    model_bytes_.size() >= recorded_bytes_.size();
    if (is_whole) {
      compare_record(*request);
    } else {
      compare_bytes("record");
    }
  }

  void compare_record(const Request &request) {
    switch (request.shape) {
      case Shape::None:
        break;
      case Shape::Byte:
        compare_byte(request);
        break;
      case Shape::Pair:
        compare_pair(split(request.fields, ' '));
        break;
      case Shape::Register:
        compare_register();
        break;
      case Shape::Rtc:
        compare_clock_record();
        break;
      case Shape::Temperature:
        found_.add_degrees("temperature", degrees_at(recorded_bytes_), degrees_at(model_bytes_));
        break;
      case Shape::Identification:
        compare_bytes("id");
        break;
      case Shape::Transfer:
        compare_chip(request);
        break;
    }
  }

  void compare_byte(const Request &request) {
    if (request.name == std::string_view("GetPowerStatus")) {
      compare_power(request.fields);
    } else {
      add(request.fields, std::to_string(recorded_bytes_[0]), std::to_string(model_bytes_[0]));
    }
  }

  void compare_register() {
    uint32_t address = host_word32_at(recorded_bytes_.data(), 0);
    if (address == kLossOfSignalRegister) {
      compare_light();
    } else {
      add(format("address=0x%x value", address), format("0x%08x", host_word32_at(recorded_bytes_.data(), 4)),
          format("0x%08x", host_word32_at(model_bytes_.data(), 4)));
    }
  }

  void compare_chip(const Request &request) {
    if (request.fills) {
      compare_transfer(recorded_bytes_, model_bytes_, port_, found_);
    } else {
      compare_bytes("record");
    }
  }

  void compare_power(const std::string &field) {
    uint8_t recorded = recorded_bytes_[0];
    uint8_t model = model_bytes_[0];
    add(field, power_text(recorded, model), power_text(model, recorded));
  }

  // Loss of signal of the main board's cages, and the bits that belong to no cage.
  void compare_light() {
    uint32_t recorded = host_word32_at(recorded_bytes_.data(), 4);
    uint32_t model = host_word32_at(model_bytes_.data(), 4);
    for (unsigned i = 0; i < kMainPorts; ++i) {
      uint32_t line = 1u << (kFirstLossOfSignal + i);
      add(format("address=0x%x port=%u loss_of_signal", kLossOfSignalRegister, kFirstMainPort + i),
          (recorded & line) != 0 ? "1" : "0", (model & line) != 0 ? "1" : "0");
      recorded &= ~line;
      model &= ~line;
    }
    add(format("address=0x%x value", kLossOfSignalRegister), format("0x%08x", recorded), format("0x%08x", model));
  }

  void compare_pair(const Words &names) {
    std::string field = names[0] + "=" + std::to_string(recorded_bytes_[0]) + " " + names[1];
    add(field, std::to_string(recorded_bytes_[1]), std::to_string(model_bytes_[1]));
  }

  void compare_clock_record() {
    ClockRecord recorded = clock_record(recorded_bytes_);
    ClockRecord model = clock_record(model_bytes_);
    add("mode24", std::to_string(recorded.mode24), std::to_string(model.mode24));
    bool have_times = recorded.month_day != 0 && model.month_day != 0;  // days begin with 1
    if (have_times) {
      found_.add_clock("clock", seconds_of(recorded), seconds_of(model));
      return;
    }
    constexpr size_t kTimeAt = offsetof(ClockRecord, second);
    constexpr size_t kTimeSize = offsetof(ClockRecord, weekday) - kTimeAt;
    add("clock", hex(recorded_bytes_.subspan(kTimeAt, kTimeSize)), hex(model_bytes_.subspan(kTimeAt, kTimeSize)));
  }

  // One difference a sector.
  void compare_flash() {
    auto at = static_cast<uint32_t>(recorded_.call.at);
    size_t size = std::min(recorded_bytes_.size(), model_bytes_.size());
    size_t begin = 0;
    while (begin < size) {
      uint32_t sector = (at + static_cast<uint32_t>(begin)) / kSectorSize * kSectorSize;
      size_t end_of_sector = sector + kSectorSize - at;
      size_t end = std::min(size, end_of_sector);
      compare_sector(sector, begin, end);
      begin = end;
    }
  }

  // Shows the first bytes that differ, and how many do, up to which place.
  void compare_sector(uint32_t sector, size_t begin, size_t end) {
    constexpr size_t kShown = 8;
    size_t count = 0;
    size_t first = 0;
    size_t last = 0;
    for (size_t i = begin; i < end; ++i) {
      if (recorded_bytes_[i] == model_bytes_[i]) continue;
      if (count == 0) first = i;
      last = i;
      ++count;
    }
    if (count == 0) return;
    auto address = static_cast<uint32_t>(recorded_.call.at);
    std::string place = format(" at 0x%08x", address + static_cast<uint32_t>(first));
    if (count > 1) place += format(", %zu bytes differ up to 0x%08x", count, address + static_cast<uint32_t>(last));
    size_t shown = std::min(last - first + 1, kShown);
    add(format("sector=0x%08x", sector), hex(recorded_bytes_.subspan(first, shown)) + place,
        hex(model_bytes_.subspan(first, shown)) + place);
  }

  const RecordedCall &recorded_;
  std::span<const uint8_t> recorded_bytes_;
  std::span<const uint8_t> model_bytes_;
  std::optional<unsigned> port_;
  Findings found_;
};

}  // namespace

Differences compare(const RecordedCall &recorded, const Answer &model, std::optional<unsigned> port,
                    Tolerated &tolerated) {
  const NodeCall &call = recorded.call;
  bool opened = call.kind == CallKind::Open && call.result >= 0;
  int64_t recorded_result = opened ? 0 : call.result;  // the descriptor may have any number
  std::string expected = result_of(call, recorded_result, call.error);
  std::string found = result_of(call, model.result, model.error);
  if (expected != found) return {{chip_text(recorded, port) + "result", expected, found}};
  if (call.result < 0) return {};
  return Comparison(recorded, model, port, tolerated).differences();
}

}  // namespace zelsim::tool
