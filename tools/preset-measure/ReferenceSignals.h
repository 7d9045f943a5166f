#pragma once

#include "AudioMeasures.h"

namespace qel::measure
{

// Test material made in code, repeatable from its seed.

// Pink-ish noise bursts over a drum-like train of clicks with decays and low
// thumps, peaking at -6 dBFS.
Signal programSignal(double seconds, unsigned seed);

// Steady pink-ish noise at about -20 dBFS RMS.
Signal pinkNoise(double seconds, unsigned seed);

// A sine at -12 dBFS.
Signal sine(double seconds, double hertz);

// One short click at -6 dBFS at `at` seconds, then silence.
Signal click(double seconds, double at);

// Two channels sharing a program, with a second one in their difference:
// side 6 dB below mid, peaking at -6 dBFS.
std::vector<Signal> stereoProgram(double seconds);

constexpr double programPeakDb = -6.0;

} // namespace qel::measure
