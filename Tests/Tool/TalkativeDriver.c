// Wraps the real libGL.so.1 and prints to the standard output at every opportunity that a driver has.

#include <GL/glx.h>
#include <dlfcn.h>
#include <stdio.h>
#include <unistd.h>

__attribute__((constructor)) static void OnLoad(void) {
    static const char text[] = "Driver loaded by a system call.\n";
    (void)!write(STDOUT_FILENO, text, sizeof(text) - 1);
    puts("Driver loaded.");
    fflush(stdout);
}

Bool glXMakeCurrent(Display* display, GLXDrawable drawable, GLXContext context) {
    printf("Context made current.\n");
    Bool (*const real)(Display*, GLXDrawable, GLXContext) =
        (Bool(*)(Display*, GLXDrawable, GLXContext))dlsym(RTLD_NEXT, "glXMakeCurrent");
    return real(display, drawable, context);
}
