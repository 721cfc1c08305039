#pragma once

namespace Tovra::Tests::AppKit {

/// A GLX context of OpenGL 3.2 core with 8 bits each of red, green, blue and alpha and two buffers, and the window that
/// it draws to, which fills a part of another window from the top left.
class OpenGlSurface {
public:
    /// On that `Display*`, in the window with that id. Throws if the server has no such context.
    OpenGlSurface(void* display, unsigned long parent, unsigned int width, unsigned int height);
    ~OpenGlSurface();
    OpenGlSurface(const OpenGlSurface&) = delete;
    OpenGlSurface& operator=(const OpenGlSurface&) = delete;

    void MakeCurrent();
    void SwapBuffers();
    void Resize(unsigned int width, unsigned int height);

    /// Takes the context from its window.
    void Detach();

private:
    void* m_display;
    unsigned long m_window = 0;
    void* m_context = nullptr;
};

} // namespace Tovra::Tests::AppKit
