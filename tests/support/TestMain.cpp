#include <juce_events/juce_events.h>

#include <gtest/gtest.h>

#include <cstdlib>

// The test thread is the message thread, as a host's would be. Settings go
// to a folder of the run's own, never to the user's.
int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    const auto config = juce::File::createTempFile("reelwarp-test-config");
    config.createDirectory();
    setenv("XDG_CONFIG_HOME", config.getFullPathName().toRawUTF8(), 1);
    int result = 0;
    {
        juce::ScopedJuceInitialiser_GUI juce;
        result = RUN_ALL_TESTS();
    }
    config.deleteRecursively();
    return result;
}
