#pragma once

#include <System/Runtime/Application.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>

namespace Tovra::Tests {

/// An application whose `Main` is `m_main`, and whose members are public.
class TestApplication : public System::Runtime::Application {
public:
    explicit TestApplication(std::wstring name = L"TestApplication") : Application(std::move(name)) {}

    void Main(const System::Runtime::ApplicationParameters& parameters) override {
        if (m_main) {
            m_main(parameters);
        }
    }

    using Application::AddSystem;
    using Application::CreateAndInitialize;
    using Application::Destruct;
    using Application::DestructSystem;
    using Application::InitializeSystem;
    using Application::m_auxiliaryPointer;
    using Application::m_configCache;
    using Application::m_displaySystem;
    using Application::m_logSystem;
    using Application::m_mainThread;
    using Application::m_mainThreadCallback;
    using Application::m_mainThreadSystem;
    using Application::m_name;
    using Application::m_parameters;
    using Application::m_returnCode;
    using Application::m_systems;
    using Application::m_threadingSystem;
    using Application::SystemContainer;

    std::function<void(const System::Runtime::ApplicationParameters&)> m_main;
};

/// A fixture for code that needs an application, if only to log.
class ApplicationTest : public ::testing::Test {
protected:
    TestApplication m_application;
};

} // namespace Tovra::Tests
