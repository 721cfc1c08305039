#include <System/Error/CallStack.h>

#include <string_view>

namespace Tovra::System::Debug {

namespace {

bool IsSeparator(char character) {
    return character == '/' || character == '\\';
}

const char* Shorten(const char* path) {
    constexpr std::string_view rootName = "Source";
    const std::string_view text = path;
    // Search from the end for a separator after a directory named "Source", as long as the name and a separator fit
    // before it.
    for (std::size_t index = text.size(); index-- > rootName.size() + 1;) {
        if (IsSeparator(text[index]) && text.substr(index - rootName.size(), rootName.size()) == rootName &&
            IsSeparator(text[index - rootName.size() - 1])) {
            return path + index;
        }
    }
    return path;
}

} // namespace

CallStack::CallStack(const char* path, std::uint64_t lineNumber, const char* functionName)
    : file(Shorten(path)), line(lineNumber), function(functionName) {}

} // namespace Tovra::System::Debug
