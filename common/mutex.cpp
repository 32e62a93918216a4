// The lock of the common layer.
#include "qrx/mutex.h"

#include <sys/time.h>

#include <cstdint>

namespace qrx {
namespace {

timespec deadlineIn(int milliseconds) {
  constexpr int64_t kMicrosecondsPerSecond = 1000000;
  timeval now{};
  gettimeofday(&now, nullptr);
  const int64_t microseconds = now.tv_usec + int64_t{milliseconds} * 1000;
  timespec deadline{};
  deadline.tv_sec = now.tv_sec + microseconds / kMicrosecondsPerSecond;
  deadline.tv_nsec = microseconds % kMicrosecondsPerSecond * 1000;
  return deadline;
}

}  // namespace

Mutex::Mutex() { pthread_mutex_init(&mutex, nullptr); }

Mutex::~Mutex() { pthread_mutex_destroy(&mutex); }

bool Mutex::lock(const qrxWhereInfo&) { return pthread_mutex_lock(&mutex) == 0; }

bool Mutex::unlock(const qrxWhereInfo&) { return pthread_mutex_unlock(&mutex) == 0; }

bool Mutex::trylock(int milliseconds, const qrxWhereInfo&) {
  if (milliseconds <= 0) return pthread_mutex_trylock(&mutex) == 0;
  const timespec deadline = deadlineIn(milliseconds);
  return pthread_mutex_timedlock(&mutex, &deadline) == 0;
}

}  // namespace qrx
