/** @file
 *  Board identity, port map, and the control signals of the SFP cages.
 *
 *  Ports 0-23 sit on daughter boards in slots 1 to 3, eight each; ports 24-27 are 10G SFP cages of the main board.
 *  Nothing is cached: boards can be fitted and removed between calls. Every transfer to an I/O expander is followed by
 *  the 5 ms pause of FW_I2C_BufRead. All functions are thread-safe (no library state). */
#ifndef ZELBOARD_PORTS_H
#define ZELBOARD_PORTS_H

#include "zelboard/export.h"
#include "zelboard/status.h"

ZEL_BEGIN_DECLS

/** @name Daughter boards and ports
 *  @{ */

/** Asks the I2C driver whether a board answers in a slot.
 *  @param slot   low 8 bits, passed on unchecked
 *  @param alive  out: 0 = no board, non-zero = a board; written whenever the request was made
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_GetDau_Alive(uint32_t slot, uint8_t *alive);

/** Tells the I2C driver whether a slot's board counts as alive.
 *  @param slot   low 8 bits, passed on unchecked
 *  @param alive  low 8 bits
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_SetDau_Alive(uint32_t slot, uint32_t alive);

/** Tells the type of the board in a slot: one type request, then one alive request.
 *  @param slot  1-3; another gives FW_FAIL before the open
 *  @param type  out: 1 = copper board, any other value = SFP board, 0 with FW_ABSENT; untouched with FW_FAIL
 *  @return the type request's result; FW_ABSENT (no board alive); FW_FAIL (slot, node) */
ZEL_API uint32_t FW_GetDauBoard(uint32_t slot, uint8_t *type);

/** Answers one of two questions from the types of all three slots (six requests, whatever the kind).
 *  @param kind   0 = is the port an SFP port?  1 = how many copper boards are fitted?
 *  @param port   kind 0: 0-27; a port above 27 is none
 *  @param count  out, kind 1 only: 0-3 copper boards; may be null for any other kind
 *  @return a constant text, "1" or "0". Kind 0: "1" for an SFP port; a slot whose query fails without an answer counts
 *          as a copper board. Kind 1: "0". Any other kind: "1". */
ZEL_API const char *BoardType_Check(uint32_t kind, uint32_t port, uint8_t *count);

/** Tells whether a port exists.
 *  @param port  any; ports above 23, 28 and higher included, exist without a query
 *  @return 0 when the port's slot is reported empty, else 1: a query that fails otherwise counts as present */
ZEL_API uint32_t IsSwitchPortExist(uint32_t port);

/** Connects the module I2C path (devices 0xA0 and 0xAC) to one port's cage. There is one selection for all processes.
 *  @param port  existence is decided on the whole word, type and selection on its low byte
 *  @return the request's result; FW_ABSENT; FW_NOT_SFP; FW_FAIL */
ZEL_API uint32_t FW_SfpSel(uint32_t port);

/** Reads the on-board 16-bit expander's two input bytes (device 0x4C); hands the first to the GPIO driver
 *  (FW_SetIOVal, result ignored) and gives the second to the caller.
 *  @param out  second input byte; untouched when the read fails
 *  @return 0 or the failed read's result */
ZEL_API uint32_t FW_GetExpenderIO(uint8_t *out);
/** @} */

/** @name Signal tables
 *  One row a port. Read at the moment of use: a program for a variant of the board may change them.
 *  @{ */

/** Where a cage signal is found. */
struct sfp_signal {
  uint8_t address; /**< I/O expander, 8-bit I2C address */
  uint8_t reg;     /**< expander register: input port, or output port for transmit disable */
  uint8_t mask;    /**< bit of the signal */
};

/** Where a cage signal is found in the SoC. */
struct sfp_soc_signal {
  uint32_t address; /**< SoC register; 0 = none */
  uint32_t mask;    /**< bit of the signal */
};

extern ZEL_API struct sfp_signal sfp_presnt[28];       /**< module presence */
extern ZEL_API struct sfp_signal sfp_txenable[28];     /**< transmit disable */
extern ZEL_API struct sfp_signal sfp_txfault[28];      /**< transmit fault */
extern ZEL_API struct sfp_signal sfp_los[28];          /**< loss of signal; rows 24-27 are not consulted */
extern ZEL_API struct sfp_soc_signal sfp_los_gpio[28]; /**< loss of signal of ports 24-27 */
/** @} */

/** @name Cage signals
 *  Each asks the board queries first (IsSwitchPortExist, BoardType_Check: FW_ABSENT, FW_NOT_SFP), then reads the port's
 *  row. A signal is 1 when its line reads high, 0 when low. A failed read leaves the out byte untouched.
 *  @{ */

/** Reads a cage's presence line.  @param port  0-27  @param present  out: line level
 *  @return 0; FW_ABSENT; FW_NOT_SFP; or the I2C read's result */
ZEL_API uint32_t FW_GetPortSfpPresnt(uint32_t port, uint8_t *present);
/** Reads a cage's transmit-disable output.  @param port  0-27  @param disable  out: 1 = transmitter off
 *  @return as FW_GetPortSfpPresnt */
ZEL_API uint32_t FW_GetPortSfpTxDisable(uint32_t port, uint8_t *disable);
/** Reads a cage's transmit-fault line.  @param port  0-27  @param fault  out: line level
 *  @return as FW_GetPortSfpPresnt */
ZEL_API uint32_t FW_GetPortSfpTxFault(uint32_t port, uint8_t *fault);
/** Reads a cage's loss-of-signal line.
 *  @param port  0-27. Ports 24-27 are read from SoC register 0x18110, bits 8-11, through the GPIO driver
 *  @param los   out: 1 = line high; for ports 24-27 written whenever the request was made
 *  @return as FW_GetPortSfpPresnt; ports 24-27: the request's result or FW_FAIL */
ZEL_API uint32_t FW_GetPortSfpLos(uint32_t port, uint8_t *los);

/** Switches a module's transmitter by read-modify-write of the expander's output register, verified by reading back.
 *  Another caller working on a cage of the same expander at the same time can undo it, and the other way round.
 *  @param port     0-27
 *  @param disable  1 = transmitter off, 0 = on; above 1 gives FW_FAIL after the board queries
 *  @return the read-back's result; FW_ABSENT; FW_NOT_SFP; the last of 5 failed reads or 5 failed writes in a row;
 *          FW_FAIL after 100 writes that did not read back */
ZEL_API uint32_t FW_SetPortSfpTxDisable(uint32_t port, uint32_t disable);

/** Puts the expanders of a daughter board into their working configuration: every transmitter off, presence, fault and
 *  loss-of-signal lines inputs. Nine registers, output latches before directions, each written and read back until it
 *  holds, up to 100 writes.
 *  @param slot  1-3; another gives FW_FAIL, nothing written
 *  @return 0; the failed transfer's result; FW_FAIL when a register does not hold. Later registers are not written. */
ZEL_API uint32_t FW_InitDauExpender(uint32_t slot);

/** The same for the main board's expanders 0x76, 0x78, 0x7A and 0x4C (seven registers).
 *  @return as FW_InitDauExpender */
ZEL_API uint32_t FW_InitOnBoardExpender(void);
/** @} */

ZEL_END_DECLS

#endif
