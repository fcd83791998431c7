#ifndef OSTREL_PATTERN_PTHREADLOCK_H
#define OSTREL_PATTERN_PTHREADLOCK_H

#include <pthread.h>

namespace ostrel::detail {

/// Holds a mutex while it lives.
class PthreadLock {
public:
    explicit PthreadLock(pthread_mutex_t& mutex) : mMutex(mutex)
    {
        pthread_mutex_lock(&mMutex);
    }

    ~PthreadLock()
    {
        pthread_mutex_unlock(&mMutex);
    }

    PthreadLock(const PthreadLock&) = delete;
    PthreadLock& operator=(const PthreadLock&) = delete;

private:
    pthread_mutex_t& mMutex;
};

} // namespace ostrel::detail

#endif
