#include "element/ProcessingElement.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace
{

using qel::ParameterDescription;
using qel::ParameterInfo;

// State fields as relaxed atomics: the framework's own traffic is what is under test.
struct SharedState : qel::ProcessingElementState
{
    using ProcessingElementState::ProcessingElementState;
    std::atomic<float> value { 0.0f };
};

uint32_t valueId()
{
    static const uint32_t id = [] {
        ParameterDescription<float> d("ConcurrentValue", 0.0f, { 0.0f, 100000.0f });
        d.smoothed = false;
        return qel::ParameterRegistry::get().registerFloat(d);
    }();
    return id;
}

struct Target : qel::BasicProcessingElement
{
    Target() : BasicProcessingElement("Target", "Target")
    {
        setStates(std::make_unique<SharedState>(this), std::make_unique<SharedState>(this));
        declareParameter(std::make_unique<ParameterInfo<float>>(
            &qel::ParameterRegistry::get().floatDescription(valueId()),
            [](const void* s, const uint16_t*) { return static_cast<const SharedState*>(s)->value.load(std::memory_order_relaxed); },
            [](void* s, const uint16_t*, float v) { static_cast<SharedState*>(s)->value.store(v, std::memory_order_relaxed); }));
    }
    void processAudio(qel::RenderContext&, qel::ProcessingElementState&, int, float* const*, void*) override {}
    float processed() { return static_cast<SharedState&>(getProcessingState()).value.load(); }
};

// A writer hammering deferred sets, a reader reading, and the audio thread
// rendering: run under ThreadSanitizer too. The last written value wins.
TEST(ParameterTraffic, WriterReaderAndAudioThreadShareValuesSafely)
{
    Target target;
    qel::Bus bus(2, 256, "Main Out");
    target.setFormat(48000.0, 256);
    target.setOutputStream(0, &bus);
    auto context = std::make_unique<qel::RenderContext>();
    constexpr int writes = 20000;
    std::atomic<bool> writing { true };

    std::thread audio([&] {
        while (writing.load())
            target.render(*context, 256);
    });
    std::thread reader([&] {
        float seen = 0.0f;
        while (writing.load())
        {
            const float v = target.getParameterFloat(valueId());
            EXPECT_GE(v, 0.0f);
            EXPECT_LE(v, (float) writes);
            seen = v;
        }
        juce::ignoreUnused(seen);
    });
    for (int i = 1; i <= writes; ++i)
        target.setParameterFloatDeferred(valueId(), (float) i, true);
    writing.store(false);
    audio.join();
    reader.join();

    target.render(*context, 256);
    EXPECT_EQ(target.getParameterFloat(valueId()), (float) writes);
    EXPECT_EQ(target.processed(), (float) writes);
}

// Set on another thread, the value is in the process state after one block,
// having moved by the slice coefficient of the sample rate.
TEST(ParameterTraffic, AValueFromAnotherThreadArrivesWithinABlock)
{
    for (double rate : { 44100.0, 48000.0 })
    {
        static const uint32_t glideId = qel::ParameterRegistry::get().registerFloat(
            ParameterDescription<float>("ConcurrentGlide", 0.0f, { 0.0f, 1.0f }));
        struct Glider : Target
        {
            Glider()
            {
                declareParameter(std::make_unique<ParameterInfo<float>>(
                    &qel::ParameterRegistry::get().floatDescription(glideId),
                    [](const void* s, const uint16_t*) { return static_cast<const SharedState*>(s)->value.load(); },
                    [](void* s, const uint16_t*, float v) { static_cast<SharedState*>(s)->value.store(v); }));
            }
        } glider;
        qel::Bus bus(1, 32, "Main Out");
        glider.setFormat(rate, 32);
        glider.setOutputStream(0, &bus);
        auto context = std::make_unique<qel::RenderContext>();
        std::thread writer([&] { glider.setParameterFloatDeferred(glideId, 1.0f, true); });
        writer.join();
        glider.render(*context, 32);
        const double c = 1.0 - std::pow(0.33, 3200.0 / rate);
        EXPECT_NEAR(glider.processed(), c, 1e-6) << rate;
    }
}

} // namespace
