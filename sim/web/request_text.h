#pragma once

#include <string>

namespace zelsim::web {

/** The state of a request whose bytes are being collected. */
enum class Progress { Incomplete, Whole, HeadTooLong, BodyTooLong, Malformed };

struct RequestText {
  Progress progress;
  size_t length = 0;            // of a whole request; the bytes behind it belong to the next one
  bool wants_go_ahead = false;  // the client waits for a go-ahead before it sends the body
};

/** Looks for the end of the first request in `bytes`. */
RequestText measure_request(const std::string &bytes);

}  // namespace zelsim::web
