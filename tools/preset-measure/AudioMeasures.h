#pragma once

// Figures of a rendered signal against its input, for judging presets by ear's proxies.
// All at 48 kHz (the loudness weighting is designed for it); channels as plain vectors.

#include <vector>

namespace qel::measure
{

using Signal = std::vector<float>;

// Ungated K-weighted loudness of one or two channels, in LUFS-like units:
// -0.691 + 10 log10 of the summed channels' weighted mean square.
double kWeightedLoudness(const std::vector<Signal>& channels);

// The largest absolute value after 4x oversampling (windowed-sinc), in dB.
double truePeakDb(const std::vector<Signal>& channels);

// Side (L-R) power over mid (L+R) power, in dB; and the channels' correlation.
double sideToMidDb(const Signal& left, const Signal& right);
double correlation(const Signal& left, const Signal& right);

// Peak over RMS, in dB.
double crestDb(const Signal& x);

// Output band power over input band power between two frequencies, in dB (Welch, Hann).
double bandGainDb(const Signal& input, const Signal& output, double low, double high);
// The same in the third octave around `hertz`.
double thirdOctaveGainDb(const Signal& input, const Signal& output, double hertz);

// The spread of the level over time: the 95th minus the 5th percentile of 50 ms RMS, in dB.
double levelSwingDb(const Signal& x);

// Pitch deviation of a sine of `hertz`: the 99th percentile of |cents| from its mean,
// by quadrature demodulation over 10 ms.
double wobbleCents(const Signal& x, double hertz);

// Of a sine of `hertz`: harmonics 2 to 5 over the fundamental, and the noise
// between 200 Hz and 20 kHz away from harmonics over the fundamental, in dB.
struct SineResidue
{
    double distortionDb;
    double hissDb;
};
SineResidue sineResidue(const Signal& x, double hertz);

// The strongest echo near `delaySeconds` after a click at `clickAt` over the
// strongest output within `directSpan` seconds of the click, in dB.
double repeatDb(const Signal& x, int clickAt, double delaySeconds, double directSpan);

constexpr double sampleRate = 48000.0;

} // namespace qel::measure
