#include <MacOS/Doubles/Calls.h>

#include <cstdio>
#include <cstdlib>

namespace Tovra::Tests::Doubles {

void ReportMisuse(const std::string& what) {
    if (calls.onMisuse) {
        calls.onMisuse(what);
        return;
    }
    std::fprintf(stderr, "macOS would not forgive: %s\n", what.c_str());
    std::abort();
}

std::recursive_mutex& Call::GetMutex() {
    // Destroyed by nobody: calls may come until the end of the process.
    static auto& s_mutex = *new std::recursive_mutex;
    return s_mutex;
}

void Call::ReportMisuse(const std::string& what) const {
    Doubles::ReportMisuse(calls.made.back() + ": " + what);
}

bool Call::Fails(Failure failure) const {
    if (failure != calls.failure || (!calls.failingFunction.empty() && calls.failingFunction != m_function)) {
        return false;
    }
    calls.fallible.push_back(m_function);
    const std::size_t number = calls.fallible.size();
    return calls.failing != 0 && (number == calls.failing || (calls.lasts && number > calls.failing));
}

} // namespace Tovra::Tests::Doubles
