#pragma once

#include <pthread.h>

#include <chrono>

// Mutexes in memory that processes share. Any process may be killed, while it holds one or while it waits for one.

namespace zelsim {

void make_shared_mutex(pthread_mutex_t &mutex, int type = PTHREAD_MUTEX_NORMAL);

/** As pthread_mutex_lock, and EOWNERDEAD if the holder has died. */
int lock_shared_mutex(pthread_mutex_t &mutex);

/** The same until some time: EBUSY or ETIMEDOUT if the mutex is still taken then. */
int lock_shared_mutex(pthread_mutex_t &mutex, std::chrono::steady_clock::time_point end);

}  // namespace zelsim
