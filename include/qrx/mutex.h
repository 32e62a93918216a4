// A plain lock.
#ifndef QRX_MUTEX_H_
#define QRX_MUTEX_H_

#include <pthread.h>

#include "qrx/export.h"

// Tells a lock operation where it is called from. Nothing is recorded: any object will do.
struct qrxWhereInfo {};

namespace qrx {

// Not recursive, and unlocked by the thread that locked it. All operations may be called from any
// thread; construction and destruction belong to one thread alone, with the mutex unlocked.
class QRX_API Mutex {
 public:
  Mutex();
  ~Mutex();
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  // Waits for the lock. True if this thread has it now.
  bool lock(const qrxWhereInfo& where);
  // True if the lock was given back.
  bool unlock(const qrxWhereInfo& where);
  // Waits for the lock for at most this long by the clock of the day; 0 or less: not at all. True
  // if this thread has it now.
  bool trylock(int milliseconds, const qrxWhereInfo& where);

 private:
  pthread_mutex_t mutex;
};

}  // namespace qrx

#endif  // QRX_MUTEX_H_
