#include <System/Runtime/Application.h>
#include <System/Runtime/ApplicationConfigCache.h>
#include <System/Serialization/JsonWrapper.h>

#include <rapidjson/document.h>

#include <cstdint>
#include <cstdlib>

// Any text is refused with a reason, or parsed to a document that can be searched for a system's section.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Tovra::System;
    // Logging needs an application.
    static const Runtime::Application application(L"ConfigurationFuzz");
    static const Runtime::ApplicationConfigCache cache;
    std::string error;
    const auto json = cache.ParseConfigString(std::string(reinterpret_cast<const char*>(data), size), error);
    if (json == nullptr && error.empty()) {
        std::abort();
    }
    if (json != nullptr) {
        const void* const section = cache.GetFileObject(*json, "Logging", {0x0123456789ABCDEF, 0xFEDCBA9876543210});
        if (section != nullptr) {
            static_cast<void>(static_cast<const rapidjson::Value*>(section)->GetType());
        }
    }
    return 0;
}
