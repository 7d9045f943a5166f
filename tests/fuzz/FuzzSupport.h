#pragma once

// Shared by the fuzz targets: JUCE up once, this thread its message thread (restores run at once, as on a host's UI
// thread), settings in a folder of the run's own, and checks that end the run.

#include <juce_events/juce_events.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace juce
{
// JUCE's own step of the message loop (juce_linux_Messaging.cpp): one pending message, or false at once.
bool dispatchNextMessageOnSystemQueue(bool returnIfNoPendingMessages);
} // namespace juce

namespace qel::fuzz
{

inline void check(bool condition, const std::string& what)
{
    if (condition)
        return;
    std::fprintf(stderr, "fuzz check failed: %s\n", what.c_str());
    std::abort();
}

inline void requireFinite(const float* samples, int count, const std::string& what)
{
    for (int i = 0; i < count; ++i)
        if (!std::isfinite(samples[i]))
            check(false, what + ": sample " + std::to_string(i) + " is " + std::to_string(samples[i]));
}

// Once per process, from LLVMFuzzerInitialize, and never torn down: JUCE's singletons must outlive every input.
inline int startJuce()
{
    const auto config = juce::File::createTempFile("reelwarp-fuzz-config");
    config.createDirectory();
    setenv("XDG_CONFIG_HOME", config.getFullPathName().toRawUTF8(), 1);
    [[maybe_unused]] static const auto* initialiser = new juce::ScopedJuceInitialiser_GUI(); // reachable: no leak report
    return 0;
}

// Runs what instances posted (async updates, latency changes) without waiting.
inline void pumpMessages()
{
    for (int i = 0; i < 10000 && juce::dispatchNextMessageOnSystemQueue(true); ++i)
        continue;
}

} // namespace qel::fuzz
