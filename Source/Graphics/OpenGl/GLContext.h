#pragma once

#include <Graphics/OpenGl/EntryPoints.h>

#include <string>
#include <vector>

namespace Tovra::Graphics::OpenGl {

/// An OpenGL 3.2 core context on a window. It provides the OpenGL entry points as a table of function pointers, against
/// which drawing code is written.
///
/// Windows are given by their native handles. The context is current on the thread that called `Initialize`: the object
/// and the table are for that thread alone. On macOS that should be the main thread, where AppKit expects work on
/// views: `Initialize`, `Resize` and `Destroy` change the window's view and are not moved there, unlike the operations
/// of `Desktop::Window`. Failures are reported by the results, and logged except for a context that can't be created;
/// none is thrown. The destructor does not destroy the context: call `Destroy`.
class GLContext {
public:
    GLContext() = default;
    GLContext(const GLContext&) = delete;
    GLContext& operator=(const GLContext&) = delete;

    /// Creates the context and sets its state: depth test, face culling, blending by source alpha, transparent black as
    /// clear colour. `text` is ignored. False if the context can't be created or lacks an entry point; its state is
    /// then untouched. A second context replaces the first without destroying it.
    bool Initialize(unsigned long window, const char* text);

    /// Destroys the context. Does nothing without one, as after the first call. Afterwards only `Initialize` may be
    /// called: the object still counts as initialised.
    void Destroy(unsigned long window);

    /// Called before a frame is drawn.
    void FrameStart(unsigned long window);

    /// Shows the frame that was drawn, by swapping the buffers.
    void FrameEnd(unsigned long window);

    /// Called after the window's size has changed.
    void Resize(unsigned long window);

    /// Reads a file of the folder "Shaders" beside the executable into `buffer` and appends a NUL byte. An absolute
    /// name replaces the folder. False if the file can't be read; the content of `buffer` is then unspecified. Asserts
    /// that an application exists.
    bool LoadShader(const char* name, std::vector<char>& buffer) const;

    /// Compiles a shader of that OpenGL type (`GL_VERTEX_SHADER` …) and returns its id, which the caller owns, or 0 if
    /// that failed or there is no initialised context. `source` ends with a NUL byte.
    unsigned int CompileShader(const char* source, unsigned int type) const;

    /// Loads, compiles and links two shaders, named as for `LoadShader`, and returns the program's id, which the caller
    /// owns, or 0 if that failed or there is no initialised context.
    unsigned int CreateProgram(const char* vertexShaderName, const char* fragmentShaderName) const;

    /// Whether every entry point of the table is loaded.
    bool ValidateInterface() const;

    /// The OpenGL entry point of that name, for one that the table lacks:
    ///
    ///     const auto clear = context.FindEntryPoint<void (*)(unsigned int)>("glClear");
    ///
    /// Null without a context or if the driver has none; some drivers return a function even for names that they don't
    /// know. `F` is the type of the function, which can't be checked. Needs this context to be current. Lives as long
    /// as the context.
    template <class F>
    F FindEntryPoint(const char* name) const {
        return reinterpret_cast<F>(LookUp(name));
    }

    /// The driver's version text (`GL_VERSION`), even after an `Initialize` that failed for lack of an entry point;
    /// empty if no context was ever created. Lives as long as this object.
    const std::string& GetVersion() const { return m_version; }

private:
    bool m_initialized = false;

public:
    /// The entry points; null until a context was created.
#define TOVRA_OPENGL_FIELD(Result, name, parameters) Result(*name) parameters = nullptr;
    TOVRA_OPENGL_ENTRY_POINTS(TOVRA_OPENGL_FIELD)
#undef TOVRA_OPENGL_FIELD

private:
    /// Sets `shader` to the compiled shader, or leaves it if there is no file to load. False if it doesn't compile.
    bool CreateShader(const char* name, unsigned int type, std::vector<char>& buffer, unsigned int& shader) const;

    using EntryPoint = void (*)();
    EntryPoint LookUp(const char* name) const;

    bool InitializePlatform(unsigned long window, const char* text);
    void DestroyPlatform(unsigned long window);
    void FrameStartPlatform(unsigned long window);
    void FrameEndPlatform(unsigned long window);
    void ResizePlatform(unsigned long window);

    void* m_context = nullptr;
    std::string m_version;
};

} // namespace Tovra::Graphics::OpenGl
