#pragma once

#include "element/LockFreeQueue.h"
#include "element/ParameterDescription.h"
#include "element/Signal.h"

#include <juce_events/juce_events.h>

#include <atomic>
#include <memory>
#include <optional>

namespace qel
{

class Element;

// The value of a string property of an element.
struct ElementProperty
{
    std::optional<String> value;
    uint8_t persistent = 0;
};

using ParameterSignal = SignalN<const Element&, int>;

// The one process-wide road from any thread to the message thread: a free
// list of 32768 messages and a queue of pending ones, both lock-free; a
// 10 ms timer delivers. A change that finds no free message is dropped: the
// listener reads the value when called, so a lost or repeated message is harmless.
class ParameterChangeChannel : private juce::Timer, public juce::DeletedAtShutdown
{
public:
    static constexpr uint32_t messageCount = LockFreeQueue::capacity;

    // Created on the message thread by the first element that has signals.
    static ParameterChangeChannel& get();
    static ParameterChangeChannel* getIfExists() noexcept { return instance.load(std::memory_order_acquire); }

    ~ParameterChangeChannel() override;

    // Any thread; no lock, no allocation. False when the change was dropped.
    bool post(const std::weak_ptr<ParameterSignal::Body>& body, const Element* element, int parameterId) noexcept;
    // Message thread: delivers what is pending; returns how many were delivered.
    int deliver();

private:
    struct Message
    {
        std::weak_ptr<ParameterSignal::Body> body;
        int parameterId = 0;
        const Element* element = nullptr;
    };

    ParameterChangeChannel();
    void timerCallback() override { deliver(); }

    static std::atomic<ParameterChangeChannel*> instance;
    std::unique_ptr<Message[]> messages;
    LockFreeQueue pending;
    LockFreeQueue free;
};

// A parameter change announced on any thread, heard on the message thread.
class AsyncParameterSignal
{
public:
    AsyncParameterSignal() { signal.createBody(); }
    ParameterSignal::Connection connect(ParameterSignal::Function f) { return signal.connect(std::move(f)); }
    bool post(const Element& element, int parameterId) noexcept;
    int size() const noexcept { return signal.size(); }

private:
    ParameterSignal signal;
};

// What an element tells the world, created on first need.
struct ElementSignals
{
    ElementSignals() { ParameterChangeChannel::get(); }

    SignalN<Element*> modifiedChanged;
    SignalN<Element*> aboutToBeDeleted;
    SignalN<Element*, Element*> childAdded;
    SignalN<Element*, Element*> childRemoved;
    SignalN<Element*, const String&> childRenamed;
    SignalN<Element*, const String&> descendantsChanged;
    SignalN<const String&, const ElementProperty&> propertyChanged;
    AsyncParameterSignal parameterChangedAsync;
    ParameterSignal parameterChanged;
};

// A trigger from any thread that calls its slots on the message thread.
class AsyncUpdateForwarder : private juce::AsyncUpdater
{
public:
    ~AsyncUpdateForwarder() override { cancelPendingUpdate(); }
    SignalN<>::Connection connect(SignalN<>::Function f) { return slots.connect(std::move(f)); }
    void trigger() { triggerAsyncUpdate(); }
    void cancel() { cancelPendingUpdate(); }

private:
    void handleAsyncUpdate() override { slots(); }
    SignalN<> slots;
};

} // namespace qel
