#pragma once

#include <Support/TemporaryFolder.h>

#include <string>
#include <vector>

namespace Tovra::Tests {

/// The arguments of an Xorg server with sixteen outputs, "DUMMY0" and so on. The first begins with its preferred mode,
/// 1024 by 768 points; the others can be given modes. Its configuration and log are in `folder`.
std::vector<std::string> GetMonitorServerArguments(const TemporaryFolder& folder);

} // namespace Tovra::Tests
