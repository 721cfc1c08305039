#include <Support/TestedTool.h>

namespace Tovra::Tests {

namespace {

/// GNUstep says on every start that there is no window server.
bool IsGnusteps(std::string_view line) {
    return line.find("] Exception: <NSException: ") != std::string_view::npos &&
           line.find(" NAME:NSWindowServerCommunicationException ") != std::string_view::npos;
}

/// Lets the tests run the tool with the macOS host.
[[maybe_unused]] const bool isSet = [] {
    testedTool = {.program = "SetupToolOfMacOS",
                  // In another encoding GNUstep refuses arguments that are no text.
                  .environment = {{"GNUSTEP_STRING_ENCODING", "NSISOLatin1StringEncoding"}},
                  .isToolkits = IsGnusteps};
    return true;
}();

} // namespace

} // namespace Tovra::Tests
