#include "Outcomes.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace Tovra::Fieldhost::Diagnose {

std::string GetKindOfRenderer(const std::string& renderer) {
    if (renderer.empty()) {
        return "Unknown";
    }
    constexpr std::array<std::string_view, 6> software{"llvmpipe", "softpipe",    "swrast",
                                                       "Software", "SwiftShader", "software"};
    const bool isSoftware =
        std::ranges::any_of(software, [&](std::string_view name) { return renderer.find(name) != std::string::npos; });
    return isSoftware ? "Software" : "Accelerated";
}

Json ComposeOpenGl(const Json& section, bool isTried) {
    const std::string renderer = section["renderer"].GetText();
    return Json::Object{{"outcome", isTried ? section["outcome"] : Json("NotTried")},
                        {"version", section["version"]},
                        {"vendor", section["vendor"]},
                        {"renderer", section["renderer"]},
                        {"kind", GetKindOfRenderer(renderer)}};
}

Json ComposeDisplay(const DisplayContact& contact, const Json& libraries, const Json& desktop) {
    const bool isLibraryMissing = std::ranges::any_of(libraries.GetElements(), [](const Json& library) {
        return library["use"] == Json("windows") && library["isFound"] == Json(false);
    });
    Json outcome = contact.result.outcome;
    if (outcome == Json("Accepted")) {
        outcome = desktop["outcome"];
        if (isLibraryMissing && outcome == Json("Lost")) {
            outcome = "LibraryMissing";
        }
    }
    Json authority;
    if (contact.authority) {
        authority = Json::Object{{"file", contact.authority->file},
                                 {"from", contact.authority->from},
                                 {"isReadable", contact.authority->isReadable},
                                 {"hasEntry", contact.authority->hasEntry}};
    }
    return Json::Object{{"name", contact.name},
                        {"from", contact.name ? Json("DISPLAY") : Json()},
                        {"address", contact.address},
                        {"outcome", outcome},
                        {"reason", contact.result.reason},
                        {"authority", authority}};
}

} // namespace Tovra::Fieldhost::Diagnose
