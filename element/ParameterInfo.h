#pragma once

#include "element/ParameterDescription.h"

#include <atomic>
#include <cstdint>

namespace qel
{

class ElementParamEnvelope;

// One element's binding of one parameter: the description, the getter and
// setter of its state, and a deferred value that the audio thread applies
// at the next block start.
class ParameterInfoBase
{
public:
    virtual ~ParameterInfoBase() = default;
    virtual ElementParamEnvelope* connection() const = 0;
    virtual const ParameterDescriptionBase& description() const = 0;
    virtual ValueType valueType() const { return description().valueType; }
    virtual bool isPending() const = 0;
    // Writes the pending value into the target and publishes it; then the
    // mark clears, unless a newer write came meanwhile.
    virtual void applyPending(void* element, void* state) = 0;
    // Copies the value from the target into the published cell, on the
    // thread that last wrote it, so that other threads read without a race.
    virtual void publish(const void* element, const void* state) = 0;
    virtual uint32_t id() const { return description().id; }
};

template <typename T>
class ParameterInfo : public ParameterInfoBase
{
public:
    // Both take the object they act on (the element for element-level and
    // read-only parameters, else a state) and the bound indices.
    using Getter = T (*)(const void* target, const uint16_t* indices);
    using Setter = void (*)(void* target, const uint16_t* indices, T value);

    ParameterInfo(const ParameterDescription<T>* description, Getter getter, Setter setter,
                  std::initializer_list<uint16_t> indices = {})
        : descriptionPointer(description), getterFunction(getter), setterFunction(setter)
    {
        for (auto i : indices)
            if (indexCount < 3)
                boundIndices[indexCount++] = i;
    }

    ElementParamEnvelope* connection() const override { return envelope; }
    void setConnection(ElementParamEnvelope* e) noexcept { envelope = e; }
    const ParameterDescriptionBase& description() const override { return *descriptionPointer; }
    const ParameterDescription<T>& typedDescription() const noexcept { return *descriptionPointer; }

    bool isPending() const override { return pendingMark.load(std::memory_order_acquire) != 0; }

    void setPending(T value) noexcept
    {
        storePending(value);
        const uint32_t mark = writes.fetch_add(1, std::memory_order_relaxed) + 1;
        pendingMark.store(mark == 0 ? 1 : mark, std::memory_order_release);
    }

    void clearPending() noexcept { pendingMark.store(0, std::memory_order_release); }

    // The pending value, if any, without taking it.
    bool peekPending(T& value) const noexcept
    {
        if (!isPending())
            return false;
        value = loadPending();
        return true;
    }

    void applyPending(void* element, void* state) override
    {
        // The value stays pending until it is published, so that a reader on
        // another thread never finds it in neither place; a write that comes
        // meanwhile keeps its mark and lands in the next block.
        uint32_t mark = pendingMark.load(std::memory_order_acquire);
        if (mark == 0)
            return;
        set(targetFor(element, state), loadPending());
        publish(element, state);
        pendingMark.compare_exchange_strong(mark, 0, std::memory_order_acq_rel);
    }

    void publish(const void* element, const void* state) override
    {
        if constexpr (!std::is_same_v<T, String>)
            publishedValue.store(get(targetFor(const_cast<void*>(element), const_cast<void*>(state))), std::memory_order_release);
    }
    T published() const noexcept { return publishedValue.load(std::memory_order_acquire); }

    T get(const void* target) const { return getterFunction(target, boundIndices); }
    void set(void* target, T value) { setterFunction(target, boundIndices, value); }

    const uint16_t* indices() const noexcept { return boundIndices; }

private:
    void* targetFor(void* element, void* state) const noexcept
    {
        const auto& d = description();
        return d.has(ParameterFlags::elementLevel) || d.has(ParameterFlags::readOnly) ? element : state;
    }

    void storePending(T value) noexcept
    {
        if constexpr (std::is_same_v<T, String>)
        {
            const juce::SpinLock::ScopedLockType sl(stringLock);
            pendingString = value;
        }
        else
            pendingValue.store(value, std::memory_order_relaxed);
    }

    T loadPending() const noexcept
    {
        if constexpr (std::is_same_v<T, String>)
        {
            const juce::SpinLock::ScopedLockType sl(stringLock);
            return pendingString;
        }
        else
            return pendingValue.load(std::memory_order_relaxed);
    }

    using Atomic = std::conditional_t<std::is_same_v<T, String>, std::atomic<int>, std::atomic<T>>;

    const ParameterDescription<T>* descriptionPointer;
    ElementParamEnvelope* envelope = nullptr;
    Getter getterFunction;
    Setter setterFunction;
    Atomic pendingValue {};
    Atomic publishedValue {};
    String pendingString;
    mutable juce::SpinLock stringLock;
    // 0, or the number of the write that waits: a newer write changes it.
    std::atomic<uint32_t> pendingMark { 0 };
    std::atomic<uint32_t> writes { 0 };
    uint16_t boundIndices[3] {};
    int indexCount = 0;
};

} // namespace qel
