#include <System/Types/RandomOperations.h>

#include <cstdlib>
#include <thread>

namespace Tovra::System {

std::int64_t GetSteadyNanoseconds() {
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void Wait(std::chrono::duration<double, std::milli> time) {
    std::this_thread::sleep_for(time);
}

void SeedNumbers(unsigned int seed) {
    std::srand(seed);
}

int DrawNumber() {
    return std::rand();
}

} // namespace Tovra::System
