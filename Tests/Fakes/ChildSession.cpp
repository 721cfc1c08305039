#include <Fakes/ChildSession.h>

namespace Tovra::System::RemoteDesktop {

using Tests::Fakes::childSession;

bool ChildSession::IsEnabledPlatform() {
    childSession.calls.push_back("IsEnabled");
    return childSession.isEnabled;
}

bool ChildSession::EnablePlatform() {
    childSession.calls.push_back("Enable");
    return childSession.enable;
}

bool ChildSession::DisablePlatform() {
    childSession.calls.push_back("Disable");
    return childSession.disable;
}

bool ChildSession::DisconnectPlatform() {
    childSession.calls.push_back("Disconnect");
    return childSession.disconnect;
}

unsigned int ChildSession::GetSessionIdPlatform() {
    childSession.calls.push_back("GetSessionId");
    return childSession.sessionId;
}

void ChildSession::GetProcessListPlatform(unsigned int session, std::vector<RemoteProcessInfo>& list) {
    childSession.calls.push_back("GetProcessList " + std::to_string(session));
    list.insert(list.end(), childSession.processes.begin(), childSession.processes.end());
}

} // namespace Tovra::System::RemoteDesktop
