#include <algorithm>
#include <cctype>
#include <numeric>

#include "../cli/module_page.h"
#include "arguments.h"
#include "byte_order.h"
#include "calibration.h"
#include "made_diagnostics.h"
#include "module_dump.h"
#include "modules.h"
#include "tool.h"

// Modules that can be plugged: those of the catalogue, each with an SFF-8472 page A0h; or a file of a module's pages, as
// raw bytes or as a hexadecimal dump.

namespace zelsim::tool {
namespace {

using namespace page_a0;

constexpr size_t kNameWidth = 16;  // of the vendor's name, the part number and the serial number

constexpr uint8_t kSfp = 0x03;
constexpr uint8_t kQsfp = 0x0d;

constexpr uint8_t kLc = 0x07;
constexpr uint8_t kSc = 0x01;
constexpr uint8_t kPigtail = 0x21;
constexpr uint8_t kRj45 = 0x22;
constexpr uint8_t kNoConnector = 0x23;

constexpr uint8_t k1000BaseT = 0x08;  // of the Ethernet codes

/** A module of the catalogue: the bytes in which its page differs from the others. */
struct Kind {
  const char *name;
  const char *part_number;
  uint8_t identifier;
  uint8_t connector;
  uint8_t ten_gigabit_codes;
  uint8_t ethernet_codes;
  uint8_t cable_technology;
  uint8_t rate;
  uint16_t wavelength = 0;  // nm
  PhyKind phy = PhyKind::None;
};

constexpr Kind kKinds[] = {
    {"10g-sr", "ZL-10G-SR", kSfp, kLc, 0x10, 0, 0, 103, 850},
    {"10g-lr", "ZL-10G-LR", kSfp, kLc, 0x20, 0, 0, 103, 1310},
    {"10g-er", "ZL-10G-ER", kSfp, kLc, 0x80, 0, 0, 103, 1550},
    {"10g-lrm", "ZL-10G-LRM", kSfp, kLc, 0x40, 0, 0, 103, 1310},
    {"10g", "ZL-10G", kSfp, kLc, 0, 0, 0, 103, 1310},
    {"dac", "ZL-10G-DAC-1M", kSfp, kPigtail, 0, 0, 0x04, 103},
    {"aoc", "ZL-10G-AOC-3M", kSfp, kNoConnector, 0, 0, 0x08, 103, 850},
    {"5g", "ZL-5G", kSfp, kLc, 0, 0, 0, 50, 1310},
    {"2g5", "ZL-2G5", kSfp, kLc, 0, 0, 0, 25, 1310},
    {"1g-sx", "ZL-1G-SX", kSfp, kLc, 0, 0x01, 0, 13, 850},
    {"1g-lx", "ZL-1G-LX", kSfp, kLc, 0, 0x02, 0, 13, 1310},
    {"1g-cx", "ZL-1G-CX", kSfp, kPigtail, 0, 0x04, 0, 13},
    {"1g-x", "ZL-1G-X", kSfp, kLc, 0, 0, 0, 13, 1310},
    {"100fx", "ZL-100-FX", kSfp, kLc, 0, 0x20, 0, 1, 1310},
    {"copper", "ZL-1G-T", kSfp, kRj45, 0, k1000BaseT, 0, 13, 0, PhyKind::Marvell},
    {"copper-serdes", "AXGT-R154-0M06", kSfp, kRj45, 0, k1000BaseT, 0, 13, 0, PhyKind::Marvell},
    {"copper-other-phy", "ZL-1G-T2", kSfp, kRj45, 0, k1000BaseT, 0, 13, 0, PhyKind::Other},
    {"gpon", "ZL-GPON-ONU", kSfp, kSc, 0, 0x80, 0, 25, 1310},
    {"unknown", "ZL-UNKNOWN", kSfp, kLc, 0, 0, 0, 0},
    {"not-sfp", "ZL-40G-SR4", kQsfp, kLc, 0x10, 0, 0, 103, 850},
};

void put_padded_text(MemoryPage &page, size_t at, size_t width, std::string text) {
  text.resize(width, ' ');
  std::copy(text.begin(), text.end(), page.begin() + at);
}

// A checksum sums the bytes from `from` up to its own place.
void put_checksum(MemoryPage &page, size_t from, size_t at) {
  page[at] = static_cast<uint8_t>(std::accumulate(page.begin() + from, page.begin() + at, 0u));
}

MemoryPage page_of(const Kind &kind) {
  constexpr uint8_t kByTwoWireInterface = 0x04;  // the module is defined by its identification page alone
  constexpr uint8_t kEncoding64B66B = 0x06;
  constexpr uint8_t kEncoding8B10B = 0x01;
  constexpr uint8_t kTenGigabitRate = 100;
  MemoryPage page = {};
  page[kIdentifier] = kind.identifier;
  page[kExtendedIdentifier] = kByTwoWireInterface;
  page[kConnector] = kind.connector;
  page[kComplianceCodes] = kind.ten_gigabit_codes;
  page[kEthernetCodes] = kind.ethernet_codes;
  page[kCableTechnology] = kind.cable_technology;
  page[kEncoding] = kind.rate >= kTenGigabitRate ? kEncoding64B66B : kEncoding8B10B;
  page[kNominalRate] = kind.rate;
  put_padded_text(page, kVendorName, kNameWidth, "ZELSIM");
  put_padded_text(page, kVendorPart, kNameWidth, kind.part_number);
  put_padded_text(page, kVendorRevision, 4, "1.0");
  put_big_word16_at(page.data(), kWavelength, kind.wavelength);
  put_checksum(page, kIdentifier, kBaseChecksum);
  put_padded_text(page, kSerialNumber, kNameWidth, "ZS00000001");
  put_padded_text(page, kDateCode, 8, "260101");
  put_diagnostics_bits(page, kind.name);
  put_checksum(page, kOptionValues, kExtendedChecksum);
  put_padded_text(page, kVendorSpecific, 32, "virtual module");
  return page;
}

std::vector<Module> make_catalogue() {
  std::vector<Module> modules;
  for (const Kind &kind : kKinds) {
    MemoryPage page = page_of(kind);
    modules.push_back({kind.name, page, kind.phy, diagnostics_page(page, kind.name)});
  }
  modules.push_back({"blank", {}, PhyKind::None});
  modules.back().page.fill(0xff);
  return modules;
}

// True for page A2h in the place of page A0h: the checksum of page A0h is wrong, the checksum of page A2h is right, and
// the thresholds are in order.
bool is_diagnostics_page(const MemoryPage &page) {
  auto sum = [&](size_t end) { return static_cast<uint8_t>(std::accumulate(page.begin(), page.begin() + end, 0u)); };
  if (sum(kBaseChecksum) == page[kBaseChecksum]) return false;
  if (sum(kDiagnosticsChecksum) != page[kDiagnosticsChecksum]) return false;
  for (unsigned i = 0; i < kQuantities; ++i) {
    auto quantity = static_cast<Quantity>(i);
    auto limit = [&](Threshold threshold) {
      return number_in_word(quantity, big_word16_at(page.data(), place_of(quantity, threshold)));
    };
    bool in_order = limit(kHighAlarm) >= limit(kHighWarning) && limit(kHighWarning) >= limit(kLowWarning) &&
                    limit(kLowWarning) >= limit(kLowAlarm);
    if (!in_order) return false;
  }
  return true;
}

Module find_module(const std::string &wanted, unsigned port) {
  for (const Module &module : catalogue()) {
    if (module.name == wanted) return taken_from_catalogue(module, port);
  }
  std::error_code none;
  if (!std::filesystem::exists(wanted, none) && wanted != "-")
    throw Usage("MODULE: '" + wanted + "' is neither in the catalogue (zelsim modules) nor a file");
  std::vector<MemoryPage> pages = read_pages(wanted);
  const MemoryPage &page = pages[0];
  std::optional<MemoryPage> diagnostics;
  if (pages.size() > 1) diagnostics = pages[1];
  // A host looks at the same bytes: an RJ45 connector, or 1000BASE-T as the only code.
  bool copper = page[kConnector] == kRj45 || page[kEthernetCodes] == k1000BaseT;
  return {std::filesystem::path(wanted).filename(), page, copper ? PhyKind::Marvell : PhyKind::None, diagnostics};
}

}  // namespace

const char *phy_name(PhyKind phy) { return phy == PhyKind::Marvell ? "marvell" : "other"; }

// Made once: the words of the diagnostics take some time.
const std::vector<Module> &catalogue() {
  static const std::vector<Module> modules = make_catalogue();
  return modules;
}

Module taken_from_catalogue(Module module, unsigned port) {
  bool is_blank = module.page[kIdentifier] == 0xff;
  if (is_blank) return module;
  put_padded_text(module.page, kSerialNumber, kNameWidth, format("ZS%08u", port));
  put_checksum(module.page, kOptionValues, kExtendedChecksum);
  return module;
}

std::string catalogue_name(const MemoryPage &page) {
  auto is_same = [](const MemoryPage &one, const MemoryPage &other, size_t at) {
    return std::equal(one.begin() + at, one.begin() + at + kNameWidth, other.begin() + at);
  };
  for (const Module &module : catalogue()) {
    bool is_meant = is_same(module.page, page, kVendorName) && is_same(module.page, page, kVendorPart);
    if (is_meant) return module.name;
  }
  return "";
}

std::vector<MemoryPage> read_pages(const std::string &file) {
  constexpr size_t kLargestFile = 65536;
  constexpr size_t kHalfPage = 128;
  const std::vector<uint8_t> content = read_file(file, kLargestFile, "MODULE");
  std::string bytes(content.begin(), content.end());
  bool is_dump = std::ranges::all_of(bytes, [](unsigned char c) { return std::isprint(c) || std::isspace(c); });
  if (is_dump) bytes = parse_module_dump(bytes);
  bool good_size = bytes.size() == kHalfPage || bytes.size() == kOnePage || bytes.size() == kTwoPages;
  if (!good_size)
    throw Usage("MODULE: '" + file + "' holds " + std::to_string(bytes.size()) + " bytes, not 128, 256 or 512");
  std::vector<MemoryPage> pages;
  for (size_t at = 0; at < bytes.size(); at += sizeof(MemoryPage)) {
    MemoryPage page = {};
    bytes.copy(reinterpret_cast<char *>(page.data()), page.size(), at);
    pages.push_back(page);
  }
  if (is_diagnostics_page(pages[0])) throw Usage(kDiagnosticsAlone);
  return pages;
}

void plug_module(const CommandLine &line) {
  unsigned port = line.values[0];
  Module module = find_module(line.words[1], port);
  OpenBoard board = open_board(line.board);
  if (!has_cage(*board, port)) throw Failure("PORT: " + line.words[0] + " has no cage: no SFP board in its slot");
  plug(*board, port, module.name.c_str(), module.page.data(), module.phy,
       diagnostics_for_cage(module.page, module.diagnostics));
}

Json modules_document(const CommandLine &) {
  Json rows = Json::array();
  for (const Module &module : catalogue()) {
    bool blank = module.page[kVendorPart] == 0xff;
    std::string part_number = part_number_of(std::span(module.page).first<kPageLength>());
    rows.push_back({{"module", module.name},
                    {"part_number", blank ? "-" : part_number},
                    {"rate_mbd", module.page[kNominalRate] * 100},
                    {"phy", module.phy == PhyKind::None ? Json() : Json(phy_name(module.phy))},
                    {"diagnostics", module.diagnostics.has_value()}});
  }
  return {{"modules", rows}};
}

}  // namespace zelsim::tool
