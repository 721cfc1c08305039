#pragma once

#include "Json.h"

namespace Tovra::Fieldhost::Diagnose {

/// What is wrong by a document, as its member "problems": an array of objects with a name for programs, a text for
/// people that says what to do next, and "isFailure", true if the tool fails because of it. The gravest come first.
Json FindProblems(const Json& document);

} // namespace Tovra::Fieldhost::Diagnose
