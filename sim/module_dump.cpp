#include "module_dump.h"

#include <algorithm>
#include <cctype>
#include <sstream>

#include "tool.h"

// A dump has lines of bytes. A line may begin with the offset of its first byte, and may end with the same bytes as
// characters. A line "*" stands for copies of the line before it, up to the next offset.

namespace zelsim::tool {
namespace {

constexpr char kHexDigits[] = "0123456789abcdefABCDEF";
constexpr size_t kBytesPerLine = 16;

size_t parse_hex(const std::string &digits) { return std::stoul(digits, nullptr, 16); }

/** A line that begins with an offset, such as "0x0000:", "00:" or "00000010". */
struct OffsetLine {
  size_t offset;
  std::string rest;
  bool colon;  // behind the offset
};

// Without a colon, only a long word can be an offset: a short one is bytes.
std::optional<OffsetLine> parse_offset(const std::string &line) {
  constexpr size_t kMostDigits = 8;
  constexpr size_t kLeastDigitsWithoutColon = 6;
  size_t first = std::min(line.find_first_not_of(" \t"), line.size());
  if (line.compare(first, 2, "0x") == 0) first += 2;
  size_t end = std::min(line.find_first_not_of(kHexDigits, first), line.size());
  size_t digits = end - first;
  if (digits == 0 || digits > kMostDigits) return std::nullopt;
  std::string offset = line.substr(first, digits);
  bool at_end = end == line.size();
  if (!at_end && line[end] == ':') return OffsetLine{parse_hex(offset), line.substr(end + 1), true};
  bool is_word = at_end || std::isspace(static_cast<unsigned char>(line[end])) != 0;
  if (!is_word || digits < kLeastDigitsWithoutColon) return std::nullopt;
  return OffsetLine{parse_hex(offset), line.substr(end), false};
}

// The bytes at the beginning of a line. Characters that follow may look like bytes: `most` ends before them.
std::string parse_bytes(const std::string &line, size_t most) {
  std::string bytes;
  std::istringstream words(line);
  std::string word;
  while (bytes.size() < most) {
    words >> word;
    if (!words) break;
    std::erase(word, ',');
    if (word.starts_with("0x")) word.erase(0, 2);
    bool is_hex = word.find_first_not_of(kHexDigits) == std::string::npos && word.size() % 2 == 0;
    if (!is_hex) break;
    for (size_t i = 0; i < word.size(); i += 2) bytes += static_cast<char>(parse_hex(word.substr(i, 2)));
  }
  return bytes;
}

// Words of two or four bytes, as of plain hexdump: they have the byte order of the machine that printed them.
bool has_words(const OffsetLine &line) {
  std::istringstream words(line.rest);
  std::string word;
  words >> word;
  bool is_hex = word.find_first_not_of(kHexDigits) == std::string::npos;
  return !line.colon && is_hex && (word.size() == 4 || word.size() == 8);
}

// Repeats the last line of the page up to `end`.
void repeat_last_line(std::string &page, size_t end) {
  if (page.size() < kBytesPerLine) return;
  while (page.size() < end) page += page[page.size() - kBytesPerLine];
}

}  // namespace

std::string parse_module_dump(const std::string &dump) {
  std::string page;
  size_t table = 0;  // where the present table begins; the table of page A2h may count from 0 again
  bool repeats = false;
  for (const std::string &line : split(dump, '\n')) {
    if (page.size() > kTwoPages) break;
    std::optional<OffsetLine> offset_line = parse_offset(line);
    if (offset_line && has_words(*offset_line))
      throw Usage("MODULE: words instead of bytes, use hexdump -C or xxd, at: " + line);
    bool begins_again = offset_line && offset_line->offset == 0 && page.size() == kOnePage;
    if (begins_again) table = kOnePage;
    size_t offset = offset_line ? table + offset_line->offset : page.size();
    // A line "*" has no bytes. The offset in the next line says how far the line before it repeats.
    if (repeats) repeat_last_line(page, std::min(offset, kTwoPages));
    repeats = line.starts_with("*");
    bool begins_with_a2 = page.empty() && offset == kOnePage;
    if (begins_with_a2) throw Usage(kDiagnosticsAlone);
    if (offset != page.size())
      throw Usage("MODULE: the dump jumps from byte " + std::to_string(page.size()) + " at: " + line);
    if (offset_line) {
      page += parse_bytes(offset_line->rest, kBytesPerLine);
    } else {
      page += parse_bytes(line, kTwoPages);
    }
  }
  return page;
}

}  // namespace zelsim::tool
