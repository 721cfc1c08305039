#include <System/Processes/ChildOperations.h>

namespace Tovra::System::Processes {

bool RunInChild(const ChildWork& work, const MessageReceiver& receive, std::chrono::milliseconds) {
    return RunInThisProcess(work, receive);
}

} // namespace Tovra::System::Processes
