#pragma once

#include "board.h"

// The registers of a module's PHY. Numbers 0 to 15 are defined by IEEE 802.3 clause 22; 17 and 27 belong to the PHY.

namespace zelsim::phy {

constexpr unsigned kPhyRegisters = 32;

enum PhyRegister : unsigned {
  Control = 0,
  Status = 1,
  Identifier1 = 2,
  Identifier2 = 3,
  Advertisement = 4,
  PartnerAbility = 5,
  GigabitControl = 9,
  GigabitStatus = 10,
  ExtendedStatus = 15,
  PhyStatus = 17,
  ExtendedPhyStatus = 27,
};

// The first identifier register names the maker.
constexpr uint16_t kMarvellIdentifier1 = 0x0141;

// Bits of PhyStatus.
constexpr unsigned kSpeed1000 = 0x8000;
constexpr unsigned kSpeed100 = 0x4000;
constexpr unsigned kFullDuplex = 0x2000;
constexpr unsigned kResolved = 0x0800;
constexpr unsigned kLink = 0x0400;

}  // namespace zelsim::phy
