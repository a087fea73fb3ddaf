#include "sfp/module_class.h"

#include <stddef.h>

#include "zelboard/sfp.h"

namespace zel {
namespace {

constexpr uint8_t kSfp = 3;             // identifier of an SFP or SFP+ module
constexpr uint8_t kFirst10GRate = 100;  // units of 100 MBd

constexpr auto kFibre = Medium::FibreOrCable;
constexpr ModuleClass k100Fx{FW_SFP_100FX, "This is a PORT_SFP_100FX type. ", kFibre};
constexpr ModuleClass k1000X{FW_SFP_1000BASE_X, "This is a PORT_SFP_1000BASE_X type. ", kFibre};
constexpr ModuleClass k1000Sx{FW_SFP_1000BASE_X, "This is a PORT_SFP_1000BASE_SX type. ", kFibre};
constexpr ModuleClass k1000Cx{FW_SFP_1000BASE_X, "This is a PORT_SFP_1000BASE_CX type. ", kFibre};
constexpr ModuleClass kUnknown{FW_SFP_UNKNOWN, "This is an unknown type. ", kFibre};
constexpr ModuleClass k2G5{FW_SFP_2G5, "This is a PORT_SFP_2G5 type. ", kFibre};
constexpr ModuleClass k5G{FW_SFP_5G, "This is a PORT_SFP_5G type. ", kFibre};
constexpr ModuleClass k10G{FW_SFP_10G, "This is a PORT_SFP_10G type. ", kFibre};
constexpr ModuleClass kDac{FW_SFP_10G_DAC, "This is a PORT_SFP_10G DAC type. ", kFibre};
constexpr ModuleClass kEr{FW_SFP_10G_ER, "This is a PORT_SFP_10G ER type. ", kFibre};
constexpr ModuleClass kLrm{FW_SFP_10G_LRM, "This is a PORT_SFP_10G LRM type. ", kFibre};
constexpr ModuleClass kLr{FW_SFP_10G_LR, "This is a PORT_SFP_10G LR type. ", kFibre};
constexpr ModuleClass kSr{FW_SFP_10G_SR, "This is a PORT_SFP_10G SR type. ", kFibre};
constexpr ModuleClass kCopper{FW_SFP_COPPER, "This is a RJ45 connector(1000BASE-T) type. ", Medium::Copper};
constexpr ModuleClass kCopperSerdes{
    FW_SFP_COPPER_SERDES, "This is a RJ45 connector(1000BASE-T) type(Interface serdes only). ", Medium::Copper};
constexpr ModuleClass kNotSfp{FW_SFP_NOT_A_MODULE, "DDM show this is not a SFP module.", Medium::None};

// 1000BASE-LX below 2.5 GBd: the code says 1 Gb/s, the display says what the rate says.
constexpr ModuleClass kLxAs1000X{FW_SFP_1000BASE_X, k1000X.line, kFibre};
constexpr ModuleClass kLxAs100Fx{FW_SFP_1000BASE_X, k100Fx.line, kFibre};
constexpr ModuleClass kLxSilent{FW_SFP_1000BASE_X, nullptr, kFibre};

struct Band {
  uint8_t from;  // lowest rate
  const ModuleClass &by_rate;
  const ModuleClass &lx;
};

// From the highest to the lowest.
constexpr Band kBands[] = {
    {kFirst10GRate, k10G, k10G},  //
    {50, k5G, k5G},               //
    {25, k2G5, k2G5},             //
    {10, k1000X, kLxAs1000X},     //
    {1, k100Fx, kLxAs100Fx},      //
    {0, kUnknown, kLxSilent},
};

// Ends: the last band begins at 0.
const Band &band(uint8_t rate) {
  const Band *found = kBands;
  while (rate < found->from) ++found;
  return *found;
}

struct Compliance {
  uint8_t bit;
  const ModuleClass &type;
};

// The highest bit decides.
constexpr Compliance kTenGigabit[] = {{0x80, kEr}, {0x40, kLrm}, {0x20, kLr}, {0x10, kSr}};

const ModuleClass *ten_gigabit_class(uint8_t compliance) {
  for (const Compliance &entry : kTenGigabit) {
    if ((compliance & entry.bit) != 0) return &entry.type;
  }
  return nullptr;
}

// Ethernet compliance codes.
constexpr uint8_t kSx = 0x01;
constexpr uint8_t kLx = 0x02;
constexpr uint8_t kCx = 0x04;
constexpr uint8_t k100BaseLx = 0x10;
constexpr uint8_t k100BaseFx = 0x20;

const ModuleClass &ethernet_class(uint8_t compliance, uint8_t rate) {
  if ((compliance & kSx) != 0) return k1000Sx;
  if ((compliance & kLx) != 0) return band(rate).lx;
  if ((compliance & kCx) != 0) return k1000Cx;
  if ((compliance & (k100BaseLx | k100BaseFx)) != 0) return k100Fx;
  return band(rate).by_rate;
}

}  // namespace

const ModuleClass &classify(const BaseId &id) {
  if (id.identifier() != kSfp) return kNotSfp;
  if (id.rate() >= kFirst10GRate) {
    if (id.passive_cable()) return kDac;
    if (const ModuleClass *const found = ten_gigabit_class(id.compliance_10g())) return *found;
  }
  if (id.copper()) return kCopper;
  return ethernet_class(id.compliance_ethernet(), id.rate());
}

const ModuleClass &copper_class(bool serdes_only) { return serdes_only ? kCopperSerdes : kCopper; }

}  // namespace zel
