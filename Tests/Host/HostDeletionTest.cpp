#include <Support/EnvironmentValue.h>
#include <Support/InChild.h>
#include <System/Device/Display/DisplayOperations.h>
#include <System/Device/Mouse/MouseOperations.h>
#include <System/Processes/ProcessWindowOperations.h>

#include <gmock/gmock.h>

#include <cstddef>
#include <cstdint>
#include <optional>

namespace {

/// The address that this thread deleted last.
thread_local std::uintptr_t s_deleted = 0;

} // namespace

// The linker (--wrap) redirects calls of operator delete to the second function, and calls of the first to it.
extern "C" {
void __real__ZdlPvm(void* memory, std::size_t size) noexcept;

void __wrap__ZdlPvm(void* memory, std::size_t size) noexcept {
    s_deleted = reinterpret_cast<std::uintptr_t>(memory);
    __real__ZdlPvm(memory, size);
}
}

namespace Tovra::Tests {

namespace {

TEST(HostDeletion, EndsAQueryOfDisplays) {
    const EnvironmentValue display("DISPLAY", std::nullopt);
    const auto query = [] {
        System::Device::Display::HeldDisplayQuery held = System::Device::Display::BeginDisplayQuery();
        const auto address = reinterpret_cast<std::uintptr_t>(held.get());
        s_deleted = 0;
        held.reset();
        EXPECT_EQ(s_deleted, address);
    };
    EXPECT_IN_CHILD(query(), ::testing::IsEmpty());
}

TEST(HostDeletion, ReleasesAnApplicationOfTheAccessibilityLayer) {
    System::Processes::HeldAccessibilityElement held = System::Processes::CreateApplicationElement(1);
    const auto address = reinterpret_cast<std::uintptr_t>(held.get());
    ASSERT_NE(address, 0U);
    s_deleted = 0;
    held.reset();
    EXPECT_EQ(s_deleted, address);
}

TEST(HostDeletion, ReleasesAnEventOfTheMouse) {
    namespace Mouse = System::Device::Mouse;
    Mouse::MouseEvent* const event = Mouse::CreateMouseEvent(Mouse::MouseEventType::Moved, 1, 2, 0);
    const auto address = reinterpret_cast<std::uintptr_t>(event);
    s_deleted = 0;
    Mouse::ReleaseEvent(event);
    EXPECT_EQ(s_deleted, address);
}

} // namespace

} // namespace Tovra::Tests
