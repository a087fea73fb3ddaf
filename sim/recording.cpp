#include "recording.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <ctime>
#include <optional>
#include <string_view>

#include "../cli/archive.h"
#include "tool.h"

namespace zelsim::tool {
namespace {

constexpr size_t kLongestFile = 1u << 30;

/** Why a line is not a recorded call. */
struct Malformed {
  std::string why;
};

// A word of a file that may hold anything.
std::string quoted(std::string_view text) {
  constexpr size_t kShown = 24;
  bool is_long = text.size() > kShown;
  return "'" + escaped(std::string(text.substr(0, kShown))) + (is_long ? "...'" : "'");
}

template <typename Number>
Number parse_number(std::string_view text, const char *what) {
  bool is_hex = text.starts_with("0x");
  if (is_hex) text.remove_prefix(2);
  Number value = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, is_hex ? 16 : 10);
  bool good = error == std::errc() && end == text.data() + text.size();
  if (!good) throw Malformed{what + (" " + quoted(text)) + " is no number"};
  return value;
}

// The recorder writes offsets and sizes as hexadecimal numbers without a sign. A program may give negative ones.
int64_t parse_offset(std::string_view text, const char *what) {
  return static_cast<int64_t>(parse_number<uint64_t>(text, what));
}

/** Takes the text before the separator off `text`, together with the separator. Takes all of it without one. */
std::string_view take_until(std::string_view &text, std::string_view separator) {
  size_t at = text.find(separator);
  std::string_view before = text.substr(0, at);
  text = at == std::string_view::npos ? std::string_view() : text.substr(at + separator.size());
  return before;
}

uint8_t byte_of(std::string_view digits) {
  uint8_t value = 0;
  auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
  bool good = digits.size() == 2 && error == std::errc() && end == digits.data() + digits.size();
  if (!good) throw Malformed{quoted(digits) + " is no byte"};
  return value;
}

// Hexadecimal digits, in parts between commas. A run of equal bytes is one byte, a star, and their number.
std::vector<uint8_t> bytes_in(std::string_view text) {
  std::vector<uint8_t> bytes;
  while (!text.empty()) {
    std::string_view part = take_until(text, ",");
    size_t star = part.find('*');
    if (star != std::string_view::npos) {
      auto count = parse_number<uint32_t>(part.substr(star + 1), "count");
      if (bytes.size() + count > kLongestFile) throw Malformed{"more bytes than a call has"};
      bytes.insert(bytes.end(), count, byte_of(part.substr(0, star)));
      continue;
    }
    for (size_t i = 0; i < part.size(); i += 2) bytes.push_back(byte_of(part.substr(i, 2)));
  }
  return bytes;
}

Node node_named(std::string_view name) {
  for (const NodeDescription &row : kNodes) {
    if (name == row.name) return row.node;
  }
  throw Malformed{quoted(name) + " is no node"};
}

// Takes the result off a text like "WHAT = RESULT" or "WHAT = -1 NAME".
void parse_result(std::string_view &text, NodeCall &call) {
  constexpr std::string_view kEquals = " = ";
  size_t at = text.rfind(kEquals);
  if (at == std::string_view::npos) return;
  std::string_view result = text.substr(at + kEquals.size());
  call.result = parse_number<int64_t>(take_until(result, " "), "result");
  text = text.substr(0, at);
}

void parse_seek(std::string_view where, NodeCall &call) {
  struct Origin {
    const char *name;
    int whence;
  };
  constexpr Origin kOrigins[] = {{"end+", SEEK_END}, {"+", SEEK_CUR}, {"?", SEEK_END + 1}};
  call.kind = CallKind::Seek;
  for (const Origin &origin : kOrigins) {
    std::string_view name = origin.name;
    if (!where.starts_with(name)) continue;
    where.remove_prefix(name.size());
    call.whence = origin.whence;
    break;
  }
  call.argument = parse_offset(where, "offset");
}

void parse_transfer(CallKind kind, std::string_view place, NodeCall &call) {
  call.kind = kind;
  call.at = parse_offset(take_until(place, "+"), "address");
  call.argument = parse_offset(place, "size");
}

void parse_request(std::string_view number, std::string_view rest, NodeCall &call) {
  call.kind = CallKind::Request;
  call.number = kRequestCode | parse_number<uint32_t>(number, "request");
  std::string_view name = take_until(rest, " ");
  bool erases = name == "EraseSector";
  if (erases) call.at = parse_number<int64_t>(take_until(rest, " "), "address");
}

void parse_node_call(Node node, std::string_view text, NodeCall &call) {
  call.node = node;
  std::string_view what = take_until(text, " ");
  if (what == "read") {
    parse_transfer(CallKind::Read, text, call);
  } else if (what == "write") {
    parse_transfer(CallKind::Write, text, call);
  } else if (what == "lseek") {
    parse_seek(text, call);
  } else {
    parse_request(what, text, call);
  }
}

// Parses the part of a line that a trace has, too.
void parse_text(std::string_view text, NodeCall &call) {
  bool is_command = text.starts_with("debugCmd ") || text.starts_with("system ");
  if (is_command) {
    call.kind = CallKind::Command;
    return;
  }
  parse_result(text, call);
  std::string_view rest = text;
  std::string_view first = take_until(rest, " ");
  if (first == "pause") {
    call.kind = CallKind::Pause;
    call.argument = parse_number<int64_t>(take_until(rest, "us"), "pause");
  } else if (first == "open") {
    call.kind = CallKind::Open;
    call.node = node_named(take_until(rest, " "));
  } else if (first == "close") {
    call.kind = CallKind::Close;
    call.node = node_named(rest);
  } else {
    parse_node_call(node_named(first), rest, call);
  }
}

void parse_field(std::string_view name, std::string_view value, RecordedCall &recorded) {
  NodeCall &call = recorded.call;
  if (name == "fd") call.fd = parse_number<int>(value, "fd");
  if (name == "flags") call.flags = static_cast<int>(parse_number<uint32_t>(value, "flags"));
  if (name == "ioctl") call.number = parse_number<uint32_t>(value, "ioctl");
  if (name == "at") call.at = parse_number<int64_t>(value, "at");
  if (name == "result") call.result = parse_number<int64_t>(value, "result");
  if (name == "errno") call.error = parse_number<int>(value, "errno");
  if (name == "program") recorded.program = value;
  if (name == "given") recorded.given = bytes_in(value);
  if (name == "taken") recorded.taken = bytes_in(value);
  if (name == "stderr") recorded.complaint = bytes_in(value);
}

// The seconds have six places behind the point.
int64_t microseconds_in(std::string_view text) {
  constexpr size_t kPlaces = 6;
  std::string_view places = text;
  auto seconds = parse_number<int64_t>(take_until(places, "."), "time");
  if (places.size() != kPlaces) throw Malformed{"the time does not have six places"};
  return seconds * 1000000 + parse_number<int64_t>(places, "time");
}

void check_read(const RecordedCall &recorded) {
  const NodeCall &call = recorded.call;
  auto asked = static_cast<uint64_t>(call.argument);
  bool fits = recorded.taken.size() <= asked && (call.result < 0 || static_cast<uint64_t>(call.result) <= asked);
  if (!fits) throw Malformed{"it has more bytes than the read asked for"};
}

RecordedCall parse_line(std::string_view line, uint32_t number) {
  RecordedCall recorded = {};
  recorded.line = number;
  recorded.at_us = microseconds_in(take_until(line, " "));
  recorded.duration_us = parse_number<int64_t>(take_until(line, " "), "duration");
  recorded.process = parse_number<uint32_t>(take_until(line, "/"), "process");
  recorded.thread = parse_number<uint32_t>(take_until(line, " "), "thread");
  constexpr std::string_view kBar = " |";
  size_t bar = line.rfind(kBar);
  if (bar == std::string_view::npos) throw Malformed{"it has no ' |'"};
  std::string_view fields = line.substr(bar + kBar.size());
  recorded.text = line.substr(0, bar);
  parse_text(recorded.text, recorded.call);
  while (!fields.empty()) {
    std::string_view field = take_until(fields, " ");
    std::string_view name = take_until(field, "=");
    parse_field(name, field, recorded);
  }
  if (recorded.call.kind == CallKind::Read) check_read(recorded);
  return recorded;
}

struct Title {
  int64_t began_us;
  bool is_old;
};

Title parse_title(std::string_view line, const std::string &file) {
  std::string_view title = kRecordingTitle;
  bool is_old = line.starts_with(kOldRecordingTitle);
  if (is_old) title = kOldRecordingTitle;
  bool good = line.starts_with(title) && line.substr(title.size()).starts_with(" ");
  bool other_version = !good && line.starts_with(title.substr(0, title.rfind(' ')));
  if (other_version) throw Usage("FILE: '" + file + "' is a recording of another version of zelsim");
  if (!good) throw Usage("FILE: '" + file + "' is no recording of 'zelsim record'");
  return {microseconds_in(line.substr(title.size() + 1)), is_old};
}

void warn_about_file(const std::string &file, const std::string &what) {
  std::fprintf(stderr, "zelsim: FILE: '%s' %s\n", escaped(file).c_str(), what.c_str());
}

bool is_remark(std::string_view line) { return line.empty() || line.starts_with("#"); }

void take_line(Recording &recording, std::string_view line, uint32_t number) {
  constexpr uint32_t kBoardLine = 3;  // behind the title and the command
  bool names_board = number == kBoardLine && line.starts_with(kBoardRemark);
  if (names_board) recording.board = line.substr(std::strlen(kBoardRemark));
  if (!is_remark(line)) recording.calls.push_back(parse_line(line, number));
}

std::vector<uint8_t> unpacked(std::vector<uint8_t> content, const std::string &file) {
  try {
    return unpack_what_is_there(std::move(content), kLongestFile).bytes;
  } catch (const Failure &failure) {
    throw Usage("FILE: '" + file + "' is no recording: " + failure.what());
  }
}

}  // namespace

std::string recording_title(int64_t began_us) {
  return format("%s %lld.%06lld\n", kRecordingTitle, static_cast<long long>(began_us / 1000000),
                static_cast<long long>(began_us % 1000000));
}

Recording read_recording(const std::string &file) {
  const std::vector<uint8_t> content = unpacked(read_file(file, kLongestFile), file);
  std::string_view text(reinterpret_cast<const char *>(content.data()), content.size());
  Recording recording = {};
  uint32_t number = 1;
  bool is_closed = false;
  bool is_cut = false;
  try {
    Title title = parse_title(take_until(text, "\n"), file);
    recording.began_us = title.began_us;
    while (!text.empty()) {
      is_cut = text.find('\n') == std::string_view::npos;
      if (is_cut) break;
      std::string_view line = take_until(text, "\n");
      ++number;
      if (line == kRecordingEnd) {
        is_closed = true;
      } else {
        take_line(recording, line, number);
      }
    }
    bool is_whole = !is_cut && (is_closed || title.is_old);
    if (!is_whole) recording.cut_after = number;
    if (title.is_old) warn_about_file(file, "is of an older version, which does not tell whether a recording is whole");
    if (!is_whole) warn_about_file(file, format("was cut off after line %u", number));
  } catch (const Malformed &malformed) {
    throw Usage(format("FILE: '%s', line %u: %s", file.c_str(), number, malformed.why.c_str()));
  }
  return recording;
}

}  // namespace zelsim::tool
