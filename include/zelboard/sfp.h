/** @file
 *  Pluggable modules: identification (SFF-8472 page A0h), and the copper PHY inside a 1000BASE-T module (IEEE 802.3
 *  clause 22 registers over I2C device 0xAC).
 *
 *  Every function that touches a module first selects its cage with FW_SfpSel and returns that call's non-zero result
 *  (FW_ABSENT, FW_NOT_SFP, FW_FAIL). The selection is one setting of the board: two callers on different ports move it
 *  under each other, so callers that may overlap must serialise their SFP calls. Each transfer pauses 5 ms.
 *  Thread-safe: no (the selection). */
#ifndef ZELBOARD_SFP_H
#define ZELBOARD_SFP_H

#include "zelboard/export.h"
#include "zelboard/status.h"

ZEL_BEGIN_DECLS

/** @name Identification
 *  @{ */

/** Codes of FW_Get_SFP_Speed. */
enum {
  ZEL_SFP_100FX = 0,          /**< 100 Mb/s fibre */
  ZEL_SFP_1000BASE_X = 1,     /**< 1 Gb/s: 1000BASE-X, -SX, -LX, -CX */
  ZEL_SFP_COPPER = 2,         /**< RJ45, 1000BASE-T */
  ZEL_SFP_UNKNOWN = 3,        /**< no compliance bit that decides and nominal rate 0 */
  ZEL_SFP_2G5 = 4,            /**< 2.5 Gb/s */
  ZEL_SFP_5G = 5,             /**< 5 Gb/s */
  ZEL_SFP_10G = 6,            /**< 10 Gb/s, no finer class */
  ZEL_SFP_10G_DAC = 7,        /**< 10 Gb/s direct-attach cable */
  ZEL_SFP_10G_ER = 8,         /**< 10GBASE-ER */
  ZEL_SFP_10G_LRM = 9,        /**< 10GBASE-LRM */
  ZEL_SFP_10G_LR = 10,        /**< 10GBASE-LR */
  ZEL_SFP_10G_SR = 11,        /**< 10GBASE-SR */
  ZEL_SFP_COPPER_SERDES = 15, /**< RJ45 module whose part number says that its interface is SerDes only */
  ZEL_SFP_NOT_A_MODULE = 0xFF /**< identifier is not 3, or the memory cannot be read */
};

/** Prints what the module in a port says of itself: vendor-specific bytes, vendor name, part number, revision and one
 *  line for its class. A copper module is brought up: transmitter on if it was off (and left on), PHY identified and, if
 *  asked, put into SGMII mode, link state printed. Five transfers; the copper path adds more, 50 ms, and 200 ms when the
 *  transmitter had to be switched on.
 *  @param port       0-27
 *  @param set_sgmii  exactly 1 = program a copper PHY (see FW_SFP_SGMII_Set)
 *  @param verbose    0 = do all the same and print nothing, but for the lines that `i2c_debug_mode` asks for
 *  @return 0, also for a module whose identifier is not 3; FW_I2C_BUSY; FW_FAIL (empty cage, no Marvell PHY); or the
 *          failed step's result */
ZEL_API uint32_t FW_Show_SFP_Moudle(uint32_t port, uint32_t set_sgmii, uint8_t verbose);

/** Classifies the module in a port. A copper module is brought up as by FW_Show_SFP_Moudle with set_sgmii 1. One
 *  transfer for a fibre module or cable. Prints only as `i2c_debug_mode` asks.
 *  @param port   0-27
 *  @param speed  out: class code (ZEL_SFP_...); 0xFF with FW_FAIL when the memory cannot be read; 2 when a copper
 *                module's bring-up fails; untouched with FW_I2C_BUSY or when the cage cannot be selected
 *  @return as FW_Show_SFP_Moudle */
ZEL_API uint32_t FW_Get_SFP_Speed(uint32_t port, uint8_t *speed);
/** @} */

/** @name Copper PHY
 *  @{ */

/** Tells whether a PHY identifier is that of a Marvell PHY (register 2 = 0x0141, register 3 = 0x0CC0-0x0CCF); prints
 *  "Marvell PHY" or "NOT Marvell PHY" when `i2c_debug_mode` is 1. No access to the PHY.
 *  @param port    0-27
 *  @param phy_id  4 bytes: registers 2 and 3, high byte first
 *  @return 1 = yes, 0 = no; FW_ABSENT; FW_NOT_SFP */
ZEL_API uint32_t FW_SFP_SGMII_Support(uint32_t port, const uint8_t *phy_id);

/** Puts a Marvell PHY into SGMII mode: five register writes that end in a software reset with auto-negotiation.
 *  @param port         0-27
 *  @param phy_id       4 bytes as above; null = read them from the PHY at offset 0x60
 *  @param sgmii_cisco  out: 1 = Marvell PHY; 0 = not, or identifier unreadable; untouched when a write fails
 *  @param set_sgmii    exactly 1 = write; anything else only identifies
 *  @param verbose      non-zero = print the steps
 *  @return 0; FW_FAIL (no Marvell PHY); the failed transfer's result */
ZEL_API uint32_t FW_SFP_SGMII_Set(uint32_t port, const uint8_t *phy_id, uint8_t *sgmii_cisco, uint32_t set_sgmii,
                                  uint8_t verbose);

/** Reads the link state from the PHY-specific status register (17).
 *  @param port     0-27
 *  @param link     out: 1 = up, 0 = down
 *  @param speed    out, link up only: 1 = 10 full, 2 = 100 full, 3 = 1000, 4 = 10 half, 5 = 100 half,
 *                  0 = reserved value (with FW_FAIL)
 *  @param verbose  non-zero = print the state
 *  @return 0; FW_FAIL (reserved speed); the failed read's result */
ZEL_API uint32_t FW_SFP_SGMII_Get_Status(uint32_t port, uint8_t *link, uint8_t *speed, uint8_t verbose);

/* The three register functions check that the module is a copper module and switch its transmitter on first: 100 ms of
 * pauses, 300 ms when it was off. They print their refusals. */

/** Prints one PHY register.
 *  @param port  0-27
 *  @param reg   register; its low byte goes on the wire
 *  @return 0, also for a module that is not copper; FW_I2C_BUSY; FW_FAIL (no module); or a failed step's result */
ZEL_API uint32_t FW_Show_SFP_SGMII_Reg(uint32_t port, uint32_t reg);
/** Writes one PHY register.
 *  @param port   0-27
 *  @param reg    register; its low byte goes on the wire
 *  @param value  what to write
 *  @return the write's result; 0 for a module that is not copper; FW_FAIL (no module, busy included) */
ZEL_API uint32_t FW_Set_SFP_SGMII_Reg(uint32_t port, uint32_t reg, uint16_t value);
/** Reads one PHY register.
 *  @param port   0-27
 *  @param reg    register; its low byte goes on the wire
 *  @param value  out: written only on success
 *  @return the read's result; FW_FAIL for a module that is not copper or no module; FW_I2C_BUSY */
ZEL_API uint32_t FW_Get_SFP_SGMII_Reg(uint32_t port, uint32_t reg, uint16_t *value);

/** Checks PHY register 4 (auto-negotiation advertisement; FW_SFP_SGMII_Set leaves 0x0DE1 there).
 *  @param port      0-27
 *  @param expected  value that the register should hold
 *  @param value     out: what it holds; untouched when the read fails
 *  @return 1 = it differs; 0 = it does not, or the read failed; or the failed selection's result */
ZEL_API uint32_t FW_SFP_PHY_Fail_Chk(uint32_t port, uint16_t expected, uint16_t *value);
/** @} */

ZEL_END_DECLS

#endif
