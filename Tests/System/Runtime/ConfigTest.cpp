#include <System/Runtime/Config.h>

#include <gtest/gtest.h>

namespace {

using Tovra::System::GUID;
using Tovra::System::Runtime::Config;
using Tovra::System::Runtime::IConfig;
using Tovra::System::Types::TypeID;

class SampleConfig final
    : public Config<SampleConfig, "Sample System Configuration", GUID{0x0123456789ABCDEF, 0xFEDCBA9876543210}> {
public:
    static constexpr TypeID s_typeID = 0x1234ABCD;

    void SetDefaults() override {}
    bool Load(const void*) override { return true; }
};

TEST(Config, KnowsItsIdentity) {
    const SampleConfig sample;
    const IConfig& config = sample;
    EXPECT_STREQ(config.GetConfigName(), "Sample System Configuration");
    EXPECT_EQ(config.GetConfigGUID(), (GUID{0x0123456789ABCDEF, 0xFEDCBA9876543210}));
    EXPECT_EQ(config.GetTypeID(), 0x1234ABCDu);
}

} // namespace
