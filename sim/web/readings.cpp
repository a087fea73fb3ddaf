#include "readings.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string_view>

#include "../../cli/text.h"
#include "../boards.h"
#include "../byte_order.h"

namespace zelsim::web {
namespace {

constexpr char kModule[] = "module";
constexpr char kNoModule[] = "no module";
constexpr size_t kMost = 4096;  // readings, and answers, that are kept

/** A signal of a cage: its name in the tables of the expanders, and its two levels in words. */
struct SignalWords {
  std::string_view signal;
  const char *low;
  const char *high;
};
constexpr SignalWords kSignalWords[] = {
    {"loss_of_signal", "signal", "no light"},
    {"tx_fault", "transmitter good", "transmit fault"},
    {"tx_disable", "transmitter on", "transmitter off"},
    {"presence_line", kModule, kNoModule},
};

std::string port_text(unsigned port) { return "port " + std::to_string(port); }

void add_signal(Reading &reading, unsigned port, std::string_view signal, unsigned level) {
  for (const SignalWords &words : kSignalWords) {
    if (words.signal == signal) reading.values.push_back({port_text(port), level != 0 ? words.high : words.low});
  }
}

std::string signals_of(unsigned port) {
  if (port >= kFirstMainPort) return "signals of ports 24 to 27";
  return "signals of slot " + std::to_string(port / kPortsPerSlot + 1);
}

constexpr unsigned kLinesPerByte = 8;

/** The registers of an expander in words, before the words for its lines. */
const char *prefix_of(ExpanderRegister kind) {
  constexpr const char *kPrefixes[kExpanderRegisters] = {"", "driven ", "polarity of the ", "directions of the "};
  return kPrefixes[kind];
}

// Without an offset the chip's pointer would say what is read.
Reading expander_reading(const uint8_t *record) {
  uint8_t address = record[kAddress];
  if (record[kOffsetLen] == 0) return {.what = "an expander"};
  uint32_t first = host_word32_at(record, kOffset);
  size_t len = std::min<size_t>(record[kLen], kMaxTransfer);
  ExpanderRegister kind = expander_register(address, first, 0).kind;
  std::string lines = "I/O lines of the main board";
  Reading reading = {.is_of_world = kind == Input};
  for (unsigned i = 0; i < len; ++i) {
    unsigned chip_port = expander_register(address, first, i).port;
    for (unsigned bit = 0; bit < kLinesPerByte; ++bit) {
      ExpanderLine line = expander_line(address, chip_port, bit);
      if (line.signal == nullptr) continue;
      lines = signals_of(line.port);
      bool is_driven = kind == Output && std::string_view(line.signal) == "tx_disable";
      if (kind == Input || is_driven) add_signal(reading, line.port, line.signal, record[i] >> bit & 1u);
    }
  }
  reading.what = prefix_of(kind) + lines;
  return reading;
}

Reading sensor_reading(const uint8_t *record) {
  Reading reading = {.what = "temperature sensor"};
  bool is_temperature =
      record[kOffsetLen] > 0 && host_word32_at(record, kOffset) == 0 && record[kLen] == sizeof(uint16_t);
  if (!is_temperature) return reading;
  auto raw = static_cast<uint16_t>(record[0] << 8 | record[1]);
  reading.what = "temperature";
  reading.values.push_back({"temperature", decimal_text(degrees_of(raw), 1) + " °C"});
  reading.is_of_world = true;
  return reading;
}

Reading module_reading(const uint8_t *record, uint8_t selected) {
  const char *page = "copper PHY";
  if (record[kAddress] == kModuleAddress) page = "page A0h";
  if (record[kAddress] == kModuleDiagnosticsAddress) page = "page A2h";
  std::string where = selected == kNoCage ? "in the selected cage" : "in port " + std::to_string(selected);
  Reading reading = {.what = std::string(page) + " of the module " + where};
  constexpr size_t kShown = 8;
  size_t len = std::min<size_t>(record[kLen], kShown);
  reading.values.push_back({"bytes", hex_text({record, len})});
  return reading;
}

Reading transfer_reading(const RequestEvent &event, uint8_t selected) {
  const uint8_t *record = event.after;
  uint8_t address = record[kAddress];
  if (is_expander(address)) return expander_reading(record);
  if (address == kSensorAddress) return sensor_reading(record);
  if (address >= kFirstClockAddress && address <= kLastClockAddress) return {.what = "clock chip"};
  if (address == kModuleAddress || address == kModuleDiagnosticsAddress || address == kModulePhyAddress)
    return module_reading(record, selected);
  return {};
}

Reading register_reading(const RequestEvent &event) {
  if (host_word32_at(event.after, 0) != kLossOfSignalRegister) return {.what = "register of the SoC"};
  Reading reading = {.what = signals_of(kFirstMainPort), .is_of_world = true};
  uint32_t value = host_word32_at(event.after, sizeof(uint32_t));
  for (unsigned i = 0; i < kMainPorts; ++i)
    add_signal(reading, kFirstMainPort + i, "loss_of_signal", value >> (kFirstLossOfSignal + i) & 1u);
  return reading;
}

Reading supplies_reading(uint8_t status) {
  auto good = [&](unsigned mask) { return (status & mask) != 0 ? "good" : "not good"; };
  return {.what = "supplies",
          .values = {{"supply 1", good(kFirstSupplyGood)}, {"supply 2", good(kSecondSupplyGood)}},
          .is_of_world = true};
}

// "GetBoardType" is "board type".
std::string words_of(std::string_view name) {
  constexpr std::string_view kGet = "Get";
  if (name.starts_with(kGet)) name.remove_prefix(kGet.size());
  std::string words;
  for (char c : name) {
    if (std::isupper(static_cast<unsigned char>(c)) && !words.empty()) words += ' ';
    words += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return words;
}

// One byte of a driver's state, which a pair's first byte selects.
Reading state_reading(const RequestEvent &event) {
  const Request &request = *event.request;
  Reading reading = {.what = words_of(request.name)};
  uint8_t value = event.after[0];
  if (request.shape == Shape::Pair) {
    std::string fields = fields_of(request);
    reading.what += " of " + fields.substr(0, fields.find(' ')) + ' ' + std::to_string(event.after[0]);
    value = event.after[1];
  }
  reading.is_of_world = std::string_view(request.name) == "GetBoardType";
  bool has_name = reading.is_of_world && value <= kSfpBoard;
  reading.values.push_back({reading.what, has_name ? name_of(tool::kBoardTypes, value) : std::to_string(value)});
  return reading;
}

bool is_named(const RequestEvent &event, std::string_view name) {
  return event.request != nullptr && event.request->name == name;
}

// Two requests of a program are the same if they ask for the same thing.
std::string key_of(const TracedCall &call, const std::string &what) {
  const TraceRecord &record = call.record;
  std::string key(record.program, strnlen(record.program, sizeof record.program));
  key += '/' + std::to_string(static_cast<unsigned>(record.node)) + '/' + std::to_string(record.number) + '/' + what;
  if (call.event.request->shape != Shape::Transfer) return key;
  const uint8_t *asked = call.event.before;
  key += '/' + std::to_string(asked[kAddress]) + '/' + std::to_string(host_word32_at(asked, kOffset)) + '/' +
         std::to_string(asked[kLen]);
  return key;
}

// True if a module was plugged or pulled. The other lines of the cage change with it and are not told.
bool is_presence_change(const ReadValue &before, const ReadValue &now) {
  bool is_presence = now.value == kModule || now.value == kNoModule;
  return is_presence && before.value != now.value;
}

std::string changes_between(const std::vector<ReadValue> &before, const std::vector<ReadValue> &now) {
  std::string changes;
  std::string plugged;  // name of the port whose plug or pull was told
  for (size_t i = 0; i < std::min(before.size(), now.size()); ++i) {
    if (before[i].value == now[i].value || now[i].name == plugged) continue;
    if (is_presence_change(before[i], now[i])) plugged = now[i].name;
    add_item(changes, now[i].name + ": " + before[i].value + " → " + now[i].value);
  }
  return changes;
}

Reading answered_reading(const RequestEvent &event, uint8_t selected) {
  switch (event.request->shape) {
    case Shape::Transfer:
      return transfer_reading(event, selected);
    case Shape::Register:
      return register_reading(event);
    case Shape::Byte:
      if (is_named(event, "GetPowerStatus")) return supplies_reading(event.after[0]);
      return state_reading(event);
    case Shape::Pair:
      return state_reading(event);
    default:
      return {};
  }
}

}  // namespace

// The record also says what a request that failed was to read.
Reading reading_of(const RequestEvent &event, uint8_t selected) {
  bool reads = event.request != nullptr && event.request->fills;
  if (!reads) return {};
  bool is_answered = event.result == 0;
  if (is_answered) return answered_reading(event, selected);
  RequestEvent asked = event;
  std::memcpy(asked.after, event.before, sizeof asked.after);
  return {.what = answered_reading(asked, selected).what};
}

// All bytes that say who asks what. The selected port says which module is meant.
std::string Readings::question_of(const TraceRecord &record, std::string_view before) const {
  std::string question(before);
  question.append(record.program, sizeof record.program);
  question += static_cast<char>(record.node);
  question += static_cast<char>(record.number);
  question += static_cast<char>(selected_);
  return question;
}

void Readings::remember_answer(const TracedCall &call, Last *last) {
  const RequestEvent &event = call.event;
  bool can_repeat = event.request != nullptr && event.result == 0 && !is_named(event, "SelectCage");
  if (!can_repeat) return;
  if (answers_.size() >= kMost) answers_.clear();
  size_t size = record_size(*event.request);
  std::string question = question_of(call.record, {reinterpret_cast<const char *>(event.before), size});
  answers_[question] = {
      {reinterpret_cast<const char *>(event.after), size}, last, misses_, last != nullptr ? last->changes : 0};
}

bool Readings::take_repeated(const TraceRecord &record, std::string_view bytes) {
  bool can_repeat = record.node != Node::None && record.has_record != 0 && record.result == 0;
  if (!can_repeat) return false;
  size_t size = bytes.size() / 2;
  auto found = answers_.find(question_of(record, bytes.substr(0, size)));
  if (found == answers_.end()) return false;
  const Answer &answer = found->second;
  if (answer.misses != misses_ || answer.bytes != bytes.substr(size)) return false;
  if (answer.last == nullptr) return true;
  if (answer.changes != answer.last->changes) return false;
  answer.last->at_us = record.at_us;
  return true;
}

ToldReading Readings::take(const TracedCall &call) {
  if (call.record.node == Node::None || call.record.has_record == 0) return {};
  if (is_named(call.event, "SelectCage") && call.event.result == 0) selected_ = call.event.before[0];
  const Reading reading = reading_of(call.event, selected_);
  ToldReading told = {reading.what, {}, {}, reading.is_of_world};
  if (reading.values.empty()) {
    remember_answer(call, nullptr);
    return told;
  }
  for (const ReadValue &value : reading.values) {
    std::string name = value.name == reading.what ? "" : value.name + ": ";
    add_item(told.values, name + value.value);
  }
  if (last_.size() >= kMost) {
    answers_.clear();  // they point to the readings
    last_.clear();
  }
  Last &last = last_[key_of(call, reading.what)];
  told.changed = changes_since(last, call, reading.values);
  uint64_t changes = last.changes;
  if (!changes_between(last.values, reading.values).empty()) ++changes;
  last = {reading.values, call.record.at_us, misses_, changes};
  remember_answer(call, &last);
  return told;
}

std::string Readings::changes_since(const Last &last, const TracedCall &call,
                                    const std::vector<ReadValue> &values) const {
  constexpr int64_t kSecondUs = 1000000;
  std::string changes = changes_between(last.values, values);
  bool is_certain = changes.empty() || last.misses == misses_;
  if (is_certain) return changes;
  int64_t doubt_us = call.record.at_us - last.at_us;
  if (doubt_us > kSecondUs) return {};
  return changes + format(", now or up to %.1f s before", static_cast<double>(doubt_us) / kSecondUs);
}

}  // namespace zelsim::web
