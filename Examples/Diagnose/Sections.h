#pragma once

#include "Json.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Tovra::Fieldhost::Diagnose {

/// Takes a part of the document.
using SectionReceiver = std::function<void(const Json& section)>;

/// Finds out a part and passes it to `send`.
using Description = std::function<void(const SectionReceiver& send)>;

/// The name by which the tool's processes are found.
inline constexpr const char* toolName = "TovraFieldhostSetupTool";

// The parts of the document. Those that run code of libraries or drivers say so: call them in a child.

Json DescribeProgram(); ///< This program's name and version.
Json DescribeSystem();  ///< The operating system.

/// The libraries that are opened at run time. Runs their code.
Json DescribeLibraries();

/// What the server tells once it has accepted the process. Runs code of libraries.
Json DescribeDesktop();

/// A window and a context, made by what the tool's check makes them by (`TryOpenGl`). Passes its description to `send`
/// before they are destroyed. Runs code of libraries and of the driver.
void DescribeOpenGl(const SectionReceiver& send);

/// What tells of Wayland. `desktop` is `DescribeDesktop`'s.
Json DescribeWayland(const Json& desktop);

Json DescribePermissions(); ///< The rights that someone has to give.

/// The tool in a folder, with the processes that its start would end. They are looked at only.
Json DescribeTool(const std::string& folder);
Json DescribeNamesakes(); ///< Their ids, paths, and whether this process may end them.

/// The schema in a folder, read and compiled as the tool does. An application must exist.
Json DescribeSchema(const std::string& folder);

/// The home folder, and the one that the tool makes at each start.
Json DescribeFolders();

/// Runs `describe(send)` in a child and passes what it sends to `receive`, at once: an object with "outcome" "Crashed"
/// if the child ends before, and "TimedOut" if it has not sent anything after `patience`, or a little later where it
/// can start no thread. Where there are no children the part runs in this process, and if its time is over, `end` is
/// called, which should print what there is, and the process ends with the status that it returns. Main thread, while
/// there is no other one.
void RunSection(const Description& describe, std::chrono::milliseconds patience, const SectionReceiver& receive,
                const std::function<int()>& end);

/// The addresses of a host (`LookUpHost`), found by `RunSection`: none if the host is unknown or the name service
/// crashes, and nothing if they are not found within `patience`.
std::optional<std::vector<std::string>> LookUpHostInTime(const std::string& name, std::chrono::milliseconds patience,
                                                         const std::function<int()>& end);

} // namespace Tovra::Fieldhost::Diagnose
