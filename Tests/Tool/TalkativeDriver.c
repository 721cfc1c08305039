// Wraps the real libGL.so.1 and prints to the standard output at every opportunity that a driver has.

#include <GL/glx.h>
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

static void OnExit(void) {
    printf("Driver at exit.\n");
}

__attribute__((constructor)) static void OnLoad(void) {
    static const char text[] = "Driver loaded by a system call.\n";
    (void)!write(STDOUT_FILENO, text, sizeof(text) - 1);
    puts("Driver loaded.");
    fflush(stdout);
    atexit(OnExit);
}

__attribute__((destructor)) static void OnUnload(void) {
    printf("Driver unloaded.\n");
    fflush(stdout);
}

Bool glXMakeCurrent(Display* display, GLXDrawable drawable, GLXContext context) {
    printf("Context made current.\n");
    Bool (*const real)(Display*, GLXDrawable, GLXContext) =
        (Bool(*)(Display*, GLXDrawable, GLXContext))dlsym(RTLD_NEXT, "glXMakeCurrent");
    return real(display, drawable, context);
}
