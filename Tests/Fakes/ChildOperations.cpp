#include <Fakes/ChildOperations.h>
#include <System/Processes/ChildOperations.h>

namespace Tovra::System::Processes {

bool RunInChild(const ChildWork& work, const MessageReceiver& receive, std::chrono::milliseconds limit) {
    Tests::Fakes::childOperations.limit = limit;
    if (Tests::Fakes::childOperations.dies) {
        return false;
    }
    work(receive);
    return true;
}

} // namespace Tovra::System::Processes
