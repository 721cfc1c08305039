#include <System/RemoteDesktop/ChildSession.h>

namespace Tovra::System::RemoteDesktop {

bool ChildSession::IsEnabled() {
    return IsEnabledPlatform();
}

bool ChildSession::Enable() {
    return EnablePlatform();
}

bool ChildSession::Disable() {
    return DisablePlatform();
}

bool ChildSession::Disconnect() {
    return DisconnectPlatform();
}

unsigned int ChildSession::GetSessionId() {
    return GetSessionIdPlatform();
}

void ChildSession::GetProcessList(unsigned int session, std::vector<RemoteProcessInfo>& list) {
    GetProcessListPlatform(session, list);
}

} // namespace Tovra::System::RemoteDesktop
