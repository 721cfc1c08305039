#include <Support/Assertions.h>
#include <System/Threads/Thread.h>

#include <memory>

namespace {

using Tovra::System::Threads::Thread;
using Tovra::System::Threads::ThreadEntryPointCallback;

class Callback final : public ThreadEntryPointCallback {
public:
    explicit Callback(bool& isDestroyed) : m_isDestroyed(isDestroyed) {}
    ~Callback() { m_isDestroyed = true; }
    void Run() override {}

private:
    bool& m_isDestroyed;
};

TEST(ThreadEntryPointCallback, HasNoThreadAtFirst) {
    bool isDestroyed = false;
    EXPECT_EQ(Callback(isDestroyed).GetThread(), nullptr);
}

TEST(ThreadEntryPointCallback, TakesItsThread) {
    bool isDestroyed = false;
    Thread thread;
    Callback callback(isDestroyed);
    callback.SetThread(thread);
    EXPECT_EQ(callback.GetThread(), &thread);
}

TEST(ThreadEntryPointCallbackDeathTest, TakesItsThreadOnceOnly) {
    bool isDestroyed = false;
    Thread thread;
    Callback callback(isDestroyed);
    callback.SetThread(thread);
    EXPECT_ASSERTION(callback.SetThread(thread), "m_thread == nullptr", "Thread shall be set once only.");
}

TEST(ThreadEntryPointCallback, IsDeletedWithoutTheDestructorOfItsOwnClass) {
    bool isDestroyed = false;
    std::unique_ptr<ThreadEntryPointCallback> callback = std::make_unique<Callback>(isDestroyed);
    callback.reset();
    EXPECT_FALSE(isDestroyed);
}

} // namespace
