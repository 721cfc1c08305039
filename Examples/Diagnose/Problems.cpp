#include "Problems.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace Tovra::Fieldhost::Diagnose {

namespace {

struct OutcomeText {
    std::string_view outcome;
    std::string_view problem;
    std::string_view text;
};

/// Outcomes of the display that are no success.
constexpr std::array displayTexts{
    OutcomeText{"NoDisplay", "NoDisplay",
                "No display is named. Log in to a desktop, or set DISPLAY to that of a running X server."},
    OutcomeText{"MalformedName", "MalformedName", "DISPLAY names no display. It has the form :0 or host:0."},
    OutcomeText{"HostNotFound", "HostNotFound",
                "The display's host has no address. Correct DISPLAY or the name service."},
    OutcomeText{"NoServer", "NoServer", "No X server is listening there. Start one, or correct DISPLAY."},
    OutcomeText{"NotAllowed", "NotAllowed",
                "This user may not connect to that address. Start the program as the user who is logged in to the "
                "desktop, or correct the permissions of the server's socket."},
    OutcomeText{"Silent", "ServerSilent", "The X server does not answer. It may be stopped, overloaded or cut off."},
    OutcomeText{"Closed", "ServerClosed",
                "The connection was closed without an answer, as ssh does where the forwarding has ended or its "
                "cookie is missing. Log in again."},
    OutcomeText{"NotAnXServer", "NotAnXServer", "What is listening there is not an X server. Correct DISPLAY."},
    OutcomeText{"NoAuthority", "NoAuthority",
                "The X server requires a cookie, and there is none for it. Set XAUTHORITY to the file of the user who "
                "is logged in, or add an entry with xauth."},
    OutcomeText{
        "Refused", "ServerRefuses",
        "The X server refuses this program. See the reason: it may not know the cookie, or have as many clients "
        "as it can serve."},
    OutcomeText{"Lost", "ConnectionLost", "The X server answered, but could not be used."},
    // Before the server's address is known it is the name service's.
    OutcomeText{"TimedOut", "ServerSlow",
                "The X server accepted the connection and then kept the program waiting too long."},
    OutcomeText{"Crashed", "LibraryCrashed", "The X libraries have crashed. Reinstall them."},
    // The missing library is a problem of its own.
};

/// Outcomes of OpenGL that are no success.
constexpr std::array openGlTexts{
    OutcomeText{"NoWindow", "NoWindow", "No window can be made on the display."},
    OutcomeText{"NoContext", "NoOpenGl",
                "There is no OpenGL 3.2 core context with 8 bits per channel. Install a driver that has one, and use a "
                "screen of 24 bits."},
    OutcomeText{"TimedOut", "DriverSilent", "The OpenGL driver does not return. Install another version of it."},
    OutcomeText{"Crashed", "DriverCrashed", "The OpenGL driver has crashed. Install another version of it."},
};

/// Extensions whose lack is felt.
constexpr std::array extensionTexts{
    OutcomeText{"RANDR", "NoRandr", "The X server lacks RandR: there is one display, and its changes go unnoticed."},
    OutcomeText{"XTEST", "NoXTest", "The X server lacks XTest: the mouse can't be driven."},
    OutcomeText{"X-Resource", "NoXResource",
                "The X server lacks X-Resource: the process of a window is what the window says."},
    OutcomeText{"GLX", "NoGlx", "The X server lacks GLX, or hides it from untrusted clients. With ssh use -Y."},
};

/// Collects problems.
class Problems {
public:
    void Fail(std::string_view name, const std::string& text) { Add(name, text, true); }
    void Warn(std::string_view name, const std::string& text) { Add(name, text, false); }

    /// Failures first.
    Json Take() {
        std::ranges::stable_partition(m_problems,
                                      [](const Json& problem) { return problem["isFailure"] == Json(true); });
        return m_problems;
    }

private:
    void Add(std::string_view name, const std::string& text, bool isFailure) {
        m_problems.emplace_back(Json::Object{{"name", name}, {"text", text}, {"isFailure", isFailure}});
    }

    Json::Array m_problems;
};

void AddOutcome(Problems& problems, const Json& outcome, auto& texts) {
    const auto found = std::ranges::find(texts, outcome.GetText(), &OutcomeText::outcome);
    if (found != texts.end()) {
        problems.Fail(found->problem, std::string(found->text));
    }
}

void AddDisplay(Problems& problems, const Json& display) {
    const bool isLookup = !display["name"].IsNull() && display["address"].IsNull();
    if (isLookup && display["outcome"] == Json("TimedOut")) {
        problems.Fail("NameServiceSlow", "The name service did not find the display's host in time. Correct DISPLAY or "
                                         "the name service.");
    } else {
        AddOutcome(problems, display["outcome"], displayTexts);
    }
}

void AddLibraries(Problems& problems, const Json& libraries) {
    for (const Json& library : libraries.GetElements()) {
        if (library["isFound"] == Json(false)) {
            const std::string use = library["use"].GetText();
            const std::string text = library["name"].GetText() + " can't be loaded, which is needed for " + use +
                                     ". Install the package that contains it.";
            if (use == "windows" || use == "OpenGL") {
                problems.Fail("LibraryMissing", text);
            } else {
                problems.Warn("LibraryMissing", text);
            }
        }
    }
}

void AddDesktop(Problems& problems, const Json& document) {
    for (const Json& extension : document["extensions"].GetElements()) {
        const auto found = std::ranges::find(extensionTexts, extension["name"].GetText(), &OutcomeText::outcome);
        if (found != extensionTexts.end() && extension["isPresent"] == Json(false)) {
            problems.Warn(found->problem, std::string(found->text));
        }
    }
    if (!document["server"].IsNull() && document["windowManager"].IsNull()) {
        problems.Warn("NoWindowManager", "No window manager runs: windows are raised and focused by the server alone.");
    }
    if (document["display"]["outcome"] == Json("Connected") && document["displays"].GetElements().empty()) {
        problems.Warn("NoMonitor", "The server has no monitor that is switched on.");
    }
    if (document["wayland"]["isBehindServer"] == Json(true)) {
        problems.Warn("Wayland", "The X server is part of a Wayland session: native Wayland windows can't be seen or "
                                 "clicked. Log in to a session of X.");
    } else if (document["display"]["outcome"] == Json("NoDisplay") && !document["wayland"]["display"].IsNull()) {
        problems.Warn("Wayland",
                      "The session is one of Wayland and has no X server. Let it start Xwayland, or log in to "
                      "a session of X.");
    }
}

/// Paths are permitted to a user, as on Linux; rights that have names of their own to a program, as on macOS.
std::string GetPermissionText(const std::string& name, const std::string& use) {
    if (name == "/proc") {
        return "/proc hides other users' processes (hidepid), so they are not found. Mount it without hidepid.";
    }
    if (name.starts_with('/')) {
        return "This user may not open " + name + ", which " + use + " needs. Add the user to the device's group.";
    }
    return "This program has no right to " + name + ", which is needed for " + use +
           ". Grant it to this program; the right of another one does not count.";
}

void AddPermissions(Problems& problems, const Json& permissions) {
    for (const Json& permission : permissions.GetElements()) {
        if (permission["isGranted"] == Json(false)) {
            problems.Warn("NotPermitted", GetPermissionText(permission["name"].GetText(), permission["use"].GetText()));
        }
    }
}

void AddFiles(Problems& problems, const Json& document) {
    if (document["tool"]["isExecutable"] == Json(false)) {
        problems.Fail("NoTool", "The tool is not beside this program, or can't be run. Reinstall it.");
    }
    const Json& schema = document["schema"];
    if (schema["isReadable"] == Json(false)) {
        problems.Warn("NoSchema", "The schema can't be read: configurations go unchecked. Reinstall the tool.");
    } else if (schema["compiles"] == Json(false)) {
        problems.Warn("BrokenSchema", "The schema can't be used: configurations go unchecked. Reinstall the tool.");
    }
    const Json& folders = document["folders"];
    if (folders["home"].IsNull()) {
        problems.Warn("NoHome",
                      "HOME is not set: programs on the framework log to the folder Logs in the working folder.");
    } else if (folders["isHomeUtf8"] == Json(false)) {
        problems.Fail("HomeNotUtf8", "The home folder's name is not UTF-8: the tool can't start.");
    } else if (folders["logs"]["canBeMade"] == Json(false) ||
               (folders["logs"]["exists"] == Json(true) &&
                (folders["logs"]["isFolder"] == Json(false) || folders["logs"]["isWritable"] == Json(false)))) {
        problems.Warn("NoLogs", "The folder for the log can't be made or written: " +
                                    folders["logs"]["path"].GetText() + ". Correct its owner and permissions.");
    }
}

} // namespace

Json FindProblems(const Json& document) {
    Problems problems;
    AddDisplay(problems, document["display"]);
    AddLibraries(problems, document["libraries"]);
    AddOutcome(problems, document["openGl"]["outcome"], openGlTexts);
    if (document["openGl"]["kind"] == Json("Software")) {
        problems.Warn("SoftwareOpenGl", "OpenGL is drawn by the processor, which is slow. If there is a graphics card, "
                                        "install its driver and let this user open its device.");
    }
    AddDesktop(problems, document);
    AddPermissions(problems, document["permissions"]);
    AddFiles(problems, document);
    if (const std::size_t count = document["namesakes"].GetElements().size(); count > 0) {
        problems.Warn("Namesakes", "A start of the tool ends other processes of its name, of which " +
                                       std::to_string(count) + " run now.");
    }
    return problems.Take();
}

} // namespace Tovra::Fieldhost::Diagnose
