#include "tape/DeckPair.h"
#include "tape/Lfo.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

namespace
{

// --- LFO ---

TEST(Lfo, EveryShapeIsFiniteAndNormalisedToUnitPeak)
{
    for (float shape = -0.99f; shape <= 0.99f; shape += 0.11f)
    {
        const float peak = qel::lfoValue(0.25f, 0.0f, shape, 0.0f, 0.0f);
        ASSERT_TRUE(std::isfinite(peak));
        ASSERT_GT(peak, 0.0f);
        for (float symmetry : { -1.0f, -0.5f, 0.0f, 0.7f, 1.0f })
            for (float swing : { 0.0f, 0.5f, 1.0f })
                for (float phase = 0.0f; phase < 4.0f; phase += 0.013f)
                {
                    const float v = qel::lfoValue(phase, 0.3f, shape, symmetry, swing) / peak;
                    ASSERT_TRUE(std::isfinite(v));
                    ASSERT_LE(std::fabs(v), 1.0001f) << shape << " " << symmetry << " " << swing << " " << phase;
                }
    }
    // The extremes of shape: k about 1743 and 0.00057.
    EXPECT_TRUE(std::isfinite(qel::lfoValue(0.1f, 0.0f, 0.99f, 0.0f, 0.0f)));
    EXPECT_TRUE(std::isfinite(qel::lfoValue(0.1f, 0.0f, -0.99f, 0.0f, 0.0f)));
}

int countTurningPoints(float symmetry, float swing, float from, float to)
{
    int turns = 0;
    const float step = 0.0005f;
    float previous = qel::lfoValue(from, 0.0f, 0.0f, symmetry, swing);
    float previousSlope = 0.0f;
    for (float p = from + step; p < to; p += step)
    {
        const float v = qel::lfoValue(p, 0.0f, 0.0f, symmetry, swing);
        const float slope = v - previous;
        if (std::fabs(slope) < 0.5f) // a jump is not a turn
        {
            if (previousSlope != 0.0f && (slope > 0.0f) != (previousSlope > 0.0f))
                ++turns;
            previousSlope = slope;
        }
        previous = v;
    }
    return turns;
}

TEST(Lfo, FullSymmetryLeavesARamp)
{
    EXPECT_EQ(countTurningPoints(0.0f, 0.0f, 0.01f, 2.01f), 4); // a triangle turns twice a cycle
    EXPECT_EQ(countTurningPoints(1.0f, 0.0f, 0.01f, 2.01f), 0);
    EXPECT_EQ(countTurningPoints(-1.0f, 0.0f, 0.01f, 2.01f), 0);
}

// Of each pair of cycles the first takes 1 + 1/3 and the second 1 - 1/3 of
// the time: every half-cycle of the first is twice as long as the second's.
TEST(Lfo, FullSwingMakesCyclesTwoToOne)
{
    std::vector<float> extrema;
    const float step = 0.0002f;
    float a = qel::lfoValue(0.0f, 0.0f, 0.0f, 0.0f, 1.0f);
    float b = qel::lfoValue(step, 0.0f, 0.0f, 0.0f, 1.0f);
    for (float p = 2.0f * step; p < 4.0f; p += step)
    {
        const float c = qel::lfoValue(p, 0.0f, 0.0f, 0.0f, 1.0f);
        if ((b > a && b >= c) || (b < a && b <= c))
            extrema.push_back(p - step);
        a = b;
        b = c;
    }
    ASSERT_GE(extrema.size(), 5u);
    float shortest = 10.0f, longest = 0.0f;
    for (size_t i = 1; i < extrema.size(); ++i)
    {
        shortest = std::min(shortest, extrema[i] - extrema[i - 1]);
        longest = std::max(longest, extrema[i] - extrema[i - 1]);
    }
    EXPECT_NEAR(shortest, 1.0f / 3.0f, 0.002f);
    EXPECT_NEAR(longest, 2.0f / 3.0f, 0.002f);
    // Without swing every half-cycle lasts half a unit.
    EXPECT_NEAR(qel::lfoValue(0.25f, 0.0f, 0.0f, 0.0f, 0.0f), -qel::lfoValue(0.75f, 0.0f, 0.0f, 0.0f, 0.0f), 1e-5f);
}

// --- the deck ---

std::vector<float> noiseBlock(size_t n, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-0.5f, 0.5f);
    std::vector<float> x(n);
    for (auto& v : x)
        v = u(rng);
    return x;
}

// At full feedback with compensation, the loop stays bounded for an hour of
// noise, whatever the head does to the loop's gain.
TEST(Feedback, FullFeedbackStaysBoundedForAnHour)
{
    struct Head
    {
        double spacing, thickness, azimuth, width, speed, drive;
    };
    const double fs = 8000.0; // an hour runs faster at a low rate
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
        const auto noise = noiseBlock(8192, 3);
        float x[32], deviation[32];
        const auto process = qel::selectChannelProcessor(qel::lfoFlange, 0, 0);
        double peak = 0.0;
        const uint64_t total = static_cast<uint64_t>(fs * 3600.0);
        for (uint64_t s = 0; s < total; s += 32)
        {
            std::copy(noise.begin() + (long) (s % 8192), noise.begin() + (long) (s % 8192) + 32, x);
            process(*pair, x, 32, deviation);
            for (float v : x)
                peak = std::max(peak, (double) std::fabs(v));
            ASSERT_TRUE(std::isfinite(peak)) << "after " << s / fs << " s";
        }
        EXPECT_LT(peak, 200.0) << "spacing " << h.spacing << " speed " << h.speed;
    }
}

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
    for (size_t i = 0; i < x.size(); ++i)
        ASSERT_EQ(y[i], a[i]) << i;
}

TEST(Deck, ACallOfNoFramesEndsTheFirstBlock)
{
    auto pair = std::make_unique<qel::DeckPair>();
    pair->prepare(48000.0);
    float none[1] = {};
    float deviation[32];
    qel::selectChannelProcessor(qel::manualFlange, 0, 0)(*pair, none, 0, deviation);
    EXPECT_EQ(none[0], 0.0f);
    for (const auto* deck : { &pair->deckA, &pair->deckB })
        for (const auto& head : deck->readHeads)
            EXPECT_EQ(head.firstBlock, 0);
}

// --- the 32 compiled loops against a loop that tests its modes per sample ---

double encodeAt(qel::NoiseReduction& nr, uint32_t mode, double u)
{
    switch (mode)
    {
        case 1: return nr.encode<1>(u);
        case 2: return nr.encode<2>(u);
        case 3: return nr.encode<3>(u);
        default: return u;
    }
}

double decodeAt(qel::NoiseReduction& nr, uint32_t mode, double m)
{
    switch (mode)
    {
        case 1: return nr.decode<1>(m);
        case 2: return nr.decode<2>(m);
        case 3: return nr.decode<3>(m);
        default: return m;
    }
}

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
        {
            if (deckB)
                d.controlTick<true>();
            else
                d.controlTick<false>();
        }
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
    d.readHeads[0].firstBlock = d.readHeads[1].firstBlock = 0;
}

TEST(Specialisations, All32LoopsMatchAPerSampleReference)
{
    auto prepared = std::make_unique<qel::DeckPair>();
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
    const auto input = noiseBlock(44100 / 4, 21);
    for (uint32_t flange : { 0u, 1u })
        for (uint32_t encoder = 0; encoder < 4; ++encoder)
            for (uint32_t decoder = 0; decoder < 4; ++decoder)
            {
                auto compiled = std::make_unique<qel::DeckPair>(*prepared);
                auto plain = std::make_unique<qel::DeckPair>(*prepared);
                for (qel::DeckPair* p : { compiled.get(), plain.get() })
                {
                    p->flangeMode = flange;
                    p->deckA.relativePosition = p->deckB.relativePosition = 0.3;
                    p->forBothDecks([&](qel::TapeDeck& d) {
                        d.setEncoderMode(encoder);
                        d.setDecoderMode(decoder);
                    });
                }
                const auto process = qel::selectChannelProcessor(flange, encoder, decoder);
                ASSERT_NE(process, nullptr);
                std::vector<float> y(input), z(input);
                float devY[32], devZ[32];
                double worst = 0.0;
                for (size_t s = 0; s + 32 <= input.size(); s += 32)
                {
                    process(*compiled, y.data() + s, 32, devY);
                    float copy[32];
                    std::copy(z.begin() + (long) s, z.begin() + (long) s + 32, copy);
                    referenceDeck(plain->deckA, flange == 1, false, z.data() + s, 32, devZ);
                    referenceDeck(plain->deckB, flange == 1, true, copy, 32, devZ);
                    for (int i = 0; i < 32; ++i)
                    {
                        z[s + (size_t) i] += copy[i];
                        worst = std::max(worst, (double) std::fabs(y[s + (size_t) i] - z[s + (size_t) i]));
                        ASSERT_EQ(devY[i], devZ[i]);
                    }
                }
                EXPECT_LT(worst, 1e-6) << "flange " << flange << " encoder " << encoder << " decoder " << decoder;
            }
    EXPECT_EQ(qel::selectChannelProcessor(1, 4, 0), nullptr);
    EXPECT_EQ(qel::selectChannelProcessor(0, 0, 7), nullptr);
    EXPECT_EQ(qel::selectChannelPairProcessor(1, 4, 0), nullptr);
    EXPECT_EQ(qel::selectChannelPairProcessor(0, 0, 7), nullptr);
}

// Two channels side by side give what each channel alone gives, bit for bit,
// in all 32 loops; the channels differ in settings and input, and a block
// longer than a slice ends inside one.
TEST(ChannelLoops, ChannelsSideBySideEqualEachChannelAlone)
{
    auto prepared = std::make_unique<qel::DeckPair>();
    prepared->prepare(44100.0);
    prepared->forBothDecks([](qel::TapeDeck& d) {
        d.feedback = 0.6;
        d.transport.wowDepth = 0.05;
        d.transport.randomDepth = 0.05;
        d.setDrive(4.0);
        d.demagnetizer.setDepth(0.5);
        d.lfoRate = 3.0f;
    });
    const auto left = noiseBlock(44100 / 8, 31);
    const auto right = noiseBlock(44100 / 8, 32);
    constexpr int block = 100;
    for (uint32_t flange : { 0u, 1u })
        for (uint32_t encoder = 0; encoder < 4; ++encoder)
            for (uint32_t decoder = 0; decoder < 4; ++decoder)
            {
                std::unique_ptr<qel::DeckPair> together[2], alone[2];
                for (int c = 0; c < 2; ++c)
                {
                    together[c] = std::make_unique<qel::DeckPair>(*prepared);
                    together[c]->flangeMode = flange;
                    together[c]->deckA.relativePosition = together[c]->deckB.relativePosition = 0.3;
                    together[c]->forBothDecks([&](qel::TapeDeck& d) {
                        d.setEncoderMode(encoder);
                        d.setDecoderMode(decoder);
                        d.setHardness(c == 0 ? 1.0 : 3.0);
                    });
                    alone[c] = std::make_unique<qel::DeckPair>(*together[c]);
                }
                together[1]->deckB.lfoRate = 1.7f;
                alone[1]->deckB.lfoRate = 1.7f;
                const auto process = qel::selectChannelProcessor(flange, encoder, decoder);
                const auto processTwo = qel::selectChannelPairProcessor(flange, encoder, decoder);
                ASSERT_NE(processTwo, nullptr);
                std::vector<float> l(left), r(right), l1(left), r1(right);
                float devTwo[block], devOne[block];
                for (size_t s = 0; s + block <= left.size(); s += block)
                {
                    processTwo(*together[0], *together[1], l.data() + s, r.data() + s, block, devTwo);
                    process(*alone[0], l1.data() + s, block, devOne);
                    process(*alone[1], r1.data() + s, block, devOne);
                    for (size_t i = s; i < s + block; ++i)
                    {
                        ASSERT_EQ(l[i], l1[i]) << "flange " << flange << " encoder " << encoder << " decoder " << decoder;
                        ASSERT_EQ(r[i], r1[i]) << "flange " << flange << " encoder " << encoder << " decoder " << decoder;
                    }
                    for (int i = 0; i < block; ++i)
                        ASSERT_EQ(devTwo[i], devOne[i]);
                }
            }
}

} // namespace
