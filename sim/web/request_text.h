#pragma once

#include <string>

namespace zelsim::web {

/** How far a request has come whose bytes are collected one by one. */
enum class Progress { Incomplete, Whole, HeadTooLong, BodyTooLong, Malformed };

struct RequestText {
  Progress progress;
  size_t length;        // of the request, when it is whole; what is behind it belongs to the next one
  bool wants_go_ahead;  // the client sends the body only when it is told to
};

/** Looks for the end of the first request in `bytes`. */
RequestText measure_request(const std::string &bytes);

}  // namespace zelsim::web
