// Which change is chosen, by the variable TOVRA_MUTANT. With TOVRA_MUTANT_REACHED none is, and a byte of the file that
// it names is set for each change whose place is reached, also by child processes and those that are killed.

#include <fcntl.h>
#include <stdbool.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

enum { notLookedUp = -1, recording = -2 };

int tovraMutant = notLookedUp;

static unsigned char* s_reached;
static long s_count;

/// Runs before all that the program initialises.
__attribute__((constructor(101))) static void LookUp(void) {
    if (tovraMutant != notLookedUp) {
        return;
    }
    const char* path = getenv("TOVRA_MUTANT_REACHED");
    const char* number = getenv("TOVRA_MUTANT");
    int chosen = number != NULL ? atoi(number) : 0;
    if (path != NULL) {
        const int file = open(path, O_RDWR | O_CLOEXEC);
        struct stat status;
        if (file >= 0 && fstat(file, &status) == 0) {
            void* bytes = mmap(NULL, (size_t)status.st_size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
            if (bytes != MAP_FAILED) {
                s_reached = bytes;
                s_count = status.st_size;
                chosen = recording;
            }
        }
        if (file >= 0) {
            close(file);
        }
    }
    tovraMutant = chosen;
}

bool tovraIsMutant(int number) {
    if (tovraMutant == notLookedUp) {
        LookUp();
    }
    if (tovraMutant == recording) {
        if (number < s_count) {
            s_reached[number] = 1;
        }
        return false;
    }
    return tovraMutant == number;
}
