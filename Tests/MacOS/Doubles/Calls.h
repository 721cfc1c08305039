#pragma once

#include <Fakes/State.h>

#include <concepts>
#include <cstddef>
#include <format>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

/// Doubles of the functions of macOS that its host calls, for running that host on Linux. They answer from state that
/// the test sets, record their calls, count the objects that they hand out, can fail any call, and report at once what
/// macOS would not forgive.
namespace Tovra::Tests::Doubles {

/// How a call fails.
enum class Failure {
    Error,     ///< By its result: null, false, an error's number.
    OtherKind, ///< By handing out an object of a kind that the caller does not expect.
};

/// The calls of all doubles.
struct Calls {
    std::vector<std::string> made; ///< In order, such as "CGEventPost(0, Event#1)".

    /// Which calls fail: the one of this number, counted from 1 among the calls that can fail in this way, and, if it
    /// lasts, all later ones. 0 for none.
    std::size_t failing = 0;
    bool lasts = false;
    Failure failure = Failure::Error;
    /// If not empty, only calls of this function count.
    std::string failingFunction;

    std::vector<std::string> fallible; ///< The functions of the calls that could fail in this way, in order.

    /// Called with what macOS would not forgive. Initially it prints the text and ends the process.
    std::function<void(const std::string& what)> onMisuse;
};

inline Calls& calls = Fakes::GetState<Calls>();

/// Reports what macOS would not forgive.
void ReportMisuse(const std::string& what);

/// How an object, or any other pointer, is called in records: "Event#1", "null", "*" if it is no object.
std::string Describe(const void* pointer);

/// A call of a double, during the call. The doubles' state is the calling thread's meanwhile.
class Call {
public:
    template <class... Arguments>
    explicit Call(std::string_view function, const Arguments&... arguments) : m_lock(GetMutex()), m_function(function) {
        std::string text(function);
        text += '(';
        std::string_view separator = "";
        ((text += separator, text += ToText(arguments), separator = ", "), ...);
        calls.made.push_back(text + ')');
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    /// Counts a call that can fail; true if it does.
    bool Fails() const { return Fails(Failure::Error); }

    /// Counts a call that can hand out an object of an unexpected kind; true if it does.
    bool GivesOtherKind() const { return Fails(Failure::OtherKind); }

    /// Reports that macOS would not forgive this call.
    void ReportMisuse(const std::string& what) const;

private:
    static std::recursive_mutex& GetMutex();
    bool Fails(Failure failure) const;

    template <class Argument>
    static std::string ToText(const Argument& argument) {
        if constexpr (std::is_enum_v<Argument>) {
            return std::format("{}", static_cast<std::underlying_type_t<Argument>>(argument));
        } else if constexpr (std::is_arithmetic_v<Argument>) {
            return std::format("{}", argument);
        } else if constexpr (std::convertible_to<Argument, std::string_view> && !std::same_as<Argument, char*>) {
            return std::format("\"{}\"", std::string_view(argument));
        } else {
            return Describe(argument);
        }
    }

    std::unique_lock<std::recursive_mutex> m_lock;
    std::string m_function;
};

} // namespace Tovra::Tests::Doubles
