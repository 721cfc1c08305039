#pragma once

#include "Toolkit.h"

#include <Fieldhost/Tools/PlatformApplication.h>
#include <Support/EnvironmentValue.h>
#include <Support/InChild.h>
#include <Support/TemporaryFolder.h>
#include <Support/XServer.h>

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Tovra::Tests::AppKit {

/// Runs `body` on the main thread of a child process, as a process has only one application object. It has an empty
/// home folder, and that display, if not "". Expects that it succeeds, and returns its standard error stream.
inline std::string RunOn(const std::string& displayName, const std::function<void()>& body) {
    const TemporaryFolder folder;
    const EnvironmentValue home("HOME", folder.GetPath());
    const EnvironmentValue display("DISPLAY", displayName.empty() ? std::nullopt : std::optional(displayName));
    return RunInChild([&body] {
        Quieten();
        body();
    });
}

/// The same on a server, with an application object.
inline std::string RunOn(const XServer& server, const std::function<void()>& body) {
    return RunOn(server.GetDisplayName(), [&body] {
        Fieldhost::Tools::TouchPlatformApplication();
        body();
    });
}

/// The same on a new server; expects an empty standard error stream.
inline void RunOnDesktop(const std::function<void()>& body) {
    EXPECT_EQ(RunOn(XServer(), body), "");
}

/// The messages since the last call.
inline std::vector<std::string> TakeMessages() {
    return std::exchange(GetToolkit().messages, {});
}

} // namespace Tovra::Tests::AppKit
