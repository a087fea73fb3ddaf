/** @file
 *  Pluggable modules: identification (SFF-8472 page A0h), and the copper PHY inside a 1000BASE-T module (IEEE 802.3
 *  clause 22 registers over I2C device 0xAC).
 *
 *  Every function that touches a module first selects its cage with FW_SfpSel and returns that call's non-zero result
 *  (FW_ABSENT, FW_NOT_SFP, FW_FAIL), with its out-parameters untouched. The selection is one setting of the board: two
 *  callers on different ports move it under each other, so callers that may overlap must serialise their SFP calls.
 *  Thread-safe: no (the selection), but for FW_SFP_SGMII_Support.
 *
 *  Each transfer pauses 5 ms. A transmitter that has to be switched on takes three transfers as a rule and up to 3.0
 *  s (FW_SetPortSfpTxDisable), then 200 ms; it is not switched off again, whatever the call comes to. Pointers must
 *  not be null unless a function allows it. */
#ifndef ZELBOARD_SFP_H
#define ZELBOARD_SFP_H

#include "zelboard/export.h"
#include "zelboard/status.h"

ZEL_BEGIN_DECLS

/** @name Identification
 *  @{ */

/* Devices of the module in the selected cage, for FW_I2C_BufRead and FW_I2C_BufWrite; both take one offset byte. */
#define FW_SFP_MEMORY 0xA0u /**< identification memory, SFF-8472 page A0h */
#define FW_SFP_PHY 0xACu    /**< copper PHY of a 1000BASE-T module: 16-bit registers, high byte first */

/** Codes of FW_Get_SFP_Speed. */
enum {
  FW_SFP_100FX = 0,          /**< 100 Mb/s fibre */
  FW_SFP_1000BASE_X = 1,     /**< 1 Gb/s: 1000BASE-X, -SX, -CX; -LX of a rate below 2.5 GBd, none or 100 MBd included */
  FW_SFP_COPPER = 2,         /**< RJ45, 1000BASE-T */
  FW_SFP_UNKNOWN = 3,        /**< no compliance bit that decides and nominal rate 0 */
  FW_SFP_2G5 = 4,            /**< 2.5 Gb/s */
  FW_SFP_5G = 5,             /**< 5 Gb/s */
  FW_SFP_10G = 6,            /**< 10 Gb/s, no finer class */
  FW_SFP_10G_DAC = 7,        /**< 10 Gb/s direct-attach cable */
  FW_SFP_10G_ER = 8,         /**< 10GBASE-ER */
  FW_SFP_10G_LRM = 9,        /**< 10GBASE-LRM */
  FW_SFP_10G_LR = 10,        /**< 10GBASE-LR */
  FW_SFP_10G_SR = 11,        /**< 10GBASE-SR */
  FW_SFP_COPPER_SERDES = 15, /**< RJ45 module whose part number says that its interface is SerDes only */
  FW_SFP_NOT_A_MODULE = 0xFF /**< identifier is not 3, or the memory cannot be read */
};

/** Prints what the module in a port says of itself: vendor-specific bytes, vendor name, part number, revision and one
 *  line for its class (none for 1000BASE-LX of rate 0). A copper module (connector 0x22, RJ45, or 1000BASE-T as its
 *  only Ethernet compliance) is brought up: transmitter on if it was off, PHY identified and, if asked, put into SGMII
 *  mode, link state printed. Five transfers; the copper path adds three to eight, 50 ms, and the transmitter's time
 *  where it was off.
 *  @param port       0-27
 *  @param set_sgmii  exactly 1 = program a copper PHY (see FW_SFP_SGMII_Set)
 *  @param verbose    0 = do all the same and print nothing, but for the PHY's identification line, which
 *                    `i2c_debug_mode` 1 asks for
 *  @return 0, also for a module whose identifier is not 3, and whatever the link state's read came to; FW_I2C_BUSY;
 *          FW_FAIL (the first read failed otherwise: empty cage; no Marvell PHY); or the failed step's result */
ZEL_API uint32_t FW_Show_SFP_Moudle(uint32_t port, uint32_t set_sgmii, uint8_t verbose);

/** Classifies the module in a port. One transfer for a fibre module or cable. A copper module is brought up as by
 *  FW_Show_SFP_Moudle with set_sgmii 1, but for the link state: eight more transfers, 50 ms, and the transmitter's time
 *  where it was off. Prints only as `i2c_debug_mode` asks.
 *  @param port   0-27
 *  @param speed  out: class code (FW_SFP_...). When the first read fails: untouched with FW_I2C_BUSY, else 0xFF with
 *                FW_FAIL. When a later step of a copper module fails: 2, whatever the result, FW_I2C_BUSY included.
 *                Untouched when the cage cannot be selected
 *  @return as FW_Show_SFP_Moudle */
ZEL_API uint32_t FW_Get_SFP_Speed(uint32_t port, uint8_t *speed);
/** @} */

/** @name Copper PHY
 *  @{ */

/* Link speeds of FW_SFP_SGMII_Get_Status. */
#define FW_LINK_RESERVED 0u /**< reserved value of the status register */
#define FW_LINK_10_FULL 1u  /**< 10 Mb/s, full duplex */
#define FW_LINK_100_FULL 2u /**< 100 Mb/s, full duplex */
#define FW_LINK_1000 3u     /**< 1000 Mb/s; the duplex bit is not looked at */
#define FW_LINK_10_HALF 4u  /**< 10 Mb/s, half duplex */
#define FW_LINK_100_HALF 5u /**< 100 Mb/s, half duplex */

/** Tells whether a PHY identifier is that of a Marvell PHY (register 2 = 0x0141, register 3 = 0x0CC0-0x0CCF); prints
 *  "Marvell PHY" or "NOT Marvell PHY" when `i2c_debug_mode` is 1. Asks the board queries first; no access to the PHY,
 *  no selection, no pause. Thread-safe: yes.
 *  @param port    0-27
 *  @param phy_id  4 bytes: registers 2 and 3, high byte first
 *  @return 1 = yes, 0 = no; FW_ABSENT; FW_NOT_SFP */
ZEL_API uint32_t FW_SFP_SGMII_Support(uint32_t port, const uint8_t *phy_id);

/** Puts a Marvell PHY into SGMII mode: five register writes, 25 ms, that end in a software reset with auto-negotiation.
 *  The module's transmitter and type are not looked at.
 *  @param port         0-27
 *  @param phy_id       4 bytes as above; null = read them from the PHY at offset 0x60, one transfer more
 *  @param sgmii_cisco  out: 1 = Marvell PHY, and programmed if asked; 0 = not, or identifier unreadable; untouched when
 *                      the cage cannot be selected or a write fails
 *  @param set_sgmii    exactly 1 = write; anything else only identifies
 *  @param verbose      non-zero = print the steps
 *  @return 0; FW_FAIL (no Marvell PHY); the failed transfer's result: the writes before it stay made */
ZEL_API uint32_t FW_SFP_SGMII_Set(uint32_t port, const uint8_t *phy_id, uint8_t *sgmii_cisco, uint32_t set_sgmii,
                                  uint8_t verbose);

/** Reads the link state from the PHY-specific status register (17: speed in bits 15-14, duplex in bit 13, link in bit
 *  10). One transfer; the module's type and transmitter are not looked at.
 *  @param port     0-27
 *  @param link     out: 1 = up, 0 = down; untouched when the read fails
 *  @param speed    out, link up only: FW_LINK_..., FW_LINK_RESERVED with FW_FAIL
 *  @param verbose  non-zero = print the state
 *  @return 0; FW_FAIL (reserved speed); the failed read's result */
ZEL_API uint32_t FW_SFP_SGMII_Get_Status(uint32_t port, uint8_t *link, uint8_t *speed, uint8_t verbose);

/** Checks PHY register 4 (auto-negotiation advertisement, IEEE 802.3 clause 22; FW_SFP_SGMII_Set leaves 0x0DE1 there).
 *  One transfer; the module's type and transmitter are not looked at.
 *  @param port      0-27
 *  @param expected  value that the register should hold
 *  @param value     out: what it holds; untouched when the read fails
 *  @return 1 = it differs; 0 = it does not, or the read failed; or the failed selection's result */
ZEL_API uint32_t FW_SFP_PHY_Fail_Chk(uint32_t port, uint16_t expected, uint16_t *value);
/** @} */

/** @name PHY registers
 *  The three functions wait 50 ms, even for a port without a cage, select the cage, check that its module is a copper
 *  module (connector 0x22, or 1000BASE-T as its only Ethernet compliance), wait 50 ms more, and switch its transmitter
 *  on if it is off; it stays on. 100 ms of pauses and three transfers; the transmitter's time where it was off. They
 *  print their refusals, "SFP N non exist! " and "This is not 1000BaseT module", always.
 *
 *  A failed selection, and any step after the identification that fails, give that step's result.
 *  @{ */

/** Prints one PHY register: "SFP port-N reg-N(0xNN) value=0xNNNN".
 *  @param port  0-27
 *  @param reg   register; its low byte goes on the wire
 *  @return 0, also for a module that is not copper; FW_I2C_BUSY, with "I2C Bus busy" when the identification found
 *          the bus busy; FW_FAIL (no module); or a failed step's result */
ZEL_API uint32_t FW_Show_SFP_SGMII_Reg(uint32_t port, uint32_t reg);
/** Writes one PHY register.
 *  @param port   0-27
 *  @param reg    register; its low byte goes on the wire
 *  @param value  what to write
 *  @return the write's result; 0, with nothing written, for a module that is not copper; FW_FAIL when the
 *          identification cannot be read, the bus being busy included; or a failed step's result: FW_ABSENT,
 *          FW_NOT_SFP, FW_I2C_BUSY among them */
ZEL_API uint32_t FW_Set_SFP_SGMII_Reg(uint32_t port, uint32_t reg, uint16_t value);
/** Reads one PHY register.
 *  @param port   0-27
 *  @param reg    register; its low byte goes on the wire
 *  @param value  out: written with result 0 only
 *  @return the read's result; FW_FAIL for no module or one that is not copper; FW_I2C_BUSY, with "I2C bus busy" when
 *          the identification found the bus busy; or a failed step's result: FW_ABSENT, FW_NOT_SFP among them */
ZEL_API uint32_t FW_Get_SFP_SGMII_Reg(uint32_t port, uint32_t reg, uint16_t *value);
/** @} */

ZEL_END_DECLS

#endif
