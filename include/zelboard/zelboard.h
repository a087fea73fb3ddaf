/** @file
 *  The whole exported interface of the board-support library: a flat set of synchronous functions.
 *
 *  Each call opens the driver node that it needs (/dev/zel_gpio, /dev/zel_i2c, /dev/zel_spi_flash), makes its requests
 *  and closes the node. There is no initialisation, no handle and no thread. "Thread-safe: yes" means that overlapping
 *  calls do not disturb each other through the library's state; the drivers serialise the hardware. */
#ifndef ZELBOARD_ZELBOARD_H
#define ZELBOARD_ZELBOARD_H

#include "zelboard/board.h"
#include "zelboard/content.h"
#include "zelboard/flash.h"
#include "zelboard/i2c.h"
#include "zelboard/ports.h"
#include "zelboard/sfp.h"
#include "zelboard/status.h"

#endif
