/** @file
 *  Pluggable modules: identification (SFF-8472 page A0h), and the copper PHY inside a 1000BASE-T module (IEEE 802.3
 *  clause 22 registers over I2C device 0xAC).
 *
 *  Each function that touches a module first selects its cage (FW_SfpSel). If that fails, it returns the selection's
 *  result (FW_ABSENT, FW_NOT_SFP, FW_FAIL or the driver's) and leaves out-parameters untouched. The board has one
 *  selection: two callers that work on different ports move it under each other. Callers that may overlap must
 *  serialise their SFP calls. Thread-safe: no (the selection), except FW_SFP_SGMII_Support.
 *
 *  Each transfer pauses 5 ms. Switching a transmitter on normally takes three transfers, at most 3.0 s
 *  (FW_SetPortSfpTxDisable), and then 200 ms. The transmitter stays on, also if the call then fails. Pointers must not
 *  be null unless a function allows it. */
#ifndef ZELBOARD_SFP_H
#define ZELBOARD_SFP_H

#include "zelboard/export.h"
#include "zelboard/status.h"

ZEL_BEGIN_DECLS

/** @name Identification
 *  @{ */

/* Devices of the module in the selected cage, for FW_I2C_BufRead and FW_I2C_BufWrite. Their offsets have one byte. */
#define FW_SFP_MEMORY 0xA0u /**< identification memory, SFF-8472 page A0h */
#define FW_SFP_PHY 0xACu    /**< copper PHY of a 1000BASE-T module: 16-bit registers, high byte first */

/** Codes of FW_Get_SFP_Speed. */
enum {
  FW_SFP_100FX = 0,          /**< 100 Mb/s fibre */
  FW_SFP_1000BASE_X = 1,     /**< 1 Gb/s: 1000BASE-X, -SX, -CX; -LX with a rate below 2.5 GBd, 0 included */
  FW_SFP_COPPER = 2,         /**< RJ45, 1000BASE-T */
  FW_SFP_UNKNOWN = 3,        /**< no deciding compliance bit, and nominal rate 0 */
  FW_SFP_2G5 = 4,            /**< 2.5 Gb/s */
  FW_SFP_5G = 5,             /**< 5 Gb/s */
  FW_SFP_10G = 6,            /**< 10 Gb/s, no finer class */
  FW_SFP_10G_DAC = 7,        /**< 10 Gb/s direct-attach cable */
  FW_SFP_10G_ER = 8,         /**< 10GBASE-ER */
  FW_SFP_10G_LRM = 9,        /**< 10GBASE-LRM */
  FW_SFP_10G_LR = 10,        /**< 10GBASE-LR */
  FW_SFP_10G_SR = 11,        /**< 10GBASE-SR */
  FW_SFP_COPPER_SERDES = 15, /**< RJ45 with a SerDes interface only, by its part number */
  FW_SFP_NOT_A_MODULE = 0xFF /**< the identifier is not 3, or the memory cannot be read */
};

/** Prints the identification of the module in a port: vendor-specific bytes, vendor name, part number, revision and one
 *  line for its class (no line for 1000BASE-LX with rate 0). Five transfers.
 *
 *  A copper module is then brought up: its transmitter is switched on if it is off, the PHY is identified, set to SGMII
 *  mode if asked, and its link state printed. That takes three more transfers, eight with SGMII mode, and 50 ms, and
 *  the transmitter's time if it was off. A module is copper if its connector is 0x22 (RJ45) or its only Ethernet
 *  compliance is 1000BASE-T. A passive cable and a 10GBASE-ER, -LRM, -LR or -SR module are never copper if their rate
 *  is 10 GBd or more.
 *  @param port       0-27
 *  @param set_sgmii  1 = program a copper PHY (see FW_SFP_SGMII_Set); any other value = do not
 *  @param verbose    non-zero = print. 0 = do the same, silently; only the PHY's identification line depends on
 *                    `i2c_debug_mode` instead, and is printed if it is 1
 *  @return 0, also for a module whose identifier is not 3, and even if reading the link state fails; FW_I2C_BUSY;
 *          FW_FAIL (the first read fails: empty cage; no Marvell PHY); or the failed step's result */
ZEL_API uint32_t FW_Show_SFP_Moudle(uint32_t port, uint32_t set_sgmii, uint8_t verbose);

/** Reads the class of the module in a port. One transfer for a fibre module or a cable. A copper module is brought up
 *  as FW_Show_SFP_Moudle does it, with SGMII mode and without the link state: eight more transfers, 50 ms, and the
 *  transmitter's time if it was off. Prints only if `i2c_debug_mode` is not 0.
 *  @param port   0-27
 *  @param speed  out: class code, FW_SFP_.... If the first read fails: untouched if the bus is busy, else 0xFF. If a
 *                later step of a copper module fails: FW_SFP_COPPER. Untouched if the cage cannot be selected
 *  @return 0, also for a module whose identifier is not 3; FW_I2C_BUSY; FW_FAIL (the first read fails: empty cage; no
 *          Marvell PHY); or the failed step's result */
ZEL_API uint32_t FW_Get_SFP_Speed(uint32_t port, uint8_t *speed);
/** @} */

/** @name Copper PHY
 *  @{ */

/* Link speeds of FW_SFP_SGMII_Get_Status. */
#define FW_LINK_RESERVED 0u /**< reserved value of the status register */
#define FW_LINK_10_FULL 1u  /**< 10 Mb/s, full duplex */
#define FW_LINK_100_FULL 2u /**< 100 Mb/s, full duplex */
#define FW_LINK_1000 3u     /**< 1000 Mb/s; the duplex bit is ignored */
#define FW_LINK_10_HALF 4u  /**< 10 Mb/s, half duplex */
#define FW_LINK_100_HALF 5u /**< 100 Mb/s, half duplex */

/** Says whether a PHY identifier belongs to a Marvell PHY (register 2 = 0x0141, register 3 = 0x0CC0-0x0CCF). Makes the
 *  board queries first. Does not access the PHY, select the cage, or pause. If `i2c_debug_mode` is 1, prints "Marvell
 *  PHY" or "NOT Marvell PHY". Thread-safe: yes.
 *  @param port    0-27
 *  @param phy_id  4 bytes: registers 2 and 3, high byte first
 *  @return 1 = yes, 0 = no; FW_ABSENT; FW_NOT_SFP */
ZEL_API uint32_t FW_SFP_SGMII_Support(uint32_t port, const uint8_t *phy_id);

/** Puts a Marvell PHY into SGMII mode by five register writes (25 ms). The last write starts a software reset with
 *  auto-negotiation. Does not check the module's type or transmitter. A board that is pulled after the selection counts
 *  as a Marvell PHY.
 *  @param port         0-27
 *  @param phy_id       4 bytes: registers 2 and 3, high byte first; null = read them from the PHY at offset 0x60, one
 *                      transfer more
 *  @param sgmii_cisco  out: 1 = Marvell PHY, programmed if asked; 0 = another PHY, or its identifier cannot be read.
 *                      Untouched if the cage cannot be selected or a write fails
 *  @param set_sgmii    1 = write; any other value = identify only
 *  @param verbose      non-zero = print the steps; "Setting SGMII MODE" is printed also if nothing is written
 *  @return 0; FW_FAIL (no Marvell PHY); or the failed transfer's result. The writes before it stay made */
ZEL_API uint32_t FW_SFP_SGMII_Set(uint32_t port, const uint8_t *phy_id, uint8_t *sgmii_cisco, uint32_t set_sgmii,
                                  uint8_t verbose);

/** Reads the link state from the PHY-specific status register, 17: speed in bits 15-14, duplex in bit 13, link in bit
 *  10. One transfer. Does not check the module's type or transmitter.
 *  @param port     0-27
 *  @param link     out: 1 = up, 0 = down; untouched if the selection or the read fails
 *  @param speed    out: FW_LINK_..., written only if the link is up. A reserved speed is FW_LINK_RESERVED with result
 *                  FW_FAIL and `link` 1
 *  @param verbose  non-zero = print the state
 *  @return 0; FW_FAIL (reserved speed); or the failed read's result */
ZEL_API uint32_t FW_SFP_SGMII_Get_Status(uint32_t port, uint8_t *link, uint8_t *speed, uint8_t verbose);

/** Compares PHY register 4 with a value: 0 = the same, 1 = another. The register is the auto-negotiation advertisement
 *  of IEEE 802.3 clause 22; FW_SFP_SGMII_Set leaves 0x0DE1 there. One transfer. Does not check the module's type or
 *  transmitter.
 *  @param port      0-27
 *  @param expected  value that the register should hold
 *  @param value     out: the register's value; untouched if the read fails
 *  @return 0 = the same, or the read failed; 1 = another; or the failed selection's result */
ZEL_API uint32_t FW_SFP_PHY_Fail_Chk(uint32_t port, uint16_t expected, uint16_t *value);
/** @} */

/** @name PHY registers
 *  The three functions wait 50 ms (also for a port without a cage) and select the cage. They check that its module is
 *  copper: connector 0x22, or 1000BASE-T as the only Ethernet compliance. Then they wait another 50 ms, switch its
 *  transmitter on if it is off, and access the register. In all, 100 ms of pauses and three transfers, and the
 *  transmitter's time if it was off. A cage without a readable module and a module that is not copper are refused with
 *  a line: "SFP N non exist! " or "This is not 1000BaseT module".
 *
 *  If the selection fails, or a step after the identification, they return that step's result.
 *  @{ */

/** Prints one PHY register: "SFP port-N reg-N(0xNN) value=0xNNNN".
 *  @param port  0-27
 *  @param reg   register; the PHY gets the low 8 bits
 *  @return 0, also for a module that is not copper; FW_I2C_BUSY, with the line "I2C Bus busy" if the identification
 *          finds the bus busy; FW_FAIL (the identification cannot be read: no module); or the failed step's result */
ZEL_API uint32_t FW_Show_SFP_SGMII_Reg(uint32_t port, uint32_t reg);
/** Writes one PHY register.
 *  @param port   0-27
 *  @param reg    register; the PHY gets the low 8 bits
 *  @param value  16-bit value to write
 *  @return the write's result, 0 on success; 0, with nothing written, for a module that is not copper; FW_FAIL if the
 *          identification cannot be read, also if the bus is busy; or the failed step's result */
ZEL_API uint32_t FW_Set_SFP_SGMII_Reg(uint32_t port, uint32_t reg, uint16_t value);
/** Reads one PHY register.
 *  @param port   0-27
 *  @param reg    register; the PHY gets the low 8 bits
 *  @param value  out: the 16-bit value; written with result 0 only
 *  @return 0; FW_FAIL (no module, or one that is not copper); FW_I2C_BUSY, with the line "I2C bus busy" if the
 *          identification finds the bus busy; or the failed step's result */
ZEL_API uint32_t FW_Get_SFP_SGMII_Reg(uint32_t port, uint32_t reg, uint16_t *value);
/** @} */

ZEL_END_DECLS

#endif
