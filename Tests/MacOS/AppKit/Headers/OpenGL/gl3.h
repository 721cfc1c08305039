#pragma once

// The functions of OpenGL 3.2 core, which the Linux libraries export by the same names.
#define GL_GLEXT_PROTOTYPES
#include <GL/glcorearb.h>
