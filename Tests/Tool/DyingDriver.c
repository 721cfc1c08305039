// Found as libGL.so.1; ends the process when a context is made current, by a fault, or through the library's own exit
// if the variable DRIVER_EXITS is set. If DRIVER_HANGS is set, it never returns.

#include <GL/glx.h>
#include <stdlib.h>
#include <unistd.h>

Bool glXMakeCurrent(Display* display, GLXDrawable drawable, GLXContext context) {
    (void)display;
    (void)drawable;
    (void)context;
    while (getenv("DRIVER_HANGS") != NULL) {
        pause();
    }
    if (getenv("DRIVER_EXITS") != NULL) {
        exit(0);
    }
    __builtin_trap();
}
