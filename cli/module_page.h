/** @file
 *  What a module says of itself: SFF-8472 page A0h, IEEE 802.3 clause 22 registers. */
#ifndef ZELBOARD_CLI_MODULE_PAGE_H
#define ZELBOARD_CLI_MODULE_PAGE_H

#include "output.h"

constexpr size_t kPageLength = 128;  // the defined half of the page
using Page = std::span<const uint8_t, kPageLength>;

Json decode_page(Page page);
/** A text field without its trailing blanks. */
std::string page_text(Page page, size_t at, size_t length);
/** Nominal signalling rate in MBd, 0 = not given. */
uint32_t signalling_rate(Page page);
/** Both checksums are right: bytes 63 and 95. */
bool checksums_hold(Page page);
/** True when the library would bring this module's copper PHY up to classify it. */
bool is_copper_module(Page page);

/** Numbers of the registers that have names. */
std::vector<uint32_t> named_registers();
Json decode_register(uint32_t number, uint16_t value);

#endif
