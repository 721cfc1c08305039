// A picker: frames the window under the pointer and logs its name, until Escape, SIGINT or SIGTERM.
//
//     Overlay [-Configuration <file>]
//
// Two systems do the work. The watcher, on a thread of its own, finds the window under the pointer ten times a second.
// The overlay, on the main thread, owns a transparent window and draws the frame with OpenGL. Overlay.json is a
// configuration with all values.

#include <Graphics/OpenGl/GLContext.h>
#include <System/Desktop/Window.h>
#include <System/Device/Display/DisplayCache.h>
#include <System/Device/Mouse/Mouse.h>
#include <System/Log/Log.h>
#include <System/Log/Logger.h>
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
#include <fstream>
#include <iostream>
#include <iterator>
#include <mutex>
#include <string>

TOVRA_LOG_CONTEXT(OverlaySystem);

namespace {

using namespace std::chrono_literals;
using namespace Tovra::System;
using Desktop::Window;
using Desktop::WindowEvent;
using Device::Display::DisplayCache;
using Processes::ProcessWindow;

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
        const auto window = ProcessWindow::Get(pointer.x, pointer.y);
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
        m_thickness = static_cast<int>(values.Find("thickness").GetInteger().value_or(m_thickness));
        if (const auto colour = values.Find("colour").GetElements(); colour.size() == m_colour.size()) {
            std::ranges::transform(colour, m_colour.begin(),
                                   [](const auto& part) { return part.GetNumber().value_or(0); });
        }
        return values.IsObject() && m_thickness > 0;
    }

    int m_thickness = 0;              ///< In points.
    std::array<double, 3> m_colour{}; ///< Red, green and blue, from 0 to 1.
};

/// Frames the watcher's window, on the main thread.
class Overlay final
    : public Runtime::System<Overlay, "Overlay", GUID{0x8D2B6E1F40A7435C, 0xB3C1957A0E6D24F3}, OverlayConfig> {
public:
    static constexpr Types::TypeID s_typeID = 0x0AE71A03;

    bool IsOptional() const override { return true; } // `AddSystem` then returns null where there is no display.

    bool Initialize(const Runtime::IConfig* config) override {
        m_config = static_cast<const OverlayConfig*>(config);
        m_window.SetEventCallback([](const WindowEvent& event) {
            if (event.type == WindowEvent::Type::Key && event.key == Device::Keyboard::Key::Escape && event.pressed) {
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
        const int width = m_target.frame.right - m_target.frame.left;
        const int height = m_target.frame.bottom - m_target.frame.top;
        const int thickness = m_config->m_thickness;
        m_context.FrameStart(GetHandle());
        Fill({0, 0, width, height}, {0, 0, 0}, 0);
        // OpenGL's origin is at the bottom.
        for (const auto& edge : {std::array{0, 0, width, thickness},
                                 {0, height - thickness, width, thickness},
                                 {0, 0, thickness, height},
                                 {width - thickness, 0, thickness, height}}) {
            Fill(edge, m_config->m_colour, 1);
        }
        m_context.FrameEnd(GetHandle());
    }

    /// Fills a rectangle given by its lower left corner, width and height.
    void Fill(const std::array<int, 4>& area, const std::array<double, 3>& colour, float opacity) {
        constexpr unsigned int scissorTest = 0x0C11;
        constexpr unsigned int colourBuffer = 0x4000;
        static const auto s_enable = m_context.FindEntryPoint<void (*)(unsigned int)>("glEnable");
        static const auto s_cut = m_context.FindEntryPoint<void (*)(int, int, int, int)>("glScissor");
        static const auto s_choose = m_context.FindEntryPoint<void (*)(float, float, float, float)>("glClearColor");
        static const auto s_clear = m_context.FindEntryPoint<void (*)(unsigned int)>("glClear");
        s_enable(scissorTest);
        s_cut(area[0], area[1], area[2], area[3]);
        s_choose(static_cast<float>(colour[0]), static_cast<float>(colour[1]), static_cast<float>(colour[2]), opacity);
        s_clear(colourBuffer);
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
        if (!ReadConfiguration(*parameters.m_parameters)) {
            m_returnCode = 2;
            return;
        }
        Initialize();
        if (Runtime::TryGetSystem<Log::Logger>() == nullptr || Runtime::TryGetSystem<DisplayCache>() == nullptr) {
            Fail("The log can't be written, or the displays can't be listed.");
            return;
        }
        auto& displays = Runtime::GetSystem<DisplayCache>();
        LogDisplays(displays);
        displays.AddOnRefreshedCallback(this, [&displays] { LogDisplays(displays); });

        const Watcher* const watcher = AddSystem<Watcher>();
        Overlay* const overlay = AddSystem<Overlay>(m_configCache.AddConfig<Overlay>());
        if (overlay == nullptr) {
            Fail("There is no display, or it has no OpenGL 3.2.");
            return;
        }
        overlay->m_watcher = watcher;
        AddSystem<Runtime::SignalSystem>()->EndProgramOf(*overlay);
        Run(Overlay::s_systemGUID);
        displays.RemoveOnRefreshedCallback(this);
        if (Window::IsServerLost()) {
            Fail("The display is gone.");
        }
    }

private:
    void Fail(const std::string& reason) {
        std::cerr << "Overlay: " << reason << '\n';
        m_returnCode = 1;
    }

    /// False, with the reason on the standard error stream, if there is no use in going on.
    bool ReadConfiguration(Processes::Parameters& parameters) {
        parameters.AddDescription(Option::Configuration, false, true, "Configuration", "c", "Reads that file", "");
        if (parameters.Parse() != Processes::ParseResult::Success) {
            std::cerr << "Usage: Overlay [-Configuration <file>]\n";
            return false;
        }
        const std::string& path = parameters.GetValue(Option::Configuration);
        if (path.empty()) {
            return true;
        }
        std::ifstream file(path);
        const std::string text(std::istreambuf_iterator<char>(file), {});
        std::string reason = "It can't be read.";
        if (file && m_configCache.Load(text)) {
            return true;
        }
        if (file) {
            m_configCache.TryGetValidationError(reason);
        }
        std::cerr << "Overlay: " << path << ": " << reason << '\n';
        return false;
    }

    static void LogDisplays(const DisplayCache& displays) {
        for (unsigned long index = 0; index < displays.GetDisplayInfoCount(); ++index) {
            const auto& display = displays.GetDisplayInfo(index);
            TOVRA_LOG(OverlaySystem, Info, display.name, ": ", display.width, " x ", display.height);
        }
    }
};

} // namespace

int main(int argc, char** argv) {
    Program program;
    Processes::Parameters parameters;
    parameters.Add(static_cast<std::size_t>(argc), argv);
    Runtime::ApplicationParameters applicationParameters;
    applicationParameters.m_parameters = &parameters;
    Runtime::Application::Run(applicationParameters);
    return program.GetReturnCode();
}
