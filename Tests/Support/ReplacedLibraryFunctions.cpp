#include <Support/ReplacedLibraryFunctions.h>

#include <map>
#include <string>

namespace {

using Functions = std::map<std::string, void*>;

/// What libraries have instead of their functions of these names; null if they have all of their own.
constinit const Functions* s_replacedFunctions = nullptr;

void* FindReplaced(const char* name) {
    const auto replaced = s_replacedFunctions->find(name);
    return replaced == s_replacedFunctions->end() ? nullptr : replaced->second;
}

} // namespace

namespace Tovra::Tests {

void ReplaceLibraryFunctionBy(void* function, const char* name) {
    static Functions s_functions;
    s_functions[name] = function;
    s_replacedFunctions = &s_functions;
}

} // namespace Tovra::Tests

// The linker (--wrap) redirects calls of `dlsym` to the second function, and calls of the first to `dlsym`.
extern "C" void* __real_dlsym(void* library, const char* name);
extern "C" void* __wrap_dlsym(void* library, const char* name);

// A sanitizer calls it before anything that it watches may run.
extern "C" [[clang::disable_sanitizer_instrumentation]] void* __wrap_dlsym(void* library, const char* name) {
    void* const replaced = s_replacedFunctions == nullptr ? nullptr : FindReplaced(name);
    return replaced == nullptr ? __real_dlsym(library, name) : replaced;
}
