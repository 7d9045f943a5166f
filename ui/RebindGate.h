#pragma once

#include <atomic>
#include <thread>

namespace qel
{

// Keeps host threads out of the views while the message thread rebinds them.
// Host threads never wait and never exclude one another: a read and a write
// may run side by side; only a rebind turns them away, and they skip their work.
class RebindGate
{
public:
    class Shared
    {
    public:
        explicit Shared(RebindGate& g) noexcept : gate(g), entered(g.enter()) {}
        ~Shared()
        {
            if (entered)
                gate.users.fetch_sub(1);
        }
        explicit operator bool() const noexcept { return entered; }

    private:
        RebindGate& gate;
        const bool entered;
    };

    // The message thread's side: waits for the host threads inside to leave.
    class Exclusive
    {
    public:
        explicit Exclusive(RebindGate& g) noexcept : gate(g)
        {
            gate.rebinding.fetch_add(1);
            while (gate.users.load() != 0)
                std::this_thread::yield();
        }
        ~Exclusive() { gate.rebinding.fetch_sub(1); }

    private:
        RebindGate& gate;
    };

private:
    bool enter() noexcept
    {
        users.fetch_add(1);
        if (rebinding.load() == 0)
            return true;
        users.fetch_sub(1);
        return false;
    }

    std::atomic<int> users { 0 };
    std::atomic<int> rebinding { 0 };
};

} // namespace qel
