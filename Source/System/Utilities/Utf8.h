#pragma once

#include <string_view>

namespace Tovra::System::Utilities {

/// Whether all of the text is UTF-8 (Unicode, table 3-7): no byte outside a sequence, no surrogate, nothing beyond
/// U+10FFFF, and nothing encoded longer than it need be. Any thread.
bool IsUtf8(std::string_view text);

} // namespace Tovra::System::Utilities
