#include <algorithm>
#include <cctype>
#include <numeric>
#include <sstream>

#include "../cli/module_page.h"
#include "arguments.h"
#include "diagnostics_page.h"
#include "modules.h"
#include "tool.h"

// Modules that can be plugged: by name, with an SFF-8472 page A0h each, or by a file of its pages: raw bytes, or a dump in
// hexadecimal as diagnostic tools print it.

namespace zelsim::tool {
namespace {

struct Kind {
  const char *name, *part_number;
  uint8_t codes[6];         // identifier, connector, 10-gigabit and Ethernet codes, cable, rate
  uint16_t wavelength = 0;  // nm
  PhyKind phy = PhyKind::None;
};

constexpr size_t kRate = 12;
constexpr char kHexDigits[] = "0123456789abcdefABCDEF";
constexpr uint8_t kSfp = 0x03, kQsfp = 0x0d;
constexpr uint8_t kLc = 0x07, kSc = 0x01, kPigtail = 0x21, kRj45 = 0x22, kNoConnector = 0x23;

constexpr Kind kKinds[] = {
    {"10g-sr", "ZL-10G-SR", {kSfp, kLc, 0x10, 0, 0, 103}, 850},
    {"10g-lr", "ZL-10G-LR", {kSfp, kLc, 0x20, 0, 0, 103}, 1310},
    {"10g-er", "ZL-10G-ER", {kSfp, kLc, 0x80, 0, 0, 103}, 1550},
    {"10g-lrm", "ZL-10G-LRM", {kSfp, kLc, 0x40, 0, 0, 103}, 1310},
    {"10g", "ZL-10G", {kSfp, kLc, 0, 0, 0, 103}, 1310},
    {"dac", "ZL-10G-DAC-1M", {kSfp, kPigtail, 0, 0, 0x04, 103}},
    {"aoc", "ZL-10G-AOC-3M", {kSfp, kNoConnector, 0, 0, 0x08, 103}, 850},
    {"5g", "ZL-5G", {kSfp, kLc, 0, 0, 0, 50}, 1310},
    {"2g5", "ZL-2G5", {kSfp, kLc, 0, 0, 0, 25}, 1310},
    {"1g-sx", "ZL-1G-SX", {kSfp, kLc, 0, 0x01, 0, 13}, 850},
    {"1g-lx", "ZL-1G-LX", {kSfp, kLc, 0, 0x02, 0, 13}, 1310},
    {"1g-cx", "ZL-1G-CX", {kSfp, kPigtail, 0, 0x04, 0, 13}},
    {"1g-x", "ZL-1G-X", {kSfp, kLc, 0, 0, 0, 13}, 1310},
    {"100fx", "ZL-100-FX", {kSfp, kLc, 0, 0x20, 0, 1}, 1310},
    {"copper", "ZL-1G-T", {kSfp, kRj45, 0, 0x08, 0, 13}, 0, PhyKind::Marvell},
    {"copper-serdes", "AXGT-R154-0M06", {kSfp, kRj45, 0, 0x08, 0, 13}, 0, PhyKind::Marvell},
    {"copper-other-phy", "ZL-1G-T2", {kSfp, kRj45, 0, 0x08, 0, 13}, 0, PhyKind::Other},
    {"gpon", "ZL-GPON-ONU", {kSfp, kSc, 0, 0x80, 0, 25}, 1310},
    {"unknown", "ZL-UNKNOWN", {kSfp, kLc, 0, 0, 0, 0}},
    {"not-sfp", "ZL-40G-SR4", {kQsfp, kLc, 0x10, 0, 0, 103}, 850},
};

void put_text(ModulePage &page, size_t at, size_t width, std::string text) {
  text.resize(width, ' ');
  std::copy(text.begin(), text.end(), page.begin() + at);
}

// Each checksum stands right behind the bytes that it sums.
void put_checksum(ModulePage &page, size_t from, size_t at) {
  page[at] = static_cast<uint8_t>(std::accumulate(page.begin() + from, page.begin() + at, 0u));
}

ModulePage page_of(const Kind &kind) {
  ModulePage page = {};
  constexpr size_t kPlaces[] = {0, 2, 3, 6, 8, kRate};
  for (size_t i = 0; i < std::size(kPlaces); ++i) page[kPlaces[i]] = kind.codes[i];
  page[1] = 0x04;                               // extended identifier: the two-wire interface defines the module
  page[11] = page[kRate] >= 100 ? 0x06 : 0x01;  // encoding 64B/66B or 8B/10B
  put_text(page, 20, 16, "ZELSIM");             // vendor name
  put_text(page, 40, 16, kind.part_number);
  put_text(page, 56, 4, "1.0");  // vendor revision
  page[60] = static_cast<uint8_t>(kind.wavelength >> 8);
  page[61] = static_cast<uint8_t>(kind.wavelength);
  put_checksum(page, 0, 63);
  put_text(page, 68, 16, "ZS00000001");  // serial number
  put_text(page, 84, 8, "260101");       // date code
  announce_diagnostics(page, kind.name);
  put_checksum(page, 64, 95);
  put_text(page, 96, 32, "virtual module");  // vendor specific
  return page;
}

constexpr size_t kBytesPerLine = 16;
constexpr size_t kTwoPages = 512;  // a module with diagnostics has page A2h, too, which dumps show after page A0h

// The bytes of a line. Printable characters may follow, which may look like bytes: of a line with an offset 16 at most.
std::string bytes_in(const std::string &line, size_t most) {
  std::string bytes;
  std::istringstream words(line);
  for (std::string word; words >> word && bytes.size() < most;) {
    std::erase(word, ',');
    if (word.starts_with("0x")) word.erase(0, 2);
    bool hex = word.find_first_not_of(kHexDigits) == std::string::npos && word.size() % 2 == 0;
    if (!hex) break;
    for (size_t i = 0; i < word.size(); i += 2) bytes += static_cast<char>(std::stoul(word.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

// The offset at the beginning of a line, such as "0x0000:", "00:" or "00000010", and where it ends; 0: there is none.
size_t end_of_offset(const std::string &line, size_t &offset) {
  size_t first = std::min(line.find_first_not_of(" \t"), line.size());
  if (line.compare(first, 2, "0x") == 0) first += 2;
  const size_t end = std::min(line.find_first_not_of(kHexDigits, first), line.size()), digits = end - first;
  const bool colon = line[end] == ':', alone = end == line.size() || std::isspace(line[end]) != 0;
  if (digits < 1 || digits > 8 || !(colon || (alone && digits >= 6))) return 0;
  offset = std::stoul(line.substr(first, digits), nullptr, 16);
  return end + colon;
}

std::string parse_dump(const std::string &content) {
  std::string page;
  std::istringstream lines(content);
  bool repeated = false;
  for (std::string line; std::getline(lines, line) && page.size() <= kTwoPages;) {
    size_t offset = page.size(), end = end_of_offset(line, offset);
    // A line "*" stands for as many copies of the one before as reach to the next offset.
    while (repeated && page.size() >= kBytesPerLine && page.size() < std::min(offset, kTwoPages))
      page += page[page.size() - kBytesPerLine];
    repeated = line == "*";
    if (offset != page.size())
      throw Usage("MODULE: the dump jumps from byte " + std::to_string(page.size()) + " at: " + line);
    page += end > 0 ? bytes_in(line.substr(end), kBytesPerLine) : bytes_in(line, kTwoPages);
  }
  return page;
}

Module find_module(const std::string &wanted) {
  for (const Module &module : catalogue())
    if (module.name == wanted) return module;
  std::error_code none;
  if (!std::filesystem::exists(wanted, none) && wanted != "-")
    throw Usage("MODULE: '" + wanted + "' is neither in the catalogue (zelsim modules) nor a file");
  std::vector<ModulePage> pages = read_pages(wanted);
  const ModulePage &page = pages[0];
  std::optional<ModulePage> diagnostics;
  if (pages.size() > 1) diagnostics = pages[1];
  // By the same marks that a host goes by: an RJ45 connector, or 1000BASE-T as the only code.
  bool copper = page[2] == kRj45 || page[6] == 0x08;
  return {std::filesystem::path(wanted).filename(), page, copper ? PhyKind::Marvell : PhyKind::None, diagnostics};
}

}  // namespace

const char *phy_name(PhyKind phy) { return phy == PhyKind::Marvell ? "marvell" : "other"; }

std::vector<Module> catalogue() {
  std::vector<Module> modules;
  for (const Kind &kind : kKinds) {
    ModulePage page = page_of(kind);
    modules.push_back({kind.name, page, kind.phy, diagnostics_page(page, kind.name)});
  }
  modules.push_back({"blank", {}, PhyKind::None});
  modules.back().page.fill(0xff);
  return modules;
}

std::vector<ModulePage> read_pages(const std::string &file) {
  const std::vector<uint8_t> content = read_file(file, 65536, "MODULE");
  std::string bytes(content.begin(), content.end());
  auto printable = [](unsigned char c) { return std::isprint(c) || std::isspace(c); };
  if (std::all_of(bytes.begin(), bytes.end(), printable)) bytes = parse_dump(bytes);
  if (bytes.size() != 128 && bytes.size() != 256 && bytes.size() != kTwoPages)
    throw Usage("MODULE: '" + file + "' holds " + std::to_string(bytes.size()) + " bytes, not 128, 256 or 512");
  std::vector<ModulePage> pages;
  for (size_t at = 0; at < bytes.size(); at += sizeof(ModulePage)) {
    ModulePage page = {};
    std::copy_n(bytes.begin() + at, std::min(bytes.size() - at, page.size()), page.begin());
    pages.push_back(page);
  }
  return pages;
}

void plug_module(const CommandLine &line) {
  unsigned port = line.values[0];
  Module module = find_module(line.words[1]);
  OpenBoard board = open_board(line.board);
  if (!has_cage(*board, port)) throw Failure("PORT: port " + line.words[0] + " has no cage: no SFP board in its slot");
  plug(*board, port, module.name.c_str(), module.page.data(), module.phy,
       diagnostics_of(module.page, module.diagnostics));
}

Json modules_document(const CommandLine &) {
  Json rows = Json::array();
  for (const Module &module : catalogue()) {
    bool blank = module.page[40] == 0xff;
    std::string part_number = part_number_of(std::span(module.page).first<kPageLength>());
    rows.push_back({{"module", module.name},
                    {"part_number", blank ? "-" : part_number},
                    {"rate_mbd", module.page[kRate] * 100},
                    {"phy", module.phy == PhyKind::None ? Json() : Json(phy_name(module.phy))},
                    {"diagnostics", module.diagnostics.has_value()}});
  }
  return {{"modules", rows}};
}

}  // namespace zelsim::tool
