/** @file
 *  Four exported words of an earlier generation, kept so that old programs still link. They are zero at load. No
 *  function of the library reads or writes them. zelboard.h leaves this header out, because a global variable named `i`
 *  would be a nuisance in every program. */
#ifndef ZELBOARD_LEGACY_H
#define ZELBOARD_LEGACY_H

#include "zelboard/export.h"

ZEL_BEGIN_DECLS

extern ZEL_API uint32_t GppShareData; /**< unused */
extern ZEL_API uint32_t Gppkey;       /**< unused */
extern ZEL_API uint32_t shm_id;       /**< unused */
extern ZEL_API uint32_t i;            /**< unused */

ZEL_END_DECLS

#endif
