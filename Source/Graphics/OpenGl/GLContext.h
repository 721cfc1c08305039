#pragma once

#include <Graphics/OpenGl/EntryPoints.h>

#include <string>
#include <vector>

namespace Tovra::Graphics::OpenGl {

/// An OpenGL 3.2 core context on a window, with the OpenGL entry points as a table of function pointers, so that
/// drawing code is written against the table.
///
/// A window is named by its native handle. The context is current on the thread that called `Initialize`: all work with
/// it and with the table belongs there; nothing is locked. Failures are logged, none is thrown. The context is not
/// destroyed with the object: whoever initialised it calls `Destroy`.
class GLContext {
public:
    GLContext() = default;
    GLContext(const GLContext&) = delete;
    GLContext& operator=(const GLContext&) = delete;

    /// Makes the context and sets its state: depth test, face culling, blending by source alpha, transparent black as
    /// clear colour. False if there is no such context; its state is then untouched. The text has no meaning yet.
    bool Initialize(unsigned long window, const char* text);

    /// Ends the context. Without one, as after the first call, it does nothing. Nothing else may be called then but
    /// `Initialize`: the object still counts as initialised.
    void Destroy(unsigned long window);

    /// Stands before the drawing of a frame.
    void FrameStart(unsigned long window);

    /// Shows the frame that was drawn.
    void FrameEnd(unsigned long window);

    /// Is to be called after a change of the window's size.
    void Resize(unsigned long window);

    /// Loads a file of the folder "Shaders" beside the executable, or the file of an absolute name, and puts a zero
    /// byte behind it. False if it can't be read. Asserts that an application exists.
    bool LoadShader(const char* name, std::vector<char>& buffer) const;

    /// Compiles a shader of that OpenGL type; gives its id, which the caller owns, or 0.
    unsigned int CompileShader(const char* source, unsigned int type) const;

    /// Loads, compiles and links two shaders; gives the program's id, which the caller owns, or 0.
    unsigned int CreateProgram(const char* vertexShaderName, const char* fragmentShaderName) const;

    /// True exactly if no entry point of the table is missing.
    bool ValidateInterface() const;

    /// The driver's version text; empty as long as there was no context.
    const std::string& GetVersion() const { return m_version; }

private:
    bool m_initialized = false;

public:
#define TOVRA_OPENGL_FIELD(Result, name, parameters) Result(*name) parameters = nullptr;
    TOVRA_OPENGL_ENTRY_POINTS(TOVRA_OPENGL_FIELD)
#undef TOVRA_OPENGL_FIELD

private:
    /// Gives `shader` the compiled shader, or leaves it if there is nothing to load. False if it doesn't compile.
    bool CreateShader(const char* name, unsigned int type, std::vector<char>& buffer, unsigned int& shader) const;

    bool InitializePlatform(unsigned long window, const char* text);
    void DestroyPlatform(unsigned long window);
    void FrameStartPlatform(unsigned long window);
    void FrameEndPlatform(unsigned long window);
    void ResizePlatform(unsigned long window);

    void* m_context = nullptr;
    std::string m_version;
};

} // namespace Tovra::Graphics::OpenGl
