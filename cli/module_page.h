/** @file
 *  What a module says about itself: SFF-8472 page A0h, IEEE 802.3 clause 22 registers. */
#ifndef ZELBOARD_CLI_MODULE_PAGE_H
#define ZELBOARD_CLI_MODULE_PAGE_H

#include "output.h"

constexpr size_t kPageLength = 128;  // the defined half of the page
using ModulePage = std::span<const uint8_t, kPageLength>;

/* Bytes of page A0h that tell of page A2h. */
constexpr size_t kMonitoringType = 92;
constexpr size_t kEnhancedOptions = 93;

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
/** True if the library would bring up this module's copper PHY to classify it. */
bool is_copper_module(ModulePage page);

/** Numbers of the PHY registers that have names. */
std::vector<uint32_t> named_registers();
/** Number, name, value and the names of the bits that are set. */
Json decode_register(uint32_t number, uint16_t value);

#endif
/** A checksum, and whether it is right: it sums the bytes from `first` on.
 *  @param checksum  its place */
std::string checksum_text(ModulePage page, size_t first, size_t checksum);
