// Oracle: a model of the events and of the keys that are held
// Reaches: Tovra::System::Desktop::PumpEvents Tovra::System::Desktop::TranslateEvent
// Reaches: Tovra::System::Desktop::UpdatePanel Tovra::System::Desktop::GetModifierFlag
// Reaches: Tovra::System::Desktop::GetKeyEventType

#include <System/Desktop/PanelRules.h>
#include <System/Desktop/Window.h>

#include <Fuzz/Input.h>
#include <Fuzz/Outcome.h>
#include <Fuzz/XConnection.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace {

namespace Fuzz = Tovra::Tests::Fuzz;
namespace Desktop = Tovra::System::Desktop;
namespace Keyboard = Tovra::System::Device::Keyboard;

using Desktop::WindowEvent;
using Fuzz::Expect;
using Fuzz::Outcome;

Outcome s_key("a key");
Outcome s_heldByOther("a released modifier whose other key is held");
Outcome s_heldBefore("a modifier that was held before the keyboard came");
Outcome s_capsLock("the caps lock key");
Outcome s_button("a button");
Outcome s_otherButton("a button that windows don't get");
Outcome s_scroll("the wheel");
Outcome s_move("a move");
Outcome s_otherDrag("a move with the middle button");
Outcome s_ignored("an event of another type");

std::deque<XEvent> s_queue;
int s_pointerX = 0;
int s_pointerY = 0;

int GetPendingCount(Display*) {
    return static_cast<int>(s_queue.size());
}

int TakeNext(Display*, XEvent* event) {
    *event = s_queue.front();
    s_queue.pop_front();
    return 0;
}

Bool QueryPointer(Display*, ::Window, ::Window*, ::Window*, int* x, int* y, int*, int*, unsigned int*) {
    *x = s_pointerX;
    *y = s_pointerY;
    return True;
}

int ReadNumber(const std::vector<std::string>& words, std::size_t index) {
    return index < words.size() ? static_cast<int>(std::strtol(words[index].c_str(), nullptr, 0)) : 0;
}

/// The codes of a modifier's two keys (linux/input-event-codes.h, and 8).
struct Modifier {
    unsigned int left;
    unsigned int right;
};

constexpr std::array<Modifier, 4> modifiers{
    {{29 + 8, 97 + 8}, {42 + 8, 54 + 8}, {56 + 8, 100 + 8}, {125 + 8, 126 + 8}}};
constexpr unsigned int capsLock = 58 + 8;

/// Events as the server sends them, and what a window has to get of them.
class Session {
public:
    void Add(const std::vector<std::string>& words) {
        const std::string kind = words.empty() ? "" : words.front();
        const bool isPressed = words.size() > 1 && words[1] == "press";
        if (kind == "key") {
            AddKey(isPressed, static_cast<unsigned int>(ReadNumber(words, 2)) % 256);
        } else if (kind == "button") {
            AddButton(isPressed, static_cast<unsigned int>(ReadNumber(words, 2)) % 256);
        } else if (kind == "motion") {
            AddMotion(static_cast<unsigned int>(ReadNumber(words, 1)));
        } else if (kind == "keymap") {
            AddKeymap({words.begin() + 1, words.end()});
        } else if (kind == "event") {
            AddOther(ReadNumber(words, 1));
        }
    }

    const std::vector<WindowEvent>& GetExpected() const { return m_expected; }

private:
    bool IsHeld(unsigned int code) const { return m_held.at(code); }

    void AddKey(bool isPressed, unsigned int code) {
        XEvent event{};
        event.xkey.type = isPressed ? KeyPress : KeyRelease;
        event.xkey.keycode = code;
        s_queue.push_back(event);
        m_held.at(code) = isPressed;
        bool reads = isPressed;
        for (const auto& [left, right] : modifiers) {
            if (code == left || code == right) {
                reads = IsHeld(left) || IsHeld(right);
                s_heldByOther.Note(reads && !isPressed);
                s_heldBefore.Note(reads && !isPressed && m_hasKeymap);
            }
        }
        reads &= !s_capsLock.Note(code == capsLock);
        s_key.Note();
        m_expected.push_back(
            {.type = WindowEvent::Type::Key, .key = Keyboard::KeyFromVirtualKey(code), .pressed = reads});
    }

    void AddButton(bool isPressed, unsigned int button) {
        XEvent event{};
        event.xbutton.type = isPressed ? ButtonPress : ButtonRelease;
        event.xbutton.button = button;
        s_queue.push_back(event);
        if (s_button.Note(button == 1 || button == 3)) {
            m_expected.push_back({.type = WindowEvent::Type::MouseButton,
                                  .pressed = isPressed,
                                  .button = static_cast<std::uint8_t>(button)});
        } else if (button >= 4 && button <= 7) {
            constexpr std::array deltas{1.0F, -1.0F, 0.0F, 0.0F};
            if (s_scroll.Note(isPressed)) {
                m_expected.push_back(
                    {.type = WindowEvent::Type::Scroll, .pressed = true, .delta = deltas.at(button - 4)});
            }
        } else {
            s_otherButton.Note();
        }
    }

    void AddMotion(unsigned int state) {
        XEvent event{};
        event.xmotion.type = MotionNotify;
        event.xmotion.state = state;
        event.xmotion.x_root = s_pointerX + 1; // Where it was then.
        s_queue.push_back(event);
        const bool hasLeftOrRight = (state & (1U << 8 | 1U << 10)) != 0;
        if (!s_otherDrag.Note(!hasLeftOrRight && (state & 1U << 9) != 0)) {
            s_move.Note();
            m_expected.push_back(
                {.type = WindowEvent::Type::MouseMove, .pressed = true, .x = s_pointerX, .y = s_pointerY});
        }
    }

    /// Codes of keys that are held; codes below 8 are no keys.
    void AddKeymap(const std::vector<std::string>& words) {
        XEvent event{};
        event.xkeymap.type = KeymapNotify;
        std::array<bool, 256> held{};
        for (std::size_t index = 0; index < words.size(); ++index) {
            const auto code = static_cast<std::size_t>(ReadNumber(words, index)) % 256;
            held.at(code) = true;
            auto& byte = event.xkeymap.key_vector[code / 8];
            byte = static_cast<char>(byte | 1 << code % 8);
        }
        s_queue.push_back(event);
        m_held = held;
        m_hasKeymap = true;
    }

    void AddOther(int type) {
        if (type < 2 || (type >= KeyPress && type <= MotionNotify) || type == KeymapNotify) {
            return;
        }
        s_ignored.Note();
        XEvent event{};
        event.type = type;
        s_queue.push_back(event);
    }

    std::array<bool, 256> m_held{};
    bool m_hasKeymap = false;
    std::vector<WindowEvent> m_expected;
};

void Compare(const std::vector<WindowEvent>& events, const std::vector<WindowEvent>& expected) {
    Expect(events.size() == expected.size(), "as many events", events.size(), expected.size());
    for (std::size_t index = 0; index < events.size(); ++index) {
        const WindowEvent& event = events[index];
        const WindowEvent& other = expected[index];
        Expect(event.type == other.type && event.key == other.key && event.pressed == other.pressed,
               "the same kind, key and state", index, static_cast<int>(event.type), static_cast<int>(event.key),
               event.pressed, static_cast<int>(other.type), static_cast<int>(other.key), other.pressed);
        Expect(event.button == other.button && event.x == other.x && event.y == other.y && event.delta == other.delta,
               "the same button, position and distance", index, event.button, event.x, event.y, event.delta);
        Expect(event.reserved == decltype(event.reserved){}, "nothing else", index);
    }
}

} // namespace

// A line for each event of the server: a window gets those of the model.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Tovra::System::X11::Connection& x11 = Fuzz::GetXConnection();
    x11.XPending = GetPendingCount;
    x11.XNextEvent = TakeNext;
    x11.XQueryPointer = QueryPointer;
    static Desktop::Window& s_window =
        *new Desktop::Window(nullptr, "EventsFuzz", {0, 0}, {10, 10}, Desktop::Window::Style{});
    std::vector<WindowEvent> events;
    s_window.SetEventCallback([&events](const WindowEvent& event) {
        events.push_back(event);
        return true;
    });
    s_pointerX = size > 0 ? data[0] * 100 - 10'000 : 0;
    s_pointerY = size > 1 ? data[1] : 0;

    Session session;
    session.Add({"keymap"}); // What an earlier run has left.
    session = {};
    for (const std::string& line : Fuzz::GetLines(Fuzz::GetText(data, size))) {
        session.Add(Fuzz::GetWords(line));
    }
    Expect(!Desktop::UpdatePanel(s_window, Desktop::Window::State::Visible), "the result is false");
    Compare(events, session.GetExpected());
    Expect(s_queue.empty(), "all events are taken");
    return 0;
}
