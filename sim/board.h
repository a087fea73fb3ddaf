#pragma once

#include <cstddef>

#include "attached.h"
#include "environment.h"
#include "nodes.h"
#include "state.h"

// The board and its chips, as drivers and the world meet them.

namespace zelsim {

/** State of a switch that has started up. The flash contents and their counters stay. Its expanders are configured;
 *  only a hardware reset takes them back to their power-on state. */
void power_on(Board &board);

/** The chips that a hardware reset reaches: LEDs, flags, watchdog, cage select, expanders. */
void reset_hardware(Board &board);

/** Fits a board into slot index 0 to 2, or takes it out. Both pull the modules there, and put the expanders there into
 *  their working configuration. */
void fit(Board &board, unsigned slot, uint8_t type);

/** A damaged state file may hold any time, so sums and differences of times wrap. */
inline int64_t wrapping_sum(int64_t first, int64_t second) {
  return static_cast<int64_t>(static_cast<uint64_t>(first) + static_cast<uint64_t>(second));
}
inline int64_t wrapping_difference(int64_t first, int64_t second) {
  return static_cast<int64_t>(static_cast<uint64_t>(first) - static_cast<uint64_t>(second));
}

/** The number that the change in progress will have. The caller holds the board's lock. */
inline uint32_t number_of_change(const Board &board) { return board.watch.changes + 1; }

/** The board's time: the host's, advanced by the pauses that were counted instead of slept. */
int64_t now_us(const Board &board);

// Results of the drivers.
constexpr int kFail = 0xffff;
constexpr int kBusBusy = 0xfffa;

/** One transfer as the chip sees it: its address byte, the offset bytes that are sent first, and the data. */
struct Transfer {
  bool write;
  uint8_t address;  // 8-bit form
  uint32_t offset;
  uint8_t offset_len;
  uint8_t *data;
  uint8_t len;

  /** The first byte that the transfer is about: its offset, or 0 without one. */
  unsigned first() const { return offset_len > 0 ? offset : 0; }

  /** Sets a chip's register pointer. With an offset, the offset is the pointer. A write without one begins with the
   *  pointer; the rest is data. A read without one leaves the pointer. */
  void take_pointer(uint8_t *pointer, unsigned registers);
};

/** A kind of chip and the addresses that it answers to. A chip that is not there answers kFail. */
struct I2cDevice {
  uint8_t first;
  uint8_t last;
  int (*answer)(Board &board, Transfer &transfer);
};

// Addresses on the bus, in their 8-bit form. The clock has one for each command.
constexpr uint8_t kFirstWideAddress = 0x40;
constexpr uint8_t kMainWideAddress = kFirstWideAddress + 2 * kMainWide;
constexpr uint8_t kFirstClockAddress = 0x60;
constexpr uint8_t kClockTimeAddress = 0x64;
constexpr uint8_t kLastClockAddress = 0x6e;
constexpr uint8_t kFirstNarrowAddress = 0x70;
constexpr uint8_t kLastNarrowAddress = kFirstNarrowAddress + 2 * (kNarrowExpanders - 1);
constexpr uint8_t kSensorAddress = 0x9e;
constexpr uint8_t kModuleAddress = 0xa0;
constexpr uint8_t kModuleDiagnosticsAddress = 0xa2;
constexpr uint8_t kModulePhyAddress = 0xac;

constexpr bool is_expander(uint8_t address) {
  bool wide = address >= kFirstWideAddress && address <= kMainWideAddress;
  bool narrow = address >= kFirstNarrowAddress && address <= kLastNarrowAddress;
  return (wide || narrow) && address % 2 == 0;
}
int expander(Board &board, Transfer &transfer);
int clock_chip(Board &board, Transfer &transfer);
int temperature_sensor(Board &board, Transfer &transfer);
int module_memory(Board &board, Transfer &transfer);
int module_diagnostics(Board &board, Transfer &transfer);
int copper_phy(Board &board, Transfer &transfer);

/** Registers of an expander's port, in their order: what the lines show, and how they are set up. */
enum ExpanderRegister : unsigned { Input, Output, Polarity, Configuration, kExpanderRegisters };
/** One of the registers, of one port of the chip. */
struct ExpanderPort {
  ExpanderRegister kind;
  unsigned port;
};
/** The register that byte `i` of a transfer beginning with register `first` moves. */
ExpanderPort expander_register(uint8_t address, unsigned first, unsigned i);

/** What a line of an expander is: a signal of a cage. */
struct ExpanderLine {
  unsigned port;       // of the switch
  const char *signal;  // as in `zelsim show`; null: the line belongs to no cage
};
ExpanderLine expander_line(uint8_t address, unsigned chip_port, unsigned bit);

void reset_expanders(Board &board);

/** Working configuration as the switch's start-up program leaves it: every transmitter off, the cages' other lines inputs. */
void start_daughter_expanders(Board &board, unsigned slot);
void start_main_expanders(Board &board);

/** The chip's time, in seconds since 1970 without time zones. */
int64_t clock_seconds(const Board &board);
void set_clock(Board &board, int64_t seconds);
/** The chip's real-time data: seven bytes, in the chip's order of bits. */
constexpr size_t kClockTimeBytes = 7;
/** The time in real-time data, in seconds as above. */
int64_t clock_reading(const uint8_t *fields);
/** How many days the chip's weekday is ahead of the weekday of its date. */
uint8_t weekday_shift(int weekday, const std::tm &date);
/** The number of the weekday in real-time data. */
int clock_weekday(const uint8_t *fields);

/** 1 = the module's transmitter is off: driven so, or pulled up while the expander's line is an input. */
uint8_t tx_disable(const Board &board, unsigned port);

/** True for a cage of the main board, or of a fitted board with cages. */
bool has_cage(const Board &board, unsigned port);
/** True for the RJ45 ports of a fitted copper board. */
bool has_jack(const Board &board, unsigned port);
/** True for a port with a PHY of its own, or in its module: it has a link. */
bool has_link(const Board &board, unsigned port);
/** Puts a module with this identification page into a cage. It has light and no fault. */
void plug(Board &board, unsigned port, const char *name, const uint8_t *page, PhyKind phy,
          const DiagnosticsMemory &diagnostics);
void unplug(Cage &cage);

/** The module in the cage that the GPIO driver selected; null if there is none. */
Cage *selected_module(Board &board);

/** The PHY of a 1000BASE-T module. */
void reset_phy(Cage &cage);
void restart_negotiation(const Board &board, Cage &cage);
/** A register of the PHY behind an RJ45 port, as its link is.
 *  @param stored  what was written to it; null if nothing was */
uint32_t jack_register(const Board &board, unsigned port, uint32_t number, const uint32_t *stored);
/** The same PHY gets another link partner. */
void replug_jack(Board &board, unsigned port, uint16_t speed, bool full_duplex);

/** A register of the SoC, of the switch chip or of a port's PHY: the value that was written last. Before the first write it
 *  is 0; some registers of an RJ45 port's PHY tell its link. */
uint32_t read_register(const Board &board, RegisterSpace space, uint8_t port, uint32_t address);
/** Returns false when the table of written registers is full. */
bool write_register(Board &board, RegisterSpace space, uint8_t port, uint32_t address, uint32_t value);

/** The SoC register with the loss-of-signal lines of the main board's cages, and the bit of the first one. */
constexpr uint32_t kLossOfSignalRegister = 0x18110;
constexpr unsigned kFirstLossOfSignal = 8;

constexpr uint32_t kWatchdogRegister = 0x20300;
constexpr uint32_t kWatchdogEnabled = 0x100;

/** The power status byte of the GPIO driver, and its bits. */
uint8_t power_status(const Board &board);
constexpr unsigned kTwoSupplies = 0x08;
constexpr unsigned kFirstSupplyDc = 0x10;
constexpr unsigned kSecondSupplyDc = 0x20;
constexpr unsigned kFirstSupplyGood = 0x40;
constexpr unsigned kSecondSupplyGood = 0x80;

/** The flash chip's JEDEC identification: manufacturer, memory type, capacity. */
constexpr uint8_t kJedecId[] = {0x20, 0xba, 0x19};

}  // namespace zelsim
