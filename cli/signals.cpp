#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "output.h"
#include "program.h"

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

static sigset_t held;  // empty at first: static memory is zero

/** The line that the handler prints. It is complete, because a handler can only call `write`. */
static char last_words[256];

static void end_with_line(int number) {
  const ssize_t ignored = write(STDERR_FILENO, last_words, std::strlen(last_words));
  static_cast<void>(ignored);
  raise(number);  // ends the program when the handler returns: SA_RESETHAND has removed the handler
}

static bool is_ignored(int number) {
  struct sigaction before {};
  return sigaction(number, nullptr, &before) != 0 || before.sa_handler == SIG_IGN;
}

void say_when_ended(const std::string &line) {
  sigset_t all;
  sigset_t before;
  sigemptyset(&all);
  for (const int number : kSignals) sigaddset(&all, number);
  pthread_sigmask(SIG_BLOCK, &all, &before);  // the handler must not run while its text changes
  std::snprintf(last_words, sizeof last_words, "%s: %s\n", kProgram, line.c_str());
  struct sigaction action {};
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  action.sa_handler = line.empty() ? SIG_DFL : end_with_line;
  for (const int number : kSignals) {
    if (!is_ignored(number)) sigaction(number, &action, nullptr);
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void hold_signals() {
  signal(SIGPIPE, SIG_IGN);
  for (const int number : kSignals) {
    if (!is_ignored(number)) sigaddset(&held, number);
  }
  pthread_sigmask(SIG_BLOCK, &held, nullptr);
}

bool interrupted() {
  sigset_t waiting;
  sigpending(&waiting);
  for (const int number : kSignals) {
    if (sigismember(&held, number) == 1 && sigismember(&waiting, number) == 1) return true;
  }
  return false;
}

int held_signals() { return signalfd(-1, &held, SFD_CLOEXEC | SFD_NONBLOCK); }

void release_signals() { pthread_sigmask(SIG_UNBLOCK, &held, nullptr); }
