#pragma once

#include "Json.h"

#include <string>

namespace Tovra::Fieldhost::Diagnose {

/// A document for a person: the problems as sentences, then each part with a line a value.
std::string ComposeText(const Json& document);

} // namespace Tovra::Fieldhost::Diagnose
