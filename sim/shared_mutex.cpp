#include "shared_mutex.h"

#include <errno.h>
#include <time.h>

namespace zelsim {
namespace {

timespec time_after_a_nap() {
  constexpr long kNapNs = 100000000;
  constexpr long kSecondNs = 1000000000;
  timespec end = {};
  clock_gettime(CLOCK_MONOTONIC, &end);
  end.tv_nsec += kNapNs;
  end.tv_sec += end.tv_nsec / kSecondNs;
  end.tv_nsec %= kSecondNs;
  return end;
}

}  // namespace

void make_shared_mutex(pthread_mutex_t &mutex, int type) {
  pthread_mutexattr_t kind;
  pthread_mutexattr_init(&kind);
  pthread_mutexattr_settype(&kind, type);
  pthread_mutexattr_setpshared(&kind, PTHREAD_PROCESS_SHARED);
  pthread_mutexattr_setrobust(&kind, PTHREAD_MUTEX_ROBUST);
  if (pthread_mutex_init(&mutex, &kind) == ENOTSUP) {  // an emulator of another processor has no robust mutexes
    pthread_mutexattr_setrobust(&kind, PTHREAD_MUTEX_STALLED);
    pthread_mutex_init(&mutex, &kind);
  }
  pthread_mutexattr_destroy(&kind);
}

// A process that is killed just when it is woken may take the wake-up of the others along. So each looks again by itself.
int lock_shared_mutex(pthread_mutex_t &mutex) {
  int error = pthread_mutex_trylock(&mutex);
  while (error == EBUSY || error == ETIMEDOUT) {
    timespec end = time_after_a_nap();
    error = pthread_mutex_clocklock(&mutex, CLOCK_MONOTONIC, &end);
  }
  return error;
}

}  // namespace zelsim
