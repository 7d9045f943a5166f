#include "element/ElementSignals.h"

namespace qel
{

std::atomic<ParameterChangeChannel*> ParameterChangeChannel::instance { nullptr };

ParameterChangeChannel& ParameterChangeChannel::get()
{
    static juce::CriticalSection creation;
    if (auto* existing = getIfExists())
        return *existing;
    const juce::ScopedLock sl(creation);
    if (auto* existing = getIfExists())
        return *existing;
    auto* channel = new ParameterChangeChannel();
    instance.store(channel, std::memory_order_release);
    return *channel;
}

ParameterChangeChannel::ParameterChangeChannel() : messages(new Message[messageCount])
{
    for (uint32_t i = 0; i < messageCount; ++i)
        free.push(&messages[i]);
    startTimer(10);
}

ParameterChangeChannel::~ParameterChangeChannel()
{
    stopTimer();
    instance.store(nullptr, std::memory_order_release);
}

bool ParameterChangeChannel::post(const std::weak_ptr<ParameterSignal::Body>& body, const Element* element,
                                  int parameterId) noexcept
{
    void* slot = nullptr;
    if (!free.pop(slot))
        return false;
    auto* message = static_cast<Message*>(slot);
    message->body = body;
    message->parameterId = parameterId;
    message->element = element;
    if (pending.push(message))
        return true;
    // Cannot happen while every message has a node; give it back all the same.
    message->body.reset();
    while (!free.push(message))
    {
    }
    return false;
}

int ParameterChangeChannel::deliver()
{
    int delivered = 0;
    void* slot = nullptr;
    while (pending.pop(slot))
    {
        auto* message = static_cast<Message*>(slot);
        if (const auto body = message->body.lock())
        {
            body->dispatch(*message->element, message->parameterId);
            ++delivered;
        }
        message->body.reset();
        while (!free.push(message))
        {
        }
    }
    return delivered;
}

bool AsyncParameterSignal::post(const Element& element, int parameterId) noexcept
{
    // Nobody listens: nothing to post.
    if (signal.size() == 0)
        return false;
    auto* channel = ParameterChangeChannel::getIfExists();
    return channel != nullptr && channel->post(signal.weakBody(), &element, parameterId);
}

} // namespace qel
