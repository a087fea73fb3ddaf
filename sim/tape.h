#pragma once

#include <pthread.h>

#include "recorder.h"

// A recording as the replay maps it. zelsim makes it; all processes of the program share it. A stream is the calls of one
// thread, in their order.

namespace zelsim {

constexpr uint64_t kTapeMagic = 0x455041544d49535aULL;  // "ZSIMTAPE"
constexpr uint32_t kNoOwner = 0;
constexpr int kNotInRecording = 125;  // exit status of a program that makes a call which the recording does not have

/** Bytes of the tape, from its beginning. */
struct TapePiece {
  uint64_t at;
  uint64_t size;
};

struct TapeCall {
  NodeCall call;  // without its bytes
  uint32_t line;  // of the file
  TapePiece given;
  TapePiece taken;
  TapePiece complaint;
  TapePiece text;
};

struct TapeStream {
  uint32_t first;  // number of its first call in the table of calls
  uint32_t count;
  uint32_t position;  // calls made so far
  uint32_t owner;     // the thread that makes them
};

struct TapeHead {
  uint64_t magic;
  pthread_mutex_t mutex;
  uint32_t streams;
  TapePiece stream_table;
  TapePiece call_table;
  uint32_t cut_after;  // last line of a recording that was cut off, or 0
  uint32_t fast;       // 1: pauses are not slept
  uint32_t failed;     // 1: a call was not in the recording; `message` says which
  char message[8192];
};

}  // namespace zelsim
