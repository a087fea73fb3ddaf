#pragma once

// Names of a call's arguments, as the trace and a recording show them.

namespace zelsim {

/** The access mode in the flags of an open. */
const char *access_name(int flags);

/** The origin of a seek, which stands before its offset. */
const char *origin_name(int whence);

}  // namespace zelsim
