// One object of a class for the whole process, made on first use and never destroyed.
#ifndef QRX_SINGLETON_H_
#define QRX_SINGLETON_H_

#include <cxxabi.h>
#include <pthread.h>

#include <new>

#include "qrx/export.h"
#include "qrx/mutex.h"

namespace qrx {

// `T` needs a constructor without arguments, which may throw. Call init(), then read s_instance:
//
//   qrx::conf::Settings::init();
//   int sampling = qrx::Singleton<qrx::conf::Settings>::s_instance->subsampling;
//
// init() may be called by any number of threads at once; after it has returned, s_instance can be
// read without a lock. An exception of T's constructor goes to the caller of init(), and the next
// call tries again.
template <typename T>
class QRX_API Singleton {
 public:
  // Makes the object unless it is there.
  static void init() {
    pthread_once(&s_control, attempt);
    if (__atomic_load_n(&s_instance, __ATOMIC_ACQUIRE) == nullptr) doInit();
  }

  // Makes the object under the mutex, unless it is there. The mutex is unlocked at the end, also
  // when the constructor throws.
  static void doInit() {
    static constexpr qrxWhereInfo where{};
    struct Lock {
      Lock() { getMutex().lock(where); }
      ~Lock() { getMutex().unlock(where); }
    } lock;
    if (s_instance == nullptr) __atomic_store_n(&s_instance, new T, __ATOMIC_RELEASE);
  }

  // The mutex of doInit. It is constructed in place on first use and never destroyed, so that no
  // destructor runs at the end of the process. Not inlined: a program that links with a library
  // which holds the object must not make a mutex of its own.
  __attribute__((noinline)) static Mutex& getMutex() {
    alignas(Mutex) static unsigned char storage[sizeof(Mutex)];
    static Mutex* const mutex = new (storage) Mutex;
    return *mutex;
  }

  // The one-time control of init().
  static pthread_once_t s_control;
  // The object; null before the first init().
  static T* s_instance;

 private:
  // An exception that leaves pthread_once can leave the control in progress for ever, with every
  // later caller waiting. So it ends here, and init() looks whether the object is there.
  static void attempt() {
    try {
      doInit();
    } catch (const abi::__forced_unwind&) {
      throw;  // the thread is being cancelled; pthread_once provides for that
    } catch (...) {
    }
  }
};

template <typename T>
pthread_once_t Singleton<T>::s_control = PTHREAD_ONCE_INIT;
template <typename T>
T* Singleton<T>::s_instance = nullptr;

}  // namespace qrx

#endif  // QRX_SINGLETON_H_
