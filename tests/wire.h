// The wire: what the library asked of the system, call by call, and a hand to make any of those calls go wrong.
//
// The test program defines the libc functions that the library calls; each notes its call while a recording runs and
// passes it on to the virtual switch behind. A recording is one event a line:
//
//   open gpio rw            open FILE r            close gpio
//   gpio 80 01 = 0          gpio e0 00030200 00000000>00010000 = 0      (request, record before, > after, result)
//   i2c b0 40:2/1 n1 >44 = 0      i2c b1 40:2/1 n1 44 = 0               (address:offset/offset_len)
//   flash d1 = 0            seek 1200000           read flash 10000 = 10000        write flash 100 = 100
//   pause 5000              shell debugCmd sgpio_set 1 3 1
//   print Program...2\n     puts text              putchar .
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>

namespace wire {

void record();

/// Ends the recording. Events whose first word is in `drop` are left out.
std::string recorded(std::initializer_list<const char *> drop = {});

/// A driver request on its way. `record` is the caller's memory; a hook may fill it.
struct Request {
  std::string node;
  uint8_t number;
  void *record;
};

/// Answers requests in the driver's place; no value passes the request on. Cleared by reset().
void on_request(std::function<std::optional<int>(const Request &)> hook);

/// Makes the nth call (from 1) of a kind fail while recording: "open", "ioctl", "lseek", "read", "write", "system",
/// "malloc" (with calloc), "fstat", or "any", which counts the calls of all kinds but malloc and fstat. Open gives ENXIO,
/// ioctl and fstat -1, read and write -1 with EIO, malloc null. Cleared by reset().
void fail_call(const std::string &kind, int nth);

/// Calls of the kinds that fail_call can fail, in the recording so far.
int calls(const std::string &kind);

/// Descriptors opened and not closed in the recording so far.
int open_descriptors();

/// The library's lines of the recording, as an operator sees them.
std::string output();

/// Forgets hooks and faults.
void reset();

}  // namespace wire
