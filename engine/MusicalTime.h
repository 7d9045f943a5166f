#pragma once

// Musical time as the transport reckons it: beats are quarter notes.
namespace qel::musicalTime
{

inline double samplesPerBeat(double tempo, double sampleRate) noexcept
{
    return 60.0 / tempo * sampleRate;
}

inline double beatsPerBar(int numerator, int denominator) noexcept
{
    return static_cast<double>(numerator) / denominator * 4.0;
}

} // namespace qel::musicalTime
