#pragma once

#include <string_view>

namespace Tovra::System::Utilities {

/// Whether the whole text is UTF-8 (Unicode, table 3-7): no stray bytes, surrogates, overlong forms or values above
/// U+10FFFF. True for the empty text. Any thread.
bool IsUtf8(std::string_view text);

} // namespace Tovra::System::Utilities
