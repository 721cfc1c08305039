#include <System/RemoteDesktop/ChildSession.h>

namespace Tovra::System::RemoteDesktop {

bool ChildSession::IsEnabledPlatform() {
    return false;
}

bool ChildSession::EnablePlatform() {
    return false;
}

bool ChildSession::DisablePlatform() {
    return false;
}

bool ChildSession::DisconnectPlatform() {
    return false;
}

unsigned int ChildSession::GetSessionIdPlatform() {
    return noSession;
}

void ChildSession::GetProcessListPlatform(unsigned int, std::vector<RemoteProcessInfo>&) {}

} // namespace Tovra::System::RemoteDesktop
