#include "module_page.h"

#include <numeric>

/** Names of the bits that are set in a run of bytes; `names` begins with the highest bit of the first one. */
static Json set_bits(std::span<const uint8_t> bytes, const std::string &names) {
  Json set = Json::array();
  const auto list = split(names);
  for (size_t i = 0; i < std::min(list.size(), 8 * bytes.size()); ++i)
    if ((bytes[i / 8] >> (7 - i % 8) & 1) != 0 && !list[i].empty()) set.push_back(list[i]);
  return set;
}

constexpr const char *kHexadecimal = "0x%02X";  // of codes without a name
constexpr const char *kIdentifiers = "unknown|GBIC|soldered to motherboard|SFP or SFP+||||||||DWDM-SFP|QSFP|QSFP+";
constexpr const char *kConnectors =
    "unknown|SC|FC style 1 copper|FC style 2 copper|BNC/TNC|FC coax|Fiber Jack|LC|MT-RJ|MU|SG|optical pigtail|MPO 1x12|"
    "MPO 2x16|||||||||||||||||||HSSDC II|copper pigtail|RJ45|no separable connector|MXC 2x16";
constexpr const char *kEncodings = "unspecified|8B/10B|4B/5B|NRZ|Manchester|SONET scrambled|64B/66B|256B/257B|PAM4";
constexpr const char *kRevisions = "none|9.3|9.5|10.2|10.4|11.0|11.3|11.4|12.3|12.4";

/** Compliance codes, bytes 3 to 10. */
constexpr const char *kCompliance =
    "10GBASE-ER|10GBASE-LRM|10GBASE-LR|10GBASE-SR|1X SX|1X LX|1X copper active|1X copper passive|ESCON MMF|ESCON SMF|"
    "OC-192 SR|SONET reach bit 1|SONET reach bit 2|OC-48 LR|OC-48 IR|OC-48 SR||OC-12 SM LR|OC-12 SM IR|OC-12 SR||"
    "OC-3 SM LR|OC-3 SM IR|OC-3 SR|BASE-PX|BASE-BX10|100BASE-FX|100BASE-LX/LX10|1000BASE-T|1000BASE-CX|1000BASE-LX|"
    "1000BASE-SX|FC very long distance|FC short distance|FC intermediate distance|FC long distance|"
    "FC medium distance|FC shortwave laser SA|FC longwave laser LC|FC electrical inter-enclosure|"
    "FC electrical intra-enclosure|FC shortwave laser SN|FC shortwave laser SL|FC longwave laser LL|active cable|"
    "passive cable|||FC twin axial pair|FC twisted pair|FC miniature coax|FC video coax|FC multimode 62.5 um|"
    "FC multimode 50 um||FC single mode|FC 1200 MB/s|FC 800 MB/s|FC 1600 MB/s|FC 400 MB/s|FC 3200 MB/s|FC 200 MB/s||"
    "FC 100 MB/s";
/** Options, bytes 64 and 65, and diagnostic monitoring, byte 92. */
constexpr const char *kOptions =
    "|power level 4|power level 3|paging|retimer or CDR|cooled transmitter|power level 2|linear receiver|"
    "RDT|tunable transmitter|RATE_SELECT|TX_DISABLE|TX_FAULT|LOS inverted|LOS|";
constexpr const char *kMonitoring =
    "|implemented|internally calibrated|externally calibrated|average power|address change required||";

/** Link lengths: byte, and metres a unit. */
struct Length {
  const char *key;
  uint8_t at;
  uint32_t metres;
};
constexpr Length kLengths[] = {{"length_smf_km", 14, 1000}, {"length_smf", 15, 100},         {"length_om2", 16, 10},
                               {"length_om1", 17, 10},      {"length_copper_or_om4", 18, 1}, {"length_om3", 19, 10}};

constexpr uint8_t kPassiveCable = 0x04, kActiveCable = 0x08;

static uint8_t sum_of(Page page, size_t first, size_t end) {
  const auto field = page.subspan(first, end - first);
  return static_cast<uint8_t>(std::accumulate(field.begin(), field.end(), 0U));
}

/** A checksum byte ends the field that it covers. */
static std::string checksum(Page page, size_t first, size_t at) {
  const uint8_t sum = sum_of(page, first, at);
  return format("0x%02X ", page[at]) + (sum == page[at] ? "correct" : format("wrong, should be 0x%02X", sum));
}

struct PhyRegister {
  uint32_t number;
  const char *name;
  const char *bits;  // from bit 15 down
};
constexpr PhyRegister kRegisters[] = {
    {0, "control",
     "reset|loopback|speed 100|auto-negotiation|power down|isolate|restart auto-negotiation|full duplex|"
     "collision test|speed 1000"},
    {1, "status",
     "100BASE-T4|100BASE-X full|100BASE-X half|10 full|10 half|100BASE-T2 full|100BASE-T2 half|extended status||"
     "preamble suppression|auto-negotiation complete|remote fault|auto-negotiation able|link up|jabber|"
     "extended capability"},
    {2, "PHY identifier 1", ""},
    {3, "PHY identifier 2", ""},
    {4, "auto-negotiation advertisement",
     "next page||remote fault||asymmetric pause|pause|100BASE-T4|100 full|100 half|10 full|10 half"},
    {5, "link partner ability",
     "next page|acknowledge|remote fault||asymmetric pause|pause|100BASE-T4|100 full|100 half|10 full|10 half"},
    {6, "auto-negotiation expansion",
     "|||||||||||parallel detection fault|partner next page able|next page able|page received|"
     "partner auto-negotiation able"},
    {7, "next page transmit", ""},
    {8, "link partner next page", ""},
    {9, "1000BASE-T control", "|||manual master/slave|master|multiport|1000 full|1000 half"},
    {10, "1000BASE-T status",
     "master/slave fault|master|local receiver ok|remote receiver ok|partner 1000 full|partner 1000 half"},
    {15, "extended status", "1000BASE-X full|1000BASE-X half|1000BASE-T full|1000BASE-T half"},
    {17, "PHY-specific status", "speed 1000|speed 100|full duplex|page received|speed resolved|link up"},
    {27, "extended PHY-specific status", ""}};

std::string page_text(Page page, size_t at, size_t length) {
  const auto field = page.subspan(at, length);
  std::string text(field.begin(), field.end());
  text.resize(std::min(text.find('\0'), text.size()));
  text.erase(text.find_last_not_of(' ') + 1);
  return printable(text);
}

uint32_t signalling_rate(Page page) {
  constexpr uint8_t kBeyond = 0xFF;  // byte 66 holds it, in units of 250 MBd
  return page[12] == kBeyond ? page[66] * 250U : page[12] * 100U;
}

bool checksums_hold(Page page) { return sum_of(page, 0, 63) == page[63] && sum_of(page, 64, 95) == page[95]; }

bool is_copper_module(Page page) {
  const bool passive = (page[8] & kPassiveCable) != 0, ten_gigabit = page[12] > 99;
  if (page[0] != 3 || (ten_gigabit && (passive || (page[3] & 0xF0) != 0))) return false;
  return page[2] == 0x22 || page[6] == 0x08;
}

Json decode_page(Page page) {
  const bool cable = (page[8] & (kPassiveCable | kActiveCable)) != 0;
  Json decoded =
      record("identifier", name_of(kIdentifiers, page[0], kHexadecimal), "extended_identifier",
             format("0x%02X", page[1]), "connector", name_of(kConnectors, page[2], kHexadecimal), "compliance",
             set_bits(page.subspan(3, 8), kCompliance), "encoding", name_of(kEncodings, page[11], kHexadecimal),
             "rate_mbd", signalling_rate(page), "rate_identifier", format("0x%02X", page[13]));
  for (const Length &length : kLengths) decoded[length.key] = page[length.at] * length.metres;
  append(decoded, "vendor", page_text(page, 20, 16), "extended_compliance", format("0x%02X", page[36]), "oui",
         format("%02X:%02X:%02X", page[37], page[38], page[39]), "part_number", page_text(page, 40, 16), "revision",
         page_text(page, 56, 4));
  if (cable)
    decoded["cable_compliance"] = format("0x%02X%02X", page[60], page[61]);
  else
    decoded["wavelength_nm"] = page[60] << 8 | page[61];
  append(decoded, "cc_base", checksum(page, 0, 63), "options", set_bits(page.subspan(64, 2), kOptions),
         "rate_margin_percent", format("+%u -%u", page[66], page[67]), "serial_number", page_text(page, 68, 16),
         "date_code", page_text(page, 84, 8), "monitoring", set_bits(page.subspan(92, 1), kMonitoring),
         "enhanced_options", format("0x%02X", page[93]), "sff_8472_revision",
         name_of(kRevisions, page[94], kHexadecimal), "cc_ext", checksum(page, 64, 95), "vendor_specific",
         hex_text(page.subspan(96)));
  return decoded;
}

std::vector<uint32_t> named_registers() {
  std::vector<uint32_t> numbers;
  for (const PhyRegister &entry : kRegisters) numbers.push_back(entry.number);
  return numbers;
}

Json decode_register(uint32_t number, uint16_t value) {
  PhyRegister found{number, "vendor-specific", ""};
  for (const PhyRegister &entry : kRegisters)
    if (entry.number == number) found = entry;
  const uint8_t bytes[] = {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
  return record("register", number, "name", found.name, "value", value, "bits", set_bits(bytes, found.bits));
}
