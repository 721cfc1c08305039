#pragma once

#include <concepts>
#include <filesystem>
#include <string>
#include <utility>

namespace Tovra::System::FileSystem {

/// A file path, in the host's own bytes. A plain value; it never accesses the file system.
class Path {
public:
    Path() = default;

    /// Converts from anything that `std::filesystem::path` is made from. Narrow text is taken unchanged; wide text
    /// becomes UTF-8 whatever the locale, and throws `std::runtime_error` if it is invalid.
    template <class Source>
        requires(!std::same_as<std::remove_cvref_t<Source>, Path> &&
                 std::constructible_from<std::filesystem::path, Source>)
    Path(Source&& source) : m_path(std::forward<Source>(source)) {}

    /// The parent as `std::filesystem::path::parent_path` gives it; empty for a bare file name.
    Path GetParent() const { return m_path.parent_path(); }

    /// The path of the standard library. The reference lives as long as this object.
    const std::filesystem::path& GetNative() const { return m_path; }

    /// The path's bytes. The reference lives as long as this object.
    const std::string& ToString() const { return m_path.native(); }

    friend bool operator==(const Path&, const Path&) = default;

private:
    std::filesystem::path m_path;
};

} // namespace Tovra::System::FileSystem
