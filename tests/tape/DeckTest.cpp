#include "tape/dsp/DeckPair.h"
#include "tape/dsp/Lfo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

namespace
{

// Phases where the LFO turns, over [from, to); a jump is not a turn.
std::vector<float> turningPoints(float symmetry, float swing, float from, float to, float step)
{
    std::vector<float> turns;
    float previous = qel::lfoValue(from, 0.0f, 0.0f, symmetry, swing), previousSlope = 0.0f;
    for (float p = from + step; p < to; p += step)
    {
        const float v = qel::lfoValue(p, 0.0f, 0.0f, symmetry, swing);
        if (std::fabs(v - previous) < 0.5f)
        {
            if (previousSlope != 0.0f && (v > previous) != (previousSlope > 0.0f))
                turns.push_back(p - step);
            previousSlope = v - previous;
        }
        previous = v;
    }
    return turns;
}

// Every setting stays inside the plain shape's peak, which the deck scales to
// one. Full symmetry leaves a ramp; full swing makes half-cycles of 2/3 and 1/3.
TEST(Lfo, StaysNormalisedAndSymmetryAndSwingBendTheTriangle)
{
    for (float shape : { -0.99f, -0.6f, 0.0f, 0.5f, 0.99f })
        for (float symmetry : { -1.0f, -0.5f, 0.0f, 0.7f, 1.0f })
            for (float swing : { 0.0f, 0.5f, 1.0f })
                for (float phase = 0.0f; phase < 4.0f; phase += 0.013f)
                {
                    const float v = qel::lfoValue(phase, 0.3f, shape, symmetry, swing) / qel::lfoValue(0.25f, 0.0f, shape, 0.0f, 0.0f);
                    ASSERT_TRUE(std::isfinite(v) && std::fabs(v) <= 1.0001f) << shape << " " << symmetry << " " << swing;
                }
    EXPECT_EQ(turningPoints(0.0f, 0.0f, 0.01f, 2.01f, 0.0005f).size(), 4u); // a triangle turns twice a cycle
    EXPECT_EQ(turningPoints(1.0f, 0.0f, 0.01f, 2.01f, 0.0005f).size(), 0u);
    EXPECT_EQ(turningPoints(-1.0f, 0.0f, 0.01f, 2.01f, 0.0005f).size(), 0u);
    const auto turns = turningPoints(0.0f, 1.0f, 0.0f, 4.0f, 0.0002f);
    ASSERT_GE(turns.size(), 5u);
    float shortest = 10.0f, longest = 0.0f;
    for (size_t i = 1; i < turns.size(); ++i)
    {
        shortest = std::min(shortest, turns[i] - turns[i - 1]);
        longest = std::max(longest, turns[i] - turns[i - 1]);
    }
    EXPECT_NEAR(shortest, 1.0f / 3.0f, 0.002f);
    EXPECT_NEAR(longest, 2.0f / 3.0f, 0.002f);
}

std::vector<float> noiseBlock(size_t n, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-0.5f, 0.5f);
    std::vector<float> x(n);
    for (auto& v : x)
        v = u(rng);
    return x;
}

// Compensated, full feedback stays bounded for an hour of noise at any head.
TEST(Feedback, FullFeedbackStaysBoundedForAnHour)
{
    struct Head { double spacing, thickness, azimuth, width, speed, drive; };
    const double fs = 8000.0; // an hour runs faster at a low rate
    const auto noise = noiseBlock(8192, 3);
    for (const auto h : { Head { 1e-5, 5e-6, 1e-4, 1.82, 1.0, 1.0 }, Head { 1e-4, 5e-5, 1e-3, 2.0, 0.1, 100.0 },
                          Head { 1e-5, 5e-6, 1e-4, 1.1, 2.0, 10.0 } })
    {
        auto pair = std::make_unique<qel::DeckPair>();
        pair->prepare(fs);
        pair->forBothDecks([&](qel::TapeDeck& d) {
            d.feedback = 1.0;
            d.setSpacing(h.spacing);
            d.setThickness(h.thickness);
            d.setAzimuth(h.azimuth);
            d.setWidthRatio(h.width);
            d.setTapeSpeed(h.speed);
            d.setDrive(h.drive);
            d.setDelay(0.002);
        });
        float x[32], deviation[32];
        const auto process = qel::selectChannelProcessor(qel::lfoFlange, 0, 0);
        double peak = 0.0;
        for (uint64_t s = 0; s < static_cast<uint64_t>(fs * 3600.0); s += 32)
        {
            std::copy_n(noise.begin() + (long) (s % 8192), 32, x);
            process(*pair, x, 32, deviation);
            for (float v : x)
                peak = std::max(peak, (double) std::fabs(v));
            ASSERT_TRUE(std::isfinite(peak)) << "after " << s / fs << " s";
        }
        EXPECT_LT(peak, 200.0) << "spacing " << h.spacing << " speed " << h.speed;
    }
}

// At an end of its travel the manual flange is deck A alone, bit for bit.
TEST(Deck, ManualAtAnEndIsDeckAAlone)
{
    auto pair = std::make_unique<qel::DeckPair>();
    pair->prepare(48000.0);
    pair->flangeMode = qel::manualFlange;
    pair->deckA.relativePosition = pair->deckB.relativePosition = 0.0;
    auto reference = std::make_unique<qel::DeckPair>(*pair);
    const auto x = noiseBlock(48000, 8);
    std::vector<float> y(x), a(x);
    float deviation[32];
    const auto process = qel::selectChannelProcessor(qel::manualFlange, 0, 0);
    for (size_t s = 0; s < x.size(); s += 32)
    {
        process(*pair, y.data() + s, 32, deviation);
        reference->deckA.process<false, 0, 0, false>(a.data() + s, 32, deviation);
    }
    EXPECT_EQ(y, a);
}

std::unique_ptr<qel::DeckPair> withModes(const qel::DeckPair& prepared, uint32_t flange, uint32_t encoder, uint32_t decoder)
{
    auto pair = std::make_unique<qel::DeckPair>(prepared);
    pair->flangeMode = flange;
    pair->deckA.relativePosition = pair->deckB.relativePosition = 0.3;
    pair->forBothDecks([&](qel::TapeDeck& d) {
        d.setEncoderMode(encoder);
        d.setDecoderMode(decoder);
    });
    return pair;
}

double encodeAt(qel::NoiseReduction& nr, uint32_t mode, double u)
{
    return mode == 1 ? nr.encode<1>(u) : mode == 2 ? nr.encode<2>(u) : mode == 3 ? nr.encode<3>(u) : u;
}

double decodeAt(qel::NoiseReduction& nr, uint32_t mode, double m)
{
    return mode == 1 ? nr.decode<1>(m) : mode == 2 ? nr.decode<2>(m) : mode == 3 ? nr.decode<3>(m) : m;
}

// One deck as a plain loop that reads its modes per sample.
void referenceDeck(qel::TapeDeck& d, bool lfo, bool deckB, float* x, int frames, float* deviation)
{
    const auto increment = static_cast<float>(static_cast<double>(d.lfoRate) / d.sampleRate);
    float phase = d.lfoRunningPhase;
    const float normaliser = d.lfoNormaliser();
    for (int i = 0; i < frames; ++i)
    {
        const uint64_t w = d.sampleCount % d.tapeLength;
        d.inputRing[w] = static_cast<double>(x[i]) * d.inputGain;
        const double gain = d.demagnetizer.gain(d.sampleCount);
        if (d.recordHead.isOn())
            d.inputRing[w] *= gain;
        if (lfo)
        {
            d.relativePosition = (qel::lfoValue(phase, d.lfoPhase, d.lfoShape, d.lfoSymmetry, d.lfoSwing) * normaliser + 1.0f) * 0.5f;
            phase += increment;
        }
        const auto r = static_cast<uint32_t>(d.sampleCount % 32);
        if (r == 0)
            deckB ? d.controlTick<true>() : d.controlTick<false>();
        deviation[i] = d.deviationBefore + (d.deviationNow - d.deviationBefore) * 0.03125f * static_cast<float>(r);
        const double u = std::tanh(d.readTaps(w) * d.drive * 0.01) * 100.0;
        const auto compensation = static_cast<double>(d.driveCompensation.value());
        d.recordHead.setNoiseAmount(compensation * d.noiseGain);
        const double e = encodeAt(d.noiseReduction, d.noiseReduction.encoderMode, u);
        const double m = d.recordHead.process(e);
        const double g = decodeAt(d.noiseReduction, d.noiseReduction.decoderMode, m);
        const double y = d.playHead.process(g) / compensation;
        d.outputRing[w] = y;
        const double weight = lfo ? 0.5 : (deckB ? qel::fadeCurveB(d.relativePosition, d.fade)
                                                 : qel::fadeCurveA(d.relativePosition, d.fade));
        x[i] = static_cast<float>(y * weight);
        d.driveCompensation.advance(1);
        ++d.sampleCount;
    }
    d.lfoRunningPhase += static_cast<float>(frames) * increment;
    d.readHeads[0].firstBlock = d.readHeads[1].firstBlock = false;
}

// Each compiled loop equals the plain loop to rounding; two channels side by
// side, differing in settings and input, equal each alone bit for bit.
TEST(Specialisations, All32LoopsMatchAPerSampleReferenceAndRunChannelsSideBySide)
{
    auto prepared = std::make_unique<qel::DeckPair>(); // busy in every stage
    prepared->prepare(44100.0);
    prepared->forBothDecks([](qel::TapeDeck& d) {
        d.feedback = 0.6;
        d.transport.wowDepth = 0.05;
        d.transport.flutterDepth = 0.01;
        d.transport.randomDepth = 0.05;
        d.setDrive(4.0);
        d.demagnetizer.setDepth(0.5);
        d.lfoRate = 3.0f;
        d.lfoShape = 0.3f;
    });
    const auto input = noiseBlock(44100 / 4, 21), otherInput = noiseBlock(44100 / 4, 22);
    for (uint32_t flange : { 0u, 1u })
        for (uint32_t encoder = 0; encoder < 4; ++encoder)
            for (uint32_t decoder = 0; decoder < 4; ++decoder)
            {
                auto compiled = withModes(*prepared, flange, encoder, decoder);
                auto plain = withModes(*prepared, flange, encoder, decoder);
                auto left = withModes(*prepared, flange, encoder, decoder);
                auto other = withModes(*prepared, flange, encoder, decoder);
                other->forBothDecks([](qel::TapeDeck& d) { d.setHardness(3.0); });
                other->deckB.lfoRate = 1.7f;
                auto right = std::make_unique<qel::DeckPair>(*other);
                const auto process = qel::selectChannelProcessor(flange, encoder, decoder);
                const auto processTwo = qel::selectChannelPairProcessor(flange, encoder, decoder);
                ASSERT_TRUE(process != nullptr && processTwo != nullptr);
                std::vector<float> y(input), z(input), l(input), o(otherInput), r(otherInput);
                float devY[32], devZ[32], devO[32], devTwo[32], b[32];
                double worst = 0.0;
                for (size_t s = 0; s + 32 <= input.size(); s += 32)
                {
                    process(*compiled, y.data() + s, 32, devY);
                    process(*other, o.data() + s, 32, devO);
                    processTwo(*left, *right, l.data() + s, r.data() + s, 32, devTwo); // deviation of the last channel
                    ASSERT_TRUE(std::equal(devTwo, devTwo + 32, devO));
                    std::copy_n(z.begin() + (long) s, 32, b);
                    referenceDeck(plain->deckA, flange == 1, false, z.data() + s, 32, devZ);
                    referenceDeck(plain->deckB, flange == 1, true, b, 32, devZ);
                    for (size_t i = 0; i < 32; ++i)
                    {
                        z[s + i] += b[i];
                        worst = std::max(worst, (double) std::fabs(y[s + i] - z[s + i]));
                        ASSERT_EQ(devY[i], devZ[i]);
                    }
                }
                EXPECT_LT(worst, 1e-6) << "flange " << flange << " encoder " << encoder << " decoder " << decoder;
                EXPECT_TRUE(l == y && r == o) << "flange " << flange << " encoder " << encoder << " decoder " << decoder;
            }
    EXPECT_EQ(qel::selectChannelProcessor(1, 4, 0), nullptr);
    EXPECT_EQ(qel::selectChannelPairProcessor(0, 0, 7), nullptr);
}

} // namespace
