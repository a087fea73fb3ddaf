#include "file_copy.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>

#include "file_figures.h"
#include "records.h"

/** Writes the file into the pipe. Stops early if a signal waits, or if the copy has ended. @return bytes written */
static uint64_t feed(std::ifstream &file, int pipe, Progress &progress) {
  uint64_t taken = 0;
  std::vector<uint8_t> buffer(sector_size());
  while (!interrupted()) {
    const Bytes piece = next_piece(file, buffer);
    if (piece.empty() || !write_all(pipe, piece)) break;
    taken += piece.size();
    progress.at(taken);
  }
  close(pipe);
  return taken;
}

/** How a copy has ended. */
struct Outcome {
  uint32_t status;
  uint64_t taken;  // bytes of the file that the copy got
};

static Outcome copy_through_pipe(const std::string &path, uint64_t size,
                                 const std::function<uint32_t(int file)> &copy) {
  enum { kReadEnd, kWriteEnd };
  constexpr int kSmallest = 4096;  // the progress also counts the bytes that are still in the pipe
  std::ifstream file(path, std::ios::binary);
  if (!file) throw Failure{path + ": " + std::strerror(errno)};
  start_change();
  int ends[2] = {-1, -1};
  if (pipe2(ends, O_CLOEXEC) != 0) throw Failure{std::string("the copy gets no pipe: ") + std::strerror(errno)};
  fcntl(ends[kWriteEnd], F_SETPIPE_SZ, kSmallest);
  Progress progress("program", size);
  Outcome outcome{};
  std::thread feeder([&] { outcome.taken = feed(file, ends[kWriteEnd], progress); });
  outcome.status = copy(ends[kReadEnd]);
  // If the copy refused, the end is still open: the feeder would wait for a reader, and nobody gets what is in the pipe.
  // Any other copy has closed it: then this call fails and does no harm, since nobody has opened a file meanwhile.
  const bool refused = close(ends[kReadEnd]) == 0;
  feeder.join();
  if (refused) outcome.taken = 0;
  return outcome;
}

static std::string reason_of(const Outcome &outcome, const std::string &path) {
  if (outcome.status != 0) return status_name(outcome.status);
  if (interrupted()) return "interrupted";
  return path + " changed meanwhile";
}

void copy_file(const std::string &path, const std::string &target, uint64_t size,
               const std::function<uint32_t(int file)> &copy) {
  const Outcome outcome = copy_through_pipe(path, size, copy);
  const bool is_whole = outcome.status == 0 && outcome.taken == size;
  if (is_whole) return;
  const std::string why = reason_of(outcome, path);
  const bool nothing_written = outcome.taken == 0;
  if (nothing_written) throw Failure{why + ": " + target + ": refused, " + kUnchanged, outcome.status};
  const std::string first =
      format("the first 0x%llX of 0x%llX bytes of %s", static_cast<unsigned long long>(outcome.taken),
             static_cast<unsigned long long>(size), path.c_str());
  const bool is_verified = outcome.status == 0;
  if (is_verified) throw Failure{why + ": " + target + " holds " + first + ", verified; the rest is as it was"};
  throw Failure{why + ": " + target + " is damaged: it holds at most " + first + ", not verified", outcome.status};
}
