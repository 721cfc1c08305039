// Preloaded, it hides the null device from a program. If the environment variable FAILING_SOCKETS is set, the first socket
// can't be opened either.

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>

#define DEFINE_OPEN(name)                                                                                              \
    int name(const char* path, int flags, ...) {                                                                       \
        if (strcmp(path, "/dev/null") == 0) {                                                                          \
            errno = ENOENT;                                                                                            \
            return -1;                                                                                                 \
        }                                                                                                              \
        va_list arguments;                                                                                             \
        va_start(arguments, flags);                                                                                    \
        const int mode = va_arg(arguments, int);                                                                       \
        va_end(arguments);                                                                                             \
        int (*const real)(const char*, int, ...) = (int (*)(const char*, int, ...))dlsym(RTLD_NEXT, #name);            \
        return real(path, flags, mode);                                                                                \
    }

DEFINE_OPEN(open)
DEFINE_OPEN(open64)

int socket(int domain, int type, int protocol) {
    static int calls = 0;
    if (getenv("FAILING_SOCKETS") != NULL && calls++ == 0) {
        errno = EMFILE;
        return -1;
    }
    int (*const real)(int, int, int) = (int (*)(int, int, int))dlsym(RTLD_NEXT, "socket");
    return real(domain, type, protocol);
}
