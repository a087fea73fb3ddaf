#include "shared_mutex.h"

#include <errno.h>

namespace zelsim {

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

timespec time_after(long nanoseconds) {
  constexpr long kSecondNs = 1000000000;
  timespec end = {};
  clock_gettime(CLOCK_REALTIME, &end);
  end.tv_nsec += nanoseconds;
  end.tv_sec += end.tv_nsec / kSecondNs;
  end.tv_nsec %= kSecondNs;
  return end;
}

// A process that is killed just when it is woken may take the wake-up of the others along. So each looks again by itself.
// Thread checkers know pthread_mutex_timedlock, and not pthread_mutex_clocklock.
int lock_shared_mutex(pthread_mutex_t &mutex) {
  constexpr long kNapNs = 100000000;
  int error = pthread_mutex_trylock(&mutex);
  while (error == EBUSY || error == ETIMEDOUT) {
    timespec end = time_after(kNapNs);
    error = pthread_mutex_timedlock(&mutex, &end);
  }
  return error;
}

}  // namespace zelsim
