/** @file
 *  What a module says about itself: SFF-8472 page A0h, IEEE 802.3 clause 22 registers. */
#ifndef ZELBOARD_CLI_MODULE_PAGE_H
#define ZELBOARD_CLI_MODULE_PAGE_H

#include "output.h"

constexpr size_t kPageLength = 128;  // the defined half of the page
using ModulePage = std::span<const uint8_t, kPageLength>;

/** Places of the fields on page A0h. */
namespace page_a0 {
constexpr size_t kIdentifier = 0;
constexpr size_t kExtendedIdentifier = 1;
constexpr size_t kConnector = 2;
constexpr size_t kComplianceCodes = 3;  // eight bytes
constexpr size_t kEthernetCodes = 6;
constexpr size_t kCableTechnology = 8;
constexpr size_t kEncoding = 11;
constexpr size_t kNominalRate = 12;  // in 100 MBd
constexpr size_t kRateIdentifier = 13;
constexpr size_t kVendorName = 20;  // 16 characters, as the part and serial numbers
constexpr size_t kExtendedCompliance = 36;
constexpr size_t kVendorOui = 37;
constexpr size_t kVendorPart = 40;
constexpr size_t kVendorRevision = 56;
constexpr size_t kWavelength = 60;  // two bytes, in nm
constexpr size_t kBaseChecksum = 63;
constexpr size_t kOptionValues = 64;  // two bytes, the first ones that the second checksum sums
constexpr size_t kUpperMargin = 66;
constexpr size_t kLowerMargin = 67;
constexpr size_t kSerialNumber = 68;
constexpr size_t kDateCode = 84;
constexpr size_t kMonitoringType = 92;   // about page A2h
constexpr size_t kEnhancedOptions = 93;  // about page A2h
constexpr size_t kRevision = 94;
constexpr size_t kExtendedChecksum = 95;
constexpr size_t kVendorSpecific = 96;
}  // namespace page_a0

/** All fields, in the order of the page. */
Json decode_page(ModulePage page);
std::string vendor_of(ModulePage page);
std::string part_number_of(ModulePage page);
std::string serial_number_of(ModulePage page);
std::string revision_of(ModulePage page);
/** Nominal signalling rate in MBd, 0 = not given. */
uint32_t signalling_rate(ModulePage page);
/** True if both checksums are right: bytes 63 and 95. */
bool checksums_hold(ModulePage page);
/** A checksum as text, and whether it is right.
 *  @param first     place of the first byte that it sums
 *  @param checksum  its own place, behind the last byte that it sums */
std::string checksum_text(ModulePage page, size_t first, size_t checksum);
/** True if the library would bring up this module's copper PHY to classify it. */
bool is_copper_module(ModulePage page);

/** Numbers of the PHY registers that have names. */
std::vector<uint32_t> named_registers();
/** Number, name, value and the names of the bits that are set. */
Json decode_register(uint32_t number, uint16_t value);

#endif
