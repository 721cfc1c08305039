#pragma once

// An internal header of the Linux host: properties of windows, read through XCB.

#include <System/X11/Xcb_Linux.h>

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

namespace Tovra::System::X11::Xcb {

/// The reply to a request for a property, or null.
using PropertyReply = Reply<xcb_get_property_reply_t>;

/// Whether the window has such a property of that type and format. The reply for one of another type has no content.
inline bool Has(const PropertyReply& property, xcb_atom_t type, std::uint8_t format) {
    return property != nullptr && property->type == type && property->format == format;
}

/// The numbers of a property in format 32; empty if the window has none.
std::vector<std::uint32_t> GetNumbers(const PropertyReply& property);

/// The first of the numbers, or 0.
std::uint32_t GetNumber(const PropertyReply& property);

/// Whether the list has that number.
inline bool Contains(std::span<const std::uint32_t> numbers, std::uint32_t number) {
    return std::ranges::find(numbers, number) != numbers.end();
}

/// Asks for a property of a window, at most `length` units of 4 bytes of it. The default suits lists of types and
/// states, which are short; an endless one of another program must not fill our memory.
class PropertyRequest : public Request<&Connection::xcb_get_property, &Connection::xcb_get_property_reply> {
public:
    PropertyRequest(const Connection& x11, xcb_window_t window, xcb_atom_t property, xcb_atom_t type,
                    std::uint32_t length = 64)
        : Request(x11, std::uint8_t{0}, window, property, type, 0U, length) {}
};

} // namespace Tovra::System::X11::Xcb
