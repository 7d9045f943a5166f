#include "tape/dsp/DeckPair.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

namespace
{

constexpr double fs = 48000.0;

// A pair reduced to tape motion: no magnetics, no head losses, no transport.
std::unique_ptr<qel::DeckPair> motionOnlyPair(double sampleRate = fs)
{
    auto pair = std::make_unique<qel::DeckPair>();
    pair->prepare(sampleRate);
    pair->forBothDecks([](qel::TapeDeck& d) {
        d.setRecordHeadOn(false);
        d.setPlayheadFilter(false);
        d.setTransportOn(false);
    });
    pair->flangeMode = qel::FlangeMode::manual;
    return pair;
}

// One deck alone: what it put on its output ring, before the fade weight.
template <bool DeckB>
std::vector<double> runDeck(qel::TapeDeck& deck, const std::vector<float>& input)
{
    std::vector<double> out(input.size());
    float x[32], deviation[32];
    for (size_t start = 0; start < input.size(); start += 32)
    {
        const int n = static_cast<int>(std::min<size_t>(32, input.size() - start));
        std::copy_n(input.begin() + (long) start, n, x);
        const uint64_t first = deck.getSampleCount();
        deck.process<false, qel::NoiseReductionMode::none, qel::NoiseReductionMode::none, DeckB>(x, n, deviation);
        for (int i = 0; i < n; ++i)
            out[start + (size_t) i] = deck.outputAt(first + (uint64_t) i);
    }
    return out;
}

// Delay of y behind x: the cross-correlation's peak, refined by a parabola.
double measuredDelay(const std::vector<float>& x, const std::vector<double>& y, size_t from, int maxLag)
{
    std::vector<double> c((size_t) maxLag + 2, 0.0);
    for (size_t lag = 0; lag < c.size(); ++lag)
        for (size_t i = from; i < y.size(); ++i)
            c[lag] += y[i] * x[i - lag];
    const auto best = static_cast<size_t>(std::max_element(c.begin(), c.end() - 1) - c.begin());
    if (best == 0)
        return 0.0;
    return static_cast<double>(best) + 0.5 * (c[best - 1] - c[best + 1]) / (c[best - 1] - 2.0 * c[best] + c[best + 1]);
}

// Deck B's speed rule makes its main tap's delay t = D - M + 2 M p, for each
// position p and depth M; decks in step stay sample aligned.
TEST(ManualFlange, RelativeDelayIsWhatTheSpeedRuleAsks)
{
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> noise(-0.3f, 0.3f);
    std::vector<float> input(static_cast<size_t>(fs * 0.5));
    for (auto& v : input)
        v = noise(rng);
    using Case = std::pair<double, double>; // p, M
    for (const auto& [p, M] : { Case { 0.0, 0.005 }, Case { 0.25, 0.005 }, Case { 0.5, 0.005 }, Case { 1.0, 0.005 },
                                Case { 0.1, 0.015 }, Case { 0.9, 0.015 }, Case { 0.7, 0.001 }, Case { 0.0, 0.015 } })
    {
        auto pair = motionOnlyPair();
        pair->deckB.setMaxRelativeDelay(M);
        pair->deckA.setRelativePosition(p);
    pair->deckB.setRelativePosition(p);
        const auto a = runDeck<false>(pair->deckA, input);
        const auto b = runDeck<true>(pair->deckB, input);
        const double delayA = measuredDelay(input, a, 4800, 4000);
        EXPECT_NEAR(measuredDelay(input, b, 4800, 4000) - delayA, (2.0 * M * p - M) * fs, 0.5) << "p " << p << " M " << M;
        EXPECT_NEAR(delayA, 0.06 * fs, 32.0);
        if (p == 0.5)
            for (size_t i = 0; i < a.size(); ++i)
                ASSERT_NEAR(a[i], b[i], 1e-12) << i;
    }
}

// Blank tape until the head distance is travelled; then a new delay lands over
// half a second. At 8 kHz the shortest delay is half a tick, covered by the
// first tick's tape while the rest of the ring still stands.
TEST(TapeMotion, StartReadsBlankTapeAndADelayChangeGlidesOverHalfASecond)
{
    auto pair = motionOnlyPair();
    qel::TapeDeck& deck = pair->deckA;
    const auto a = runDeck<false>(deck, std::vector<float>(4000, 0.5f));
    const size_t headDistance = static_cast<size_t>(0.06 * fs);
    for (size_t i = 0; i < headDistance - 40; ++i)
        ASSERT_EQ(a[i], 0.0) << i;
    EXPECT_GT(std::fabs(a[headDistance + 40]), 0.4);
    const auto run = [&](double seconds) {
        runDeck<false>(deck, std::vector<float>(static_cast<size_t>(fs * seconds), 0.0f));
        return deck.getReadHead(1).position(deck.getSampleCount());
    };
    EXPECT_NEAR(run(0.2), 0.016 * fs, 33.0);
    deck.setDelay(0.1);
    const double halfway = run(0.25);
    EXPECT_TRUE(halfway > 0.03 * fs && halfway < 0.09 * fs) << halfway;
    EXPECT_NEAR(run(0.3), 0.1 * fs, 33.0);

    auto slow = motionOnlyPair(8000.0);
    slow->deckA.setDelay(0.002);
    slow->deckA.setFeedback(1.0);
    for (double v : runDeck<false>(slow->deckA, std::vector<float>(8000, 0.25f)))
        ASSERT_TRUE(std::isfinite(v));
    EXPECT_GE(slow->deckA.getReadHead(1).position(slow->deckA.getSampleCount()), 0.0);
}

// Synced, every deck of every channel draws the same random speed, so that the
// stereo image holds; unsynced, the decks wander apart.
TEST(Transport, WithoutUnsyncAllDecksDrawTheSameRandomSequence)
{
    auto first = std::make_unique<qel::DeckPair>(), second = std::make_unique<qel::DeckPair>();
    first->prepare(fs);
    second->prepare(fs);
    qel::TransportModulation transports[4] { first->deckA.getTransport(), first->deckB.getTransport(),
                                             second->deckA.getTransport(), second->deckB.getTransport() };
    for (auto& t : transports)
        t.randomDepth = 0.1;
    double spread = 0.0;
    for (int tick = 0; tick < 10000; ++tick)
    {
        const double m = transports[0].tick(fs, true);
        for (int i = 1; i < 4; ++i)
            ASSERT_EQ(transports[i].tick(fs, true), m) << tick;
        spread = std::max(spread, std::fabs(m - 1.0));
    }
    EXPECT_GT(spread, 0.01);
    transports[0].seedUnsynced();
    transports[1].seedUnsynced();
    EXPECT_NE(transports[0].b, transports[1].b);
}

// What is read at t was written a head distance D = 60 ms earlier, at another
// speed m: the pitch moves by m(t) / m(t - D), whose peak for a small depth d
// at rate f is 2 d sin(pi f D). Measured period by period on a 1 kHz sine.
TEST(Transport, WowAndFlutterShiftPitchByTheExpectedDeviation)
{
    for (const bool wow : { true, false })
    {
        auto pair = motionOnlyPair();
        qel::TapeDeck& deck = pair->deckA;
        deck.setTransportOn(true);
        const double depth = 0.01, rate = wow ? 1.5 : 6.0;
        if (wow)
        {
            deck.setWowDepth(depth);
            deck.setWowRate(rate);
        }
        else
        {
            deck.setFlutterDepth(depth);
            deck.setFlutterRate(rate);
        }
        std::vector<float> input(static_cast<size_t>(fs * 2.0));
        for (size_t i = 0; i < input.size(); ++i)
            input[i] = static_cast<float>(0.3 * std::sin(2.0 * M_PI * 1000.0 * static_cast<double>(i) / fs));
        const auto y = runDeck<false>(deck, input);
        double peak = 0.0, lastCrossing = -1.0;
        for (size_t i = static_cast<size_t>(fs * 0.5) + 1; i < y.size(); ++i)
            if (y[i - 1] < 0.0 && y[i] >= 0.0)
            {
                const double crossing = static_cast<double>(i - 1) + y[i - 1] / (y[i - 1] - y[i]);
                if (lastCrossing >= 0.0)
                    peak = std::max(peak, std::fabs(fs / (crossing - lastCrossing) - 1000.0) / 1000.0);
                lastCrossing = crossing;
            }
        const double expected = 2.0 * depth * std::sin(M_PI * rate * 0.06);
        EXPECT_NEAR(peak, expected, 0.1 * expected) << (wow ? "wow" : "flutter");
    }
}

// The editor's feed: the newest sample survives an overflow, the oldest go.
TEST(DisplayRing, DropsTheOldestAndNeverBlocks)
{
    qel::DisplayRing ring;
    ring.resize(100);
    std::vector<float> data(250);
    std::iota(data.begin(), data.end(), 0.0f);
    float out[100];
    ring.write(data.data(), 30);
    EXPECT_EQ(ring.read(out, 10), 10u);
    EXPECT_EQ(out[0], 0.0f);
    EXPECT_EQ(ring.available(), 20u);
    ring.write(data.data() + 30, 220); // far more than the ring holds
    const uint32_t got = ring.read(out, 100);
    EXPECT_GT(got, 0u);
    EXPECT_LE(got, 99u);
    EXPECT_EQ(out[got - 1], 249.0f);
    for (uint32_t i = 1; i < got; ++i)
        ASSERT_EQ(out[i], out[i - 1] + 1.0f);
}

} // namespace
