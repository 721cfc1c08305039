// Preloaded, it lets a program start no thread, as at the limit of its user.

#include <errno.h>
#include <pthread.h>

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*), void* argument) {
    (void)thread;
    (void)attributes;
    (void)start;
    (void)argument;
    return EAGAIN;
}
