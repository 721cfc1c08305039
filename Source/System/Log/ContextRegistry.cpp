#include <System/Log/ContextRegistry.h>
#include <System/Log/LogRules.h>
#include <System/Log/Logger.h>
#include <System/Runtime/ApplicationAccess.h>

#include <atomic>

namespace Tovra::System::Log {

std::vector<Context*>& ContextRegistry::GetContainer() {
    // Never destroyed, as the contexts aren't either, so that no start has to guard its construction.
    [[clang::no_destroy]] static constinit std::vector<Context*> s_contexts;
    return s_contexts;
}

bool ContextRegistry::AddContext(Context& context) {
    GetContainer().push_back(&context);
    UpdateContext(context);
    return true;
}

void ContextRegistry::UpdateContext(Context& context) {
    // Before `main` there may be no application; that is not an error here.
    if (const Logger* const logger = Runtime::FindLogger()) {
        ApplySeverities(context, logger->GetStreamSeverities());
    }
}

void ContextRegistry::ForEachContext(const std::function<void(Context&)>& function) {
    const std::vector<Context*> contexts = GetContainer();
    for (Context* const context : contexts) {
        function(*context);
    }
}

void ApplySeverities(Context& context, const std::vector<Types::EnumFlags<StreamID>>& severities) {
    if (const auto severity = FindSeverity(context.stream, severities)) {
        std::atomic_ref(context.severity).store(*severity, std::memory_order_relaxed);
    }
}

} // namespace Tovra::System::Log
