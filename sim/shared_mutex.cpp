#include "shared_mutex.h"

#include <errno.h>
#include <time.h>

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

namespace {

/** Waits a moment for the mutex: ETIMEDOUT if it does not come. */
int wait_for(pthread_mutex_t &mutex) {
  constexpr long kNapNs = 100000000;
  constexpr long kSecondNs = 1000000000;
  timespec end = {};
  clock_gettime(CLOCK_REALTIME, &end);
  end.tv_nsec += kNapNs;
  end.tv_sec += end.tv_nsec / kSecondNs;
  end.tv_nsec %= kSecondNs;
  // Thread checkers know this function, and not pthread_mutex_clocklock.
  return pthread_mutex_timedlock(&mutex, &end);
}

bool is_taken(int error) { return error == EBUSY || error == ETIMEDOUT; }

}  // namespace

// A process that is killed just when it is woken may take the wake-up of the others along. So each looks again by itself.
int lock_shared_mutex(pthread_mutex_t &mutex) {
  int error = pthread_mutex_trylock(&mutex);
  while (is_taken(error)) error = wait_for(mutex);
  return error;
}

int lock_shared_mutex(pthread_mutex_t &mutex, std::chrono::steady_clock::time_point end) {
  int error = pthread_mutex_trylock(&mutex);
  while (is_taken(error) && std::chrono::steady_clock::now() < end) error = wait_for(mutex);
  return error;
}

}  // namespace zelsim
