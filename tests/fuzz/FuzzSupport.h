#pragma once

// What every fuzz target shares: JUCE up once with this thread as the
// message thread (so that restores run at once, as on a host's UI thread),
// settings in a folder of the run's own, and checks that end the run.

#include <juce_events/juce_events.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace juce
{
// JUCE's own step of the message loop (juce_linux_Messaging.cpp): one
// pending message, or false at once when there is none.
bool dispatchNextMessageOnSystemQueue(bool returnIfNoPendingMessages);
} // namespace juce

namespace qel::fuzz
{

[[noreturn]] inline void fail(const std::string& what)
{
    std::fprintf(stderr, "fuzz check failed: %s\n", what.c_str());
    std::fflush(stderr);
    std::abort();
}

inline void check(bool condition, const std::string& what)
{
    if (!condition)
        fail(what);
}

inline void requireFinite(const float* samples, int count, const std::string& what)
{
    for (int i = 0; i < count; ++i)
        if (!std::isfinite(samples[i]))
            fail(what + ": sample " + std::to_string(i) + " is " + std::to_string(samples[i]));
}

// Once per process, from LLVMFuzzerInitialize. Never torn down: libFuzzer
// leaves by exit(), and JUCE's singletons must outlive every input.
inline void startJuce()
{
    static juce::ScopedJuceInitialiser_GUI* initialiser = nullptr;
    if (initialiser != nullptr)
        return;
    const auto config = juce::File::createTempFile("reelwarp-fuzz-config");
    config.createDirectory();
    setenv("XDG_CONFIG_HOME", config.getFullPathName().toRawUTF8(), 1);
    initialiser = new juce::ScopedJuceInitialiser_GUI();
}

// Runs what instances posted (async updates, latency changes), without
// waiting: a run never lets the queue grow.
inline void pumpMessages()
{
    for (int i = 0; i < 10000 && juce::dispatchNextMessageOnSystemQueue(true); ++i)
    {
    }
}

} // namespace qel::fuzz
