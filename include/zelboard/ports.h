/** @file
 *  Board identity, port map, and the control signals of the SFP cages.
 *
 *  Ports 0-23 are on daughter boards in slots 1 to 3, eight on each; ports 24-27 are 10G SFP cages of the main board.
 *  Nothing is cached: boards can be fitted and removed between calls. A board query is one request or two to
 *  /dev/zel_i2c, without a pause. A transfer to an I/O expander pauses 5 ms (FW_I2C_BufRead). Pointers must not be null
 *  unless a function allows it.
 *
 *  No function changes state of the library, so overlapping calls do not disturb each other through it; the drivers
 *  serialise the hardware. Some change state of the board: FW_SfpSel moves the one cage selection of all processes;
 *  FW_SetPortSfpTxDisable and the initialisations write registers that several cages share. Callers must serialise
 *  those calls. */
#ifndef ZELBOARD_PORTS_H
#define ZELBOARD_PORTS_H

#include "zelboard/export.h"
#include "zelboard/status.h"

ZEL_BEGIN_DECLS

/** @name Daughter boards and ports
 *  @{ */

/* Ports and slots of the board. */
#define FW_PORTS 28u             /**< number of ports: 0 to 27 */
#define FW_PORT_LAST 27u         /**< last port */
#define FW_PORT_FIRST_10G 24u    /**< first 10G SFP cage of the main board; the ports below are on daughter boards */
#define FW_PORTS_PER_SLOT 8u     /**< slot of a daughter-board port: port / FW_PORTS_PER_SLOT + FW_SLOT_FIRST */
#define FW_SLOT_FIRST 1u         /**< first daughter-board slot */
#define FW_SLOT_LAST 3u          /**< last daughter-board slot */
#define FW_BOARD_COPPER 1u       /**< board type of FW_GetDauBoard: eight copper ports; any other: eight SFP cages */
#define FW_CHECK_SFP_PORT 0u     /**< `kind` of BoardType_Check: is the port an SFP port? */
#define FW_CHECK_COPPER_COUNT 1u /**< `kind` of BoardType_Check: how many copper boards are fitted? */

/** Reads whether a board answers in a slot, as the I2C driver knows it.
 *  @param slot   unchecked; the low 8 bits count
 *  @param alive  out: 0 = no board, non-zero = a board; 0 if the request fails and the driver wrote nothing
 *  @return the request's result, or FW_FAIL (node) */
ZEL_API uint32_t FW_GetDau_Alive(uint32_t slot, uint8_t *alive);

/** Tells the I2C driver whether a slot's board counts as alive.
 *  @param slot   unchecked; the low 8 bits count
 *  @param alive  the low 8 bits count
 *  @return the request's result, or FW_FAIL (node) */
ZEL_API uint32_t FW_SetDau_Alive(uint32_t slot, uint32_t alive);

/** Reads the type of the board in a slot: one type request, then one alive request. The alive request's result does not
 *  count, only its byte: 0 = no board. The byte is also 0 if the driver writes nothing.
 *  @param slot  1-3; any other: FW_FAIL, nothing opened
 *  @param type  out: FW_BOARD_COPPER, or any other value for an SFP board; 0 with FW_ABSENT. If the type request fails,
 *               what the driver left. Untouched if the slot is out of range or the node does not open for that request
 *  @return the type request's result; FW_ABSENT if no board is alive, whatever that result; FW_FAIL (slot, node) */
ZEL_API uint32_t FW_GetDauBoard(uint32_t slot, uint8_t *type);

/** Answers one of two questions about the boards in the slots: "1" or "0". Any call queries all three slots, by six
 *  requests.
 *  @param kind   FW_CHECK_SFP_PORT = is the port an SFP port? FW_CHECK_COPPER_COUNT = how many copper boards are
 *                fitted?
 *  @param port   for FW_CHECK_SFP_PORT: 0-27. Ports 24-27 are always SFP ports, a port above 27 never is
 *  @param count  out: number of copper boards, 0-3, for FW_CHECK_COPPER_COUNT. A slot whose query fails does not count.
 *                Not written for any other kind, and may be null there
 *  @return a constant text, which must not be freed. FW_CHECK_SFP_PORT: "1" for an SFP port, else "0". If the node does
 *          not open, the slot has no cages. If the request fails, the type left in the record decides: 0 is an SFP
 *          board. FW_CHECK_COPPER_COUNT: "0". Any other kind: "1". */
ZEL_API const char *BoardType_Check(uint32_t kind, uint32_t port, uint8_t *count);

/** Says whether a port exists, that is, whether a board is in its slot. Two requests for ports 0-23.
 *  @param port  any; a port above 23, also one above 27, exists without a query
 *  @return 1 = exists; 0 = its slot is empty. A query that fails counts as a board */
ZEL_API uint32_t IsSwitchPortExist(uint32_t port);

/** Connects the module I2C path (devices FW_SFP_MEMORY and FW_SFP_PHY) to one port's cage, by a request to
 *  /dev/zel_gpio after the board queries. All processes share the one selection, which stays until the next call.
 *  @param port  0-27. All 32 bits decide whether the port exists. The low byte decides whether it has a cage, and which
 *               cage is selected: 28-255 return FW_NOT_SFP, 256 stands for cage 0
 *  @return the request's result; FW_ABSENT (no board); FW_NOT_SFP (no cage); FW_FAIL (node). Thread-safe: the call is,
 *          the transfers after it are not. */
ZEL_API uint32_t FW_SfpSel(uint32_t port);

/** Reads the two input bytes of the on-board 16-bit expander (device 0x4C, registers 0 and 1, one transfer). The first
 *  goes to the GPIO driver (FW_SetIOVal, result ignored), the second to the caller.
 *  @param out  out: the second input byte; untouched if the read fails
 *  @return 0, or the failed read's result */
ZEL_API uint32_t FW_GetExpenderIO(uint8_t *out);
/** @} */

/** @name Signal tables
 *  One row for each port. The functions read them when they need them: a program for another wiring may change them.
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

extern ZEL_API struct sfp_signal sfp_presnt[FW_PORTS];   /**< module presence */
extern ZEL_API struct sfp_signal sfp_txenable[FW_PORTS]; /**< transmit disable */
extern ZEL_API struct sfp_signal sfp_txfault[FW_PORTS];  /**< transmit fault */
extern ZEL_API struct sfp_signal sfp_los[FW_PORTS];      /**< loss of signal of ports 0-23; rows 24-27 are not used */
extern ZEL_API struct sfp_soc_signal sfp_los_gpio[FW_PORTS]; /**< loss of signal of ports 24-27 */
/** @} */

/** @name Cage signals
 *  A function stores a line's level in its out byte: 1 = high, 0 = low. It reads the level by one transfer; the port's
 *  row of the table says where. Before that it makes the board queries: eight requests, or six for ports 24-27.
 *  They end the call with FW_ABSENT if the port does not exist (IsSwitchPortExist), and with FW_NOT_SFP if it has no
 *  cage or is above 27 (BoardType_Check). If the read fails, the out byte stays untouched.
 *
 *  The lines have the levels of an SFP cage (INF-8074i): a module pulls presence (MOD_DEF0) low; transmit fault, loss
 *  of signal and transmit disable are active high. The library does not know whether the board inverts a line.
 *  @{ */

/** Reads a cage's presence line.
 *  @param port     0-27
 *  @param present  out: line level, 0 = a module is there, 1 = the cage is empty
 *  @return 0; FW_ABSENT; FW_NOT_SFP; or the failed read's result. Thread-safe: yes. */
ZEL_API uint32_t FW_GetPortSfpPresnt(uint32_t port, uint8_t *present);
/** Reads a cage's transmit-disable output.
 *  @param port     0-27
 *  @param disable  out: 1 = transmitter off
 *  @return as FW_GetPortSfpPresnt. Thread-safe: yes. */
ZEL_API uint32_t FW_GetPortSfpTxDisable(uint32_t port, uint8_t *disable);
/** Reads a cage's transmit-fault line.
 *  @param port   0-27
 *  @param fault  out: line level, 1 = fault
 *  @return as FW_GetPortSfpPresnt. Thread-safe: yes. */
ZEL_API uint32_t FW_GetPortSfpTxFault(uint32_t port, uint8_t *fault);
/** Reads a cage's loss-of-signal line.
 *  @param port  0-27. For ports 24-27 the line is a bit of the SoC register in `sfp_los_gpio` (0x18110, bits 8-11),
 *               which is read through the GPIO driver, without a pause
 *  @param los   out: line level, 1 = no signal. For ports 24-27 also written if the request fails: 0 where the driver
 *               wrote nothing
 *  @return as FW_GetPortSfpPresnt; ports 24-27: the request's result, or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_GetPortSfpLos(uint32_t port, uint8_t *los);

/** Switches a module's transmitter: reads the expander's output register, changes the cage's bit, writes the register
 *  and reads it back (FW_GetPortSfpTxDisable). Normally three transfers, 15 ms.
 *
 *  A read or a write that fails is repeated, 5 attempts in all. A write that does not read back is repeated, 100 writes
 *  in all: at most 1.0 s if every write succeeds, 3.0 s if every write needs five attempts. If a read-back fails, the
 *  state counts as 0. To switch on, that matches: the call ends with the read-back's result. To switch off, it does not
 *  match: the register is written again.
 *
 *  Two callers that work on cages of the same expander at the same time can undo each other's change: callers must
 *  serialise.
 *  @param port     0-27
 *  @param disable  1 = transmitter off, 0 = on; above 1: FW_FAIL, after the board queries
 *  @return the read-back's result; FW_ABSENT; FW_NOT_SFP; FW_FAIL (argument); the result of the fifth failed read or
 *          write; FW_FAIL after 100 writes that did not read back, which leave the outputs as last written */
ZEL_API uint32_t FW_SetPortSfpTxDisable(uint32_t port, uint32_t disable);

/** Puts the expanders of a daughter board into their working configuration: every transmitter off; presence, fault and
 *  loss-of-signal lines inputs. Writes nine registers, outputs before directions, and reads each back. Normally 18
 *  transfers, 90 ms. A register that reads back another value is written again, 100 times in all: 1.0 s for one
 *  register, 9.0 s at most for all. Does not ask whether a board is there.
 *  @param slot  1-3; any other: FW_FAIL, nothing written
 *  @return 0; the result of the first transfer that fails; FW_FAIL (slot, or a register that never reads back). A
 *          failed transfer is not repeated, and after a failure the later registers are not written. */
ZEL_API uint32_t FW_InitDauExpender(uint32_t slot);

/** Puts the main board's expanders 0x76, 0x78, 0x7A and 0x4C into their working configuration, as FW_InitDauExpender
 *  does for a daughter board. Seven registers; normally 14 transfers, 70 ms; 7.0 s at most.
 *  @return as FW_InitDauExpender */
ZEL_API uint32_t FW_InitOnBoardExpender(void);
/** @} */

ZEL_END_DECLS

#endif
