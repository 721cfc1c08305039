#include <System/Processes/ChildOperations.h>

namespace Tovra::System::Processes {

bool RunInChild(const ChildWork& work, const MessageReceiver& receive) {
    return RunInThisProcess(work, receive);
}

} // namespace Tovra::System::Processes
