// The audio thread's promise after the first block: no allocation, free, waiting lock or sleep, in every mode, under automation.
#include "support/AllocationCounter.h"
#include "support/ModeWalk.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <tuple>

namespace
{

using qel::test::AllocationCounter;
using qel::test::Writer;
using Set = juce::AudioChannelSet;

// The guard of the walks: what the counter saw while the block played.
const auto counted = [](auto& play) {
    const AllocationCounter counter;
    play();
    return counter.violations();
};

// The counter's own check: blind, it would pass every test below.
TEST(RealtimeSafety, TheCounterSeesWhatItMustCatch)
{
    std::mutex m;
    size_t seen[4] {};
    {
        const AllocationCounter c;
        // Through volatile pointers, which the compiler may not optimise away.
        int* volatile p = new int(1);
        delete p;
        void* volatile raw = std::malloc(8);
        raw = std::realloc(raw, 64);
        std::free(raw);
        { const std::lock_guard<std::mutex> held(m); }
        if (m.try_lock()) // never waits, so not counted
            m.unlock();
        std::this_thread::yield();
        std::this_thread::sleep_for(std::chrono::microseconds(1));
        seen[0] = c.count(), seen[1] = c.frees(), seen[2] = c.locks(), seen[3] = c.waits();
    }
    EXPECT_EQ(seen[0], AllocationCounter::seesMalloc() ? 3u : 1u);
    EXPECT_EQ(seen[1], AllocationCounter::seesMalloc() ? 2u : 1u);
    EXPECT_EQ(seen[2], 1u);
    EXPECT_EQ(seen[3], 2u);
}

// Host automation on one and two channels; one channel (the single-channel loops) also as the editor writes with no host
// slot listening, which keeps the engine's own promise in view.
TEST(RealtimeSafety, EveryModeOnOneAndTwoChannelsFromTheHostAndTheElement)
{
    for (const auto& [in, out, writer, rate] : { std::tuple { Set::stereo(), Set::stereo(), Writer::host, 48000.0 },
                                                 std::tuple { Set::mono(), Set::stereo(), Writer::host, 96000.0 },
                                                 std::tuple { Set::mono(), Set::mono(), Writer::element, 44100.0 } })
    {
        qel::test::HostedEffect host(in, out, writer, rate);
        AllocationCounter::forgetSites();
        EXPECT_EQ(qel::test::playEveryMode(host, counted), 0u) << AllocationCounter::violationSites();
    }
}

} // namespace
