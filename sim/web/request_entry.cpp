#include "request_entry.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "readings.h"
#include "web.h"

// The lines of the pages' list of requests. They come by the thousand, and what they cost is taken from the programs:
// their JSON is written by hand.

namespace zelsim::web {
namespace {

bool is_plain(char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; }

void add_text(std::string &json, const char *name, std::string_view text) {
  json += ",\"";
  json += name;
  json += "\":";
  if (!std::ranges::all_of(text, is_plain)) {
    json += text_of(text);
    return;
  }
  json += '"';
  json += text;
  json += '"';
}

void add_number(std::string &json, const char *name, int64_t number) {
  json += ",\"";
  json += name;
  json += "\":";
  json += std::to_string(number);
}

std::string line_of(const TracedCall &call) {
  if (call.record.node == Node::None) return call.text;
  constexpr size_t kLongestLine = 1024;
  char text[kLongestLine];
  return {text, request_line(call.event, text, sizeof text)};
}

std::string milliseconds(int64_t microseconds) {
  std::string parts = std::to_string(1000 + microseconds % 1000);  // the 1 in front keeps the zeros
  return std::to_string(microseconds / 1000) + '.' + parts.substr(1);
}

// The bytes of a transfer stand in its line.
bool has_bytes(const TracedCall &call) {
  return call.record.has_record != 0 && call.event.request != nullptr && call.event.request->shape != Shape::Transfer;
}

}  // namespace

TracedCall traced_call(const TraceRecord &record, const std::string &bytes) {
  TracedCall call;
  call.record = record;
  if (record.node == Node::None) {
    call.text = bytes;
    return call;
  }
  RequestEvent &event = call.event;
  event.node = record.node;
  event.number = record.number;
  event.request = request_of(record.node, record.number);
  event.result = record.result;
  event.error = record.error;
  event.address = record.address;
  size_t half = std::min(bytes.size() / 2, sizeof event.before);
  std::memcpy(event.before, bytes.data(), half);
  std::memcpy(event.after, bytes.data() + bytes.size() / 2, half);
  return call;
}

std::string entry_of(const TracedCall &call, const ToldReading &reading, uint64_t number) {
  const TraceRecord &record = call.record;
  std::string json = "{\"at\":" + milliseconds(record.at_us);
  add_number(json, "n", static_cast<int64_t>(number));
  add_number(json, "pid", record.process);
  add_text(json, "program", {record.program, strnlen(record.program, sizeof record.program)});
  add_number(json, "us", record.duration_us);
  add_text(json, "line", line_of(call));
  if (record.result == kNoTraceResult) {
    json += ",\"result\":null";
  } else {
    add_number(json, "result", record.result);
  }
  if (record.result < 0 && record.result != kNoTraceResult) {
    const char *name = strerrorname_np(record.error);
    add_text(json, "error", name != nullptr ? name : std::to_string(record.error));
  }
  if (record.fault != 0) add_number(json, "fault", record.fault);
  if (!reading.what.empty()) add_text(json, "reads", reading.what);
  if (!reading.values.empty()) add_text(json, "values", reading.values);
  if (!reading.changed.empty()) add_text(json, "changed", reading.changed);
  if (has_bytes(call)) add_text(json, "before", hex_text({call.event.before, record_size(*call.event.request)}));
  return json + '}';
}

}  // namespace zelsim::web
