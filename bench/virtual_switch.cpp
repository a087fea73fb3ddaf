// What the virtual switch itself costs.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace {

constexpr unsigned long kGetSystemLed = 0x40012481;
constexpr int kRequests = 20000;

bool request() {
  uint8_t led = 0;
  const int fd = open("/dev/zel_gpio", O_RDWR);
  const bool good = ioctl(fd, kGetSystemLed, &led) == 0;
  return close(fd) == 0 && good;
}

/// The same three system calls on the same file, with nobody in between.
bool bare_request(const char *file) {
  uint8_t led = 0;
  const long fd = syscall(SYS_openat, AT_FDCWD, file, O_RDWR);
  syscall(SYS_ioctl, fd, kGetSystemLed, &led);
  return syscall(SYS_close, fd) == 0;
}

void sim_request(benchmark::State &state) {
  for (auto _ : state) {
    if (!request()) state.SkipWithError("no virtual switch");
  }
}

void bare_calls(benchmark::State &state) {
  const std::string file = std::string(getenv("ZELSIM_BOARD_DIR")) + "/gpio";
  for (auto _ : state) {
    if (!bare_request(file.c_str())) state.SkipWithError("no board file");
  }
}

int wait_for_all() {
  int bad = 0;
  for (;;) {
    int status = 0;
    if (wait(&status) <= 0) return bad;
    if (status != 0) ++bad;
  }
}

/// The work of one process; its exit status is 0 if all requests were answered.
[[noreturn]] void make_requests() {
  int good = 0;
  for (int made = 0; made < kRequests; ++made) {
    if (request()) ++good;
  }
  _exit(good == kRequests ? 0 : 1);
}

void processes(benchmark::State &state) {
  for (auto _ : state) {
    for (int64_t started = 0; started < state.range(0); ++started) {
      if (fork() == 0) make_requests();
    }
    if (wait_for_all() != 0) state.SkipWithError("a process failed");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0) * kRequests);
}

void start(benchmark::State &state, std::vector<const char *> words) {
  const std::string home = std::string("ZELSIM_HOME=") + getenv("ZELSIM_HOME");
  const char *const environment[] = {"PATH=/usr/bin:/bin", home.c_str(), nullptr};
  words.push_back(nullptr);
  for (auto _ : state) {
    pid_t child = 0;
    auto **arguments = const_cast<char **>(words.data());
    auto **variables = const_cast<char **>(environment);
    const bool started = posix_spawn(&child, words[0], nullptr, nullptr, arguments, variables) == 0;
    if (!started || wait_for_all() != 0) state.SkipWithError("the program failed");
  }
}

void start_true(benchmark::State &state) { start(state, {"/bin/true"}); }
void start_run(benchmark::State &state) {
  start(state, {ZELSIM_PROGRAM, "run", "--board", "bench", "--", "/bin/true"});
}

}  // namespace

BENCHMARK(sim_request)->Name("request/zelsim");
BENCHMARK(bare_calls)->Name("request/bare");
BENCHMARK(processes)->Name("processes")->Arg(1)->Arg(8)->UseRealTime();
BENCHMARK(start_run)->Name("start/zelsim")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(start_true)->Name("start/true")->Unit(benchmark::kMillisecond)->UseRealTime();
