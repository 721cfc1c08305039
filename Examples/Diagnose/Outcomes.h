#pragma once

#include "DiagnosisOperations.h"
#include "Json.h"

#include <string>

namespace Tovra::Fieldhost::Diagnose {

/// What `DescribeOpenGl` has passed, with the kind of renderer, for the document. `isTried` is false if there was no
/// display to try it on.
Json ComposeOpenGl(const Json& section, bool isTried);

/// Whether a renderer works on a graphics card, by its name: "Accelerated", "Software", or "Unknown" if it has none.
std::string GetKindOfRenderer(const std::string& renderer);

/// How far the display was reached, by the contact and by what the libraries and the server's description say. Its
/// member "outcome" is "Connected", or why not.
Json ComposeDisplay(const DisplayContact& contact, const Json& libraries, const Json& desktop);

} // namespace Tovra::Fieldhost::Diagnose
