#include <string.h>

#include "board.h"

// A module in a cage, on the one module path which the cage select of the GPIO driver routes: its identification memory
// and, in a 1000BASE-T module, its PHY. That has 16-bit registers, high byte first, behind one offset byte: 0 to 15 are
// those of IEEE 802.3 clause 22; 17 and 27 are specific to the PHY.

namespace zelsim {
namespace {

enum Number : unsigned { Control, Status, Identifier1, Identifier2, Advertisement, PartnerAbility };
constexpr unsigned GigabitControl = 9, GigabitStatus = 10, ExtendedStatus = 15, PhyStatus = 17, ExtendedPhyStatus = 27;
constexpr unsigned kPhyRegisters = 32;
constexpr uint32_t kReadOnly = 1u << Status | 1u << Identifier1 | 1u << Identifier2 | 1u << PartnerAbility |
                               1u << GigabitStatus | 1u << ExtendedStatus | 1u << PhyStatus;

constexpr uint16_t kControlReset = 0x8000, kControlNegotiate = 0x1000, kControlPowerDown = 0x0800;
constexpr uint16_t kControlRestart = 0x0200;
constexpr uint16_t kControlSelfClearing = kControlReset | kControlRestart;

bool link_is_up(const Board &board, const Cage &cage) {
  int64_t since = cage.negotiating_since_us, needed = int64_t{board.settle_ms} * 1000;
  bool settled = wrapping_sum(now_us(board), wrapping_sum(~since, 1)) >= needed;
  return cage.link_speed != 0 && !(cage.phy_register[Control] & kControlPowerDown) && settled;
}

// What the partner offers is what the link runs at, and below 1000 Mb/s nothing in the gigabit register.
unsigned partner_ability(const Cage &cage) {
  constexpr unsigned kSelector = 0x0001, kAcknowledge = 0x4000, k10 = 0x0020, k100 = 0x0080;
  unsigned half = cage.link_speed == 1000 ? k10 | k100 : cage.link_speed == 100 ? k100 : k10;
  return kSelector | kAcknowledge | half | (cage.full_duplex ? half << 1 : 0);
}

unsigned gigabit_status(const Cage &cage) {
  constexpr unsigned kReceiversGood = 0x3000, kPartnerFull = 0x0800, kPartnerHalf = 0x0400;
  return cage.link_speed == 1000 ? kReceiversGood | (cage.full_duplex ? kPartnerFull : kPartnerHalf) : 0;
}

unsigned phy_status(const Cage &cage) {
  constexpr unsigned k1000 = 0x8000, k100 = 0x4000, kFullDuplex = 0x2000, kResolved = 0x0800, kLink = 0x0400;
  unsigned speed = cage.link_speed == 1000 ? k1000 : cage.link_speed == 100 ? k100 : 0;
  return speed | (cage.full_duplex ? kFullDuplex : 0) | kResolved | kLink;
}

unsigned value(const Board &board, const Cage &cage, unsigned number) {
  constexpr unsigned kStatusLink = 0x0004, kStatusNegotiated = 0x0020;
  bool up = link_is_up(board, cage);
  bool negotiated = up && (cage.phy_register[Control] & kControlNegotiate);
  if (number == Status)
    return cage.phy_register[Status] | (up ? kStatusLink : 0) | (negotiated ? kStatusNegotiated : 0);
  if (number == PartnerAbility) return negotiated ? partner_ability(cage) : 0;
  if (number == GigabitStatus) return negotiated ? gigabit_status(cage) : 0;
  if (number == PhyStatus) return up ? phy_status(cage) : 0;
  return cage.phy_register[number];
}

// A reset takes effect at once and keeps what was written to the other registers.
void write_value(const Board &board, Cage &cage, unsigned number, uint16_t written) {
  if (kReadOnly >> number & 1) return;
  uint16_t before = cage.phy_register[number];
  cage.phy_register[number] = number == Control ? static_cast<uint16_t>(written & ~kControlSelfClearing) : written;
  if (number != Control) return;
  if ((written & kControlSelfClearing) || ((before ^ written) & (kControlNegotiate | kControlPowerDown))) {
    restart_negotiation(board, cage);
  }
}

void reset_phy(Cage &cage) {
  bool marvell = cage.phy == PhyKind::Marvell;
  uint16_t first = marvell ? 0x0141 : 0x0022, second = marvell ? 0x0cc2 : 0x1640;
  // By number: registers 0 to 4, 9, 15 and 27.
  const uint16_t kPowerOn[kPhyRegisters] = {0x1140, 0x7949, first, second, 0x01e1, 0, 0, 0, 0, 0x0300, 0, 0, 0, 0,
                                            0,      0x3000, 0,     0,      0,      0, 0, 0, 0, 0,      0, 0, 0, 0x848c};
  memcpy(cage.phy_register, kPowerOn, sizeof cage.phy_register);
}

Cage *selected_module(Board &board) {
  unsigned port = board.gpio.selected_cage;
  if (!has_cage(board, port) || !board.cages[port].fitted) return nullptr;
  return &board.cages[port];
}

}  // namespace

bool has_cage(const Board &board, unsigned port) {
  if (port >= kPorts) return false;
  return port >= kDaughterPorts || board.i2c.slot_type[port / kPortsPerSlot] == kSfpBoard;
}

void plug(Board &board, unsigned port, const char *name, const uint8_t *page, PhyKind phy) {
  Cage &cage = board.cages[port];
  unplug(cage);
  strncpy(cage.name, name, sizeof cage.name - 1);
  memcpy(cage.page, page, sizeof cage.page);
  cage.phy = phy;
  reset_phy(cage);
  restart_negotiation(board, cage);
  cage.loss_of_signal = cage.tx_fault = 0;
  cage.fitted = 1;  // last: who dies here leaves an empty cage
}

void unplug(Cage &cage) {
  cage = {};
  cage.loss_of_signal = cage.tx_fault = 1;
  cage.link_speed = 1000;
  cage.full_duplex = 1;
}

// The memory is write-protected by its maker: the module does not acknowledge a write.
int module_memory(Board &board, Transfer &transfer) {
  const Cage *cage = selected_module(board);
  if (cage == nullptr || transfer.write) return kFail;
  unsigned at = transfer.offset_len > 0 ? transfer.offset : 0;
  for (unsigned i = 0; i < transfer.len; ++i) transfer.data[i] = cage->page[(at + i) % sizeof cage->page];
  return 0;
}

void restart_negotiation(const Board &board, Cage &cage) { cage.negotiating_since_us = now_us(board); }

int copper_phy(Board &board, Transfer &transfer) {
  Cage *cage = selected_module(board);
  if (cage == nullptr || cage->phy == PhyKind::None || (transfer.write && transfer.offset_len == 0)) return kFail;
  // Without its transmitter the module keeps its PHY in reset: nobody answers.
  if (tx_disable(board, board.gpio.selected_cage)) return kFail;
  unsigned first = transfer.offset_len > 0 ? transfer.offset : 0;
  for (unsigned i = 0; i < transfer.len; ++i) {
    unsigned number = (first + i / 2) % kPhyRegisters;
    uint8_t *data = transfer.data + i;
    if (!transfer.write) *data = static_cast<uint8_t>(value(board, *cage, number) >> (i % 2 == 0 ? 8 : 0));
    if (transfer.write && i % 2 == 1) write_value(board, *cage, number, static_cast<uint16_t>(data[-1] << 8 | data[0]));
  }
  return 0;
}

}  // namespace zelsim
