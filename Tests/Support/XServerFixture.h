#pragma once

#include <Support/EnvironmentValue.h>
#include <Support/XServer.h>

#include <gtest/gtest.h>

namespace Tovra::Tests {

/// A server without a window manager, as this process's display. Tests that use it do so in a child process, since a
/// process connects only once.
class XServerFixture : public ::testing::Test {
protected:
    XServer m_server;
    EnvironmentValue m_display{"DISPLAY", m_server.GetDisplayName()};
};

} // namespace Tovra::Tests
