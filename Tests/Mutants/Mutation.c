// Which change is chosen, by the variable TOVRA_MUTANT. With TOVRA_MUTANT_REACHED none is, and a byte of the file that
// it names is set for each change whose place is reached, also by child processes and those that are killed. A process
// that has neither, such as one whose parent gave it no environment, reads both from the file TOVRA_MUTANT_FILE.

#include <fcntl.h>
#include <stdbool.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

enum { notLookedUp = -1, recording = -2 };

int tovraMutant = notLookedUp;

static unsigned char* s_reached;
static long s_count;

static const char* const s_number = "TOVRA_MUTANT=";
static const char* const s_path = "TOVRA_MUTANT_REACHED=";

/// The value in "NAME=value".
static const char* GetValue(const char* text, const char* name) {
    return strncmp(text, name, strlen(name)) == 0 ? text + strlen(name) : NULL;
}

/// Reads the file's one line into the text.
static void ReadFile(char* text, size_t size) {
    const int file = open(TOVRA_MUTANT_FILE, O_RDONLY | O_CLOEXEC);
    const ssize_t count = file >= 0 ? read(file, text, size - 1) : 0;
    text[count > 0 ? count : 0] = '\0';
    text[strcspn(text, "\n")] = '\0';
    if (file >= 0) {
        close(file);
    }
}

static bool Record(const char* path) {
    const int file = open(path, O_RDWR | O_CLOEXEC);
    struct stat status;
    if (file >= 0 && fstat(file, &status) == 0) {
        void* bytes = mmap(NULL, (size_t)status.st_size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        if (bytes != MAP_FAILED) {
            s_reached = bytes;
            s_count = status.st_size;
        }
    }
    if (file >= 0) {
        close(file);
    }
    return s_reached != NULL;
}

/// Runs before all that the program initialises.
__attribute__((constructor(101))) static void LookUp(void) {
    if (tovraMutant != notLookedUp) {
        return;
    }
    char text[4096] = "";
    const char* path = getenv("TOVRA_MUTANT_REACHED");
    const char* number = getenv("TOVRA_MUTANT");
    if (path == NULL && number == NULL) {
        ReadFile(text, sizeof(text));
        path = GetValue(text, s_path);
        number = GetValue(text, s_number);
    }
    const int chosen = number != NULL ? atoi(number) : 0;
    tovraMutant = path != NULL && Record(path) ? recording : chosen;
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
