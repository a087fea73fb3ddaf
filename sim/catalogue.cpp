#include <algorithm>
#include <numeric>

#include "tool.h"

// Modules that can be plugged by name, and the SFF-8472 page A0h of each.

namespace zelsim::tool {
namespace {

struct Row {
  const char *name, *part_number;
  uint8_t identifier, connector, ten_gigabit, ethernet, cable, rate;  // page bytes 0, 2, 3, 6, 8 and 12
  uint16_t wavelength = 0;                                            // nm
  PhyKind phy = PhyKind::None;
};

constexpr uint8_t kSfp = 0x03, kQsfp = 0x0d;
constexpr uint8_t kLc = 0x07, kSc = 0x01, kPigtail = 0x21, kRj45 = 0x22, kNoConnector = 0x23;

constexpr Row kRows[] = {
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
    {"copper", "ZL-1G-T", kSfp, kRj45, 0, 0x08, 0, 13, 0, PhyKind::Marvell},
    {"copper-serdes", "AXGT-R154-0M06", kSfp, kRj45, 0, 0x08, 0, 13, 0, PhyKind::Marvell},
    {"copper-other-phy", "ZL-1G-T2", kSfp, kRj45, 0, 0x08, 0, 13, 0, PhyKind::Other},
    {"gpon", "ZL-GPON-ONU", kSfp, kSc, 0, 0x80, 0, 25, 1310},
    {"unknown", "ZL-UNKNOWN", kSfp, kLc, 0, 0, 0, 0},
    {"not-sfp", "ZL-40G-SR4", kQsfp, kLc, 0x10, 0, 0, 103, 850},
};

void put_text(Page &page, size_t at, size_t width, std::string text) {
  text.resize(width, ' ');
  std::copy(text.begin(), text.end(), page.begin() + at);
}

// Each checksum stands right behind the bytes that it sums.
void put_checksum(Page &page, size_t from, size_t at) {
  page[at] = static_cast<uint8_t>(std::accumulate(page.begin() + from, page.begin() + at, 0u));
}

Page page_of(const Row &row) {
  Page page = {};
  page[0] = row.identifier;
  page[1] = 0x04;  // extended identifier: the two-wire interface defines the module
  page[2] = row.connector;
  page[3] = row.ten_gigabit;
  page[6] = row.ethernet;
  page[8] = row.cable;
  page[11] = row.rate >= 100 ? 0x06 : 0x01;  // encoding 64B/66B or 8B/10B
  page[12] = row.rate;
  put_text(page, 20, 16, "ZELSIM");  // vendor name
  put_text(page, 40, 16, row.part_number);
  put_text(page, 56, 4, "1.0");  // vendor revision
  page[60] = static_cast<uint8_t>(row.wavelength >> 8);
  page[61] = static_cast<uint8_t>(row.wavelength);
  put_checksum(page, 0, 63);
  put_text(page, 68, 16, "ZS00000001");  // serial number
  put_text(page, 84, 8, "260101");       // date code
  put_checksum(page, 64, 95);
  put_text(page, 96, 32, "virtual module");  // vendor specific
  return page;
}

}  // namespace

std::vector<Module> catalogue() {
  std::vector<Module> modules;
  for (const Row &row : kRows) modules.push_back({row.name, page_of(row), row.phy});
  modules.push_back({"blank", {}, PhyKind::None});
  modules.back().page.fill(0xff);
  return modules;
}

}  // namespace zelsim::tool
