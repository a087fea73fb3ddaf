// What a module is, from its identification alone: no access, no printing, no waiting.
#pragma once

#include <stdint.h>

namespace zel {

/// Bytes 0 to 15 of SFF-8472 page A0h.
struct BaseId {
  uint8_t byte[16];

  uint8_t identifier() const { return byte[0]; }
  uint8_t connector() const { return byte[2]; }
  uint8_t compliance_10g() const { return byte[3]; }
  uint8_t compliance_ethernet() const { return byte[6]; }
  bool passive_cable() const { return (byte[8] & 0x04) != 0; }
  uint8_t rate() const { return byte[12]; }  // units of 100 MBd

  /// The connector is RJ45, or the only Ethernet compliance is 1000BASE-T.
  bool copper() const { return connector() == 0x22 || compliance_ethernet() == 0x08; }
};

enum class Medium : uint8_t { FibreOrCable, Copper, None };

struct ModuleClass {
  uint8_t code;      // answer of FW_Get_SFP_Speed
  const char *line;  // line of FW_Show_SFP_Moudle; null = none
  Medium medium;
};

/// The class of a module with the given identification. Any 16 bytes have one.
const ModuleClass &classify(const BaseId &id);

/// The class of a copper module. The part number tells whether it has a SerDes interface only.
const ModuleClass &copper_class(bool serdes_only);

}  // namespace zel
