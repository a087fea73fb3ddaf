#pragma once

#include <pthread.h>
#include <time.h>

// Mutexes in memory that processes share. Any process may be killed, while it holds one or while it waits for one.

namespace zelsim {

void make_shared_mutex(pthread_mutex_t &mutex, int type = PTHREAD_MUTEX_NORMAL);

/** The time on the clock of pthread_mutex_timedlock, some time from now. */
timespec time_after(long nanoseconds);

/** As pthread_mutex_lock, and EOWNERDEAD if the holder has died. */
int lock_shared_mutex(pthread_mutex_t &mutex);

}  // namespace zelsim
