#pragma once

#include <pthread.h>

#include <cstdint>

// The state of one board, as plain data: it is the layout of the mapped state file, shared by every process on the
// board. A change of the layout needs a new kVersion. No field holds a pointer, and no model trusts a field as an index
// unchecked: whatever a killed process left behind is a usable state.

namespace zelsim {

constexpr uint64_t kMagic = 0x455441545357455aULL;  // "ZEWSTATE"
constexpr uint32_t kVersion = 3;

constexpr uint32_t kFlashSize = 0x2000000, kSectorSize = 0x10000, kSectors = kFlashSize / kSectorSize, kPageSize = 256;

constexpr unsigned kPorts = 28, kDaughterPorts = 24, kSlots = 3, kPortsPerSlot = 8;
constexpr unsigned kChainGroups = 32, kChainBits = 8;
constexpr unsigned kMaxRules = 32, kRegisters = 256;
constexpr uint32_t kWatchedBytes = 0x10000;
constexpr uint8_t kNoCage = 0xff;

enum class Node : uint8_t { None, Gpio, I2c, Flash, Any };

enum class Supply : uint8_t { None, Ac, Dc };

// Board types as the I2C driver reports them: 1 is the copper board, any other value a board with cages.
constexpr uint8_t kNoBoard = 0, kCopperBoard = 1, kSfpBoard = 2;

// The bytes of the drivers stand in the order in which they are shown.
struct Gpio {
  uint8_t system_led, alarm_led, relay, ring_master_led, ring_fail_led, power_led[2], speed_led[4];
  uint8_t reset_process, reset_flag, io_value, reset_key, watchdog_toggling, diag_flag, flash_access, debug;
  uint8_t selected_cage;  // kNoCage before the first selection
  uint32_t watchdog_toggles, hardware_resets;
};

struct Expander {
  uint8_t pointer;      // register of the last command byte, for a read without one
  uint8_t value[4][2];  // output, polarity and configuration of one or two ports; the input is the world's
};

constexpr unsigned kWideExpanders = 7;    // six on the daughter boards, one on the main board
constexpr unsigned kNarrowExpanders = 6;  // three for loss of signal on the daughter boards, three on the main board

constexpr uint8_t kClock24Hours = 0x40;  // of the clock's status register 1

struct Clock {
  uint8_t weekday_shift;
  uint8_t value[8];  // by command; 2 and 3 are the time, which runs
  int64_t shift_us;  // chip time minus the host's time
};

struct Sensor {
  uint8_t pointer;
  uint16_t value[4];  // temperature, configuration, hysteresis, over-temperature
};

struct I2c {
  uint8_t busy, debug, rtc_fail, temperature_fail, clock_present, sensor_present;
  uint8_t slot_type[kSlots], slot_alive[kSlots];
  uint8_t io_level[2];  // what the world puts on the inputs of the main board's wide expander
  uint8_t rtc_record[48], temperature_record[4];
  uint32_t refreshes;
  Expander wide[kWideExpanders], narrow[kNarrowExpanders];
  Clock clock;
  Sensor sensor;
};

enum class PhyKind : uint8_t { None, Marvell, Other };

struct Cage {
  uint8_t fitted, los, txfault;  // line levels; los and txfault are pulled up in an empty cage
  PhyKind phy;
  char name[24];
  uint8_t page[256];  // SFF-8472 page A0h
  uint16_t phy_register[32];
  uint16_t link_speed;  // what the cable's other end offers: 10, 100, 1000, or 0 without a cable
  uint8_t full_duplex;
  int64_t negotiating_since_us;
};

enum class RegisterSpace : uint8_t { Free, Soc, SwitchChip, Phy };

struct Register {
  RegisterSpace space;
  uint8_t port;
  uint32_t address, value;
};

struct Flash {
  uint8_t chip_index, debug, extended_address;
  uint32_t erases[kSectors], programs[kSectors];  // programs count page program operations
  uint64_t bytes_programmed, bytes_not_erased;    // the latter: programmed while not 0xFF
};

enum class Effect : uint8_t { None, Value, Refused, Busy, Closed, Killed };
enum class Call : uint8_t { AnyRequest, Request, Open, Read, Write, Seek };

/** What asks for a fault before it takes effect, a request, a read, write or seek, an open; or what a rule looks for. */
struct FaultCall {
  Node node;
  Call call;
  uint8_t request, has_address;
  uint32_t first_address, last_address;
};

struct FaultRule {
  Effect effect;  // None: the row is free
  FaultCall on;
  uint32_t value, skip, count, hits;  // count 0: until healed
  uint32_t number;                    // of no other rule of this board, before or after
};

/** For whoever looks on from outside. Counts wrap. */
struct Watch {
  uint32_t changes;    // of the board so far
  uint32_t awaited;    // somebody sleeps on the count until it grows
  uint32_t reflashed;  // how often the flash got other contents as a whole
  // Lines of the trace, whose bytes are counted; they are written while less than what a reader asked for.
  uint32_t written, wanted;
  char lines[kWatchedBytes];
};

struct Board {
  uint64_t magic;
  uint32_t version, size;
  pthread_mutex_t mutex;
  Gpio gpio;
  I2c i2c;
  Flash flash;
  Cage cages[kPorts];
  Supply supply[2];
  uint8_t supply_good[2];
  uint8_t chain[kChainGroups][kChainBits];
  Register registers[kRegisters];
  uint32_t rule_count;  // rules in use, so that a healthy board looks at no rule
  uint32_t last_rule;   // number of the rule that was made last
  FaultRule rules[kMaxRules];
  uint64_t paused_us;  // pauses counted and not slept; they advance the board's time
  uint32_t settle_ms;  // from a plug, a new link partner or a PHY reset to the end of its auto-negotiation
  Watch watch;
};

}  // namespace zelsim
