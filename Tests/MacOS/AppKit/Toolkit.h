#pragma once

// What tests see of the toolkit below the macOS host, and what they make it do. In plain C++, since a `catch` in an
// Objective-C++ file does not catch C++ exceptions with the Objective-C runtime that GNUstep uses here.

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Tovra::Tests::AppKit {

/// A rectangle in the toolkit's coordinates, whose origin is at the bottom left.
struct Frame {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    bool operator==(const Frame&) const = default;
};

/// What the host did with panels and with the doubles, and how those respond.
struct Toolkit {
    /// The messages in their order, as "setLevel: 26"; none that the toolkit sends itself.
    std::vector<std::string> messages;

    /// The message at which an exception is raised, as "setLevel:".
    std::string raisingMessage;

    /// Objects that exist, by their class. "Temporary": the doubles of OpenGL and of applications leave such an object
    /// to the caller's autorelease pool at every message.
    std::map<std::string, int> objects;

    bool hasPixelFormats = true;               ///< Whether the attributes are fulfilled by some renderer.
    bool hasContexts = true;                   ///< Whether a context can be created.
    std::vector<std::int32_t> processIds = {}; ///< The processes that are applications.
};

/// The only one.
Toolkit& GetToolkit();

/// Keeps GNUstep from windows and daemons of its own, and from reports on a missing window manager. Before the
/// application object.
void Quieten();

/// Records a message, and raises an exception if that is wanted.
void OnMessage(const std::string& selector, const std::string& arguments = "");

/// The application object, or null.
void* GetApplication();

/// A panel's properties by the toolkit.
struct PanelProperties {
    Frame frame;
    unsigned long styleMask = 0;
    long level = 0;
    double alpha = 0;
    bool isVisible = false;
    bool isOpaque = false;
    bool hasShadow = false;
    bool hasClearBackground = false;
    bool isReleasedWhenClosed = false;
    bool ignoresMouseEvents = false;
    bool canBecomeKey = false;
    bool canBecomeMain = false;
    bool isKey = false;
    unsigned long xWindow = 0; ///< Its id on the X server.
};

/// The properties of the panel with that handle.
PanelProperties GetProperties(void* handle);

/// The screens, the first one first.
std::vector<Frame> GetScreens();

/// Queues an event of a type without fields of its own, or one of the mouse.
void PostEvent(std::uint8_t type);

/// Queues an event of a key or modifier.
void PostKeyEvent(std::uint8_t type, std::uint16_t keyCode, std::uint64_t modifierFlags = 0);

/// Queues a scroll event with its horizontal and vertical distance.
void PostScrollEvent(double horizontal, double vertical);

/// Takes all events from the queue, those of the server's included.
void DiscardEvents();

/// From now on `onEvent` is called with the type of each event that the application is sent, before it handles that.
void WatchSentEvents(const std::function<void(std::uint64_t type)>& onEvent);

/// From now on `onDate` is called with the seconds from now of each such date.
void WatchDates(const std::function<void(double seconds)>& onDate);

/// The main loop calls `work` once, after that many seconds.
void RunInMainLoop(double seconds, const std::function<void()>& work);

/// From now on `onTouch` is called instead of creating the application object.
void ReplaceApplication(const std::function<void()>& onTouch);

/// Leaves an object to the autorelease pool, as the toolkit does; counted as "Temporary".
void MakeTemporary();

/// Raises an exception of the toolkit.
void Raise(const std::string& name, const std::string& reason);

} // namespace Tovra::Tests::AppKit
