#pragma once

#include <functional>
#include <utility>
#include <vector>

namespace qel
{

// A receiver whose signal connections die with it: whatever it tracks is
// disconnected in its destructor, so no queued or later call reaches it.
class Trackable
{
public:
    Trackable() = default;
    Trackable(const Trackable&) = delete;
    Trackable& operator=(const Trackable&) = delete;
    virtual ~Trackable() { disconnectTracked(); }

    template <typename Connection>
    Connection track(Connection connection)
    {
        tracked.push_back([connection]() mutable { connection.disconnect(); });
        return connection;
    }

    void disconnectTracked()
    {
        auto all = std::move(tracked);
        tracked.clear();
        for (auto& disconnect : all)
            disconnect();
    }

private:
    std::vector<std::function<void()>> tracked;
};

} // namespace qel
