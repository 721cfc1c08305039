// Preloaded, it is the name service of a program, by the environment: it hangs (NAME_SERVICE_HANGS), crashes
// (NAME_SERVICE_CRASHES), or knows the ADDRESSES, separated by blanks, of every name. This machine's name is HOST_NAME.
// With NO_CHILDREN the program can have no child. The first connect over a network fails with the error number
// CONNECT_ERROR. With SLOW_CONNECT each connection takes a minute on the program's clock.

#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <netdb.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

static time_t delay = 0;

int clock_gettime(clockid_t clock, struct timespec* time) {
    const long result = syscall(SYS_clock_gettime, clock, time);
    if (result == 0 && clock == CLOCK_MONOTONIC) {
        time->tv_sec += delay;
    }
    return (int)result;
}

int connect(int socketDescriptor, const struct sockaddr* address, socklen_t size) {
    int (*const connectReally)(int, const struct sockaddr*, socklen_t) =
        (int (*)(int, const struct sockaddr*, socklen_t))dlsym(RTLD_NEXT, "connect");
    const char* const error = getenv("CONNECT_ERROR");
    static int calls = 0;
    if (error != NULL && address->sa_family != AF_UNIX && calls++ == 0) {
        errno = atoi(error);
        return -1;
    }
    const int result = connectReally(socketDescriptor, address, size);
    if (result == 0 && getenv("SLOW_CONNECT") != NULL) {
        delay += 60;
    }
    return result;
}

typedef int Lookup(const char*, const char*, const struct addrinfo*, struct addrinfo**);

int getaddrinfo(const char* name, const char* service, const struct addrinfo* hints, struct addrinfo** result) {
    Lookup* const lookUp = (Lookup*)dlsym(RTLD_NEXT, "getaddrinfo");
    if (hints != NULL && (hints->ai_flags & AI_NUMERICHOST) != 0) {
        return lookUp(name, service, hints, result);
    }
    while (getenv("NAME_SERVICE_HANGS") != NULL) {
        pause();
    }
    if (getenv("NAME_SERVICE_CRASHES") != NULL) {
        abort();
    }
    const char* const addresses = getenv("ADDRESSES");
    char* const copy = strdup(addresses == NULL ? "" : addresses);
    char* position = NULL;
    struct addrinfo** end = result;
    *end = NULL;
    for (char* address = strtok_r(copy, " ", &position); address != NULL; address = strtok_r(NULL, " ", &position)) {
        if (lookUp(address, service, hints, end) == 0) {
            end = &(*end)->ai_next;
        }
    }
    free(copy);
    return *result == NULL ? EAI_NONAME : 0;
}

int gethostname(char* name, size_t size) {
    const char* const text = getenv("HOST_NAME");
    if (text == NULL || strlen(text) >= size) {
        errno = ENAMETOOLONG;
        return -1;
    }
    strcpy(name, text);
    return 0;
}

pid_t fork(void) {
    pid_t (*const forkReally)(void) = (pid_t(*)(void))dlsym(RTLD_NEXT, "fork");
    if (getenv("NO_CHILDREN") != NULL) {
        errno = EAGAIN;
        return -1;
    }
    return forkReally();
}
