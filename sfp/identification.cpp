// Display and identification of the module in a cage.
#include <stdio.h>
#include <string.h>

#include "i2c/register.h"
#include "sfp/copper.h"
#include "sfp/module_class.h"
#include "zelboard/i2c.h"
#include "zelboard/ports.h"
#include "zelboard/sfp.h"

namespace zel {
namespace {

constexpr char kSerdesOnlyPart[] = "AXGT-R154-0M06";

struct Field {
  uint8_t offset;
  uint8_t length;
  const char *format;
};

constexpr Field kVendorName{20, 16, "Vendor name = %s\n"};
constexpr Field kPartNumber{40, 16, "Vendor PN = %s\n"};
constexpr Field kRevision{56, 4, "Vendor rev = %s\n"};

using VendorSpecific = uint8_t[32];
constexpr uint8_t kVendorSpecific = 96;
constexpr uint32_t kDumpColumns = 8;

struct Text {
  char chars[16 + 1];

  bool names_serdes_only_part() const { return strncmp(chars, kSerdesOnlyPart, sizeof kSerdesOnlyPart - 1) == 0; }
};

uint32_t read_field(const Field &field, Text *text) {
  *text = {};
  return read_register(FW_SFP_MEMORY, field.offset, field.length, text->chars);
}

uint32_t read_id(BaseId *id) { return read_register(FW_SFP_MEMORY, 0, sizeof id->byte, id->byte); }

uint32_t read_and_show(const Field &field, Text *text, uint8_t verbose) {
  const uint32_t result = read_field(field, text);
  if (result == 0 && verbose != 0) printf(field.format, text->chars);
  return note_busy(result, verbose, kBusBusy);
}

void show_vendor_specific(uint32_t port, const VendorSpecific &bytes) {
  puts("---------------------------------------------");
  printf("SFP DDM read from SFP %d\n", static_cast<int>(port));
  puts("==============================================");
  puts("Vendor Specific:");
  for (uint32_t index = 0; index < sizeof bytes; ++index) {
    printf("[0x%02x] ", bytes[index]);
    if (index % kDumpColumns == kDumpColumns - 1) putchar('\n');
  }
}

/// Reads the vendor-specific bytes, the first read of a module. Returns 0; FW_I2C_BUSY; or FW_FAIL if there is no
/// module.
uint32_t probe(uint32_t port, VendorSpecific &bytes, uint8_t verbose) {
  const uint32_t result = read_register(FW_SFP_MEMORY, kVendorSpecific, sizeof bytes, bytes);
  if (result == 0) return 0;
  if (result == FW_I2C_BUSY) return note_busy(result, verbose, kBusBusy);
  if (verbose != 0) printf("SFP %d not exist! \n", static_cast<int>(port));
  return FW_FAIL;
}

uint32_t bring_up_and_show_copper(uint32_t port, bool serdes_only, uint32_t set_sgmii, uint8_t verbose) {
  CopperState state{};
  const char *const line = copper_class(serdes_only).line;
  if (const uint32_t failed = bring_copper_up(port, line, set_sgmii, verbose, &state); failed != 0) return failed;
  if (i2c_debug_mode == 1 && verbose != 0) {
    printf("sfp_phy[0]:0x%02X, sfp_phy[1]:0x%02X, sgmii_cisco:%d\n", state.phy[0], state.phy[1], state.is_marvell);
  }
  uint8_t link = 0;
  uint8_t speed = 0;
  FW_SFP_SGMII_Get_Status(port, &link, &speed, verbose);
  return 0;
}

/// Ends FW_Get_SFP_Speed when the identification cannot be read. A busy bus: returns FW_I2C_BUSY. Any other failure: sets
/// *speed to FW_SFP_NOT_A_MODULE, returns FW_FAIL. Prints a line for either in debug mode.
uint32_t end_unreadable(uint32_t port, uint32_t result, uint8_t *speed) {
  if (result == FW_I2C_BUSY) return note_busy(result, i2c_debug_mode, kBusBusy);
  if (i2c_debug_mode == 1) printf("SFP %d non exist! \n", static_cast<int>(port));
  *speed = FW_SFP_NOT_A_MODULE;
  return FW_FAIL;
}

}  // namespace
}  // namespace zel

uint32_t FW_Show_SFP_Moudle(uint32_t port, uint32_t set_sgmii, uint8_t verbose) {
  if (const uint32_t failed = FW_SfpSel(port); failed != 0) return failed;
  zel::VendorSpecific bytes = {};
  if (const uint32_t failed = zel::probe(port, bytes, verbose); failed != 0) return failed;
  if (verbose != 0) zel::show_vendor_specific(port, bytes);

  zel::Text vendor_name{};
  zel::Text part_number{};
  zel::Text revision{};
  if (const uint32_t failed = zel::read_and_show(zel::kVendorName, &vendor_name, verbose); failed != 0) return failed;
  if (const uint32_t failed = zel::read_and_show(zel::kPartNumber, &part_number, verbose); failed != 0) return failed;
  if (const uint32_t failed = zel::read_and_show(zel::kRevision, &revision, verbose); failed != 0) return failed;
  zel::BaseId id{};
  if (const uint32_t failed = zel::read_id(&id); failed != 0) return zel::note_busy(failed, verbose, zel::kBusBusy);

  const zel::ModuleClass &module = zel::classify(id);
  if (module.medium == zel::Medium::Copper) {
    return zel::bring_up_and_show_copper(port, part_number.names_serdes_only_part(), set_sgmii, verbose);
  }
  if (verbose != 0 && module.line != nullptr) puts(module.line);
  return 0;
}

uint32_t FW_Get_SFP_Speed(uint32_t port, uint8_t *speed) {
  if (const uint32_t failed = FW_SfpSel(port); failed != 0) return failed;
  zel::BaseId id{};
  if (const uint32_t failed = zel::read_id(&id); failed != 0) return zel::end_unreadable(port, failed, speed);

  const zel::ModuleClass &module = zel::classify(id);
  *speed = module.code;
  if (module.code == FW_SFP_UNKNOWN && i2c_debug_mode == 1) puts(module.line);
  if (module.medium != zel::Medium::Copper) return 0;

  constexpr uint32_t kSetSgmii = 1;
  constexpr uint8_t kSilent = 0;
  zel::CopperState state{};
  const uint32_t bring_up = zel::bring_copper_up(port, module.line, kSetSgmii, kSilent, &state);
  if (bring_up != 0) return bring_up;
  zel::Text part_number{};
  if (const uint32_t failed = zel::read_field(zel::kPartNumber, &part_number); failed != 0) return failed;
  *speed = zel::copper_class(part_number.names_serdes_only_part()).code;
  return 0;
}
