// A picker: frames the window under the pointer and logs its name, until Escape, SIGINT or SIGTERM.
//
//     Overlay [-Configuration <file>]
//
// The watcher, on a thread of its own, finds the window under the pointer ten times a second. The overlay, on the main
// thread, owns a transparent window and draws the frame with OpenGL. Overlay.json is a configuration with all values.

#include <Graphics/OpenGl/GLContext.h>
#include <System/Desktop/Window.h>
#include <System/Device/Display/DisplayCache.h>
#include <System/Device/Mouse/Mouse.h>
#include <System/Log/Log.h>
#include <System/Processes/Parameters.h>
#include <System/Processes/ProcessWindow.h>
#include <System/Runtime/Application.h>
#include <System/Runtime/SignalSystem.h>
#include <System/Runtime/SystemThread.h>
#include <System/Serialization/JsonValue.h>
#include <System/Threads/Sleep.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <iterator>
#include <mutex>
#include <string>
#include <vector>

TOVRA_LOG_CONTEXT(OverlaySystem);

namespace {

using namespace std::chrono_literals;
using namespace Tovra::System;
using Desktop::Window;

/// A window and where it is.
struct Target {
    unsigned long handle = 0; ///< 0 for none.
    Math::Rectangle frame;
    friend bool operator==(const Target&, const Target&) = default;
};

/// Finds the window under the pointer, on a thread of its own.
class Watcher final : public Runtime::System<Watcher, "Watcher", GUID{0x8D2B6E1F40A7435C, 0xB3C1957A0E6D24F1}> {
public:
    static constexpr Types::TypeID s_typeID = 0x0AE71A01;

    bool Initialize(const Runtime::IConfig*) override { return true; }
    void GetExecutionParameters(Runtime::SystemExecutionParameters& parameters) override {
        Runtime::RunInDedicatedThread(*this, parameters);
    }
    void OnShutdown() override { TOVRA_LOG(OverlaySystem, Info, "The watcher ends."); }

    void Update() override {
        Thread::Sleep(100ms);
        Device::Mouse::Position<0> pointer;
        Device::Mouse::Mouse::GetCurrentPosition(pointer);
        // Overlays such as ours are skipped.
        const auto window = Processes::ProcessWindow::Get(pointer.x, pointer.y);
        const Math::Rectangle frame = window.GetFrame(); // All 0 where the window has just been closed.
        const Target target{frame == Math::Rectangle{} ? 0 : window.handle, frame};
        if (target.handle != GetTarget().handle && target.handle != 0) {
            std::string name;
            TOVRA_LOG(OverlaySystem, Info, "Window ", target.handle, ": ", window.GetName(name));
        }
        const std::scoped_lock lock(m_mutex);
        m_target = target;
    }

    /// Any thread.
    Target GetTarget() const {
        const std::scoped_lock lock(m_mutex);
        return m_target;
    }

private:
    mutable std::mutex m_mutex;
    Target m_target;
};

/// How the frame looks.
class OverlayConfig final
    : public Runtime::Config<OverlayConfig, "Overlay", GUID{0x8D2B6E1F40A7435C, 0xB3C1957A0E6D24F2}> {
public:
    static constexpr Types::TypeID s_typeID = 0x0AE71A02;

    void SetDefaults() override {
        m_thickness = 3;
        m_colour = {1, 0, 0};
    }

    bool Load(const void* section) override {
        const Serialization::JsonValue values(section);
        m_mistake = values.IsObject() ? "" : R"(The section of "Overlay" is not an object.)";
        for (const auto& [name, value] : values.GetMembers()) {
            if (name == "thickness") {
                m_thickness = value.GetInteger().value_or(0);
            } else if (name == "colour") {
                m_colour.clear();
                for (const auto& element : value.GetElements()) {
                    const double part = element.GetNumber().value_or(-1);
                    m_colour.push_back(part < 0 || part > 1 ? -1 : static_cast<float>(part));
                }
            } else {
                m_mistake = '"' + std::string(name) + R"(" is neither "thickness" nor "colour".)";
            }
        }
        if (m_thickness < 1 || m_thickness > 100) {
            m_mistake = R"("thickness" is not a whole number from 1 to 100.)";
        }
        if (m_colour.size() != 3 || std::ranges::min(m_colour) < 0) {
            m_mistake = R"("colour" is not a list of three numbers from 0 to 1.)";
        }
        return m_mistake.empty();
    }

    std::int64_t m_thickness = 0;                                  ///< In points.
    std::vector<float> m_colour;                                   ///< Red, green and blue, from 0 to 1.
    std::string m_mistake = R"(It has no section for "Overlay".)"; ///< Empty once it was loaded without one.
};

/// Frames the watcher's window, on the main thread.
class Overlay final
    : public Runtime::System<Overlay, "Overlay", GUID{0x8D2B6E1F40A7435C, 0xB3C1957A0E6D24F3}, OverlayConfig> {
public:
    static constexpr Types::TypeID s_typeID = 0x0AE71A03;

    bool IsOptional() const override { return true; } // `AddSystem` then returns null where there is no display.

    bool Initialize(const Runtime::IConfig* config) override {
        m_config = static_cast<const OverlayConfig*>(config);
        m_window.SetEventCallback([](const Desktop::WindowEvent& event) {
            if (event.type == Desktop::WindowEvent::Type::Key && event.key == Device::Keyboard::Key::Escape &&
                event.pressed) {
                Runtime::SignalSystem::RequestEnd();
            }
            return true;
        });
        if (!m_window.Create()) {
            return false;
        }
        m_window.PassthroughCursor(false); // Otherwise it could not take the keyboard.
        return m_context.Initialize(GetHandle(), m_window.GetClassName());
    }

    void GetExecutionParameters(Runtime::SystemExecutionParameters& parameters) override {
        Runtime::RunInDedicatedThread(*this, parameters);
    }

    void Update() override {
        Move(m_watcher->GetTarget());
        m_window.Update(); // Waits for events, so this loop needs no sleep.
        if (m_target.handle != 0) {
            Draw();
        }
        if (Window::IsServerLost()) {
            Runtime::SignalSystem::RequestEnd();
        }
    }

    void OnShutdown() override {
        m_context.Destroy(GetHandle());
        m_window.Destroy();
    }

    const Watcher* m_watcher = nullptr; ///< Set before `Run`.

private:
    unsigned long GetHandle() const { return reinterpret_cast<unsigned long>(m_window.GetHandle()); }

    void Move(const Target& target) {
        if (target == m_target) {
            return;
        }
        if (target.handle == 0) {
            m_window.Hide();
        } else {
            m_window.SetRectangle(target.frame);
            m_context.Resize(GetHandle());
            if (m_target.handle == 0) {
                m_window.Show();
                m_window.ToFront(); // It also takes the keyboard, for Escape.
            }
        }
        m_target = target;
    }

    /// Four opaque edges on a transparent ground.
    void Draw() {
        static const auto s_enable = m_context.FindEntryPoint<void (*)(unsigned int)>("glEnable");
        static const auto s_cut = m_context.FindEntryPoint<void (*)(int, int, int, int)>("glScissor");
        static const auto s_choose = m_context.FindEntryPoint<void (*)(float, float, float, float)>("glClearColor");
        static const auto s_clear = m_context.FindEntryPoint<void (*)(unsigned int)>("glClear");
        const int width = m_target.frame.right - m_target.frame.left;
        const int height = m_target.frame.bottom - m_target.frame.top;
        const int thickness = static_cast<int>(m_config->m_thickness);
        m_context.FrameStart(GetHandle());
        s_enable(0x0C11); // GL_SCISSOR_TEST
        s_cut(0, 0, width, height);
        s_choose(0, 0, 0, 0);
        s_clear(0x4000); // GL_COLOR_BUFFER_BIT
        s_choose(m_config->m_colour[0], m_config->m_colour[1], m_config->m_colour[2], 1);
        // OpenGL's origin is at the bottom.
        for (const auto& [x, y, edgeWidth, edgeHeight] : {std::array{0, 0, width, thickness},
                                                          {0, height - thickness, width, thickness},
                                                          {0, 0, thickness, height},
                                                          {width - thickness, 0, thickness, height}}) {
            s_cut(x, y, edgeWidth, edgeHeight);
            s_clear(0x4000); // GL_COLOR_BUFFER_BIT
        }
        m_context.FrameEnd(GetHandle());
    }

    const OverlayConfig* m_config = nullptr;
    Window m_window{nullptr, "Overlay", {0, 0}, {1, 1}, Window::Style{}};
    Tovra::Graphics::OpenGl::GLContext m_context;
    Target m_target;
};

enum class Option { Configuration };

class Program final : public Runtime::Application {
public:
    Program() : Application(L"Overlay") {}

    void Main(const Runtime::ApplicationParameters& parameters) override {
        if (const std::string reason = ReadConfiguration(*parameters.m_parameters); !reason.empty()) {
            return Fail(reason, 2);
        }
        Initialize();
        auto* const displays = Runtime::TryGetSystem<Device::Display::DisplayCache>();
        if (displays == nullptr) {
            return Fail("The log can't be written, or the displays can't be listed.");
        }
        const auto logDisplays = [displays] {
            for (unsigned long index = 0; index < displays->GetDisplayInfoCount(); ++index) {
                const auto& display = displays->GetDisplayInfo(index);
                TOVRA_LOG(OverlaySystem, Info, display.name, ": ", display.width, " x ", display.height);
            }
        };
        logDisplays();
        const Watcher* const watcher = AddSystem<Watcher>();
        Overlay* const overlay = AddSystem<Overlay>(m_configCache.AddConfig<Overlay>());
        if (overlay == nullptr) {
            return Fail("There is no display, or it has no OpenGL 3.2.");
        }
        overlay->m_watcher = watcher;
        AddSystem<Runtime::SignalSystem>()->EndProgramOf(*overlay);
        displays->AddOnRefreshedCallback(this, logDisplays);
        Run(Overlay::s_systemGUID);
        displays->RemoveOnRefreshedCallback(this);
        if (Window::IsServerLost()) {
            Fail("The display is gone.");
        }
    }

private:
    void Fail(const std::string& reason, int status = 1) {
        std::cerr << "Overlay: " << reason << '\n';
        m_returnCode = status;
    }

    /// Returns why the program can't go on; empty if it can.
    std::string ReadConfiguration(Processes::Parameters& parameters) {
        parameters.AddDescription(Option::Configuration, false, true, "Configuration", "c", "Reads that file", "");
        if (parameters.Parse() != Processes::ParseResult::Success) {
            return "The only option is -Configuration <file>.";
        }
        const std::string& path = parameters.GetValue(Option::Configuration);
        if (path.empty()) {
            return {};
        }
        std::ifstream file(path);
        const std::string text(std::istreambuf_iterator<char>(file), {});
        OverlayConfig config;
        if (!file) {
            config.m_mistake = "It can't be read.";
        } else if (!m_configCache.Load(text)) {
            m_configCache.TryGetValidationError(config.m_mistake);
        } else { // Tried here, for a message: `AddConfig` asserts that `Load` returns true.
            m_configCache.InitializeConfig(config, Overlay::s_systemName, Overlay::s_systemGUID);
        }
        return config.m_mistake.empty() ? "" : path + ": " + config.m_mistake;
    }
};

} // namespace

int main(int argc, char** argv) {
    Program program;
    Processes::Parameters parameters;
    parameters.Add(static_cast<std::size_t>(argc), argv);
    Runtime::Application::Run({.m_parameters = &parameters});
    return program.GetReturnCode();
}
