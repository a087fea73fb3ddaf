#include "recorder_caller.h"

#include <pthread.h>
#include <unistd.h>

namespace zelsim {
namespace {

// The child of a fork begins anew.
pid_t g_process;
thread_local pid_t t_thread;

void forget_numbers() {
  g_process = 0;
  t_thread = 0;
}

void learn_numbers() {
  static bool watches_forks;
  if (!watches_forks) pthread_atfork(nullptr, nullptr, forget_numbers);
  watches_forks = true;
  g_process = getpid();
}

}  // namespace

pid_t own_process() {
  if (g_process == 0) learn_numbers();
  return g_process;
}

pid_t own_thread() {
  if (t_thread == 0) t_thread = gettid();
  return t_thread;
}

}  // namespace zelsim
