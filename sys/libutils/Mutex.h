#pragma once

#include <pthread.h>

namespace qn::sys {

// A recursive mutex. Meets BasicLockable, so std::lock_guard<Mutex> works.
class Mutex {
  public:
    Mutex();
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock();
    bool tryLock();
    void unlock();

  private:
    pthread_mutex_t* m_mutex;
};

}  // namespace qn::sys
