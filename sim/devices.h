#pragma once

#include <cstddef>

#include "state.h"

// The chips of the board, as the I2C driver and the world meet them.

namespace zelsim {

constexpr int kFail = 0xffff;
constexpr int kBusBusy = 0xfffa;

/** One transfer as the chip sees it: what stands in its address byte, the offset bytes sent first, and the data. */
struct Transfer {
  bool write;
  uint8_t address;  // 8-bit form
  uint32_t offset;
  uint8_t offset_len;
  uint8_t *data;
  uint8_t len;

  /** The register pointer: the offset, else the first byte written, else what it was. Drops that byte from the data. */
  void take_pointer(uint8_t *pointer, unsigned registers);
};

/** A kind of chip and the addresses that it answers to. One that is not there answers kFail. */
struct I2cDevice {
  uint8_t first, last;
  int (*answer)(Board &board, Transfer &transfer);
};

constexpr uint8_t kFirstWide = 0x40, kFirstNarrow = 0x70;
int expander(Board &board, Transfer &transfer);
int clock_chip(Board &board, Transfer &transfer);
int temperature_sensor(Board &board, Transfer &transfer);
int module_memory(Board &board, Transfer &transfer);
int copper_phy(Board &board, Transfer &transfer);

void reset_expanders(Board &board);

/** Working configuration as the switch's start-up program leaves it: every transmitter off, the cages' other lines inputs. */
void start_daughter_expanders(Board &board, unsigned slot);
void start_main_expanders(Board &board);
void reset_clock(Clock &clock);

/** The chip's time, in seconds since 1970 without time zones. */
int64_t clock_seconds(const Board &board);
void set_clock(Board &board, int64_t seconds);

/** 1 = the module's transmitter is off: driven so, or pulled up while the expander's line is an input. */
uint8_t tx_disable(const Board &board, unsigned port);

/** A cage that exists: one of the main board's, or on a fitted board with cages. */
bool has_cage(const Board &board, unsigned port);
/** Puts a module with this identification page into a cage. Light is there and nothing fails until the world says so.
 *  */
void plug(Board &board, unsigned port, const char *name, const uint8_t *page, PhyKind phy);
void unplug(Cage &cage);
/** The cage whose module answers on the module path, or null: none selected, no board with cages there, or empty. */
Cage *selected_module(Board &board);

void reset_phy(Cage &cage);
void restart_negotiation(const Board &board, Cage &cage);
/** Value of a register as a read would give it now. */
unsigned phy_value(const Board &board, unsigned port, unsigned number);

/** SoC, switch-chip and port PHY registers: what was written comes back, 0 before. False when the table is full. */
uint32_t read_register(const Board &board, RegisterSpace space, uint8_t port, uint32_t address);
bool write_register(Board &board, RegisterSpace space, uint8_t port, uint32_t address, uint32_t value);

constexpr uint32_t kWatchdogRegister = 0x20300;
constexpr uint32_t kWatchdogEnabled = 0x100;

/** The power status byte of the GPIO driver. */
uint8_t power_status(const Board &board);

}  // namespace zelsim
