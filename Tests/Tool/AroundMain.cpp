// Linked into the tool, it does what environment variables say, at the construction of the first static object behind
// the application's and at its destruction: RAISE_AT_START and RAISE_AT_END name a signal to raise, TELL_CONTEXTS makes
// it write how many log contexts of the tool's stream are registered at its construction.

#include <System/Log/ContextRegistry.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace {

void Raise(const char* variable) {
    if (const char* const signal = std::getenv(variable)) {
        std::raise(std::atoi(signal));
    }
}

void TellContexts() {
    using Tovra::System::Log::Context;
    using Tovra::System::Log::ContextRegistry;
    if (std::getenv("TELL_CONTEXTS") != nullptr) {
        constexpr auto stream = Tovra::System::Log::StreamID::FieldhostSetupTool;
        std::fprintf(stderr, "%td\n", std::ranges::count(ContextRegistry::GetContainer(), stream, &Context::stream));
    }
}

struct AroundMain {
    AroundMain() {
        TellContexts();
        Raise("RAISE_AT_START");
    }
    ~AroundMain() { Raise("RAISE_AT_END"); }
};

[[gnu::init_priority(104)]] const AroundMain aroundMain;

} // namespace
