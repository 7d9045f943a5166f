// Renders of the deck pair and of the processor kept in tests/golden. After a
// deliberate change of sound tools/regenerate-golden.sh writes new ones: listen.
#include "support/ProcessorHarness.h"
#include "support/Signals.h"
#include "tape/dsp/FourLanes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace
{

using qel::test::ProcessorHarness;

// Compares, or writes when REELWARP_REGENERATE_GOLDEN is set; the tolerance is
// far above another compiler's rounding, far below a changed formula.
void expectGolden(const std::string& name, const std::vector<float>& y)
{
    const std::string path = std::string(REELWARP_GOLDEN_DIR) + "/" + name + ".f32";
    const auto bytes = static_cast<std::streamsize>(y.size() * sizeof(float));
    if (std::getenv("REELWARP_REGENERATE_GOLDEN") != nullptr)
    {
        std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(y.data()), bytes);
        GTEST_SKIP() << "wrote " << path;
    }
    std::ifstream in(path, std::ios::binary);
    ASSERT_TRUE(in.good()) << "no reference at " << path << "; run tools/regenerate-golden.sh";
    std::vector<float> reference(y.size());
    in.read(reinterpret_cast<char*>(reference.data()), bytes);
    ASSERT_EQ(in.gcount(), bytes) << name;
    double peak = 0.0, worst = 0.0;
    for (size_t i = 0; i < y.size(); ++i)
    {
        peak = std::max(peak, (double) std::fabs(reference[i]));
        worst = std::max(worst, (double) std::fabs(y[i] - reference[i]));
    }
    EXPECT_LT(worst, 1e-4 * std::max(peak, 1e-3)) << name;
}

// A logarithmic sweep with a little noise: the references hold these samples.
std::vector<float> sweep(double fs, size_t frames, double from, double ratio, double level, uint32_t seed)
{
    std::vector<float> x(frames);
    qel::test::Noise random { seed };
    double phase = 0.0;
    for (size_t i = 0; i < frames; ++i)
    {
        const double f = from * std::pow(ratio, static_cast<double>(i) / static_cast<double>(frames));
        phase += 2.0 * M_PI * f / fs;
        x[i] = static_cast<float>(level * std::sin(phase) + random.next() * 0.05);
    }
    return x;
}

// A quarter second at 48 kHz, 100 Hz to 8 kHz, through the compiled loop of
// the modes: one channel alone, and as both channels of a stereo pair with two
// decks and with four to a register (where the processor has AVX2). Each
// channel must give the one reference.
void expectGoldenDecks(const std::string& name, qel::FlangeMode flangeMode, qel::NoiseReductionMode mode,
                       const std::function<void(qel::TapeDeck&)>& settings)
{
    std::srand(1); // the record heads draw their noise seeds from rand()
    auto pair = std::make_unique<qel::DeckPair>();
    pair->prepare(48000.0);
    pair->flangeMode = flangeMode;
    pair->forBothDecks([&](qel::TapeDeck& d) {
        d.setEncoderMode(mode);
        d.setDecoderMode(mode);
        settings(d);
    });
    const auto x = sweep(48000.0, 12000, 100.0, 80.0, 0.4, 1);
    auto y = x;
    float deviation[32];
    const auto first = std::make_unique<qel::DeckPair>(*pair), second = std::make_unique<qel::DeckPair>(*pair);
    const auto process = qel::selectChannelProcessor(*pair);
    for (size_t s = 0; s < y.size(); s += 32)
        process(*pair, y.data() + s, 32, deviation);
    expectGolden(name, y);
    for (const auto width : { qel::LaneWidth::two, qel::chooseLaneWidth() })
    {
        auto a = std::make_unique<qel::DeckPair>(*first), b = std::make_unique<qel::DeckPair>(*second);
        auto left = x, right = x;
        const auto processTwo = qel::selectChannelPairProcessor(*a, width);
        for (size_t s = 0; s < x.size(); s += 32)
            processTwo(*a, *b, left.data() + s, right.data() + s, 32, deviation);
        const auto lanes = width == qel::LaneWidth::four ? " (four lanes)" : " (two lanes)";
        expectGolden(name, left);
        expectGolden(name, right);
        if (width == qel::LaneWidth::two) // four lanes may fuse a multiply and an add: the tolerance holds them
            EXPECT_TRUE(left == y && right == y) << name << lanes;
    }
}

// A fifth of a second, mono at 24 kHz to keep files small, in blocks that are
// not a multiple of the slice; 80 Hz to 8 kHz.
std::vector<float> renderProcessor(std::initializer_list<std::pair<const char*, float>> settings)
{
    ProcessorHarness h(1, 24000.0, 300);
    for (const auto& [name, value] : settings)
        h.setValue(name, value);
    return h.renderSignal(sweep(24000.0, 4800, 80.0, 100.0, 0.5, 7), 300);
}

TEST(Golden, DeckPairInEachFlangeModeAndCompander)
{
    expectGoldenDecks("default-lfo", qel::FlangeMode::lfo, qel::NoiseReductionMode::none,
                      [](qel::TapeDeck& d) { d.setLfoRate(4.0f); });
    expectGoldenDecks("manual-feedback-typeA", qel::FlangeMode::manual, qel::NoiseReductionMode::typeA, [](qel::TapeDeck& d) {
                     d.setRelativePosition(0.3);
                     d.setFeedback(0.7);
                     d.setDelay(0.004);
                     d.setDrive(6.0);
                 });
    expectGoldenDecks("worn-typeB", qel::FlangeMode::lfo, qel::NoiseReductionMode::typeB, [](qel::TapeDeck& d) {
                     d.setWowDepth(0.1);
                     d.setFlutterDepth(0.02);
                     d.setRandomDepth(0.05);
                     d.setDegradeDepth(0.6);
                     d.setSpacing(5e-5);
                     d.setAzimuth(0.0005);
                     d.setTapeSpeed(0.2);
                     d.setNoiseGain(0.01);
                 });
}

TEST(ProcessorGolden, DefaultsEachFlangeModeAndHardSettings)
{
    expectGolden("processor-defaults", renderProcessor({}));
    expectGolden("processor-manual", renderProcessor({ { "FlangeMode", 0.0f }, { "RelativeDelay", 0.2f }, { "Fade", 0.3f } }));
    expectGolden("processor-lfo", renderProcessor({ { "LFOFreq", 6.0f }, { "LFOShape", 0.5f }, { "LFOSymmetry", -0.3f },
                                                    { "LFOSwing", 0.5f }, { "MaxRelativeDelay", 0.012f }, { "Mix", 0.7f } }));
    expectGolden("processor-heavy-transport",
                 renderProcessor({ { "WowMod", 1.0f }, { "WowRate", 1.5f }, { "FlutterMod", 1.0f }, { "FlutterRate", 40.0f },
                                   { "NoiseMod", 1.0f }, { "NoiseRate", 50.0f }, { "DegradeDepth", 0.8f }, { "Speed", 0.3f } }));
    expectGolden("processor-feedback", renderProcessor({ { "Feedback", 0.97f }, { "Delay", 0.004f }, { "Drive", 12.0f },
                                                         { "ApplyLowLatency", 1.0f } }));
}

// Three channels: the first two run together, as four lanes where the
// processor has AVX2, the odd third alone on two; REELWARP_LANES=2 puts all
// on two. The widths agree exactly on every channel, and the first channel,
// whose decks draw the mono instance's noise seeds, gives the mono reference.
TEST(ProcessorGolden, EveryChannelAtEitherWidth)
{
    const auto input = sweep(24000.0, 4800, 80.0, 100.0, 0.5, 7);
    std::vector<std::vector<float>> outputs[2];
    for (const auto width : { qel::LaneWidth::two, qel::LaneWidth::four })
    {
        if (width == qel::LaneWidth::two)
            setenv("REELWARP_LANES", "2", 1);
        ProcessorHarness h(3, 24000.0, 300);
        auto& out = outputs[static_cast<int>(width)];
        out.assign(3, std::vector<float>(input.size()));
        std::vector<std::vector<float>> block(3, std::vector<float>(300));
        for (size_t at = 0; at < input.size(); at += 300)
        {
            for (auto& channel : block)
                std::copy_n(input.begin() + (std::ptrdiff_t) at, 300, channel.begin());
            h.render(block, 300);
            for (size_t c = 0; c < 3; ++c)
                std::copy_n(block[c].begin(), 300, out[c].begin() + (std::ptrdiff_t) at);
        }
        unsetenv("REELWARP_LANES");
        EXPECT_EQ(h.state().laneWidth, width == qel::LaneWidth::two ? qel::LaneWidth::two : qel::chooseLaneWidth());
        expectGolden("processor-defaults", out[0]);
    }
    EXPECT_EQ(outputs[0], outputs[1]);
}

TEST(ProcessorGolden, EachNoiseReductionPair)
{
    const auto compander = [](float encoder, float decoder) {
        return renderProcessor({ { "ApplyCompander", 1.0f }, { "NRLink", 0.0f }, { "NoiseReductionEncoder", encoder },
                                 { "NoiseReductionDecoder", decoder } });
    };
    expectGolden("processor-preemphasis", compander(1.0f, 1.0f));
    expectGolden("processor-typeA", compander(2.0f, 2.0f));
    expectGolden("processor-typeB", compander(3.0f, 3.0f));
    expectGolden("processor-typeA-undecoded", compander(2.0f, 0.0f));
}

} // namespace
