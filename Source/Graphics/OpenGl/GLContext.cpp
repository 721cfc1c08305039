#include <Graphics/OpenGl/GLContext.h>
#include <Graphics/OpenGl/GLContextPlatformNative.h>
#include <System/Log/Log.h>
#include <System/Runtime/ApplicationAccess.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <utility>

TOVRA_LOG_CONTEXT(System);

namespace Tovra::Graphics::OpenGl {

namespace {

// The values that the OpenGL registry (gl.xml) gives these names.
constexpr unsigned int sourceAlpha = 0x0302;
constexpr unsigned int oneMinusSourceAlpha = 0x0303;
constexpr unsigned int cullFace = 0x0B44;
constexpr unsigned int depthTest = 0x0B71;
constexpr unsigned int blend = 0x0BE2;
constexpr unsigned int version = 0x1F02;
constexpr unsigned int fragmentShader = 0x8B30;
constexpr unsigned int vertexShader = 0x8B31;
constexpr unsigned int compileStatus = 0x8B81;
constexpr unsigned int linkStatus = 0x8B82;

/// The driver's text for a failed compilation or link; a longer one is cut.
using InfoLog = std::array<char, 512>;

template <class F>
void Load(F& entryPoint, const char* name) {
    entryPoint = reinterpret_cast<F>(GLContextGetEntryPointPlatformNative(name));
}

/// The entry points that only the set-up of a context needs.
struct SetupEntryPoints {
#define TOVRA_OPENGL_SETUP_FIELD(Result, name, parameters) Result(*name) parameters;
    TOVRA_OPENGL_SETUP_ENTRY_POINTS(TOVRA_OPENGL_SETUP_FIELD)
#undef TOVRA_OPENGL_SETUP_FIELD

    SetupEntryPoints() {
#define TOVRA_OPENGL_LOAD(Result, name, parameters) Load(name, #name);
        TOVRA_OPENGL_SETUP_ENTRY_POINTS(TOVRA_OPENGL_LOAD)
    }

    bool IsComplete() const {
#define TOVRA_OPENGL_IS_LOADED(Result, name, parameters) name != nullptr&&
        return TOVRA_OPENGL_SETUP_ENTRY_POINTS(TOVRA_OPENGL_IS_LOADED) true;
    }
};

} // namespace

bool GLContext::Initialize(unsigned long window, const char* text) {
    m_initialized = InitializePlatform(window, text);
    if (m_initialized) {
        const SetupEntryPoints setup;
        // Intentional: the depth test is enabled though no depth buffer is requested; where the driver gives one, it is
        // used.
        setup.glEnable(depthTest);
        setup.glEnable(cullFace);
        setup.glEnable(blend);
        setup.glBlendFunc(sourceAlpha, oneMinusSourceAlpha);
        setup.glClearColor(0, 0, 0, 0);
        setup.glClearDepth(1.0);
    }
    return m_initialized;
}

void GLContext::Destroy(unsigned long window) {
    DestroyPlatform(window);
}

void GLContext::FrameStart(unsigned long window) {
    FrameStartPlatform(window);
}

void GLContext::FrameEnd(unsigned long window) {
    FrameEndPlatform(window);
}

void GLContext::Resize(unsigned long window) {
    ResizePlatform(window);
}

bool GLContext::LoadShader(const char* name, std::vector<char>& buffer) const {
    const std::filesystem::path path =
        std::filesystem::path(System::Runtime::GetApplicationDirectory()) / "Shaders" / name;
    try {
        const std::uintmax_t size = std::filesystem::file_size(path);
        std::ifstream file(path, std::ios::binary);
        if (!file.is_open()) {
            TOVRA_LOG(System, Error, "Can't open shader: ", path);
            return false;
        }
        buffer.assign(size + 1, '\0');
        file.exceptions(std::ios::failbit); // Also for a file that has got shorter.
        file.read(buffer.data(), static_cast<std::streamsize>(size));
        return true;
    } catch (...) {
        TOVRA_LOG(System, Error, "Failed to load shader: ", path);
        return false;
    }
}

unsigned int GLContext::CompileShader(const char* source, unsigned int type) const {
    if (!m_initialized) {
        return 0;
    }
    const unsigned int shader = glCreateShader(type);
    glShaderSource(shader, 1, &source, nullptr);
    glCompileShader(shader);
    int status = 0;
    glGetShaderiv(shader, compileStatus, &status);
    if (status != 0) {
        return shader;
    }
    InfoLog error{};
    glGetShaderInfoLog(shader, static_cast<int>(error.size()), nullptr, error.data());
    TOVRA_LOG(System, Error, "OpenGL: Failed to compile shader type ", type, " with error ", error.data());
    // Intentional: the failed shader is not deleted; it ends with its context.
    return 0;
}

unsigned int GLContext::CreateProgram(const char* vertexShaderName, const char* fragmentShaderName) const {
    if (!m_initialized) {
        return 0;
    }
    std::vector<char> buffer;
    unsigned int vertexShaderId = 0;
    unsigned int fragmentShaderId = 0;
    if (!CreateShader(vertexShaderName, vertexShader, buffer, vertexShaderId) ||
        !CreateShader(fragmentShaderName, fragmentShader, buffer, fragmentShaderId)) {
        return 0;
    }
    const unsigned int program = glCreateProgram();
    glAttachShader(program, vertexShaderId);
    glAttachShader(program, fragmentShaderId);
    glDeleteShader(vertexShaderId); // An attached shader exists as long as its program.
    glDeleteShader(fragmentShaderId);
    glLinkProgram(program);
    int status = 0;
    glGetProgramiv(program, linkStatus, &status);
    if (status != 0) {
        return program;
    }
    InfoLog error{};
    glGetProgramInfoLog(program, static_cast<int>(error.size()), nullptr, error.data());
    TOVRA_LOG(System, Error, "OpenGL: Failed to link program (", vertexShaderName, ", ", fragmentShaderName,
              ") with error ", error.data());
    // Intentional: the failed program is not deleted either.
    return 0;
}

// Intentional: a shader that can't be loaded is no failure here but fails the link; callers look for the reason in the
// log, which then contains both errors.
bool GLContext::CreateShader(const char* name, unsigned int type, std::vector<char>& buffer,
                             unsigned int& shader) const {
    if (!LoadShader(name, buffer)) {
        return true;
    }
    shader = CompileShader(buffer.data(), type);
    return shader != 0;
}

GLContext::EntryPoint GLContext::LookUp(const char* name) const {
    return m_context != nullptr ? GLContextGetEntryPointPlatformNative(name) : nullptr;
}

bool GLContext::ValidateInterface() const {
    return TOVRA_OPENGL_ENTRY_POINTS(TOVRA_OPENGL_IS_LOADED) true;
}

bool GLContext::InitializePlatform(unsigned long window, const char* text) {
    m_context = GLContextInitializePlatformNative(window, text);
    if (m_context == nullptr) {
        return false;
    }
    const SetupEntryPoints setup;
    if (const unsigned char* const driverVersion =
            setup.glGetString != nullptr ? setup.glGetString(version) : nullptr) {
        m_version = reinterpret_cast<const char*>(driverVersion);
    }
    TOVRA_OPENGL_ENTRY_POINTS(TOVRA_OPENGL_LOAD)
    const bool valid = ValidateInterface() && setup.IsComplete();
    if (!valid) {
        // Intentional: misspelled; callers know the message as it stands.
        TOVRA_LOG(System, Error, "Failed to initialize platform, not all OpenGL interfaces where loaded.");
    }
    return valid;
}

void GLContext::DestroyPlatform(unsigned long window) {
    if (void* const context = std::exchange(m_context, nullptr)) {
        GLContextDestroyPlatformNative(window, context);
    }
}

void GLContext::FrameStartPlatform(unsigned long window) {
    GLContextFrameStartPlatformNative(window, m_context);
}

void GLContext::FrameEndPlatform(unsigned long window) {
    GLContextFrameEndPlatformNative(window, m_context);
}

void GLContext::ResizePlatform(unsigned long window) {
    GLContextResizePlatformNative(window, m_context);
}

} // namespace Tovra::Graphics::OpenGl
