#include "module_page.h"

#include <algorithm>
#include <numeric>

using namespace page_a0;

/** Names of the bits that are set in a run of bytes. `names` begins with the highest bit of the first byte. */
static Json set_bits(std::span<const uint8_t> bytes, const std::string &names) {
  Json set = Json::array();
  const auto list = split(names);
  const size_t count = std::min(list.size(), 8 * bytes.size());
  for (size_t i = 0; i < count; ++i) {
    const unsigned bit = 7 - i % 8;
    const bool is_set = (bytes[i / 8] >> bit & 1) != 0;
    if (is_set && !list[i].empty()) set.push_back(list[i]);
  }
  return set;
}

constexpr const char *kUnknownCode = "0x%02X";  // of codes without a name
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

constexpr uint8_t kSfp = 3;                    // identifier
constexpr uint8_t kRj45 = 0x22;                // connector
constexpr uint8_t kPassiveCable = 0x04;        // cable technology
constexpr uint8_t kActiveCable = 0x08;         // cable technology
constexpr uint8_t kTenGigabitEthernet = 0xF0;  // first compliance code
constexpr uint8_t kBaseT = 0x08;               // Ethernet codes
constexpr uint8_t kRateBeyond = 0xFF;          // nominal rate: byte 66 holds it, in units of 250 MBd

/** The sum of the bytes from `first` to the byte before the checksum. */
static uint8_t sum_before(ModulePage page, size_t first, size_t checksum) {
  const auto field = page.subspan(first, checksum - first);
  return static_cast<uint8_t>(std::accumulate(field.begin(), field.end(), 0U));
}

std::string checksum_text(ModulePage page, size_t first, size_t checksum) {
  const uint8_t sum = sum_before(page, first, checksum);
  const uint8_t stored = page[checksum];
  if (sum == stored) return format("0x%02X correct", stored);
  return format("0x%02X wrong, should be 0x%02X", stored, sum);
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

/** A text field up to its NUL, without its trailing blanks. */
static std::string text_at(ModulePage page, size_t at, size_t length) {
  const auto field = page.subspan(at, length);
  std::string text(field.begin(), std::find(field.begin(), field.end(), 0));
  text.erase(text.find_last_not_of(' ') + 1);
  return printable(text);
}

std::string vendor_of(ModulePage page) { return text_at(page, kVendorName, 16); }
std::string part_number_of(ModulePage page) { return text_at(page, kVendorPart, 16); }
std::string serial_number_of(ModulePage page) { return text_at(page, kSerialNumber, 16); }
std::string revision_of(ModulePage page) { return text_at(page, kVendorRevision, 4); }

uint32_t signalling_rate(ModulePage page) {
  if (page[kNominalRate] == kRateBeyond) return page[kUpperMargin] * 250U;
  return page[kNominalRate] * 100U;
}

bool checksums_hold(ModulePage page) {
  return sum_before(page, kIdentifier, kBaseChecksum) == page[kBaseChecksum] &&
         sum_before(page, kOptionValues, kExtendedChecksum) == page[kExtendedChecksum];
}

bool is_copper_module(ModulePage page) {
  constexpr uint8_t kTenGigabitRate = 100;  // from 10 GBd on
  if (page[kIdentifier] != kSfp) return false;
  if (page[kNominalRate] >= kTenGigabitRate) {
    const bool passive_cable = (page[kCableTechnology] & kPassiveCable) != 0;
    const bool ten_gigabit = (page[kComplianceCodes] & kTenGigabitEthernet) != 0;
    if (passive_cable || ten_gigabit) return false;
  }
  return page[kConnector] == kRj45 || page[kEthernetCodes] == kBaseT;
}

/** How far the rate may be from the nominal one. If byte 66 holds the rate, byte 67 is the margin in both directions. */
static std::string rate_margin(ModulePage page) {
  const bool has_one_margin = page[kNominalRate] == kRateBeyond;
  const uint8_t upper = has_one_margin ? page[kLowerMargin] : page[kUpperMargin];
  return format("+%u -%u", upper, page[kLowerMargin]);
}

static Json hex_code(uint8_t byte) { return format("0x%02X", byte); }

/** What the module is: bytes 0 to 62. */
static void add_base_fields(Json &decoded, ModulePage page) {
  decoded["identifier"] = name_of(kIdentifiers, page[kIdentifier], kUnknownCode);
  decoded["extended_identifier"] = hex_code(page[kExtendedIdentifier]);
  decoded["connector"] = name_of(kConnectors, page[kConnector], kUnknownCode);
  decoded["compliance"] = set_bits(page.subspan(kComplianceCodes, 8), kCompliance);
  decoded["encoding"] = name_of(kEncodings, page[kEncoding], kUnknownCode);
  decoded["rate_mbd"] = signalling_rate(page);
  decoded["rate_identifier"] = hex_code(page[kRateIdentifier]);
  for (const Length &length : kLengths) decoded[length.key] = page[length.at] * length.metres;
  const uint8_t *oui = &page[kVendorOui];
  decoded["vendor"] = vendor_of(page);
  decoded["extended_compliance"] = hex_code(page[kExtendedCompliance]);
  decoded["oui"] = format("%02X:%02X:%02X", oui[0], oui[1], oui[2]);
  decoded["part_number"] = part_number_of(page);
  decoded["revision"] = revision_of(page);
  const bool cable = (page[kCableTechnology] & (kPassiveCable | kActiveCable)) != 0;
  if (cable)
    decoded["cable_compliance"] = format("0x%02X%02X", page[kWavelength], page[kWavelength + 1]);
  else
    decoded["wavelength_nm"] = page[kWavelength] << 8 | page[kWavelength + 1];
}

/** What it can do, and which one it is: bytes 63 to 127. */
static void add_extended_fields(Json &decoded, ModulePage page) {
  decoded["cc_base"] = checksum_text(page, kIdentifier, kBaseChecksum);
  decoded["options"] = set_bits(page.subspan(kOptionValues, 2), kOptions);
  decoded["rate_margin_percent"] = rate_margin(page);
  decoded["serial_number"] = serial_number_of(page);
  decoded["date_code"] = text_at(page, kDateCode, 8);
  decoded["monitoring"] = set_bits(page.subspan(kMonitoringType, 1), kMonitoring);
  decoded["enhanced_options"] = hex_code(page[kEnhancedOptions]);
  decoded["sff_8472_revision"] = name_of(kRevisions, page[kRevision], kUnknownCode);
  decoded["cc_ext"] = checksum_text(page, kOptionValues, kExtendedChecksum);
  decoded["vendor_specific"] = hex_text(page.subspan(kVendorSpecific));
}

Json decode_page(ModulePage page) {
  Json decoded = Json::object();
  add_base_fields(decoded, page);
  add_extended_fields(decoded, page);
  return decoded;
}

std::vector<uint32_t> named_registers() {
  std::vector<uint32_t> numbers;
  for (const PhyRegister &entry : kRegisters) numbers.push_back(entry.number);
  return numbers;
}

Json decode_register(uint32_t number, uint16_t value) {
  PhyRegister found{number, "vendor-specific", ""};
  for (const PhyRegister &entry : kRegisters) {
    if (entry.number == number) found = entry;
  }
  const uint8_t bytes[] = {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
  return record("register", number, "name", found.name, "value", value, "bits", set_bits(bytes, found.bits));
}
