#pragma once

#include <Fakes/ApplicationDirectoryOperations.h>
#include <Fakes/ChildSession.h>
#include <Fakes/GLContextPlatformNative.h>
#include <Fakes/HidOverUsb.h>
#include <Fakes/PlatformOperations.h>
#include <Fakes/ProcessOperations.h>
#include <Fakes/Service.h>
#include <Fakes/StandardStreams.h>
#include <Fakes/WindowPlatformNative.h>
#include <Fieldhost/Tools/Application.h>
#include <Support/SetupToolOutputs.h>
#include <System/Processes/Parameters.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace Tovra::Tests {

/// A setup tool on a fake machine, with an empty catalogue and a fresh exit status for each test.
class SetupToolTest : public ::testing::Test {
protected:
    using Parameter = Fieldhost::Tools::Parameter;
    using PlatformType = System::Utilities::Platform::Type;
    using ReturnCodes = System::Desktop::ReturnCodes;

    SetupToolTest() { Renew(); }

    // The catalogue outlives the application, to which its callback refers.
    ~SetupToolTest() override { ForgetCatalogue(); }

    /// Starts over within a test, without privileges, on a machine of that platform and version.
    void Renew(PlatformType type = PlatformType::MacOS, const std::string& version = "") {
        m_application.reset();
        ForgetCatalogue();
        Fakes::ResetAll();
        setenv("HOME", "/home/tester", 1);
        SetMachine(type, version);
        m_application.emplace();
    }

    /// Runs the tool with these options and returns its output.
    static std::string Run(const std::vector<std::string>& options) {
        System::Processes::Parameters commandLine;
        commandLine.Add({"/opt/tovra/TovraFieldhostSetupTool"});
        commandLine.Add(options);
        System::Runtime::Application::Run({.m_parameters = &commandLine});
        return GetOutput();
    }

    static std::string GetOutput() {
        std::string output;
        for (const std::string& text : Fakes::standardStreams.writes) {
            output += text;
        }
        return output;
    }

    int GetStatus() const { return m_application->GetReturnCode(); }

    /// The status that one command reports on a machine of that platform and version: ten times the parameter plus the
    /// index, from 1, in "Success", "Failed", "Platform Unsupported", "OS Version Unsupported", "Missing Rights".
    /// `prepare` is called before the command.
    int GetReport(
        void (Fieldhost::Tools::Application::*command)(), PlatformType type, const std::string& version = "",
        void (*prepare)() = [] {}) {
        Renew(type, version);
        for (unsigned int parameter = 0; parameter <= 12; ++parameter) {
            ReturnCodes::GetInstance().AddParameter(parameter, "");
            int code = static_cast<int>(parameter) * 10;
            for (const char* const name :
                 {"Success", "Failed", "Platform Unsupported", "OS Version Unsupported", "Missing Rights"}) {
                ReturnCodes::GetInstance().AddReturnCode(parameter, ++code, name);
            }
        }
        prepare();
        ((*m_application).*command)();
        return GetStatus();
    }

    static void SetMachine(PlatformType type, const std::string& version = "") {
        Fakes::platformOperations.type = type;
        Fakes::platformOperations.SetVersion(version);
    }

    /// Sets whether this process has the effective user 0.
    static void SetElevated(bool elevated) {
        Fakes::processOperations.processes.front().effectiveUserId = elevated ? 0 : 501;
    }

    std::optional<Fieldhost::Tools::Application> m_application;

private:
    static void ForgetCatalogue() {
        ReturnCodes::GetInstance().Clear();
        ReturnCodes::GetInstance().AddDataCallback(nullptr);
    }
};

} // namespace Tovra::Tests
