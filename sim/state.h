#pragma once

#include <pthread.h>

#include <cstddef>
#include <cstdint>

// The state of one board, as plain data: it is the layout of the mapped state file, shared by every process on the
// board. A change of the layout needs a new kVersion. No field holds a pointer, and no model trusts a field as an index
// unchecked: whatever a killed process left behind is a usable state.

namespace zelsim {

constexpr uint64_t kMagic = 0x455441545357455aULL;  // "ZEWSTATE"
constexpr uint32_t kVersion = 10;

// The geometry of the switch. Ports of daughter boards come first, then the 10G cages of the main board.
constexpr unsigned kSlots = 3;
constexpr unsigned kPortsPerSlot = 8;
constexpr unsigned kDaughterPorts = kSlots * kPortsPerSlot;
constexpr unsigned kMainPorts = 4;
constexpr unsigned kFirstMainPort = kDaughterPorts;
constexpr unsigned kPorts = kDaughterPorts + kMainPorts;
constexpr unsigned kSupplies = 2;

constexpr uint32_t kFlashSize = 0x2000000;
constexpr uint32_t kSectorSize = 0x10000;
constexpr uint32_t kSectors = kFlashSize / kSectorSize;
constexpr uint32_t kPageSize = 256;  // bytes that one program operation writes at most

// The serial-GPIO chain.
constexpr unsigned kChainGroups = 32;
constexpr unsigned kChainBits = 8;

constexpr unsigned kMaxRules = 32;    // faults that can stand at a time
constexpr unsigned kRegisters = 256;  // registers whose values are kept
constexpr uint8_t kNoCage = 0xff;

// DebugCmd is no node, but fails like one.
enum class Node : uint8_t { None, Gpio, I2c, Flash, Any, DebugCmd };

enum class Supply : uint8_t { None, Ac, Dc };

// Board types as the I2C driver reports them: 1 is the copper board, any other value a board with cages.
constexpr uint8_t kNoBoard = 0;
constexpr uint8_t kCopperBoard = 1;
constexpr uint8_t kSfpBoard = 2;

/** What the GPIO driver keeps. LEDs are 0 off, 1 on, 2 blinking. */
struct Gpio {
  uint8_t system_led;
  uint8_t alarm_led;
  uint8_t relay;
  uint8_t ring_master_led;
  uint8_t ring_fail_led;
  uint8_t power_led[kSupplies];
  uint8_t speed_led[kMainPorts];
  uint8_t reset_process;
  uint8_t reset_flag;
  uint8_t io_value;
  uint8_t reset_key;
  uint8_t watchdog_toggling;
  uint8_t diag_flag;
  uint8_t flash_access_flag;
  uint8_t debug;
  uint8_t selected_cage;  // kNoCage before the first selection
  uint32_t watchdog_toggles;
  uint32_t hardware_resets;
};

struct Expander {
  uint8_t pointer;      // register of the last command byte, for a read without one
  uint8_t value[4][2];  // output, polarity and configuration of one or two ports; the input is the world's
};

// The wide expanders of the daughter boards come first, two a slot; the last one is the main board's.
constexpr unsigned kWidePerSlot = 2;
constexpr unsigned kMainWide = kSlots * kWidePerSlot;
constexpr unsigned kWideExpanders = kMainWide + 1;
// One narrow expander a slot has the loss-of-signal lines of a daughter board; three are on the main board.
constexpr unsigned kMainNarrow = kSlots;
constexpr unsigned kNarrowExpanders = kMainNarrow + 3;

constexpr unsigned kClockStatus = 0;     // command of the clock's status register 1
constexpr uint8_t kClock24Hours = 0x40;  // a bit of it

struct Clock {
  uint8_t weekday_shift;
  uint8_t value[8];  // by command; 2 and 3 are the time, which runs
  int64_t shift_us;  // chip time minus the host's time
};

constexpr unsigned kSensorTemperature = 0;

struct Sensor {
  uint8_t pointer;
  uint16_t value[4];  // temperature, configuration, hysteresis, over-temperature
};
/** Degrees Celsius of a register of the LM75: its upper byte counts whole degrees. */
constexpr double degrees_of(uint16_t value) { return static_cast<int16_t>(value) / 256.0; }

/** What the I2C driver keeps, and the chips of the board. */
struct I2c {
  uint8_t busy;
  uint8_t debug;
  uint8_t clock_fail;
  uint8_t temperature_fail;
  uint8_t clock_present;
  uint8_t sensor_present;
  uint8_t slot_type[kSlots];
  uint8_t slot_alive[kSlots];
  uint8_t io_level[2];  // what the world puts on the inputs of the main board's wide expander
  uint8_t rtc_record[48];
  uint8_t temperature_record[4];
  uint32_t refreshes;
  Expander wide[kWideExpanders];
  Expander narrow[kNarrowExpanders];
  Clock clock;
  Sensor sensor;
};

enum class PhyKind : uint8_t { None, Marvell, Other };

/** SFF-8472 page A2h. The five words from byte 96 are measured with light in the receiver and the laser on. `dark` has
 *  the same five words without light and laser. The flags are the latched ones. */
struct DiagnosticsMemory {
  uint8_t present;
  uint8_t page[256];
  uint8_t dark[10];
};

struct Cage {
  uint8_t fitted;
  // Line levels. Both are pulled up in an empty cage.
  uint8_t loss_of_signal;
  uint8_t tx_fault;
  PhyKind phy;
  char name[24];
  uint8_t page[256];  // SFF-8472 page A0h
  uint16_t phy_register[32];
  uint16_t link_speed;  // what the cable's other end offers: 10, 100, 1000, or 0 without a cable
  uint8_t full_duplex;
  int64_t negotiating_since_us;
  DiagnosticsMemory diagnostics;
};

enum class RegisterSpace : uint8_t { Free, Soc, SwitchChip, Phy };

struct Register {
  RegisterSpace space;
  uint8_t port;
  uint32_t address;
  uint32_t value;
};

struct Flash {
  uint8_t chip_index;
  uint8_t debug;
  uint8_t extended_address;
  uint32_t erases[kSectors];
  uint32_t programs[kSectors];  // page program operations
  uint64_t bytes_programmed;
  uint64_t bytes_not_erased;  // programmed while not 0xFF
};

// Hangs and Nonsense are for debugCmd only.
enum class Effect : uint8_t { None, Value, Refused, Busy, Closed, Killed, Hangs, Nonsense };
enum class Call : uint8_t { AllButOpen, Request, Open, Read, Write, Seek };

/** A call that a fault can strike: a request, a read, write or seek, an open. In a rule it describes all calls that the
 *  rule is for. */
struct FaultCall {
  Node node;
  Call kind;
  uint8_t request;
  uint8_t has_address;
  uint32_t first_address;
  uint32_t last_address;
};

struct FaultRule {
  Effect effect;  // None: the row is free
  FaultCall target;
  uint32_t value;
  uint32_t skip;
  uint32_t count;  // 0: until healed
  uint32_t hits;
  uint32_t number;     // unique on this board; a number is never used again
  double probability;  // that a call is struck; 0: every call is
  uint32_t seed;       // as the user gave it
  uint64_t random;     // state of the random number generator
};

/** What a program changes through a driver, and where: what `place` and `address` stand for. */
enum class ChangeKind : uint8_t {
  None,
  Byte,            // address: offset in Board
  Transmitter,     // place: port; 1 = off
  IoOutput,        // place: chip port of the main board's wide expander
  ClockTime,       // seconds since 1970
  SensorRegister,  // address: register
  ModulePhy,       // place: port; address: register
  SocRegister,     // address
  SwitchRegister,  // address
  PhyRegister,     // place: port; address
  HardwareReset,   // number of resets
  FlashErase,      // address: sector
  FlashWrite,      // address: sector; before: address behind the byte that was written last; after: bytes
};

/** A change that a program has made. */
struct Change {
  int64_t at_us;    // since 1970
  uint32_t number;  // among the changes of the board
  uint32_t process;
  ChangeKind kind;
  uint8_t place;
  uint32_t address;
  uint32_t before;
  uint32_t after;
  char program[20];
};
constexpr unsigned kLoggedChanges = 512;

/** What somebody did to the board from outside, and the commands that undo it, separated by semicolons. `command` is
 *  one command; or a title, which may be empty, a line feed, and several commands, separated by semicolons. A text that
 *  is longer than its room goes on in the next entry, which has no `who`. */
struct Act {
  int64_t at_us;    // since 1970
  uint32_t change;  // number of its change of the board
  uint32_t undoes;  // number of the act that this one undoes; 0: none
  char who[24];
  char command[200];
  char undo[784];  // empty: nothing has changed; kNoWayBack: no commands lead back
};
constexpr char kNoWayBack[] = "-";
constexpr unsigned kActs = 32;

/** A call as the trace hands it to those who watch. Behind it stand the bytes of the request's record before the call
 *  and after it; or, for a call that is no request, a text. */
struct TraceRecord {
  uint16_t size;  // with what follows
  Node node;      // None: a text follows
  uint8_t number;
  uint8_t has_record;
  int32_t result;
  int32_t error;
  uint32_t address;
  uint32_t fault;  // number of the rule that struck, or 0
  uint32_t duration_us;
  uint32_t process;
  int64_t at_us;  // since 1970
  char program[20];
};

constexpr int32_t kNoTraceResult = INT32_MIN;  // the call has no result

/** Whether a call failed: the kernel refused it, or the driver answered so. */
inline bool has_failed(const TraceRecord &record) {
  if (record.result == kNoTraceResult) return false;
  return record.node == Node::None ? record.result < 0 : record.result != 0;
}

constexpr unsigned kFlashUsers = 8;

/** For those who watch the board from outside. Counts wrap. */
struct Watch {
  uint32_t changes;    // number of changes of the board
  uint32_t awaited;    // not 0: somebody sleeps until `changes` grows
  uint32_t reflashed;  // how often the whole flash was replaced
  uint32_t requests;   // number of calls that programs have made
  // Processes in a long write or an erase. They release the lock between two pieces of it. 0: a free place.
  uint32_t flash_users[kFlashUsers];
  char loading[65];  // name of the saved state that is being loaded; empty: none
  uint32_t acts_done;
  uint32_t logged;
  Act acts[kActs];
  Change log[kLoggedChanges];
  // The trace. A reader sets both limits; records are written while `written` is less.
  uint32_t written;  // bytes so far
  uint32_t wanted;
  uint32_t wanted_failures;  // the limit for calls that failed or were struck by a fault
};

// The records of the trace stand in the state file behind the board: whoever copies a board has no use for them.
constexpr uint32_t kWatchedBytes = 0x100000;
constexpr uint32_t kFailuresRoom = kWatchedBytes / 4;
constexpr uint32_t kLongestRecord = 1024;  // the last record may go beyond its room
constexpr uint32_t kCommonRoom = kWatchedBytes - kFailuresRoom - kLongestRecord;
static_assert(kCommonRoom + kFailuresRoom + kLongestRecord <= kWatchedBytes);

struct Board {
  uint64_t magic;
  uint32_t version;
  uint32_t size;
  pthread_mutex_t mutex;
  Gpio gpio;
  I2c i2c;
  Flash flash;
  Cage cages[kPorts];
  Supply supply[kSupplies];
  uint8_t supply_good[kSupplies];
  uint8_t chain[kChainGroups][kChainBits];
  Register registers[kRegisters];
  uint32_t rule_count;  // rules in use, so that a healthy board looks at no rule
  uint32_t last_rule;   // number of the rule that was made last
  FaultRule rules[kMaxRules];
  uint64_t paused_us;          // pauses counted and not slept; they advance the board's time
  uint8_t made_slots[kSlots];  // what `create` fitted
  uint32_t settle_ms;          // from a plug, a new link partner or a PHY reset to the end of its auto-negotiation
  Watch watch;
};

// A changed layout fails here: raise kVersion, and write the new places. The size alone does not show a byte that padding
// takes up.
static_assert(kVersion == 10);  // the version of these places
static_assert(offsetof(Gpio, selected_cage) == 19);
static_assert(offsetof(I2c, rtc_record) == 14);
static_assert(offsetof(I2c, sensor) == 216);
static_assert(offsetof(Cage, diagnostics) == 360);
static_assert(sizeof(Cage) == 632);
static_assert(offsetof(Flash, bytes_programmed) == 4104);
static_assert(offsetof(Watch, written) == 61568);
// The mutex before these has another size on another processor.
static_assert(offsetof(Board, settle_ms) - offsetof(Board, flash) == 27220);
static_assert(offsetof(Board, watch) - offsetof(Board, gpio) == 27488);

}  // namespace zelsim
