/** @file
 *  The memory of the module in a cage, by SFF-8472: page A0h identifies it, page A2h has its diagnostics. A page has two
 *  halves; the standard defines the lower one. All modules answer at the same addresses, so a module has to be selected
 *  first. That moves the cage selection. */
#ifndef ZELCTL_MODULE_MEMORY_H
#define ZELCTL_MODULE_MEMORY_H

#include <array>

#include "../cli/diagnostics_page.h"
#include "tool.h"

constexpr uint8_t kDiagnosticsMemory = 0xA2;  // 8-bit address of page A2h
constexpr size_t kPageBytes = 2 * kPageLength;

using LowerHalf = std::array<uint8_t, kPageLength>;
using WholePage = std::vector<uint8_t>;

/** What the line of a failure calls the pages. */
constexpr const char *kIdentificationText = "memory of the module";
constexpr const char *kDiagnosticsText = "diagnostics of the module";

/** Selects the cage of a port that has one. Throws FW_NOT_SET if the cage is empty. */
void select_module(uint32_t port);

/* Pages of the selected module. The port is for the line of a failure. */

/** @param length  bytes to read; the others are 0 */
LowerHalf read_lower_half(uint32_t port, uint8_t address, const char *what, uint8_t length = kPageLength);
WholePage read_whole_page(uint32_t port, uint8_t address, const char *what);
LowerHalf lower_half_of(const WholePage &page);

/** True if page A0h says that page A2h can be read. */
bool can_read_diagnostics(ModulePage identification);
/** Throws FW_NOT_SET unless page A2h can be read. */
void require_diagnostics(uint32_t port, ModulePage identification);

#endif
