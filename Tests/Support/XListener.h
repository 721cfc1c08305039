#pragma once

#include <string>
#include <vector>

namespace Tovra::Tests {

/// A socket that listens where an X server would: under a display number that was found free, which stays taken for the
/// object's life.
class XListener {
public:
    enum class Network { Local, Loopback };

    /// `backlog` is that of listen(2). Throws on an error.
    explicit XListener(Network network, int backlog);
    ~XListener();
    XListener(const XListener&) = delete;
    XListener& operator=(const XListener&) = delete;

    /// The value of DISPLAY that leads here.
    std::string GetDisplayName() const;

    /// -1 once it is closed.
    int GetDescriptor() const { return m_descriptor; }

    /// A new client; -1 on an error.
    int Accept() const;

    /// Connects clients until the backlog is full, so that further ones have to wait, and returns them. Local only.
    std::vector<int> FillBacklog() const;

    /// Accepts those clients and closes both ends of their connections.
    void EmptyBacklog(const std::vector<int>& clients) const;

    /// From now on clients are refused.
    void Close();

    /// A connection to a server of that display name, ":number"; -1 on an error. `flags` are those of socket(2).
    static int Connect(const std::string& displayName, int flags = 0);

private:
    bool Bind() const;

    Network m_network;
    int m_number = 0;
    int m_descriptor;
};

} // namespace Tovra::Tests
