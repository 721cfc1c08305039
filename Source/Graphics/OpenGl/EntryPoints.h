#pragma once

#include <cstddef>

/// The OpenGL entry points for drawing code: result, name, parameters. This one table makes the fields of `GLContext`,
/// their loading and their validation. Their types are those that OpenGL's types stand for, so that no OpenGL header is
/// needed.
#define TOVRA_OPENGL_ENTRY_POINTS(ENTRY_POINT)                                                                         \
    ENTRY_POINT(unsigned int, glCreateShader, (unsigned int type))                                                     \
    ENTRY_POINT(void, glShaderSource,                                                                                  \
                (unsigned int shader, int count, const char* const* strings, const int* lengths))                      \
    ENTRY_POINT(void, glCompileShader, (unsigned int shader))                                                          \
    ENTRY_POINT(void, glGetShaderiv, (unsigned int shader, unsigned int name, int* values))                            \
    ENTRY_POINT(void, glGetShaderInfoLog, (unsigned int shader, int size, int* length, char* text))                    \
    ENTRY_POINT(unsigned int, glCreateProgram, ())                                                                     \
    ENTRY_POINT(void, glAttachShader, (unsigned int program, unsigned int shader))                                     \
    ENTRY_POINT(void, glDeleteShader, (unsigned int shader))                                                           \
    ENTRY_POINT(void, glLinkProgram, (unsigned int program))                                                           \
    ENTRY_POINT(void, glUseProgram, (unsigned int program))                                                            \
    ENTRY_POINT(void, glGetProgramiv, (unsigned int program, unsigned int name, int* values))                          \
    ENTRY_POINT(void, glGetProgramInfoLog, (unsigned int program, int size, int* length, char* text))                  \
    ENTRY_POINT(int, glGetUniformLocation, (unsigned int program, const char* name))                                   \
    ENTRY_POINT(unsigned int, glGetUniformBlockIndex, (unsigned int program, const char* name))                        \
    ENTRY_POINT(void, glUniformBlockBinding, (unsigned int program, unsigned int block, unsigned int binding))         \
    ENTRY_POINT(void, glUniform1f, (int location, float x))                                                            \
    ENTRY_POINT(void, glUniform2f, (int location, float x, float y))                                                   \
    ENTRY_POINT(void, glUniform4f, (int location, float x, float y, float z, float w))                                 \
    ENTRY_POINT(void, glUniform1iv, (int location, int count, const int* values))                                      \
    ENTRY_POINT(void, glUniformMatrix4fv, (int location, int count, unsigned char transpose, const float* values))     \
    ENTRY_POINT(void, glGenVertexArrays, (int count, unsigned int* arrays))                                            \
    ENTRY_POINT(                                                                                                       \
        void, glVertexAttribPointer,                                                                                   \
        (unsigned int index, int size, unsigned int type, unsigned char normalized, int stride, const void* pointer))  \
    ENTRY_POINT(void, glEnableVertexAttribArray, (unsigned int index))                                                 \
    ENTRY_POINT(void, glBindVertexArray, (unsigned int array))                                                         \
    ENTRY_POINT(void, glBindBufferBase, (unsigned int target, unsigned int index, unsigned int buffer))                \
    ENTRY_POINT(void, glDeleteVertexArrays, (int count, const unsigned int* arrays))                                   \
    ENTRY_POINT(void, glDeleteBuffers, (int count, const unsigned int* buffers))                                       \
    ENTRY_POINT(void, glGenBuffers, (int count, unsigned int* buffers))                                                \
    ENTRY_POINT(void, glBindBuffer, (unsigned int target, unsigned int buffer))                                        \
    ENTRY_POINT(void, glBufferData, (unsigned int target, std::ptrdiff_t size, const void* data, unsigned int usage))  \
    ENTRY_POINT(void, glBufferSubData,                                                                                 \
                (unsigned int target, std::ptrdiff_t offset, std::ptrdiff_t size, const void* data))                   \
    ENTRY_POINT(                                                                                                       \
        void, glBindBufferRange,                                                                                       \
        (unsigned int target, unsigned int index, unsigned int buffer, std::ptrdiff_t offset, std::ptrdiff_t size))    \
    ENTRY_POINT(void, glActiveTexture, (unsigned int unit))                                                            \
    ENTRY_POINT(void, glGenerateMipmap, (unsigned int target))                                                         \
    ENTRY_POINT(void, glCompressedTexImage2D,                                                                          \
                (unsigned int target, int level, unsigned int format, int width, int height, int border, int size,     \
                 const void* data))                                                                                    \
    ENTRY_POINT(void, glTexImage3D,                                                                                    \
                (unsigned int target, int level, int internalFormat, int width, int height, int depth, int border,     \
                 unsigned int format, unsigned int type, const void* pixels))                                          \
    ENTRY_POINT(void, glTexSubImage3D,                                                                                 \
                (unsigned int target, int level, int x, int y, int z, int width, int height, int depth,                \
                 unsigned int format, unsigned int type, const void* pixels))                                          \
    ENTRY_POINT(void, glDrawArraysInstanced, (unsigned int mode, int first, int count, int instances))

/// The entry points that only the set-up of a context needs, in the same form.
#define TOVRA_OPENGL_SETUP_ENTRY_POINTS(ENTRY_POINT)                                                                   \
    ENTRY_POINT(const unsigned char*, glGetString, (unsigned int name))                                                \
    ENTRY_POINT(void, glEnable, (unsigned int capability))                                                             \
    ENTRY_POINT(void, glBlendFunc, (unsigned int source, unsigned int destination))                                    \
    ENTRY_POINT(void, glClearColor, (float red, float green, float blue, float alpha))                                 \
    ENTRY_POINT(void, glClearDepth, (double depth))
