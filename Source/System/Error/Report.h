#pragma once

#include <System/Error/Assertion.h>
#include <System/Error/Exception.h>

#include <exception>
#include <string>
#include <string_view>

// What error handlers report, as text of several lines that ends in a line end.

namespace Tovra::System::Error {

/// A failed assertion with its condition, message and position.
std::string ComposeReport(const Assertion& assertion);

/// An exception with its name, `message`, code and position. `message` is what it composes.
std::string ComposeReport(const Exception& exception, std::string_view message);

/// An exception of the standard library's kind, with its message.
std::string ComposeReport(const std::exception& exception, bool handled);

} // namespace Tovra::System::Error
