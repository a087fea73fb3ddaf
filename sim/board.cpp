#include "board.h"

#include <string.h>

#include "rules.h"
#include "trace.h"

// The start-up, the hardware reset, the fitting of a daughter board; the board's time.

namespace zelsim {

void reset_hardware(Board &board) {
  Gpio fresh = {};
  fresh.selected_cage = kNoCage;
  fresh.hardware_resets = board.gpio.hardware_resets;
  fresh.reset_key = board.gpio.reset_key;
  board.gpio = fresh;
  memset(board.chain, 0, sizeof board.chain);
  memset(board.registers, 0, sizeof board.registers);
  reset_expanders(board);
}

void power_on(Board &board) {
  board.gpio = {};
  board.i2c = {};
  reset_hardware(board);
  start_main_expanders(board);
  for (uint8_t &level : board.i2c.io_level) level = 0xff;
  board.i2c.clock.value[kClockStatus] = kClock24Hours;
  board.i2c.clock_present = 1;
  board.i2c.sensor_present = 1;
  board.i2c.sensor = {0, {25 << 8, 0, 75 << 8, 80 << 8}};  // 25 C; hysteresis at 75 C, over-temperature at 80 C
  for (Cage &cage : board.cages) unplug(cage);
  for (Supply &supply : board.supply) supply = Supply::Ac;
  for (uint8_t &good : board.supply_good) good = 1;
  board.flash.chip_index = 0;
  board.flash.debug = 0;
  board.flash.extended_address = 0;
  heal(board);
  board.paused_us = 0;
  board.settle_ms = 200;
}

void fit(Board &board, unsigned slot, uint8_t type) {
  board.i2c.slot_type[slot] = type;
  board.i2c.slot_alive[slot] = type != kNoBoard;
  unsigned first_port = slot * kPortsPerSlot;
  for (unsigned port = first_port; port < first_port + kPortsPerSlot; ++port) unplug(board.cages[port]);
  start_daughter_expanders(board, slot);
}

int64_t now_us(const Board &board) { return wrapping_sum(host_time_us(), static_cast<int64_t>(board.paused_us)); }

}  // namespace zelsim
