/** @file
 *  Status codes. Unless it says otherwise, a function returns an unsigned 32-bit status. 0 is success. The codes below
 *  are the library's own. Any other value is a driver's result, passed on unchanged. Drivers may return the same codes:
 *  a driver that fails answers FW_FAIL, too. A request that the kernel itself refuses returns FW_REFUSED, whatever
 *  errno says. */
#ifndef ZELBOARD_STATUS_H
#define ZELBOARD_STATUS_H

#define FW_OK 0u               /**< success */
#define FW_FAIL 0xFFFFu        /**< node does not open, argument out of range, chip not supported; a driver's failure */
#define FW_NOT_SET 0xFFFEu     /**< no description stored */
#define FW_ABSENT 0xFFFDu      /**< no daughter board in the slot, or device not alive */
#define FW_NOT_SFP 0xFFFCu     /**< the port has no SFP cage, or is above 27 */
#define FW_I2C_BUSY 0xFFFAu    /**< the I2C driver found the bus busy */
#define FW_REFUSED 0xFFFFFFFFu /**< refused by the kernel; also the failure of image copies, map queries and dumps */

#endif
