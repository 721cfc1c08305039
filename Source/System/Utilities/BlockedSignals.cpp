#include <System/Utilities/BlockedSignals.h>

namespace Tovra::System::Utilities {

BlockedSignals::BlockedSignals(Kind kind) {
    sigset_t signals;
    sigfillset(&signals);
    if (kind == Kind::AllButFaults) {
        for (const int signal : faultSignals) {
            sigdelset(&signals, signal);
        }
    }
    pthread_sigmask(SIG_BLOCK, &signals, &m_before);
}

BlockedSignals::~BlockedSignals() {
    pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

} // namespace Tovra::System::Utilities
