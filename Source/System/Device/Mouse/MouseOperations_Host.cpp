#include <System/Device/Mouse/MouseOperations.h>
#include <System/Threads/Sleep.h>

namespace Tovra::System::Device::Mouse {

Desktop::PointerPosition GetPointerPosition() {
    return Desktop::GetPointerPosition();
}

void SleepBetweenEvents(double milliseconds) {
    Thread::Sleep(milliseconds);
}

} // namespace Tovra::System::Device::Mouse
