// Label: threaded

#include <System/Types/Callbacks.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Tovra::System::Containers::Callbacks;

using Action = std::function<void()>;

static_assert(offsetof(Callbacks<Action>::CallbackInfo, key) == 0);

class CallbacksTest : public testing::Test {
protected:
    Action Note(const char* name) {
        return [this, name] { m_calls.emplace_back(name); };
    }

    std::vector<std::string> Call() {
        m_calls.clear();
        m_callbacks.Call();
        return m_calls;
    }

    Callbacks<Action> m_callbacks;
    std::vector<std::string> m_calls;
    int m_first = 0;
    int m_second = 0;
    int m_third = 0;
};

TEST_F(CallbacksTest, AreCalledInTheOrderOfTheirArrival) {
    m_callbacks.PushBack(&m_second, Note("second"));
    m_callbacks.PushBack(&m_first, Note("first"));
    m_callbacks.PushBack(&m_third, Note("third"));
    EXPECT_THAT(Call(), ElementsAre("second", "first", "third"));
}

TEST_F(CallbacksTest, KnownKeyIsAnUpdateAtItsOldPlace) {
    m_callbacks.PushBack(&m_first, Note("first"));
    m_callbacks.PushBack(&m_second, Note("second"));
    m_callbacks.PushBack(&m_first, Note("again"));
    EXPECT_THAT(Call(), ElementsAre("again", "second"));
}

TEST_F(CallbacksTest, NullIsAKeyLikeAnyOther) {
    m_callbacks.PushBack(nullptr, Note("null"));
    m_callbacks.PushBack(nullptr, Note("null again"));
    EXPECT_THAT(Call(), ElementsAre("null again"));
}

TEST_F(CallbacksTest, RemoveKeepsTheOrderOfTheOthers) {
    m_callbacks.PushBack(&m_first, Note("first"));
    m_callbacks.PushBack(&m_second, Note("second"));
    m_callbacks.PushBack(&m_third, Note("third"));
    m_callbacks.Remove(&m_second);
    EXPECT_THAT(Call(), ElementsAre("first", "third"));
}

TEST_F(CallbacksTest, RemoveOfTheFirstKeepsTheOrderOfTheOthers) {
    m_callbacks.PushBack(&m_first, Note("first"));
    m_callbacks.PushBack(&m_second, Note("second"));
    m_callbacks.PushBack(&m_third, Note("third"));
    m_callbacks.Remove(&m_first);
    EXPECT_THAT(Call(), ElementsAre("second", "third"));
}

TEST_F(CallbacksTest, RemoveOfAnUnknownKeyChangesNothing) {
    m_callbacks.Remove(&m_first);
    EXPECT_THAT(Call(), IsEmpty());
    m_callbacks.PushBack(&m_first, Note("first"));
    m_callbacks.Remove(&m_second);
    EXPECT_THAT(Call(), ElementsAre("first"));
}

TEST_F(CallbacksTest, EmptyCallbackKeepsItsEntryAndThrowsWhenCalled) {
    m_callbacks.PushBack(&m_first, Note("first"));
    m_callbacks.PushBack(&m_second, Note("second"));
    m_callbacks.PushBack(&m_third, Note("third"));
    m_callbacks.PushBack(&m_second, Action());
    EXPECT_THROW(m_callbacks.Call(), std::bad_function_call);
    EXPECT_THAT(m_calls, ElementsAre("first"));
    m_callbacks.PushBack(&m_second, Note("filled"));
    EXPECT_THAT(Call(), ElementsAre("first", "filled", "third"));
}

TEST_F(CallbacksTest, ChangeByACallbackIsSeenAtTheNextCall) {
    m_callbacks.PushBack(&m_first, [this] {
        m_calls.emplace_back("first");
        m_callbacks.Remove(&m_second);
        m_callbacks.PushBack(&m_third, Note("third"));
    });
    m_callbacks.PushBack(&m_second, Note("second"));
    EXPECT_THAT(Call(), ElementsAre("first", "second"));
    EXPECT_THAT(Call(), ElementsAre("first", "third"));
}

TEST_F(CallbacksTest, MayCallTheirListAgain) {
    m_callbacks.PushBack(&m_first, [this] {
        if (m_calls.empty()) {
            m_calls.emplace_back("outer");
            m_callbacks.Call();
        }
    });
    m_callbacks.PushBack(&m_second, Note("second"));
    EXPECT_THAT(Call(), ElementsAre("outer", "second", "second"));
}

TEST_F(CallbacksTest, AllGetTheSameArguments) {
    Callbacks<std::function<void(std::string)>> callbacks;
    const auto note = [this](std::string text) { m_calls.push_back(std::move(text)); };
    callbacks.PushBack(&m_first, note);
    callbacks.PushBack(&m_second, note);
    callbacks.Call(std::string("a text that is too long to be stored in place"));
    EXPECT_EQ(m_calls[0], m_calls[1]);
    EXPECT_EQ(m_calls[1], "a text that is too long to be stored in place");
}

/// An object owned by a callback. Its destructor removes another entry of the list.
class Owned {
public:
    Owned(Callbacks<Action>& callbacks, void* key) : m_callbacks(callbacks), m_key(key) {}
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    ~Owned() { m_callbacks.Remove(m_key); }

private:
    Callbacks<Action>& m_callbacks;
    void* m_key;
};

class CallbacksDeathTest : public CallbacksTest {
protected:
    /// A callback that is the only owner of such an object.
    Action Own(void* key) {
        return [owned = std::make_shared<Owned>(m_callbacks, key)] {};
    }

    /// Runs the test in a child process, which an alarm ends if the list deadlocks.
    template <class Test>
    static void Run(const Test& test) {
        EXPECT_EXIT(
            {
                alarm(10);
                test();
                std::_Exit(HasFailure() ? 1 : 0);
            },
            testing::ExitedWithCode(0), "");
    }
};

TEST_F(CallbacksDeathTest, RemovedCallbackMayChangeTheListAsItDies) {
    Run([this] {
        m_callbacks.PushBack(&m_first, Own(&m_third));
        m_callbacks.PushBack(&m_second, Note("second"));
        m_callbacks.PushBack(&m_third, Note("third"));
        m_callbacks.Remove(&m_first);
        EXPECT_THAT(Call(), ElementsAre("second"));
    });
}

TEST_F(CallbacksDeathTest, ReplacedCallbackMayChangeTheListAsItDies) {
    Run([this] {
        m_callbacks.PushBack(&m_first, Own(&m_second));
        m_callbacks.PushBack(&m_second, Note("second"));
        m_callbacks.PushBack(&m_third, Note("third"));
        m_callbacks.PushBack(&m_first, Note("first"));
        EXPECT_THAT(Call(), ElementsAre("first", "third"));
    });
}

TEST_F(CallbacksDeathTest, CallbackMayRemoveItselfWhileItIsCalled) {
    Run([this] {
        const Action own = Own(&m_second);
        m_callbacks.PushBack(&m_first, [this, own] {
            m_calls.emplace_back("first");
            m_callbacks.Remove(&m_first);
        });
        m_callbacks.PushBack(&m_second, Note("second"));
        EXPECT_THAT(Call(), ElementsAre("first", "second"));
    });
}

TEST_F(CallbacksTest, MayBeChangedAndCalledByManyThreads) {
    std::atomic<int> count = 0;
    m_callbacks.PushBack(&m_first, [&count] { ++count; });
    std::thread changing([this] {
        for (int round = 0; round < 1000; ++round) {
            m_callbacks.PushBack(&m_second, [] {});
            m_callbacks.Remove(&m_second);
        }
    });
    for (int round = 0; round < 1000; ++round) {
        m_callbacks.Call();
    }
    changing.join();
    EXPECT_EQ(count, 1000);
}

} // namespace
