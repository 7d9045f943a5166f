#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

namespace qel
{

// Typed notification, called at once on the caller's thread. Slots may
// disconnect themselves, or others, while a dispatch runs. Connecting and
// disconnecting belong to the message thread and must not race a dispatch.
template <typename... Args>
class SignalN
{
public:
    using Function = std::function<void(Args...)>;

    struct Slot
    {
        Function function;
        std::atomic<uint8_t> disconnected { 0 };
    };

    struct Body
    {
        struct Entry
        {
            std::shared_ptr<Slot> slot;
            Entry* next = nullptr;
        };

        Entry* head = nullptr;
        Entry* tail = nullptr;
        std::atomic<int> count { 0 }; // read by posting threads
        std::atomic<uint8_t> dispatching { 0 };
        uint32_t needsSweep = 0;

        ~Body()
        {
            while (head != nullptr)
            {
                auto* next = head->next;
                delete head;
                head = next;
            }
        }

        void dispatch(Args... args)
        {
            dispatching.exchange(1);
            for (auto* e = head; e != nullptr; e = e->next)
            {
                const std::shared_ptr<Slot> slot = e->slot; // a disconnect during the call stays safe
                if (!slot->disconnected.load())
                    slot->function(args...);
            }
            dispatching.store(0);
            if (needsSweep != 0)
            {
                needsSweep = 0;
                sweep();
            }
        }

        void sweep()
        {
            Entry* previous = nullptr;
            for (auto* e = head; e != nullptr;)
            {
                auto* next = e->next;
                if (e->slot->disconnected.load())
                {
                    (previous != nullptr ? previous->next : head) = next;
                    if (tail == e)
                        tail = previous;
                    delete e;
                    --count;
                }
                else
                    previous = e;
                e = next;
            }
        }
    };

    class Connection
    {
    public:
        Connection() = default;
        bool isConnected() const
        {
            const auto s = slot.lock();
            return s != nullptr && !s->disconnected.load() && !body.expired();
        }
        void disconnect()
        {
            const auto s = slot.lock();
            const auto b = body.lock();
            if (s == nullptr || s->disconnected.exchange(1) != 0 || b == nullptr)
                return;
            if (b->dispatching.load())
                b->needsSweep = 1;
            else
                b->sweep();
        }

    private:
        friend class SignalN;
        std::weak_ptr<Slot> slot;
        std::weak_ptr<Body> body;
    };

    // Made before any other thread can look, the body is never created lazily under a reader.
    void createBody()
    {
        if (body == nullptr)
            body = std::make_shared<Body>();
    }

    Connection connect(Function function)
    {
        createBody();
        auto* entry = new typename Body::Entry { std::make_shared<Slot>(), nullptr };
        entry->slot->function = std::move(function);
        (body->tail != nullptr ? body->tail->next : body->head) = entry;
        body->tail = entry;
        ++body->count;
        Connection c;
        c.slot = entry->slot;
        c.body = body;
        return c;
    }

    void operator()(Args... args) const
    {
        if (const auto b = body)
            b->dispatch(args...);
    }

    int size() const noexcept { return body == nullptr ? 0 : body->count.load(); }
    std::weak_ptr<Body> weakBody() const { return body; }
    bool hasBody() const noexcept { return body != nullptr; }

private:
    std::shared_ptr<Body> body;
};

} // namespace qel
