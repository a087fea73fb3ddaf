/** @file
 *  Status codes. Every function returns an unsigned 32-bit status unless it says otherwise: 0 is success, the codes
 *  below are the library's own, any other value is a driver's result passed on unchanged. Drivers may give the same
 *  codes: FW_FAIL is also what they answer when they fail. A request that the kernel itself refuses arrives as
 *  FW_REFUSED, whatever errno says. */
#ifndef ZELBOARD_STATUS_H
#define ZELBOARD_STATUS_H

#define FW_OK 0u            /**< success */
#define FW_FAIL 0xFFFFu     /**< node cannot be opened, argument out of range, chip not supported; drivers' failure */
#define FW_NOT_SET 0xFFFEu  /**< no description stored */
#define FW_ABSENT 0xFFFDu   /**< no daughter board in the slot, no such port, or device not alive */
#define FW_NOT_SFP 0xFFFCu  /**< the port exists but has no SFP cage */
#define FW_I2C_BUSY 0xFFFAu /**< the I2C driver found the bus busy */
#define FW_REFUSED 0xFFFFFFFFu /**< ioctl refused by the kernel; also the own failure of copies, map queries, dump */

#endif
