#include "sys/libutils/Mutex.h"

namespace qn::sys {

Mutex::Mutex() : m_mutex(new pthread_mutex_t) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(m_mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

Mutex::~Mutex() {
    pthread_mutex_destroy(m_mutex);
    delete m_mutex;
}

void Mutex::lock() {
    pthread_mutex_lock(m_mutex);
}

bool Mutex::tryLock() {
    return pthread_mutex_trylock(m_mutex) == 0;
}

void Mutex::unlock() {
    pthread_mutex_unlock(m_mutex);
}

}  // namespace qn::sys
