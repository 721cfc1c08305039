#pragma once

#include <chrono>
#include <functional>
#include <string_view>

/// The seam for work that may end its process, as a crashing driver does. What the end of a child means is decided
/// below it, as only one host has children.
namespace Tovra::System::Processes {

/// Takes a message, at most one for each piece of work.
using MessageReceiver = std::function<void(std::string_view message)>;

/// What a child does; it passes its message to `send`.
using ChildWork = std::function<void(const MessageReceiver& send)>;

/// Runs `work(send)` in a child process and waits until that has ended. `receive` is called in this process with the
/// message that `work` passes to `send`, at once: the child may still be running.
///
/// A child that is still running after `limit`, with or without a message, ends then.
///
/// False if no message came, or not all of it: the child died of a fault, called `exit`, returned without one, or was
/// too slow. What ends the work otherwise ends this process in the same way: an exception that leaves `work`
/// before the message, and a signal such as SIGKILL that someone sent to the child. The child ends with this process,
/// and ignores SIGINT and SIGTERM meanwhile.
///
/// On macOS, whose frameworks can't be used in a forked child, and where no child can be made, `work` runs in this
/// process, without a limit, and a fault ends that. Call it on the main thread, while there is no other one.
bool RunInChild(const ChildWork& work, const MessageReceiver& receive, std::chrono::milliseconds limit);

/// The same without a child. False if `work` has sent no message.
bool RunInThisProcess(const ChildWork& work, const MessageReceiver& receive);

} // namespace Tovra::System::Processes
