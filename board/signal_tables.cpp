// Where each cage's signals are found, in the shape of the hardware manual: one row a port, one column a signal.
#include <array>

#include "zelboard/ports.h"

namespace zel {
namespace {

constexpr uint32_t kPorts = 28, kDaughterPorts = 24;

struct Row {
  sfp_signal presence, tx_disable, tx_fault, loss_of_signal;
};

constexpr Row kRows[kPorts] = {
    // presence, transmit disable, transmit fault, loss of signal: expander, register, mask
    {{0x40, 0, 0x01}, {0x40, 2, 0x04}, {0x40, 0, 0x02}, {0x70, 0, 0x01}},  // 0
    {{0x40, 0, 0x10}, {0x40, 2, 0x40}, {0x40, 0, 0x20}, {0x70, 0, 0x02}},
    {{0x40, 1, 0x01}, {0x40, 3, 0x04}, {0x40, 1, 0x02}, {0x70, 0, 0x04}},
    {{0x40, 1, 0x10}, {0x40, 3, 0x40}, {0x40, 1, 0x20}, {0x70, 0, 0x08}},
    {{0x42, 0, 0x01}, {0x42, 2, 0x04}, {0x42, 0, 0x02}, {0x70, 0, 0x10}},
    {{0x42, 0, 0x10}, {0x42, 2, 0x40}, {0x42, 0, 0x20}, {0x70, 0, 0x20}},
    {{0x42, 1, 0x01}, {0x42, 3, 0x04}, {0x42, 1, 0x02}, {0x70, 0, 0x40}},
    {{0x42, 1, 0x10}, {0x42, 3, 0x40}, {0x42, 1, 0x20}, {0x70, 0, 0x80}},
    {{0x44, 0, 0x01}, {0x44, 2, 0x04}, {0x44, 0, 0x02}, {0x72, 0, 0x01}},  // 8
    {{0x44, 0, 0x10}, {0x44, 2, 0x40}, {0x44, 0, 0x20}, {0x72, 0, 0x02}},
    {{0x44, 1, 0x01}, {0x44, 3, 0x04}, {0x44, 1, 0x02}, {0x72, 0, 0x04}},
    {{0x44, 1, 0x10}, {0x44, 3, 0x40}, {0x44, 1, 0x20}, {0x72, 0, 0x08}},
    {{0x46, 0, 0x01}, {0x46, 2, 0x04}, {0x46, 0, 0x02}, {0x72, 0, 0x10}},
    {{0x46, 0, 0x10}, {0x46, 2, 0x40}, {0x46, 0, 0x20}, {0x72, 0, 0x20}},
    {{0x46, 1, 0x01}, {0x46, 3, 0x04}, {0x46, 1, 0x02}, {0x72, 0, 0x40}},
    {{0x46, 1, 0x10}, {0x46, 3, 0x40}, {0x46, 1, 0x20}, {0x72, 0, 0x80}},
    {{0x48, 0, 0x01}, {0x48, 2, 0x04}, {0x48, 0, 0x02}, {0x74, 0, 0x01}},  // 16
    {{0x48, 0, 0x10}, {0x48, 2, 0x40}, {0x48, 0, 0x20}, {0x74, 0, 0x02}},
    {{0x48, 1, 0x01}, {0x48, 3, 0x04}, {0x48, 1, 0x02}, {0x74, 0, 0x04}},
    {{0x48, 1, 0x10}, {0x48, 3, 0x40}, {0x48, 1, 0x20}, {0x74, 0, 0x08}},
    {{0x4A, 0, 0x01}, {0x4A, 2, 0x04}, {0x4A, 0, 0x02}, {0x74, 0, 0x10}},
    {{0x4A, 0, 0x10}, {0x4A, 2, 0x40}, {0x4A, 0, 0x20}, {0x74, 0, 0x20}},
    {{0x4A, 1, 0x01}, {0x4A, 3, 0x04}, {0x4A, 1, 0x02}, {0x74, 0, 0x40}},
    {{0x4A, 1, 0x10}, {0x4A, 3, 0x40}, {0x4A, 1, 0x20}, {0x74, 0, 0x80}},
    {{0x7A, 0, 0x02}, {0x76, 1, 0x02}, {0x76, 0, 0x01}, {0x7A, 0, 0x01}},  // 24, main board
    {{0x7A, 0, 0x08}, {0x76, 1, 0x20}, {0x76, 0, 0x10}, {0x7A, 0, 0x04}},
    {{0x7A, 0, 0x20}, {0x78, 1, 0x02}, {0x78, 0, 0x01}, {0x7A, 0, 0x10}},
    {{0x7A, 0, 0x80}, {0x78, 1, 0x20}, {0x78, 0, 0x10}, {0x7A, 0, 0x40}},
};

constexpr bool is(const sfp_signal &signal, uint32_t address, uint32_t reg, uint32_t bit) {
  return signal.address == address && signal.reg == reg && signal.mask == 1U << bit;
}

/// The daughter boards' wiring: a slot has two 16-bit expanders, four cages each, and an 8-bit one for loss of signal. A
/// cage has a nibble of an input and output port: presence, transmit fault, transmit disable, and one unused output.
constexpr bool follows_wiring(uint32_t port) {
  const uint32_t slot = port / 8, cage = port % 4;
  const uint32_t expander = 0x40 + 4 * slot + 2 * (port % 8 / 4);
  const uint32_t half = cage / 2, nibble = 4 * (cage % 2);
  const Row &row = kRows[port];
  return is(row.presence, expander, half, nibble) && is(row.tx_fault, expander, half, nibble + 1) &&
         is(row.tx_disable, expander, 2 + half, nibble + 2) && is(row.loss_of_signal, 0x70 + 2 * slot, 0, port % 8);
}

constexpr bool daughter_rows_follow_wiring() {
  for (uint32_t port = 0; port < kDaughterPorts; ++port) {
    if (!follows_wiring(port)) return false;
  }
  return true;
}
static_assert(daughter_rows_follow_wiring());

using Column = std::array<sfp_signal, kPorts>;
using SocColumn = std::array<sfp_soc_signal, kPorts>;
static_assert(sizeof(Column) == 3 * kPorts && sizeof(SocColumn) == 8 * kPorts);

constexpr Column column(sfp_signal Row::*signal) {
  Column cells{};
  for (uint32_t port = 0; port < kPorts; ++port) cells[port] = kRows[port].*signal;
  return cells;
}

/// Loss of signal of the main-board cages reaches the SoC: register 0x18110, bits 8 to 11.
constexpr SocColumn soc_column() {
  SocColumn cells{};
  for (uint32_t port = kDaughterPorts; port < kPorts; ++port)
    cells[port] = {0x18110, 0x100U << (port - kDaughterPorts)};
  return cells;
}

}  // namespace

// The exported names stand for the columns: plain writable arrays to whoever links them.
[[gnu::visibility("default")]] constinit Column presence asm("sfp_presnt") = column(&Row::presence);
[[gnu::visibility("default")]] constinit Column tx_disable asm("sfp_txenable") = column(&Row::tx_disable);
[[gnu::visibility("default")]] constinit Column tx_fault asm("sfp_txfault") = column(&Row::tx_fault);
[[gnu::visibility("default")]] constinit Column loss_of_signal asm("sfp_los") = column(&Row::loss_of_signal);
[[gnu::visibility("default")]] constinit SocColumn soc_loss_of_signal asm("sfp_los_gpio") = soc_column();

}  // namespace zel
