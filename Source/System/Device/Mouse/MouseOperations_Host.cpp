#include <System/Device/Mouse/MouseOperations.h>
#include <System/Threads/Sleep.h>

namespace Tovra::System::Device::Mouse {

void SleepBetweenEvents(double milliseconds) {
    Thread::Sleep(milliseconds);
}

} // namespace Tovra::System::Device::Mouse
