// Stands before the real libGL.so.1 and makes no context current.

#include <GL/glx.h>

extern "C" Bool glXMakeCurrent(Display*, GLXDrawable, GLXContext) {
    return False;
}
