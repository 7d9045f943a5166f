#include "tape/dsp/FourLanes.h"
#include "tape/dsp/Lfo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <random>
#include <utility>
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
            d.setFeedback(1.0);
            d.setSpacing(h.spacing);
            d.setThickness(h.thickness);
            d.setAzimuth(h.azimuth);
            d.setWidthRatio(h.width);
            d.setTapeSpeed(h.speed);
            d.setDrive(h.drive);
            d.setDelay(0.002);
        });
        float x[32], deviation[32];
        const auto process = qel::selectChannelProcessor(*pair);
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
    using Mode = qel::NoiseReductionMode;
    auto pair = std::make_unique<qel::DeckPair>();
    pair->prepare(48000.0);
    pair->flangeMode = qel::FlangeMode::manual;
    pair->forBothDecks([](qel::TapeDeck& d) { d.setRelativePosition(0.0); });
    auto reference = std::make_unique<qel::DeckPair>(*pair);
    const auto x = noiseBlock(48000, 8);
    std::vector<float> y(x), a(x);
    float deviation[32];
    const auto process = qel::selectChannelProcessor(*pair);
    for (size_t s = 0; s < x.size(); s += 32)
    {
        process(*pair, y.data() + s, 32, deviation);
        reference->deckA.process<false, Mode::none, Mode::none, false>(a.data() + s, 32, deviation);
    }
    EXPECT_EQ(y, a);
}

// The reference: each deck alone through its own one-lane loop, then the sum.
template <bool Lfo, qel::NoiseReductionMode Encoder, qel::NoiseReductionMode Decoder>
void referencePair(qel::DeckPair& pair, float* x, int frames, float* deviation)
{
    float b[32], unused[32];
    std::copy_n(x, frames, b);
    pair.deckA.process<Lfo, Encoder, Decoder, false>(x, frames, unused);
    pair.deckB.process<Lfo, Encoder, Decoder, true>(b, frames, deviation);
    for (int i = 0; i < frames; ++i)
        x[i] += b[i];
}

using Reference = void (*)(qel::DeckPair&, float*, int, float*);

// Index flange x 16 + encoder x 4 + decoder.
template <size_t... I>
constexpr std::array<Reference, 32> referenceTable(std::index_sequence<I...>)
{
    return { &referencePair<(I >= 16), static_cast<qel::NoiseReductionMode>(I / 4 % 4),
                            static_cast<qel::NoiseReductionMode>(I % 4)>... };
}

// Each compiled loop equals the decks run one by one in their own loops, bit
// for bit; two channels side by side, differing in settings and input, equal
// each alone, with two decks to a register and, where the processor has
// AVX2, with all four in one: no contraction into FMA, so no difference at all.
TEST(Specialisations, All32LoopsMatchTheDecksAloneAndRunChannelsSideBySide)
{
    const bool fourLanes = qel::chooseLaneWidth() == qel::LaneWidth::four;
    if (!fourLanes)
        std::printf("No AVX2 here: the four-lane loops are not checked.\n");
    double largestFourLaneDifference = 0.0, largestDeviationDifference = 0.0, peak = 0.0;
    using Mode = qel::NoiseReductionMode;
    constexpr auto references = referenceTable(std::make_index_sequence<32>());
    auto prepared = std::make_unique<qel::DeckPair>(); // busy in every stage
    prepared->prepare(44100.0);
    prepared->forBothDecks([](qel::TapeDeck& d) {
        d.setFeedback(0.6);
        d.setWowDepth(0.05);
        d.setFlutterDepth(0.01);
        d.setRandomDepth(0.05);
        d.setDrive(4.0);
        d.setDegradeDepth(0.5);
        d.setLfoRate(3.0f);
        d.setLfoShape(0.3f);
        d.setRelativePosition(0.3);
    });
    const auto input = noiseBlock(44100 / 4, 21), otherInput = noiseBlock(44100 / 4, 22);
    for (const auto flange : { qel::FlangeMode::manual, qel::FlangeMode::lfo })
        for (uint32_t e = 0; e < 4; ++e)
            for (uint32_t d = 0; d < 4; ++d)
            {
                const auto encoder = static_cast<Mode>(e), decoder = static_cast<Mode>(d);
                auto compiled = std::make_unique<qel::DeckPair>(*prepared);
                compiled->flangeMode = flange;
                compiled->forBothDecks([&](qel::TapeDeck& deck) {
                    deck.setEncoderMode(encoder);
                    deck.setDecoderMode(decoder);
                });
                auto plain = std::make_unique<qel::DeckPair>(*compiled);
                auto left = std::make_unique<qel::DeckPair>(*compiled);
                auto other = std::make_unique<qel::DeckPair>(*compiled);
                other->forBothDecks([](qel::TapeDeck& deck) { deck.setHardness(3.0); });
                other->deckB.setLfoRate(1.7f);
                auto right = std::make_unique<qel::DeckPair>(*other);
                auto left4 = std::make_unique<qel::DeckPair>(*compiled);
                auto right4 = std::make_unique<qel::DeckPair>(*other);
                const auto process = qel::selectChannelProcessor(*compiled);
                const auto processTwo = qel::selectChannelPairProcessor(*compiled);
                const auto processFour = qel::selectChannelPairProcessor(*compiled, qel::LaneWidth::four);
                const auto reference = references[(flange == qel::FlangeMode::lfo ? 16 : 0) + e * 4 + d];
                ASSERT_TRUE(process != nullptr && processTwo != nullptr && processFour != nullptr);
                std::vector<float> y(input), z(input), l(input), o(otherInput), r(otherInput), l4(input), r4(otherInput);
                float devY[32], devZ[32], devO[32], devTwo[32], devFour[32];
                for (size_t s = 0; s + 32 <= input.size(); s += 32)
                {
                    process(*compiled, y.data() + s, 32, devY);
                    process(*other, o.data() + s, 32, devO);
                    processTwo(*left, *right, l.data() + s, r.data() + s, 32, devTwo); // deviation of the last channel
                    reference(*plain, z.data() + s, 32, devZ);
                    ASSERT_TRUE(std::equal(devTwo, devTwo + 32, devO) && std::equal(devY, devY + 32, devZ));
                    if (fourLanes)
                    {
                        processFour(*left4, *right4, l4.data() + s, r4.data() + s, 32, devFour);
                        for (int i = 0; i < 32; ++i)
                            largestDeviationDifference = std::max(largestDeviationDifference, (double) std::fabs(devFour[i] - devO[i]));
                    }
                }
                const auto modes = ::testing::Message() << "flange " << (flange == qel::FlangeMode::lfo) << " encoder " << e
                                                        << " decoder " << d;
                EXPECT_EQ(y, z) << modes;
                EXPECT_TRUE(l == y && r == o) << modes;
                if (fourLanes)
                    for (size_t i = 0; i < y.size(); ++i)
                    {
                        largestFourLaneDifference = std::max({ largestFourLaneDifference, (double) std::fabs(l4[i] - l[i]),
                                                               (double) std::fabs(r4[i] - r[i]) });
                        peak = std::max({ peak, (double) std::fabs(l[i]), (double) std::fabs(r[i]) });
                    }
            }
    // The four-lane code may fuse a multiply and an add where the two-lane
    // code rounds twice: within the golden renders' tolerance, not bit for bit.
    EXPECT_LT(largestFourLaneDifference, 1e-4 * peak);
    EXPECT_LT(largestDeviationDifference, 1e-6);
    std::printf("four lanes against two: largest difference %.3g at a peak of %.3g\n", largestFourLaneDifference, peak);
    EXPECT_EQ(qel::selectChannelProcessor(qel::FlangeMode::lfo, static_cast<Mode>(4), Mode::none), nullptr);
    EXPECT_EQ(qel::selectChannelPairProcessor(qel::FlangeMode::manual, Mode::none, static_cast<Mode>(7)), nullptr);
}

} // namespace
