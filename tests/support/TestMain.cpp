#include <juce_events/juce_events.h>

#include <gtest/gtest.h>

// The test thread is the message thread, as a host's would be.
int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    juce::ScopedJuceInitialiser_GUI juce;
    return RUN_ALL_TESTS();
}
