#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

#include "tool.h"

// A module's identification page from a file: raw bytes, or a dump in hexadecimal as diagnostic tools print it.

namespace zelsim::tool {
namespace {

constexpr size_t kBytesPerLine = 16;

bool is_hex(const std::string &word) {
  return !word.empty() && word.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

std::string without_prefix(const std::string &word) { return word.rfind("0x", 0) == 0 ? word.substr(2) : word; }

// A first word such as "0x0000:", "00:" or "00000010" is an offset. After the bytes may come printable characters,
// which may look like bytes: a line with an offset holds 16 at most.
std::vector<uint8_t> bytes_of(const std::string &line, size_t *offset) {
  std::vector<uint8_t> bytes;
  std::istringstream words(line.substr(0, line.find('|')));
  bool has_offset = false;
  for (std::string word; words >> word;) {
    bool first = bytes.empty() && !has_offset, mark = word.back() == ':';
    word = without_prefix(word.substr(0, word.find_last_not_of(",:") + 1));
    if (first && is_hex(word) && word.size() <= 8 && (mark || word.size() >= 6)) {
      *offset = std::stoul(word, nullptr, 16);
      has_offset = true;
      continue;
    }
    if (!is_hex(word) || word.size() % 2 != 0 || (has_offset && bytes.size() == kBytesPerLine)) break;
    for (size_t i = 0; i < word.size(); i += 2) {
      bytes.push_back(static_cast<uint8_t>(std::stoul(word.substr(i, 2), nullptr, 16)));
    }
  }
  return bytes;
}

std::vector<uint8_t> parse_dump(const std::string &content) {
  std::vector<uint8_t> page;
  std::istringstream lines(content);
  bool repeated = false;
  for (std::string line; std::getline(lines, line) && page.size() < 4 * std::tuple_size_v<Page>;) {
    size_t offset = page.size();
    std::vector<uint8_t> bytes = bytes_of(line, &offset);
    // A line "*" stands for as many copies of the one before as reach to the next offset.
    while (repeated && page.size() >= kBytesPerLine && page.size() < std::min(offset, std::tuple_size_v<Page>)) {
      page.push_back(page[page.size() - kBytesPerLine]);
    }
    repeated = line == "*";
    if (offset != page.size())
      throw Usage("MODULE: the dump jumps from byte " + std::to_string(page.size()) + " at: " + line);
    page.insert(page.end(), bytes.begin(), bytes.end());
  }
  return page;
}

}  // namespace

Page read_page(const std::string &file) {
  std::ifstream stream(file, std::ios::binary);
  std::string content(65536, '\0');
  if (!stream.read(content.data(), static_cast<std::streamsize>(content.size())) && stream.gcount() <= 0) {
    throw Usage("MODULE: '" + file + "' is neither in the catalogue (zelsim modules) nor a readable file");
  }
  content.resize(static_cast<size_t>(stream.gcount()));
  bool text =
      std::all_of(content.begin(), content.end(), [](unsigned char c) { return std::isprint(c) || std::isspace(c); });
  std::vector<uint8_t> bytes = text ? parse_dump(content) : std::vector<uint8_t>(content.begin(), content.end());
  // A module with diagnostics has page A2h, too, which dumps show after page A0h.
  if (bytes.size() != 128 && bytes.size() != 256 && bytes.size() != 512) {
    throw Usage("MODULE: '" + file + "' holds " + std::to_string(bytes.size()) + " bytes, not 128 or 256");
  }
  Page page = {};
  std::copy_n(bytes.begin(), std::min(bytes.size(), page.size()), page.begin());
  return page;
}

}  // namespace zelsim::tool
