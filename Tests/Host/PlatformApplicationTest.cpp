#include <Fieldhost/Tools/PlatformApplication.h>
#include <Support/EnvironmentValue.h>

#include <gtest/gtest.h>

#include <cstdlib>

namespace Tovra::Tests {

TEST(PlatformApplication, SwitchesTheShaderCacheOffWhateverItWas) {
    for (const char* const before : {"", "false"}) {
        const EnvironmentValue value("MESA_SHADER_CACHE_DISABLE", before);
        Fieldhost::Tools::AvoidShaderCache();
        EXPECT_STREQ(std::getenv("MESA_SHADER_CACHE_DISABLE"), "true");
    }
}

} // namespace Tovra::Tests
