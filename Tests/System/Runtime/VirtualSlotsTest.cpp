#include <Support/VirtualSlot.h>
#include <System/Environment/Module.h>
#include <System/Runtime/Application.h>
#include <System/Runtime/IConfig.h>
#include <System/Runtime/ISystem.h>
#include <System/Threads/ThreadEntryPointCallback.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>
#include <vector>

// Programs built separately call these functions by their vtable index, so their order must not change.

namespace {

using testing::ElementsAre;
using Tovra::Modules::IModule;
using Tovra::System::Runtime::Application;
using Tovra::System::Runtime::IConfig;
using Tovra::System::Runtime::ISystem;
using Tovra::System::Runtime::Sender;
using Tovra::System::Runtime::SystemEvent;
using Tovra::System::Threads::ThreadEntryPointCallback;
using Tovra::Tests::GetVirtualSlot;

template <class... Functions>
std::vector<std::uintptr_t> GetSlots(Functions... functions) {
    return {GetVirtualSlot(functions)...};
}

TEST(VirtualSlots, OfAnApplication) {
    EXPECT_THAT(GetSlots(&Application::Main, &Application::OnPreSystemInitialization,
                         &Application::OnPostSystemInitialization, &Application::OnUserFolderSubDirectoryDefined,
                         &Application::OnServiceControlEvent),
                ElementsAre(0, 1, 2, 3, 4));
    static_assert(!std::has_virtual_destructor_v<Application>);
}

TEST(VirtualSlots, OfASystem) {
    EXPECT_THAT(GetSlots(&ISystem::GetSystemName, &ISystem::GetSystemGUID, &ISystem::GetTypeID, &ISystem::IsOptional,
                         &ISystem::Initialize, &ISystem::GetExecutionParameters, &ISystem::GetSystemState,
                         &ISystem::Update, static_cast<void (ISystem::*)(Sender, SystemEvent&)>(&ISystem::ProcessEvent),
                         &ISystem::OnUpdateLoopEnter, &ISystem::OnUpdateLoopLeave, &ISystem::OnShutdown,
                         &ISystem::OnSystemEvent, &ISystem::PreUpdateLoop, &ISystem::UpdateLoop,
                         &ISystem::PostUpdateLoop,
                         static_cast<void (ISystem::*)(Application&, SystemEvent&)>(&ISystem::ProcessEvent),
                         &ISystem::SetThread),
                ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19));
}

TEST(VirtualSlots, OfAConfiguration) {
    EXPECT_THAT(GetSlots(&IConfig::GetConfigName, &IConfig::GetConfigGUID, &IConfig::GetTypeID, &IConfig::SetDefaults,
                         &IConfig::Load),
                ElementsAre(2, 3, 4, 5, 6));
}

TEST(VirtualSlots, OfAModule) {
    EXPECT_THAT(GetSlots(&IModule::GetID, &IModule::GetName, &IModule::GetNameWide), ElementsAre(2, 3, 4));
}

TEST(VirtualSlots, OfAThreadsWork) {
    EXPECT_THAT(GetSlots(&ThreadEntryPointCallback::Run), ElementsAre(0));
    static_assert(!std::has_virtual_destructor_v<ThreadEntryPointCallback>);
}

} // namespace
