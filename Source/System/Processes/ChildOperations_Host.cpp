#include <System/Processes/ChildOperations.h>

namespace Tovra::System::Processes {

bool RunInThisProcess(const ChildWork& work, const MessageReceiver& receive) {
    bool hasMessage = false;
    work([&](std::string_view message) {
        hasMessage = true;
        receive(message);
    });
    return hasMessage;
}

} // namespace Tovra::System::Processes
