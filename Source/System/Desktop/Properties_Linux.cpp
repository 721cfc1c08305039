#include <System/Desktop/Properties_Linux.h>

#include <array>
#include <string_view>

namespace Tovra::System::Desktop::Xcb {

namespace {

struct AtomName {
    xcb_atom_t Atoms::* member;
    std::string_view text;
};

constexpr std::array atomNames{
#define TOVRA_X11_ATOM_NAME(member, text) AtomName{&Atoms::member, text},
    TOVRA_X11_ATOMS(TOVRA_X11_ATOM_NAME)
#undef TOVRA_X11_ATOM_NAME
};

using AtomQuestion = Question<&Functions::xcb_intern_atom, &Functions::xcb_intern_atom_reply>;

/// Asks for all numbers of names at once: one round trip.
Atoms InternAtoms(const Server& server) {
    std::vector<AtomQuestion> questions;
    questions.reserve(atomNames.size());
    for (const AtomName& name : atomNames) {
        questions.emplace_back(server, std::uint8_t{0}, static_cast<std::uint16_t>(name.text.size()), name.text.data());
    }
    Atoms atoms{};
    for (std::size_t index = 0; index < atomNames.size(); ++index) {
        if (const auto reply = questions[index].Take()) {
            atoms.*atomNames[index].member = reply->atom;
        }
    }
    return atoms;
}

} // namespace

const Atoms& GetAtoms(const Server& server) {
    static const Atoms s_atoms = InternAtoms(server);
    return s_atoms;
}

std::vector<std::uint32_t> GetNumbers(const Reply<xcb_get_property_reply_t>& property) {
    if (property == nullptr || property->format != 32) {
        return {};
    }
    const auto numbers = GetTail<std::uint32_t>(property, property->value_len);
    return {numbers.begin(), numbers.end()};
}

std::uint32_t GetNumber(const Reply<xcb_get_property_reply_t>& property) {
    const std::vector<std::uint32_t> numbers = GetNumbers(property);
    return numbers.empty() ? 0 : numbers.front();
}

} // namespace Tovra::System::Desktop::Xcb
