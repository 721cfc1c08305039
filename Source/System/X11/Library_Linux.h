#pragma once

// An internal header of the Linux host: functions of libraries that are opened at run time. None is linked, since a
// machine may lack any of them, and a setup tool has to report that.

#include <System/X11/Watchdog_Linux.h>

#include <csetjmp>
#include <type_traits>

namespace Tovra::System::X11 {

template <class F>
class Call;

template <class F>
class XcbCall;

/// A shared library, opened at run time and never closed. Any thread.
class Library {
public:
    /// Opens a library by its file name, such as "libX11.so.6", as dlopen(3) finds it.
    explicit Library(const char* file);

    /// Whether the library was found.
    bool IsOpen() const { return m_handle != nullptr; }

    /// Sets `function` to the library's function or variable of that name. If the library has none, or was not found,
    /// prints both names to the standard error stream as "Exception: ", sets null and returns false.
    template <class F>
    bool Load(const char* name, F& function) const {
        void* const address = Find(name);
        function = reinterpret_cast<F>(address);
        return address != nullptr;
    }

    /// The same for a `Call`.
    template <class F>
    bool Load(const char* name, Call<F>& call) const {
        return Load(name, call.m_function);
    }

    /// The same for an `XcbCall`.
    template <class F>
    bool Load(const char* name, XcbCall<F>& call) const {
        return Load(name, call.m_function);
    }

private:
    void* Find(const char* name) const;

    const char* m_file;
    void* m_handle;
};

/// Whether the connection to the X server is lost: no call to the server follows then. Any thread.
bool IsConnectionLost();

/// Landing place of the jump that leaves this thread's running `Call`; null outside of one.
inline thread_local std::jmp_buf* s_exit = nullptr;

/// A function of an X library that may talk to the server. Each call is an exchange, over which the watchdog watches.
///
/// Neither Xlib nor a driver can go on once the connection is lost, so their function is then left by a jump to
/// `operator()`. Besides the libraries' frames it passes only those of `Connection::OnConnectionLost`,
/// `AbandonConnection` and Glx_Linux.cpp's `xcb_query_extension_reply`, which must have no destructors. Code that uses
/// calls may therefore hold whatever it likes; a call that was left, and each one after the loss, returns `Result()`,
/// and output arguments keep what they held. Any thread.
template <class Result, class... Arguments>
class Call<Result (*)(Arguments...)> {
public:
    /// What the library exports.
    using Function = Result (*)(Arguments...);

    Call() = default;
    template <class F>
        requires std::is_convertible_v<F, Function>
    Call(F function) : m_function(function) {}

    Result operator()(Arguments... arguments) const {
        if (IsConnectionLost()) {
            return Result();
        }
        const Exchange exchange;
        std::jmp_buf* const outer = s_exit;
        std::jmp_buf exit;
        if (setjmp(exit) != 0) {
            s_exit = outer;
            return Result();
        }
        s_exit = &exit;
        if constexpr (std::is_void_v<Result>) {
            m_function(arguments...);
            s_exit = outer;
        } else {
            const Result result = m_function(arguments...);
            s_exit = outer;
            return result;
        }
    }

private:
    friend class Library;

    Function m_function = nullptr;
};

/// A function of XCB that may send a request or wait for a reply: an exchange, as above. It needs no landing place, as
/// XCB reports a lost connection by its results. Any thread.
template <class Result, class... Arguments>
class XcbCall<Result (*)(Arguments...)> {
public:
    /// What the library exports.
    using Function = Result (*)(Arguments...);

    XcbCall() = default;
    XcbCall(Function function) : m_function(function) {}

    Result operator()(Arguments... arguments) const {
        const Exchange exchange;
        return m_function(arguments...);
    }

private:
    friend class Library;

    Function m_function = nullptr;
};

/// A library's functions are written once, as a table `TABLE(CALL, PLAIN)`, of which TOVRA_LIBRARY makes the members
/// and their loading. `CALL(name)` is a function that may talk to the server, `PLAIN(name)` one that never does.
#define TOVRA_LIBRARY_CALL(name) ::Tovra::System::X11::Call<decltype(&::name)> name;
#define TOVRA_LIBRARY_XCB_CALL(name) ::Tovra::System::X11::XcbCall<decltype(&::name)> name;
#define TOVRA_LIBRARY_PLAIN(name) decltype(&::name) name = nullptr;
#define TOVRA_LIBRARY_LOAD(name) &&library.Load(#name, this->name)

/// Declares `Type`, the functions that `TABLE` lists, which `Load` takes from the library `file`: false if the library
/// or one of them is missing. For a library of XCB it is TOVRA_XCB_LIBRARY.
#define TOVRA_LIBRARY(Type, file, TABLE) TOVRA_LIBRARY_OF(TOVRA_LIBRARY_CALL, Type, file, TABLE)
#define TOVRA_XCB_LIBRARY(Type, file, TABLE) TOVRA_LIBRARY_OF(TOVRA_LIBRARY_XCB_CALL, Type, file, TABLE)
#define TOVRA_LIBRARY_OF(CALL, Type, file, TABLE)                                                                      \
    struct Type {                                                                                                      \
        TABLE(CALL, TOVRA_LIBRARY_PLAIN)                                                                               \
                                                                                                                       \
        bool Load() {                                                                                                  \
            const ::Tovra::System::X11::Library library(file);                                                         \
            return library.IsOpen() TABLE(TOVRA_LIBRARY_LOAD, TOVRA_LIBRARY_LOAD);                                     \
        }                                                                                                              \
    }

} // namespace Tovra::System::X11
