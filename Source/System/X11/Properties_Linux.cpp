#include <System/X11/Properties_Linux.h>

namespace Tovra::System::X11::Xcb {

std::vector<std::uint32_t> GetNumbers(const PropertyReply& property) {
    if (property == nullptr || property->format != 32) {
        return {};
    }
    const auto numbers = GetTail<std::uint32_t>(property, property->value_len);
    return {numbers.begin(), numbers.end()};
}

std::uint32_t GetNumber(const PropertyReply& property) {
    const std::vector<std::uint32_t> numbers = GetNumbers(property);
    return numbers.empty() ? 0 : numbers.front();
}

} // namespace Tovra::System::X11::Xcb
