#pragma once

#include <concepts>
#include <filesystem>
#include <string>
#include <utility>

namespace Tovra::System::FileSystem {

/// A file path, in the host's own bytes. A plain value; it touches no file.
class Path {
public:
    Path() = default;

    /// From anything that the standard's path is made from: narrow text is taken as it is, wide text becomes UTF-8
    /// whatever the locale, and throws `std::runtime_error` where it is no text.
    template <class Source>
        requires(!std::same_as<std::remove_cvref_t<Source>, Path> &&
                 std::constructible_from<std::filesystem::path, Source>)
    Path(Source&& source) : m_path(std::forward<Source>(source)) {}

    /// The standard parent path; of a bare file name the empty path.
    Path GetParent() const { return m_path.parent_path(); }

    const std::filesystem::path& GetNative() const { return m_path; }

    /// The path's bytes.
    const std::string& ToString() const { return m_path.native(); }

    friend bool operator==(const Path&, const Path&) = default;

private:
    std::filesystem::path m_path;
};

} // namespace Tovra::System::FileSystem
