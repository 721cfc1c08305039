// Starts the profile runtime of a program before any other code of it. By itself it would start behind static objects
// with a priority, and the counts until then would be lost.

#include <sys/stat.h>

// A program that defines this starts the runtime itself.
__attribute__((visibility("hidden"))) int __llvm_profile_runtime;

__attribute__((visibility("hidden"))) void __llvm_profile_initialize(void);

__attribute__((constructor(1))) static void StartProfile(void) {
    // Processes of other users add to the file that the first one makes.
    const mode_t mask = umask(0);
    __llvm_profile_initialize();
    umask(mask);
}
