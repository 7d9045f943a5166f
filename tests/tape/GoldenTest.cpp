// Golden renders of the deck pair: a change that moves the sound by more
// than the tolerance fails here. After a deliberate change of sound, run
// tools/regenerate-golden.sh to write new references, and listen.
#include "support/GoldenFile.h"
#include "tape/DeckPair.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <functional>
#include <memory>
#include <vector>

namespace
{

using qel::test::expectGolden;

constexpr double fs = 48000.0;
constexpr int frames = 12000;

std::vector<float> testSignal()
{
    std::vector<float> x(frames);
    uint32_t seed = 1;
    double phase = 0.0;
    for (int i = 0; i < frames; ++i)
    {
        const double f = 100.0 * std::pow(80.0, static_cast<double>(i) / frames); // a sweep from 100 Hz to 8 kHz
        phase += 2.0 * M_PI * f / fs;
        seed = seed * 1664525u + 1013904223u;
        const double noise = (static_cast<double>(seed >> 8) / 16777216.0 - 0.5) * 0.05;
        x[(size_t) i] = static_cast<float>(0.4 * std::sin(phase) + noise);
    }
    return x;
}

std::vector<float> render(uint32_t flangeMode, uint32_t encoder, uint32_t decoder,
                          const std::function<void(qel::TapeDeck&)>& settings)
{
    // The record heads draw their noise seeds from rand(): start it alike.
    std::srand(1);
    auto pair = std::make_unique<qel::DeckPair>();
    pair->prepare(fs);
    pair->flangeMode = flangeMode;
    pair->forBothDecks([&](qel::TapeDeck& d) {
        d.setEncoderMode(encoder);
        d.setDecoderMode(decoder);
        settings(d);
    });
    auto y = testSignal();
    float deviation[32];
    const auto process = qel::selectChannelProcessor(flangeMode, encoder, decoder);
    for (int s = 0; s < frames; s += 32)
        process(*pair, y.data() + s, std::min(32, frames - s), deviation);
    return y;
}

TEST(Golden, DefaultFlange)
{
    expectGolden("default-lfo", render(qel::lfoFlange, 0, 0, [](qel::TapeDeck& d) { d.lfoRate = 4.0f; }));
}

TEST(Golden, ManualWithFeedbackAndTypeA)
{
    expectGolden("manual-feedback-typeA", render(qel::manualFlange, 2, 2, [](qel::TapeDeck& d) {
                     d.relativePosition = 0.3;
                     d.feedback = 0.7;
                     d.setDelay(0.004);
                     d.setDrive(6.0);
                 }));
}

TEST(Golden, WornTapeWithTypeB)
{
    expectGolden("worn-typeB", render(qel::lfoFlange, 3, 3, [](qel::TapeDeck& d) {
                     d.transport.wowDepth = 0.1;
                     d.transport.flutterDepth = 0.02;
                     d.transport.randomDepth = 0.05;
                     d.demagnetizer.setDepth(0.6);
                     d.setSpacing(5e-5);
                     d.setAzimuth(0.0005);
                     d.setTapeSpeed(0.2);
                     d.noiseGain = 0.01;
                 }));
}

} // namespace
