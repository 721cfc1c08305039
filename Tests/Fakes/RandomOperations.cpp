#include <Fakes/RandomOperations.h>
#include <System/Types/RandomOperations.h>

#include <cstdlib>
#include <format>

using Tovra::Tests::Fakes::randomOperations;

namespace {

/// Takes the first element, or gives `otherwise`.
template <class T>
T TakeFirst(std::vector<T>& values, T otherwise) {
    if (values.empty()) {
        return otherwise;
    }
    const T value = values.front();
    values.erase(values.begin());
    return value;
}

} // namespace

namespace Tovra::System {

std::int64_t GetSteadyNanoseconds() {
    randomOperations.calls.emplace_back("Clock");
    return TakeFirst(
        randomOperations.times,
        std::int64_t{std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count()});
}

void Wait(std::chrono::duration<double, std::milli> time) {
    randomOperations.calls.push_back(std::format("Wait {}", time.count()));
}

void SeedNumbers(unsigned int seed) {
    randomOperations.calls.emplace_back("Seed");
    randomOperations.seeds.push_back(seed);
    std::srand(seed);
}

int DrawNumber() {
    randomOperations.calls.emplace_back("Draw");
    return TakeFirst(randomOperations.numbers, std::rand());
}

} // namespace Tovra::System
