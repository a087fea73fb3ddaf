// Every request that the library makes, by driver and in the order of the numbers, and the records that several share.
// The requests have the names that traces, faults and pages use.
#pragma once

#include <stdint.h>

namespace zel {

enum class Node : uint8_t { Gpio, I2c, SpiFlash };

/// A request: its number in the low byte, its node above. One number, because a processor passes it in a register.
enum class Request : uint32_t {};

constexpr Request on_node(Node node, uint8_t number) {
  return static_cast<Request>((static_cast<uint8_t>(node) << 8) | number);
}
constexpr Node node_of(Request what) { return static_cast<Node>(static_cast<uint32_t>(what) >> 8); }

constexpr Request gpio(uint8_t number) { return on_node(Node::Gpio, number); }
constexpr Request i2c(uint8_t number) { return on_node(Node::I2c, number); }
constexpr Request spi_flash(uint8_t number) { return on_node(Node::SpiFlash, number); }

inline constexpr Request kSetSystemLed = gpio(0x80);
inline constexpr Request kGetSystemLed = gpio(0x81);
inline constexpr Request kSetAlarmLed = gpio(0x82);
inline constexpr Request kGetAlarmLed = gpio(0x83);
inline constexpr Request kSetAlarmRelay = gpio(0x84);
inline constexpr Request kGetAlarmRelay = gpio(0x85);
inline constexpr Request kSetPowerLed = gpio(0x86);
inline constexpr Request kGetPowerLed = gpio(0x87);
inline constexpr Request kSelectCage = gpio(0x88);
inline constexpr Request kGetPowerConf = gpio(0x89);
inline constexpr Request kSetRingMasterLed = gpio(0x8A);
inline constexpr Request kGetRingMasterLed = gpio(0x8B);
inline constexpr Request kSetRingFailLed = gpio(0x8C);
inline constexpr Request kGetRingFailLed = gpio(0x8D);
inline constexpr Request kSetSpeedLed = gpio(0x92);
inline constexpr Request kGetSpeedLed = gpio(0x93);
inline constexpr Request kGetResetProcess = gpio(0x94);
inline constexpr Request kSetResetFlag = gpio(0x95);
inline constexpr Request kSetIoValue = gpio(0x97);
inline constexpr Request kGetPowerStatus = gpio(0x98);
inline constexpr Request kHardwareReset = gpio(0x99);
inline constexpr Request kGetResetKey = gpio(0x9A);
inline constexpr Request kEnableWatchdog = gpio(0x9B);
inline constexpr Request kToggleWatchdog = gpio(0x9C);
inline constexpr Request kStopWatchdogToggle = gpio(0x9D);
inline constexpr Request kGetDiagFlag = gpio(0xD5);
inline constexpr Request kSetDiagFlag = gpio(0xD6);
inline constexpr Request kGetFlashAccessFlag = gpio(0xD7);
inline constexpr Request kSetFlashAccessFlag = gpio(0xD8);
inline constexpr Request kGetSocRegister = gpio(0xE0);
inline constexpr Request kSetSocRegister = gpio(0xE1);

inline constexpr Request kGetBoardType = i2c(0x96);
inline constexpr Request kBufRead = i2c(0xB0);
inline constexpr Request kBufWrite = i2c(0xB1);
inline constexpr Request kGetBusy = i2c(0xB2);
inline constexpr Request kSetBusy = i2c(0xB3);
inline constexpr Request kRefreshBus = i2c(0xB4);
inline constexpr Request kGetRtc = i2c(0xBA);
inline constexpr Request kGetRtcAlive = i2c(0xC0);
inline constexpr Request kGetSensorAlive = i2c(0xC1);
inline constexpr Request kGetBoardAlive = i2c(0xC2);
inline constexpr Request kSetBoardAlive = i2c(0xC3);
inline constexpr Request kSetRtc = i2c(0xC4);
inline constexpr Request kSetTemperature = i2c(0xC5);
inline constexpr Request kGetTemperature = i2c(0xC6);
inline constexpr Request kSetRtcFail = i2c(0xC7);
inline constexpr Request kSetTemperatureFail = i2c(0xC8);

inline constexpr Request kEraseSector = spi_flash(0xD1);
inline constexpr Request kGetFlashId = spi_flash(0xD2);
inline constexpr Request kGetStatusRegister = spi_flash(0xD9);
inline constexpr Request kGetChipIndex = spi_flash(0xDA);
inline constexpr Request kSelectLowerSegment = spi_flash(0xDD);

/// The only numbers that all three drivers know.
constexpr Request set_debug_mode(Node node) { return on_node(node, 0xDB); }
constexpr Request get_debug_mode(Node node) { return on_node(node, 0xDC); }

/// A state of one of several supplies, ports or slots.
struct SelectedRecord {
  uint8_t selector;
  uint8_t value;
};
static_assert(sizeof(SelectedRecord) == 2);

struct SocRegister {
  uint32_t address;
  uint32_t value;
};
static_assert(sizeof(SocRegister) == 8);

}  // namespace zel
