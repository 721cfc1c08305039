#include <Fakes/ErrorHandler.h>
#include <Support/Assertions.h>
#include <Support/TestApplication.h>
#include <Support/ThreadWork.h>
#include <System/Error/Exception.h>
#include <System/Threads/ThreadManager.h>

#include <optional>

using Tovra::System::Threads::Thread;
using Tovra::System::Threads::ThreadID;
using Tovra::System::Threads::ThreadIndex;

namespace {

/// What `Thread::Initialize` returns without doing anything; nothing if it does its work.
std::optional<bool> s_result;

} // namespace

// The linker (--wrap) redirects calls of `Thread::Initialize` to the second function, and calls of the first to
// `Thread::Initialize`.
extern "C" {
bool __real__ZN5Tovra6System7Threads6Thread10InitializeEtj(Thread* thread, ThreadIndex index, ThreadID id);

bool __wrap__ZN5Tovra6System7Threads6Thread10InitializeEtj(Thread* thread, ThreadIndex index, ThreadID id) {
    return s_result ? *s_result : __real__ZN5Tovra6System7Threads6Thread10InitializeEtj(thread, index, id);
}
}

namespace {

using Tovra::System::Error::CategoryID;
using Tovra::System::Error::ErrorException;
using Tovra::System::Threads::ThreadEntryPointCallback;
using Tovra::System::Threads::ThreadManager;
using Tovra::Tests::ThreadWork;
using Tovra::Tests::Fakes::errorHandler;

using ManagerException = ErrorException<CategoryID::ThreadManager, 1>;

/// A manager whose slots refuse their thread, or say that they have it though they don't.
class ThreadRefusalTest : public Tovra::Tests::ApplicationTest {
protected:
    ~ThreadRefusalTest() override { s_result.reset(); }

    const std::function<void()> m_work = [] {};
    std::unique_ptr<ThreadEntryPointCallback> m_entryPoint = ThreadWork::Make(m_work);
    Thread* m_thread = nullptr;
    ThreadManager m_manager;
};

TEST_F(ThreadRefusalTest, IsReportedBeforeTheManagerHasNoSlot) {
    s_result = false;
    try {
        m_manager.TryCreateThread(std::move(m_entryPoint), m_thread);
        FAIL();
    } catch (const ManagerException& exception) {
        EXPECT_STREQ(exception.GetDetails().message, "Fatal inconsistency in thread management.");
    }
    EXPECT_NE(m_entryPoint, nullptr);
    EXPECT_EQ(m_thread, nullptr);
    EXPECT_THAT(errorHandler.reports,
                testing::ElementsAre(testing::AllOf(testing::StartsWith("Exception: Tovra::Exception\n"
                                                                        "\tMessage: Initialization of thread failed.\n"
                                                                        "\tCode:    0x00000001012d0002\n"),
                                                    testing::HasSubstr("TryCreateThread"))));
}

using ThreadRefusalDeathTest = ThreadRefusalTest;

TEST_F(ThreadRefusalDeathTest, ThatIsNotToldIsNoticed) {
    s_result = true;
    EXPECT_ASSERTION(m_manager.TryCreateThread(std::move(m_entryPoint), m_thread), "thread->IsInitialized()",
                     "Thread must be initialized by now.");
}

} // namespace
