#include <System/Environment/Module.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
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

TEST(Module, MayBeDestroyedThroughItsInterface) {
    class Other : public IModule {
    public:
        explicit Other(bool& isDestroyed) : m_isDestroyed(isDestroyed) {}
        ~Other() override { m_isDestroyed = true; }
        std::uint32_t GetID() const override { return 0; }
        const char* GetName() const override { return ""; }
        const wchar_t* GetNameWide() const override { return L""; }

    private:
        bool& m_isDestroyed;
    };
    bool isDestroyed = false;
    std::unique_ptr<IModule> module = std::make_unique<Other>(isDestroyed);
    module.reset();
    EXPECT_TRUE(isDestroyed);
}

} // namespace
