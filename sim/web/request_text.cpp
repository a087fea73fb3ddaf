#include "request_text.h"

#include <strings.h>

#include <charconv>
#include <optional>
#include <string_view>

#include "front.h"

// Where a request ends. Here it is only measured; the web server reads it.

namespace zelsim::web {
namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kHeadEnd = "\r\n\r\n";

std::string_view trimmed(std::string_view text) {
  size_t first = text.find_first_not_of(" \t");
  size_t last = text.find_last_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, last - first + 1);
}

// True for a line `NAME: value`.
bool is_field(std::string_view line, std::string_view name) {
  if (line.size() <= name.size() || line[name.size()] != ':') return false;
  return strncasecmp(line.data(), name.data(), name.size()) == 0;
}

/** Value of a header field; none if the head has no such field. */
std::optional<std::string_view> field_of(std::string_view head, std::string_view name) {
  std::string_view rest = head;
  for (;;) {
    size_t line_end = rest.find(kLineEnd);
    if (line_end == std::string_view::npos) return {};
    rest.remove_prefix(line_end + kLineEnd.size());
    std::string_view line = rest.substr(0, rest.find(kLineEnd));
    if (is_field(line, name)) return trimmed(line.substr(name.size() + 1));
  }
}

std::optional<size_t> number_of(std::string_view text, int base) {
  size_t value = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  bool whole = error == std::errc() && end == text.data() + text.size();
  if (!whole) return {};
  return value;
}

/** A body in chunks. Each chunk follows a line with its size, and a line end follows it. The last chunk is empty. Fields
 *  behind it are not taken. */
RequestText measure_chunks(const std::string &bytes, size_t at) {
  constexpr size_t kLongestLine = 64;
  size_t body = 0;
  for (;;) {
    size_t line_end = bytes.find(kLineEnd, at);
    if (line_end == std::string::npos) {
      bool too_long = bytes.size() - at > kLongestLine;
      return {too_long ? Progress::Malformed : Progress::Incomplete};
    }
    std::string_view line = std::string_view(bytes).substr(at, line_end - at);
    if (line.size() > kLongestLine) return {Progress::Malformed};
    auto size = number_of(trimmed(line.substr(0, line.find(';'))), 16);
    if (!size) return {Progress::Malformed};
    if (*size > kLongestBody - body) return {Progress::BodyTooLong};
    body += *size;
    size_t chunk_end = line_end + kLineEnd.size() + *size;
    at = chunk_end + kLineEnd.size();
    if (at > bytes.size()) return {Progress::Incomplete};
    bool ends_in_line = bytes.compare(chunk_end, kLineEnd.size(), kLineEnd) == 0;
    if (!ends_in_line) return {Progress::Malformed};
    if (*size == 0) return {Progress::Whole, at};
  }
}

}  // namespace

RequestText measure_request(const std::string &bytes) {
  size_t head_end = bytes.find(kHeadEnd);
  if (head_end == std::string::npos) head_end = bytes.size();
  if (head_end > kLongestHead) return {Progress::HeadTooLong};
  if (head_end == bytes.size()) return {Progress::Incomplete};

  std::string_view head = std::string_view(bytes).substr(0, head_end);
  size_t body = head_end + kHeadEnd.size();
  auto length = field_of(head, "Content-Length");
  bool expects = field_of(head, "Expect").has_value();
  if (field_of(head, "Transfer-Encoding")) {
    // With both, two readers could disagree about where the next request begins.
    if (length) return {Progress::Malformed};
    RequestText chunks = measure_chunks(bytes, body);
    chunks.wants_go_ahead = expects && bytes.size() == body;
    return chunks;
  }
  std::optional<size_t> size = 0;
  if (length) size = number_of(*length, 10);
  if (!size) return {Progress::Malformed};
  if (*size > kLongestBody) return {Progress::BodyTooLong};
  if (bytes.size() < body + *size) return {Progress::Incomplete, 0, expects && bytes.size() == body};
  return {Progress::Whole, body + *size};
}

}  // namespace zelsim::web
