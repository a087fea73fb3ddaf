/** @file
 *  Board identity, port map, and the control signals of the SFP cages.
 *
 *  Ports 0-23 sit on daughter boards in slots 1 to 3, eight each; ports 24-27 are 10G SFP cages of the main board.
 *  Nothing is cached: boards can be fitted and removed between calls. A board query is a request or two to
 *  /dev/zel_i2c, without a pause; every transfer to an I/O expander is followed by the 5 ms pause of FW_I2C_BufRead.
 *  Pointers must not be null unless a function allows it.
 *
 *  No function touches library state, so calls from several threads may overlap. What they work on is the board's,
 *  though: FW_SfpSel moves the one cage selection of all processes, and FW_SetPortSfpTxDisable and the
 *  initialisations write registers that several cages share. Callers serialise those. */
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

/** Asks the I2C driver whether a board answers in a slot.
 *  @param slot   low 8 bits, passed on unchecked
 *  @param alive  out: 0 = no board, non-zero = a board; written whenever the request was made, 0 where it failed
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_GetDau_Alive(uint32_t slot, uint8_t *alive);

/** Tells the I2C driver whether a slot's board counts as alive.
 *  @param slot   low 8 bits, passed on unchecked
 *  @param alive  low 8 bits
 *  @return the request's result or FW_FAIL */
ZEL_API uint32_t FW_SetDau_Alive(uint32_t slot, uint32_t alive);

/** Tells the type of the board in a slot: one type request, then one alive request. An alive request that fails counts
 *  as no board.
 *  @param slot  1-3; another gives FW_FAIL before the open
 *  @param type  out: FW_BOARD_COPPER or another value = SFP board; 0 with FW_ABSENT. Untouched when the slot is refused
 *               or the node does not open for the type request; written, with what the driver left, also when that
 *               request fails
 *  @return the type request's result, the driver's own FW_FAIL among them; FW_ABSENT (no board alive, whatever the
 *          type request said); FW_FAIL (slot, node) */
ZEL_API uint32_t FW_GetDauBoard(uint32_t slot, uint8_t *type);

/** Answers one of two questions from the types of all three slots (six requests, whatever the kind and port).
 *  @param kind   FW_CHECK_SFP_PORT = is the port an SFP port?  FW_CHECK_COPPER_COUNT = how many copper boards are
 *                fitted?
 *  @param port   for the first question: 0-27; a port above 27 is none, ports 24-27 are SFP ports always
 *  @param count  out, for the second question only: 0-3 copper boards, of slots whose query succeeded; may be null for
 *                any other kind
 *  @return a constant text, never to be freed. First question: "1" for an SFP port, else "0"; a slot whose node did
 *          not open counts as a copper board, one whose query the driver failed by the type that it left (0: an SFP
 *          board). Second question: "0". Any other kind: "1". */
ZEL_API const char *BoardType_Check(uint32_t kind, uint32_t port, uint8_t *count);

/** Tells whether a port exists. Two requests for ports 0-23.
 *  @param port  any; ports above 23, 28 and higher included, exist without a query
 *  @return 0 when the port's slot is reported empty, else 1: a query that fails otherwise counts as present */
ZEL_API uint32_t IsSwitchPortExist(uint32_t port);

/** Connects the module I2C path (devices FW_SFP_MEMORY and FW_SFP_PHY) to one port's cage, by a request to
 *  /dev/zel_gpio after the board queries. There is one selection for all processes; it stays until the next one.
 *  @param port  0-27. Existence is decided on the whole word, type and selection on its low byte: 28-255 give
 *               FW_NOT_SFP, 256 selects cage 0
 *  @return the request's result; FW_ABSENT; FW_NOT_SFP; FW_FAIL. Thread-safe: the call itself; what follows it is
 *          not. */
ZEL_API uint32_t FW_SfpSel(uint32_t port);

/** Reads the on-board 16-bit expander's two input bytes (device 0x4C, registers 0 and 1, one transfer); hands the first
 *  to the GPIO driver (FW_SetIOVal, result ignored) and gives the second to the caller.
 *  @param out  out: second input byte; untouched when the read fails
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
 *  Each asks the board queries first, eight requests or, for ports 24-27, six (IsSwitchPortExist: FW_ABSENT;
 *  BoardType_Check: FW_NOT_SFP, also for a port above 27), then reads the port's row by one transfer. A signal is 1
 *  when its line reads high, 0 when low. A failed read leaves the out byte untouched.
 *
 *  The lines are those of an SFP cage (INF-8074i): a module pulls presence (MOD_DEF0) low; transmit fault, loss of
 *  signal and transmit disable are active high. Whether a board inverts a line on its way the library does not know.
 *  @{ */

/** Reads a cage's presence line.
 *  @param port     0-27
 *  @param present  out: line level, 0 = a module is there, 1 = the cage is empty
 *  @return 0; FW_ABSENT; FW_NOT_SFP; or the I2C read's result. Thread-safe: yes. */
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
 *  @param port  0-27. Ports 24-27 are read from the SoC register in `sfp_los_gpio` (0x18110, bits 8-11) through the
 *               GPIO driver, without a pause
 *  @param los   out: line level, 1 = no signal; for ports 24-27 written whenever the request was made, 0 where it
 *               failed
 *  @return as FW_GetPortSfpPresnt; ports 24-27: the request's result or FW_FAIL (node). Thread-safe: yes. */
ZEL_API uint32_t FW_GetPortSfpLos(uint32_t port, uint8_t *los);

/** Switches a module's transmitter by read-modify-write of the expander's output register, verified by reading back
 *  (FW_GetPortSfpTxDisable). Another caller working on a cage of the same expander at the same time can undo it, and
 *  the other way round: callers serialise.
 *
 *  Three transfers, 15 ms, as a rule. A failed read is made up to 5 times, a failed write up to 5 times in a row; a
 *  write that does not read back is repeated, up to 100 times: at most 1.0 s where every write succeeds, and at most
 *  3.0 s, with 500 writes, where each succeeds at its fifth attempt only. A read-back that fails counts as 0: it ends
 *  the call when the transmitter was to be switched on, and counts as one that does not match when it was to be
 *  switched off.
 *  @param port     0-27
 *  @param disable  1 = transmitter off, 0 = on; above 1 gives FW_FAIL after the board queries
 *  @return the read-back's result; FW_ABSENT; FW_NOT_SFP; the last of 5 failed reads or 5 failed writes in a row;
 *          FW_FAIL after 100 writes that did not read back, with the output bits as last written */
ZEL_API uint32_t FW_SetPortSfpTxDisable(uint32_t port, uint32_t disable);

/** Puts the expanders of a daughter board into their working configuration: every transmitter off, presence, fault and
 *  loss-of-signal lines inputs. Nine registers, output latches before directions, each written and read back until it
 *  holds, up to 100 times. Whether a board is there is not asked. As a rule 18 transfers, 90 ms; a register that never
 *  holds ends the call after another 1.0 s; at most 9.0 s, where each holds at its hundredth write only.
 *  @param slot  1-3; another gives FW_FAIL, nothing written
 *  @return 0; the failed transfer's result (nothing is retried); FW_FAIL when a register does not hold. Later
 *          registers are then not written. */
ZEL_API uint32_t FW_InitDauExpender(uint32_t slot);

/** The same for the main board's expanders 0x76, 0x78, 0x7A and 0x4C: seven registers, 70 ms as a rule, 7.0 s at most.
 *  @return as FW_InitDauExpender */
ZEL_API uint32_t FW_InitOnBoardExpender(void);
/** @} */

ZEL_END_DECLS

#endif
