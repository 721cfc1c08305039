// Preloaded, it keeps from a program how much space a file system has, as one that can't tell.

#include <errno.h>
#include <sys/statvfs.h>

int statvfs(const char* path, struct statvfs* space) {
    (void)path;
    (void)space;
    errno = ENOSYS;
    return -1;
}
