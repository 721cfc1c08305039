#include <Fakes/GLContextPlatformNative.h>
#include <Graphics/OpenGl/EntryPoints.h>

#include <map>
#include <sstream>
#include <type_traits>
#include <utility>

namespace Tovra::Tests::Fakes {

namespace {

using Graphics::OpenGl::EntryPoint;

template <class... Arguments>
void Record(const char* name, Arguments... arguments) {
    std::ostringstream text;
    const char* separator = "";
    const auto append = [&](auto argument) {
        if constexpr (!std::is_pointer_v<decltype(argument)>) {
            text << std::exchange(separator, ", ") << +argument;
        }
    };
    text << name << '(';
    (append(arguments), ...);
    text << ')';
    glContextPlatformNative.calls.push_back(text.str());
}

/// All entry points in the order of the table.
enum EntryPointNumber {
#define TOVRA_FAKE_NUMBER(Result, name, parameters) name##Number,
    TOVRA_OPENGL_ENTRY_POINTS(TOVRA_FAKE_NUMBER) TOVRA_OPENGL_SETUP_ENTRY_POINTS(TOVRA_FAKE_NUMBER)
};

constexpr const char* names[] = {
#define TOVRA_FAKE_NAME(Result, name, parameters) #name,
    TOVRA_OPENGL_ENTRY_POINTS(TOVRA_FAKE_NAME) TOVRA_OPENGL_SETUP_ENTRY_POINTS(TOVRA_FAKE_NAME)};

/// An entry point that only records its calls. Its type is taken from the table.
template <EntryPointNumber number, class Result, class... Arguments>
EntryPoint MakeRecorder(Result (*)(Arguments...)) {
    Result (*const recorder)(Arguments...) = [](Arguments... arguments) {
        Record(names[number], arguments...);
        return Result();
    };
    return reinterpret_cast<EntryPoint>(recorder);
}

unsigned int CreateShader(unsigned int type) {
    Record("glCreateShader", type);
    GLContextPlatformNative& fake = glContextPlatformNative;
    // A number from 1000 on marks a shader that doesn't compile, see `GetShaderiv`.
    return fake.nextId++ + (fake.brokenTypes.contains(type) ? 1000 : 0);
}

void ShaderSource(unsigned int shader, int count, const char* const* strings, const int* lengths) {
    Record("glShaderSource", shader, count, lengths != nullptr);
    glContextPlatformNative.shaderSources.emplace_back(*strings);
}

void GetShaderiv(unsigned int shader, unsigned int name, int* value) {
    Record("glGetShaderiv", shader, name);
    if (glContextPlatformNative.givesStatus) {
        *value = shader < 1000;
    }
}

unsigned int CreateProgram() {
    Record("glCreateProgram");
    return glContextPlatformNative.nextId++;
}

void GetProgramiv(unsigned int program, unsigned int name, int* value) {
    Record("glGetProgramiv", program, name);
    if (glContextPlatformNative.givesStatus) {
        *value = glContextPlatformNative.links;
    }
}

template <EntryPointNumber number>
void GetInfoLog(unsigned int object, int size, int*, char* text) {
    Record(names[number], object, size);
    // Without a terminating NUL byte: the buffer is expected to be filled with them.
    glContextPlatformNative.infoLog.copy(text, static_cast<std::size_t>(size) - 1);
}

const unsigned char* GetString(unsigned int name) {
    Record("glGetString", name);
    return reinterpret_cast<const unsigned char*>(glContextPlatformNative.version);
}

std::map<std::string, EntryPoint> MakeEntryPoints() {
    std::map<std::string, EntryPoint> entryPoints{
#define TOVRA_FAKE_RECORDER(Result, name, parameters)                                                                  \
    {#name, MakeRecorder<name##Number>(static_cast<Result(*) parameters>(nullptr))},
        TOVRA_OPENGL_ENTRY_POINTS(TOVRA_FAKE_RECORDER) TOVRA_OPENGL_SETUP_ENTRY_POINTS(TOVRA_FAKE_RECORDER)};
    entryPoints["glCreateShader"] = reinterpret_cast<EntryPoint>(CreateShader);
    entryPoints["glShaderSource"] = reinterpret_cast<EntryPoint>(ShaderSource);
    entryPoints["glGetShaderiv"] = reinterpret_cast<EntryPoint>(GetShaderiv);
    entryPoints["glGetShaderInfoLog"] = reinterpret_cast<EntryPoint>(GetInfoLog<glGetShaderInfoLogNumber>);
    entryPoints["glCreateProgram"] = reinterpret_cast<EntryPoint>(CreateProgram);
    entryPoints["glGetProgramiv"] = reinterpret_cast<EntryPoint>(GetProgramiv);
    entryPoints["glGetProgramInfoLog"] = reinterpret_cast<EntryPoint>(GetInfoLog<glGetProgramInfoLogNumber>);
    entryPoints["glGetString"] = reinterpret_cast<EntryPoint>(GetString);
    return entryPoints;
}

void RecordNative(const std::string& name, unsigned long panel, const void* context) {
    Record(name.c_str(), panel, reinterpret_cast<std::uintptr_t>(context));
}

} // namespace

EntryPoint GetFakeEntryPoint(const std::string& name) {
    static const std::map<std::string, EntryPoint> entryPoints = MakeEntryPoints();
    return entryPoints.at(name);
}

} // namespace Tovra::Tests::Fakes

namespace Tovra::Graphics::OpenGl {

using Tests::Fakes::glContextPlatformNative;

void* GLContextInitializePlatformNative(unsigned long panel, const char* text) {
    glContextPlatformNative.calls.push_back("Initialize(" + std::to_string(panel) + ", " + text + ")");
    return glContextPlatformNative.context;
}

void GLContextDestroyPlatformNative(unsigned long panel, void* context) {
    Tests::Fakes::RecordNative("Destroy", panel, context);
}

void GLContextFrameStartPlatformNative(unsigned long panel, void* context) {
    Tests::Fakes::RecordNative("FrameStart", panel, context);
}

void GLContextFrameEndPlatformNative(unsigned long panel, void* context) {
    Tests::Fakes::RecordNative("FrameEnd", panel, context);
}

void GLContextResizePlatformNative(unsigned long panel, void* context) {
    Tests::Fakes::RecordNative("Resize", panel, context);
}

EntryPoint GLContextGetEntryPointPlatformNative(const char* name) {
    glContextPlatformNative.requested.emplace_back(name);
    return glContextPlatformNative.missing.contains(name) ? nullptr : Tests::Fakes::GetFakeEntryPoint(name);
}

} // namespace Tovra::Graphics::OpenGl
