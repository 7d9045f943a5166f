#include "tape/DeckPair.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <memory>
#include <random>
#include <vector>

namespace
{

constexpr double fs = 48000.0;

// A pair reduced to tape motion: no magnetics, no head losses, no transport.
std::unique_ptr<qel::DeckPair> motionOnlyPair(double sampleRate = fs)
{
    auto pair = std::make_unique<qel::DeckPair>();
    pair->prepare(sampleRate);
    for (qel::TapeDeck* d : { &pair->deckA, &pair->deckB })
    {
        d->recordHead.setOn(false);
        d->setPlayheadFilter(false);
        d->transportOn = 0;
    }
    pair->flangeMode = qel::manualFlange;
    return pair;
}

// Runs one deck alone and returns what it put on its output ring (before the fade weight).
template <bool DeckB>
std::vector<double> runDeck(qel::TapeDeck& deck, const std::vector<float>& input)
{
    std::vector<double> out(input.size());
    float x[32], deviation[32];
    for (size_t start = 0; start < input.size(); start += 32)
    {
        const int n = static_cast<int>(std::min<size_t>(32, input.size() - start));
        std::copy(input.begin() + (long) start, input.begin() + (long) start + n, x);
        const uint64_t first = deck.sampleCount;
        deck.process<false, 0, 0, DeckB>(x, n, deviation);
        for (int i = 0; i < n; ++i)
            out[start + (size_t) i] = deck.outputRing[(first + (uint64_t) i) % deck.tapeLength];
    }
    return out;
}

std::vector<float> whiteNoise(size_t n, unsigned seed, float level = 0.3f)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(-level, level);
    std::vector<float> x(n);
    for (auto& v : x)
        v = u(rng);
    return x;
}

// Delay of y against x in samples, by the peak of the cross-correlation,
// refined by a parabola through its neighbours.
double measuredDelay(const std::vector<float>& x, const std::vector<double>& y, size_t from, int maxLag)
{
    double best = -1e300;
    int bestLag = 0;
    std::vector<double> c((size_t) maxLag + 2, 0.0);
    for (int lag = 0; lag <= maxLag + 1; ++lag)
    {
        double s = 0.0;
        for (size_t i = from; i < y.size(); ++i)
            s += y[i] * x[i - (size_t) lag];
        c[(size_t) lag] = s;
        if (s > best && lag <= maxLag)
        {
            best = s;
            bestLag = lag;
        }
    }
    if (bestLag == 0)
        return 0.0;
    const double a = c[(size_t) bestLag - 1], b = c[(size_t) bestLag], d = c[(size_t) bestLag + 1];
    return bestLag + 0.5 * (a - d) / (a - 2.0 * b + d);
}

struct MotionCase
{
    double relativePosition;
    double maxRelativeDelay;
};

class ManualFlange : public ::testing::TestWithParam<MotionCase>
{
};

// Deck B's speed rule makes its main tap's delay t = D - M + 2 M p.
TEST_P(ManualFlange, RelativeDelayIsWhatTheSpeedRuleAsks)
{
    const auto c = GetParam();
    auto pair = motionOnlyPair();
    pair->deckB.maxRelativeDelay = c.maxRelativeDelay;
    pair->deckA.relativePosition = pair->deckB.relativePosition = c.relativePosition;
    const auto input = whiteNoise(static_cast<size_t>(fs * 0.5), 11);
    const auto a = runDeck<false>(pair->deckA, input);
    const auto b = runDeck<true>(pair->deckB, input);
    const size_t from = static_cast<size_t>(fs * 0.1);
    const double delayA = measuredDelay(input, a, from, 4000);
    const double delayB = measuredDelay(input, b, from, 4000);
    const double D = 0.06, M = c.maxRelativeDelay;
    const double expected = ((D - M) + 2.0 * M * c.relativePosition - D) * fs;
    EXPECT_NEAR(delayB - delayA, expected, 0.5) << "p " << c.relativePosition << " M " << M;
    EXPECT_NEAR(delayA, D * fs, 32.0);
}

INSTANTIATE_TEST_SUITE_P(Positions, ManualFlange,
                         ::testing::Values(MotionCase { 0.0, 0.005 }, MotionCase { 0.25, 0.005 },
                                           MotionCase { 0.5, 0.005 }, MotionCase { 1.0, 0.005 },
                                           MotionCase { 0.1, 0.015 }, MotionCase { 0.9, 0.015 },
                                           MotionCase { 0.7, 0.001 }, MotionCase { 0.0, 0.015 }));

TEST(TapeMotion, DecksInStepStaySampleAligned)
{
    auto pair = motionOnlyPair();
    pair->deckA.relativePosition = pair->deckB.relativePosition = 0.5;
    const auto input = whiteNoise(static_cast<size_t>(fs * 0.3), 5);
    const auto a = runDeck<false>(pair->deckA, input);
    const auto b = runDeck<true>(pair->deckB, input);
    for (size_t i = 0; i < a.size(); ++i)
        ASSERT_NEAR(a[i], b[i], 1e-12) << i;
}

TEST(TapeMotion, TapeStartReadsSilenceUntilTheHeadDistanceIsTravelled)
{
    auto pair = motionOnlyPair();
    std::vector<float> input(4000, 0.5f);
    const auto a = runDeck<false>(pair->deckA, input);
    const size_t headDistance = static_cast<size_t>(0.06 * fs);
    for (size_t i = 0; i < headDistance - 40; ++i)
        ASSERT_EQ(a[i], 0.0) << i;
    EXPECT_GT(std::fabs(a[headDistance + 40]), 0.4);
}

TEST(TapeMotion, DelayChangeLandsOverHalfASecond)
{
    auto pair = motionOnlyPair();
    qel::TapeDeck& deck = pair->deckA;
    std::vector<float> silence(static_cast<size_t>(fs * 0.2), 0.0f);
    runDeck<false>(deck, silence);
    const double before = deck.readHeads[1].position(deck.sampleCount);
    EXPECT_NEAR(before, 0.016 * fs, 33.0);

    deck.setDelay(0.1);
    runDeck<false>(deck, std::vector<float>(static_cast<size_t>(fs * 0.25), 0.0f));
    const double halfway = deck.readHeads[1].position(deck.sampleCount);
    EXPECT_GT(halfway, 0.03 * fs);
    EXPECT_LT(halfway, 0.09 * fs);
    runDeck<false>(deck, std::vector<float>(static_cast<size_t>(fs * 0.3), 0.0f));
    EXPECT_NEAR(deck.readHeads[1].position(deck.sampleCount), 0.1 * fs, 33.0);
}

// --- transport ---

TEST(Transport, ZeroDepthsGiveTheBaseSpeedExactly)
{
    qel::DeckPair pair;
    pair.prepare(fs);
    pair.deckA.setTapeSpeed(0.7);
    std::vector<float> x(32 * 200, 0.1f);
    float dev[32];
    for (size_t s = 0; s < x.size(); s += 32)
        pair.deckA.process<true, 0, 0, false>(x.data() + s, 32, dev);
    for (size_t k = 0; k < 200; ++k)
        ASSERT_EQ(pair.deckA.speedRing[k], 0.7) << k;
}

TEST(Transport, WithoutUnsyncAllDecksDrawTheSameRandomSequence)
{
    std::vector<std::unique_ptr<qel::DeckPair>> pairs;
    for (int c = 0; c < 2; ++c)
    {
        pairs.push_back(std::make_unique<qel::DeckPair>());
        pairs.back()->prepare(fs);
        pairs.back()->forBothDecks([](qel::TapeDeck& d) { d.transport.randomDepth = 0.1; });
    }
    std::vector<float> devs[4];
    float x[32], dev[32];
    for (int block = 0; block < 300; ++block)
    {
        int index = 0;
        for (auto& p : pairs)
        {
            std::fill(x, x + 32, 0.0f);
            p->deckA.process<true, 0, 0, false>(x, 32, dev);
            devs[index].insert(devs[index].end(), dev, dev + 32);
            ++index;
            p->deckB.process<true, 0, 0, true>(x, 32, dev);
            devs[index].insert(devs[index].end(), dev, dev + 32);
            ++index;
        }
    }
    for (int i = 1; i < 4; ++i)
        EXPECT_EQ(devs[i], devs[0]);
    double spread = 0.0;
    for (float v : devs[0])
        spread = std::max(spread, (double) std::fabs(v));
    EXPECT_GT(spread, 0.01);

    // Unsynced, the decks wander apart.
    pairs[0]->deckA.transport.seedUnsynced();
    pairs[0]->deckB.transport.seedUnsynced();
    EXPECT_NE(pairs[0]->deckA.transport.b, pairs[0]->deckB.transport.b);
}

// Frequency of each period of a sine, from its interpolated upward zero crossings.
std::vector<double> periodFrequencies(const std::vector<double>& y)
{
    std::vector<double> crossings;
    for (size_t i = 1; i < y.size(); ++i)
        if (y[i - 1] < 0.0 && y[i] >= 0.0)
            crossings.push_back(static_cast<double>(i - 1) + y[i - 1] / (y[i - 1] - y[i]));
    std::vector<double> f;
    for (size_t i = 1; i < crossings.size(); ++i)
        f.push_back(fs / (crossings[i] - crossings[i - 1]));
    return f;
}

// What is read at t was written when the tape was a head distance D (in
// nominal seconds) earlier: the pitch moves by m(t) / m(then). Its largest
// excursion, found over a cycle by integrating the speed backwards.
double expectedPeakDeviation(double depth, double rate, double D)
{
    auto m = [&](double t) { return 1.0 + depth * std::sin(2.0 * M_PI * rate * t); };
    double peak = 0.0;
    const double dt = 1e-6;
    for (double t = 0.0; t < 1.0 / rate; t += 1e-3)
    {
        double covered = 0.0, then = t;
        while (covered < D)
        {
            covered += m(then - 0.5 * dt) * dt;
            then -= dt;
        }
        peak = std::max(peak, std::fabs(m(t) / m(then) - 1.0));
    }
    return peak;
}

void expectPitchDeviation(double wowDepth, double wowRate, double flutterDepth, double flutterRate)
{
    auto pair = motionOnlyPair();
    qel::TapeDeck& deck = pair->deckA;
    deck.transportOn = 1;
    deck.transport.wowDepth = wowDepth;
    deck.transport.wowRate = wowRate;
    deck.transport.flutterDepth = flutterDepth;
    deck.transport.flutterRate = flutterRate;
    const double f0 = 1000.0;
    std::vector<float> input(static_cast<size_t>(fs * 4.0));
    for (size_t i = 0; i < input.size(); ++i)
        input[i] = static_cast<float>(0.3 * std::sin(2.0 * M_PI * f0 * static_cast<double>(i) / fs));
    const auto y = runDeck<false>(deck, input);
    const auto f = periodFrequencies(std::vector<double>(y.begin() + (long) (fs * 0.5), y.end()));
    double peak = 0.0;
    for (double v : f)
        peak = std::max(peak, std::fabs(v - f0) / f0);
    const double depth = wowDepth + flutterDepth;
    const double rate = wowDepth > 0.0 ? wowRate : flutterRate;
    const double expected = expectedPeakDeviation(depth, rate, 0.06);
    EXPECT_NEAR(peak, expected, 0.1 * expected) << "rate " << rate << " depth " << depth;
}

TEST(Transport, WowShiftsPitchByTheExpectedDeviation)
{
    expectPitchDeviation(0.3 * 0.5, 1.5, 0.0, 5.0);
    expectPitchDeviation(0.3, 0.5, 0.0, 5.0);
}

TEST(Transport, FlutterShiftsPitchByTheExpectedDeviation)
{
    expectPitchDeviation(0.0, 0.1, 0.05 * 0.3, 6.0);
    expectPitchDeviation(0.0, 0.1, 0.05, 3.0);
}

TEST(DisplayRing, DropsTheOldestAndNeverBlocks)
{
    qel::DisplayRing ring;
    ring.resize(100);
    std::vector<float> data(250);
    for (size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<float>(i);
    ring.write(data.data(), 30);
    EXPECT_EQ(ring.available(), 30u);
    float out[100];
    EXPECT_EQ(ring.read(out, 10), 10u);
    EXPECT_EQ(out[0], 0.0f);
    EXPECT_EQ(ring.available(), 20u);

    ring.write(data.data() + 30, 220); // far more than the ring holds
    const uint32_t n = ring.available();
    EXPECT_LE(n, 99u);
    EXPECT_GT(n, 0u);
    const uint32_t got = ring.read(out, 100);
    EXPECT_EQ(got, n);
    EXPECT_EQ(out[got - 1], 249.0f); // the newest sample survives
    for (uint32_t i = 1; i < got; ++i)
        ASSERT_EQ(out[i], out[i - 1] + 1.0f);
}

} // namespace

namespace
{

// At 8 kHz the shortest delay is half a tick: the first tick's tape already
// covers it while the rest of the ring is still standing.
TEST(TapeMotion, HeadShorterThanATickStartsCleanly)
{
    auto pair = motionOnlyPair(8000.0);
    pair->deckA.setDelay(0.002);
    pair->deckA.feedback = 1.0;
    std::vector<float> input(8000, 0.25f);
    const auto a = runDeck<false>(pair->deckA, input);
    EXPECT_GE(pair->deckA.readHeads[1].position(pair->deckA.sampleCount), 0.0);
    for (double v : a)
        ASSERT_TRUE(std::isfinite(v));
}

} // namespace
