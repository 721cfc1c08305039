#pragma once

#include <System/Error/CallStack.h>
#include <System/Types/GUID.h>

#include <cstdint>
#include <ostream>

namespace Tovra::System::Error {

/// The area that an error belongs to.
enum class CategoryID : std::uint16_t {
    Foundation = 2, ///< Start-up of a foundation piece.
    System = 100,   ///< A system of the runtime.
    ThreadInitialize = 301,
    ThreadStart = 302,   ///< Start and reset.
    ThreadManager = 310, ///< The thread manager's own bookkeeping.
    LogDirectory = 501,
    LogFile = 502,      ///< A file operation or its precondition.
    LogFileState = 503, ///< Disagreement between the logger's state flag and its stream.
};

/// Names one kind of failure: a category and a code within it.
template <CategoryID category, std::uint32_t code>
struct Error {
    /// The packed form: bits 0 to 15 the constant 2, bits 16 to 31 the category, bits 32 to 63 the code.
    static constexpr std::uint64_t packedCode =
        std::uint64_t{code} << 32 | std::uint64_t{static_cast<std::uint16_t>(category)} << 16 | 2;
};

/// The base of this system's own exceptions; thrown by value, caught by reference. Owns no memory, so it is copied as
/// plain data.
/// Intentional: not a `std::exception`; the two hierarchies are caught separately everywhere.
class Exception {
public:
    explicit Exception(const Debug::CallStack& position) : callStack(position) {}
    Exception(const Exception&) = default;
    Exception& operator=(const Exception&) = default;
    virtual ~Exception() = default;

    /// The packed code (see `Error`); 0 in this base.
    virtual std::uint64_t GetErrorCode() const;

    /// The name shown in reports; static text.
    virtual const char* GetName() const;

    /// Writes the human-readable message. Those of the two system exceptions end in a line end, the others don't.
    virtual void ComposeMessage(std::ostream& stream) const;

    /// Marks the exception as caught and reports it; each call reports it again. A catch site that doesn't call this
    /// swallows the exception silently. Throws, and ends the process, as `ErrorHandler::OnException` does. Any thread.
    /// Not safe in a signal handler.
    virtual void SetHandled() const;

    Debug::CallStack callStack;   ///< Where it was thrown.
    mutable bool handled = false; ///< Whether a catch site called `SetHandled`.
};

template <class Kind>
struct ErrorDetails;

/// A static message; null stands for none.
template <CategoryID category, std::uint32_t code>
struct ErrorDetails<const Error<category, code>> {
    /// The code that `Exception::GetErrorCode` returns.
    static constexpr std::uint64_t packedCode = Error<category, code>::packedCode;

    /// Writes the message.
    void ComposeMessage(std::ostream& stream) const;

    const char* message;
};

/// The system that a failure of the runtime concerns.
struct SystemErrorDetails {
    /// Writes a line for the name and one for the identity, each left out if it is missing.
    void ComposeMessage(std::ostream& stream) const;

    const char* systemName; ///< Static text, may be null.
    GUID systemGuid;        ///< All zero for none.
};

/// Writes `message`, or "No message provided." if it is null.
void ComposeStaticMessage(std::ostream& stream, const char* message);

template <CategoryID category, std::uint32_t code>
void ErrorDetails<const Error<category, code>>::ComposeMessage(std::ostream& stream) const {
    ComposeStaticMessage(stream, message);
}

/// An exception with a packed code and its details: one type for each pair of category and code, so that a catch site
/// can tell two of them apart.
template <class Details>
class ExceptionWithDetails : public Exception {
public:
    ExceptionWithDetails(const Debug::CallStack& position, std::uint64_t packedCode, const Details& errorDetails)
        : Exception(position), m_errorCode(packedCode), m_details(errorDetails) {}
    ExceptionWithDetails(const Debug::CallStack& position, const Details& errorDetails)
        requires requires { Details::packedCode; }
        : ExceptionWithDetails(position, Details::packedCode, errorDetails) {}

    std::uint64_t GetErrorCode() const override { return m_errorCode; }
    void ComposeMessage(std::ostream& stream) const override { m_details.ComposeMessage(stream); }
    /// What the exception was thrown with. Lives as long as the exception.
    const Details& GetDetails() const { return m_details; }

private:
    std::uint64_t m_errorCode;
    Details m_details;
};

/// The exception type of one pair of category and code.
template <CategoryID category, std::uint32_t code>
using ErrorException = ExceptionWithDetails<ErrorDetails<const Error<category, code>>>;

} // namespace Tovra::System::Error

namespace Tovra {

/// A system object could not be created.
class SystemCreationException final : public System::Error::ExceptionWithDetails<System::Error::SystemErrorDetails> {
public:
    SystemCreationException(const System::Debug::CallStack& position, const System::Error::SystemErrorDetails& details);

    const char* GetName() const override;
    void ComposeMessage(std::ostream& stream) const override;
};

/// A system that is not optional failed to initialise.
class SystemInitializationException final
    : public System::Error::ExceptionWithDetails<System::Error::SystemErrorDetails> {
public:
    SystemInitializationException(const System::Debug::CallStack& position,
                                  const System::Error::SystemErrorDetails& details);

    const char* GetName() const override;
    void ComposeMessage(std::ostream& stream) const override;
};

} // namespace Tovra

/// Throws the exception of (`category`, `code`) with a static message, or null, and this source position.
#define TOVRA_THROW(category, code, message)                                                                           \
    throw ::Tovra::System::Error::ErrorException<::Tovra::System::Error::CategoryID::category, code>(                  \
        ::Tovra::System::Debug::CallStack(__FILE__, __LINE__, __func__), {message})
