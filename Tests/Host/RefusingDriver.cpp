// Wraps the real libGL.so.1 and refuses to make a context current.

#include <GL/glx.h>

extern "C" Bool glXMakeCurrent(Display*, GLXDrawable, GLXContext) {
    return False;
}
