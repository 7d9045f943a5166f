#pragma once

#include <juce_audio_formats/juce_audio_formats.h>

#include <optional>

namespace qel::render
{

struct AudioData
{
    juce::AudioBuffer<float> audio;
    double sampleRate = 0.0;
    int bits = 24;
};

// WAV, AIFF or FLAC, chosen by the content; at most two channels are kept.
bool readAudioFile(const juce::File& file, AudioData& out, juce::String& error);

// The format for a name: "wav", "aiff", "aif" or "flac", else by the file's extension.
std::unique_ptr<juce::AudioFormat> formatFor(const juce::File& file, const juce::String& formatName);

// Checks that the format holds this many bits; says which it holds when not.
bool checkBitDepth(juce::AudioFormat& format, int bits, juce::String& error);

// Written beside the target and moved over it, so that a failure leaves any
// earlier file as it was and no half-written one.
bool writeAudioFile(const juce::File& file, juce::AudioFormat& format, const juce::AudioBuffer<float>& audio,
                    double sampleRate, int bits, juce::String& error);

// Band-limited change of rate, for inputs rendered at another rate.
juce::AudioBuffer<float> resample(const juce::AudioBuffer<float>& audio, double fromRate, double toRate);

} // namespace qel::render
