#pragma once

// What `zelsim run` hands to programs in the environment.

namespace zelsim {

constexpr char kBoardFolderVariable[] = "ZELSIM_BOARD_DIR";   // folder of the board
constexpr char kTraceVariable[] = "ZELSIM_TRACE";             // a file, or "-" for standard error
constexpr char kTraceOpensVariable[] = "ZELSIM_TRACE_OPENS";  // switch: trace opens and closes, too
constexpr char kTraceTimesVariable[] = "ZELSIM_TRACE_TIMES";  // switch: times and process numbers in the trace
constexpr char kFastVariable[] = "ZELSIM_FAST";               // switch: pauses are counted, not slept
constexpr char kChipTimesVariable[] = "ZELSIM_CHIP_TIMES";    // switch: the flash takes the chip's time
/** The secret of `zelsim serve`, from its user or to the web server. */
constexpr char kWebTokenVariable[] = "ZELSIM_TOKEN";

/** A variable's text, empty if there is none. */
const char *variable(const char *name);
/** A switch is off if it is missing, empty or "0". */
bool is_on(const char *name);

}  // namespace zelsim
