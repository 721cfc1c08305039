#include <System/Environment/Module.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using Tovra::Module;
using Tovra::Modules::IModule;

TEST(Module, IsTheSetupTool) {
    const IModule& module = Module::s_instance;
    EXPECT_EQ(module.GetID(), 12u);
    EXPECT_STREQ(module.GetName(), "TovraFieldhostSetupTool");
    EXPECT_EQ(std::wstring(module.GetNameWide()), L"TovraFieldhostSetupTool");
}

} // namespace
