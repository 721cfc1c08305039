#include "DiagnosisOperations.h"

#import <ApplicationServices/ApplicationServices.h>
#import <CoreGraphics/CoreGraphics.h>

namespace Tovra::Fieldhost::Diagnose {

std::vector<LibraryFacts> LookForLibraries() {
    return {};
}

std::vector<std::string> LookUpHost(const std::string&) {
    return {};
}

void ContactDisplay(std::chrono::milliseconds, const HostLookup&, DisplayContact& contact) {
    const CFDictionaryRef session = CGSessionCopyCurrentDictionary();
    contact.result.outcome = session == nullptr ? "NoDisplay" : "Accepted";
    if (session != nullptr) {
        CFRelease(session);
    }
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
