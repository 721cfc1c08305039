// Logs a line by the framework and prints one. With an argument an assertion fails before that.

#include <System/Device/Display/DisplayCache.h>
#include <System/Error/Assertion.h>
#include <System/Log/Log.h>
#include <System/Runtime/Application.h>
#include <System/Runtime/ApplicationAccess.h>

#include <iostream>

TOVRA_LOG_CONTEXT(Default);

namespace {

using namespace Tovra::System;

class Consumer final : public Runtime::Application {
public:
    explicit Consumer(bool isToFail) : Application(L"Consumer"), m_isToFail(isToFail) {}

    void Main(const Runtime::ApplicationParameters&) override {
        Initialize();
        // The last that is created.
        if (Runtime::TryGetSystem<Device::Display::DisplayCache>() == nullptr) {
            std::cerr << "The consumer has no log.\n";
            m_returnCode = 1;
            return;
        }
        TOVRA_ASSERT(!m_isToFail, "The consumer fails.");
        TOVRA_LOG(Default, Info, "The consumer logs.");
        std::cout << "The consumer runs.\n";
    }

private:
    bool m_isToFail;
};

} // namespace

int main(int argc, char**) {
    Consumer application(argc > 1);
    Runtime::Application::Run(Runtime::ApplicationParameters());
    return application.GetReturnCode();
}
