#include "DiagnosisOperations.h"

#import <ApplicationServices/ApplicationServices.h>
#import <CoreGraphics/CoreGraphics.h>

namespace Tovra::Fieldhost::Diagnose {

std::vector<LibraryFacts> LookForLibraries() {
    return {};
}

DisplayContact ContactDisplay(std::chrono::milliseconds) {
    const CFDictionaryRef session = CGSessionCopyCurrentDictionary();
    if (session == nullptr) {
        return {.name = {}, .address = {}, .result = {"NoDisplay", std::nullopt}, .authority = {}};
    }
    CFRelease(session);
    return {.name = {}, .address = {}, .result = {"Accepted", std::nullopt}, .authority = {}};
}

ServerFacts DescribeServer() {
    ServerFacts facts;
    facts.isConnected = true;
    return facts;
}

std::vector<PermissionFacts> ListPermissions() {
    return {{"Accessibility", "windows of others and the mouse", AXIsProcessTrusted() != 0},
            {"ScreenRecording", "names of windows of others", CGPreflightScreenCaptureAccess()}};
}

} // namespace Tovra::Fieldhost::Diagnose
