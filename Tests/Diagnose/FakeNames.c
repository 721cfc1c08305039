// Preloaded, it is the name service of a program, by the environment: it hangs (NAME_SERVICE_HANGS), crashes
// (NAME_SERVICE_CRASHES), or knows the ADDRESSES, separated by blanks, of every name. With NO_CHILDREN the program can
// have no child.

#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <netdb.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

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

pid_t fork(void) {
    pid_t (*const forkReally)(void) = (pid_t(*)(void))dlsym(RTLD_NEXT, "fork");
    if (getenv("NO_CHILDREN") != NULL) {
        errno = EAGAIN;
        return -1;
    }
    return forkReally();
}
