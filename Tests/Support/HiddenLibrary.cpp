#include <Support/HiddenLibrary.h>

#include <string>

namespace Tovra::Tests {

namespace {

std::string& GetHiddenName() {
    static std::string name;
    return name;
}

} // namespace

void HideLibrary(const char* name) {
    GetHiddenName() = name;
}

} // namespace Tovra::Tests

// The linker (--wrap) redirects calls of `dlopen` to the second function, and calls of the first to `dlopen`.
extern "C" void* __real_dlopen(const char* path, int mode);
extern "C" void* __wrap_dlopen(const char* path, int mode);

extern "C" void* __wrap_dlopen(const char* path, int mode) {
    return path != nullptr && path == Tovra::Tests::GetHiddenName() ? nullptr : __real_dlopen(path, mode);
}
