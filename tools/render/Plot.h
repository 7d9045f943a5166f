#pragma once

#include <juce_audio_basics/juce_audio_basics.h>

#include <vector>

namespace qel::render
{

// Levels in dBFS over time and log-spaced frequency. A full-scale sine reads
// 0 dB in the row that holds its frequency.
struct Spectrogram
{
    int columns = 0, rows = 0;
    double minHz = 20.0, maxHz = 20000.0; // row 0 starts at minHz, the last row ends at maxHz
    std::vector<float> db;                // column by column: db[column * rows + row]

    float at(int column, int row) const { return db[(size_t) column * (size_t) rows + (size_t) row]; }
    double rowLowHz(int row) const;       // a row spans [rowLowHz(row), rowLowHz(row + 1))
};

// 20 Hz up to Nyquist or 20 kHz, whichever is lower.
double plotMaxHz(double sampleRate);

// Hann-windowed 2048-point FFT frames centred on `columns` equal slices of the
// audio; channels are summed in power, so that stereo content never cancels.
// Work grows with columns, not with the length of the audio.
Spectrogram computeSpectrogram(const juce::AudioBuffer<float>& audio, double sampleRate, int columns, int rows);

// Draws input and output side by side, waveform above spectrogram, as a PNG.
// Returns false and sets error when the file cannot be written.
bool writeComparisonPlot(const juce::File& png, const juce::AudioBuffer<float>& input,
                         const juce::AudioBuffer<float>& output, double sampleRate, juce::String& error);

} // namespace qel::render
