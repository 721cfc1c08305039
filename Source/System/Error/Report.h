#pragma once

#include <System/Error/Assertion.h>
#include <System/Error/Exception.h>

#include <exception>
#include <string>
#include <string_view>

// What error handlers report, as text of several lines that ends in a line end. Any thread. Not safe in a signal
// handler, as all of it allocates.

namespace Tovra::System::Error {

/// A failed assertion with its condition, message and position.
std::string ComposeReport(const Assertion& assertion);

/// An exception with its name, `message`, code and position. `message` is what it composes.
std::string ComposeReport(const Exception& exception, std::string_view message);

/// A `std::exception` with its message. `handled` says whether it was caught.
std::string ComposeReport(const std::exception& exception, bool handled);

} // namespace Tovra::System::Error
