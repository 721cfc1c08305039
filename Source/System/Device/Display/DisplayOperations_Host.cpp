#include <System/Device/Display/DisplayOperations.h>
#include <System/Threads/Sleep.h>

namespace Tovra::System::Device::Display {

void SleepBetweenAttempts(std::chrono::nanoseconds time) {
    Thread::Sleep(time);
}

} // namespace Tovra::System::Device::Display
