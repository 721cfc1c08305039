#pragma once

#include <Support/TemporaryFolder.h>

#include <string>
#include <vector>

namespace Tovra::Tests {

/// The arguments of an Xorg server with sixteen outputs, "DUMMY0" and so on. The first ones get the options of
/// `monitors`, lines of a section "Monitor" (xorg.conf(5)), whose identifiers are "0" and so on; the others can be
/// given modes. By default the first begins with its preferred mode, 1024 by 768 points. Configuration and log are in
/// `folder`.
std::vector<std::string> GetMonitorServerArguments(const TemporaryFolder& folder,
                                                   const std::vector<std::string>& monitors = {
                                                       R"(Option "PreferredMode" "1024x768")"});

} // namespace Tovra::Tests
