#include <string.h>

#include "changes.h"
#include "phy.h"

// The PHYs of 1000BASE-T modules, and the RJ45 ports of the copper boards. A module's PHY has 16-bit registers, high byte
// first, behind one offset byte.

namespace zelsim {
namespace {

using namespace phy;

constexpr uint16_t kControlReset = 0x8000;
constexpr uint16_t kControlNegotiate = 0x1000;
constexpr uint16_t kControlPowerDown = 0x0800;
constexpr uint16_t kControlRestart = 0x0200;
constexpr uint16_t kControlSelfClearing = kControlReset | kControlRestart;
// 10 and 100 Mb/s, extended status, auto-negotiation, extended registers.
constexpr uint16_t kStatusAbilities = 0x7949;
constexpr unsigned kStatusLink = 0x0004;
constexpr unsigned kStatusNegotiated = 0x0020;

bool is_read_only(unsigned number) {
  switch (number) {
    case Status:
    case Identifier1:
    case Identifier2:
    case PartnerAbility:
    case GigabitStatus:
    case ExtendedStatus:
    case PhyStatus:
      return true;
    default:
      return false;
  }
}

bool is_of_partner(uint32_t number) { return number == PartnerAbility || number == GigabitStatus; }

bool has_settled(const Board &board, const Cage &cage) {
  int64_t passed_us = wrapping_difference(now_us(board), cage.negotiating_since_us);
  return passed_us >= static_cast<int64_t>(board.settle_ms) * 1000;
}

bool link_is_up(const Board &board, const Cage &cage) {
  bool powered_down = (cage.phy_register[Control] & kControlPowerDown) != 0;
  return cage.link_speed != 0 && !powered_down && has_settled(board, cage);
}

// The partner offers the speed of the link. Only a gigabit partner offers the speeds below, too.
unsigned partner_ability(const Cage &cage) {
  constexpr unsigned kSelector = 0x0001;
  constexpr unsigned kAcknowledge = 0x4000;
  constexpr unsigned k10 = 0x0020;
  constexpr unsigned k100 = 0x0080;
  unsigned half = k10;
  if (cage.link_speed == 100) half = k100;
  if (cage.link_speed == 1000) half = k10 | k100;
  unsigned full = cage.full_duplex ? half << 1 : 0;  // the bit above
  return kSelector | kAcknowledge | half | full;
}

unsigned gigabit_status(const Cage &cage) {
  constexpr unsigned kReceiversGood = 0x3000;
  constexpr unsigned kPartnerFull = 0x0800;
  constexpr unsigned kPartnerHalf = 0x0400;
  if (cage.link_speed != 1000) return 0;
  return kReceiversGood | (cage.full_duplex ? kPartnerFull : kPartnerHalf);
}

unsigned phy_status(const Cage &cage) {
  unsigned status = kResolved | kLink;
  if (cage.link_speed == 1000) status |= kSpeed1000;
  if (cage.link_speed == 100) status |= kSpeed100;
  if (cage.full_duplex) status |= kFullDuplex;
  return status;
}

unsigned status(const Cage &cage, bool up, bool negotiated) {
  unsigned bits = cage.phy_register[Status];
  if (up) bits |= kStatusLink;
  if (negotiated) bits |= kStatusNegotiated;
  return bits;
}

unsigned register_value(const Board &board, const Cage &cage, unsigned number) {
  bool up = link_is_up(board, cage);
  bool negotiated = up && (cage.phy_register[Control] & kControlNegotiate) != 0;
  switch (number) {
    case Status:
      return status(cage, up, negotiated);
    case PartnerAbility:
      return negotiated ? partner_ability(cage) : 0;
    case GigabitStatus:
      return negotiated ? gigabit_status(cage) : 0;
    case PhyStatus:
      return up ? phy_status(cage) : 0;
    default:
      return cage.phy_register[number];
  }
}

// A reset takes effect at once and keeps what was written to the other registers.
void write_control(const Board &board, Cage &cage, uint16_t written) {
  auto kept = static_cast<uint16_t>(written & ~kControlSelfClearing);
  unsigned changed = cage.phy_register[Control] ^ written;
  cage.phy_register[Control] = kept;
  bool asked_for = (written & kControlSelfClearing) != 0;
  bool needed = (changed & (kControlNegotiate | kControlPowerDown)) != 0;
  if (asked_for || needed) restart_negotiation(board, cage);
}

void write_value(Board &board, Cage &cage, unsigned number, uint16_t written) {
  if (is_read_only(number)) return;
  uint16_t before = cage.phy_register[number];
  if (number == Control) {
    write_control(board, cage, written);
  } else {
    cage.phy_register[number] = written;
  }
  log_change(board, {.kind = ChangeKind::ModulePhy,
                     .place = board.gpio.selected_cage,
                     .address = number,
                     .before = before,
                     .after = cage.phy_register[number]});
}

void read_values(const Board &board, const Cage &cage, unsigned first, Transfer &transfer) {
  for (unsigned i = 0; i < transfer.len; ++i) {
    unsigned value = register_value(board, cage, (first + i / 2) % kPhyRegisters);
    transfer.data[i] = static_cast<uint8_t>(i % 2 == 0 ? value >> 8 : value);
  }
}

// A register takes both its bytes or none.
void write_values(Board &board, Cage &cage, unsigned first, const Transfer &transfer) {
  for (unsigned i = 0; i + 1 < transfer.len; i += 2) {
    auto written = static_cast<uint16_t>(transfer.data[i] << 8 | transfer.data[i + 1]);
    write_value(board, cage, (first + i / 2) % kPhyRegisters, written);
  }
}

}  // namespace

void reset_phy(Cage &cage) {
  uint16_t *registers = cage.phy_register;
  memset(registers, 0, sizeof cage.phy_register);
  if (cage.phy == PhyKind::Marvell) {
    registers[Identifier1] = kMarvellIdentifier1;
    registers[Identifier2] = 0x0cc2;
  } else {
    registers[Identifier1] = 0x0022;
    registers[Identifier2] = 0x1640;
  }
  registers[Control] = 0x1140;  // auto-negotiation, full duplex, 1000 Mb/s
  registers[Status] = kStatusAbilities;
  registers[Advertisement] = 0x01e1;   // 10 and 100 Mb/s, half and full duplex
  registers[GigabitControl] = 0x0300;  // 1000 Mb/s, half and full duplex
  registers[ExtendedStatus] = 0x3000;  // 1000BASE-T, half and full duplex
  registers[ExtendedPhyStatus] = 0x848c;
}

uint32_t jack_register(const Board &board, unsigned port, uint32_t number, const uint32_t *stored) {
  constexpr unsigned kOfLink = kStatusLink | kStatusNegotiated;
  const Cage &cable = board.cages[port];
  bool up = cable.link_speed != 0 && has_settled(board, cable);
  if (number == Status) {
    uint32_t rest = stored != nullptr ? *stored & ~kOfLink : uint32_t{kStatusAbilities};
    return up ? rest | kOfLink : rest;
  }
  if (is_of_partner(number) && !up) return 0;
  if (stored != nullptr) return *stored;
  if (number == PartnerAbility) return partner_ability(cable);
  return number == GigabitStatus ? gigabit_status(cable) : 0;
}

// What was told of the partner before is no longer true.
void replug_jack(Board &board, unsigned port, uint16_t speed, bool full_duplex) {
  for (Register &row : board.registers) {
    bool is_meant = row.space == RegisterSpace::Phy && row.port == port && is_of_partner(row.address);
    if (is_meant) row = {};
  }
  board.cages[port].link_speed = speed;
  board.cages[port].full_duplex = full_duplex;
  restart_negotiation(board, board.cages[port]);
}

void restart_negotiation(const Board &board, Cage &cage) { cage.negotiating_since_us = now_us(board); }

int copper_phy(Board &board, Transfer &transfer) {
  Cage *cage = selected_module(board);
  if (cage == nullptr || cage->phy == PhyKind::None) return kFail;
  // Without its transmitter the module keeps its PHY in reset: nobody answers.
  if (tx_disable(board, board.gpio.selected_cage)) return kFail;
  if (transfer.write && transfer.offset_len == 0) return kFail;
  if (transfer.write) {
    write_values(board, *cage, transfer.first(), transfer);
  } else {
    read_values(board, *cage, transfer.first(), transfer);
  }
  return 0;
}

}  // namespace zelsim
