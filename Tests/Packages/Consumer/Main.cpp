// Uses each of the framework's libraries, and prints what came of it.

#include <System/Environment/Module.h>
#include <System/Log/Log.h>
#include <System/Runtime/Application.h>
#include <System/Types/GUID.h>

#include <iostream>

TOVRA_LOG_CONTEXT(Default);

namespace {

using namespace Tovra::System;

class Consumer final : public Runtime::Application {
public:
    Consumer() : Application(L"Consumer") {}

    void Main(const Runtime::ApplicationParameters&) override {
        Initialize();
        TOVRA_LOG(Default, Info, "The consumer logs.");
        std::cout << "The consumer runs.\n";
    }
};

} // namespace

int main() {
    Consumer application;
    Runtime::Application::Run(Runtime::ApplicationParameters());
    return application.GetReturnCode();
}
