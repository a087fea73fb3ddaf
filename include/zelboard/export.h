/** @file
 *  Linkage and visibility of the exported interface; included by every other header. */
#ifndef ZELBOARD_EXPORT_H
#define ZELBOARD_EXPORT_H

#include <stdint.h>

/** Part of the exported interface. */
#define ZEL_API __attribute__((visibility("default")))

#ifdef __cplusplus
/** Declarations from here on have C linkage. */
#define ZEL_BEGIN_DECLS extern "C" {
/** Up to here. */
#define ZEL_END_DECLS }
#else
#define ZEL_BEGIN_DECLS
#define ZEL_END_DECLS
#endif

#endif
