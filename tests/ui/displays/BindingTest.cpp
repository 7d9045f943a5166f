// The displays on a processor in a tree, as the face binds them: each hears
// its own parameters, the flange follows deck B, the meters read the stream.
#include "engine/Bus.h"
#include "engine/RenderContext.h"
#include "tape/ReelwarpParameters.h"
#include "ui/displays/AudioMeter.h"
#include "ui/displays/FlangeDisplay.h"
#include "ui/displays/MagneticWaveformDisplay.h"
#include "ui/displays/PlayHeadResponseDisplay.h"
#include "ui/displays/RecordResponseDisplay.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{

using qel::ReelwarpParameter;

void deliver() { qel::ParameterChangeChannel::get().deliver(); }

struct DisplaysOnAProcessor : ::testing::Test
{
    std::unique_ptr<qel::Element> root = std::make_unique<qel::Element>("Engine", "Engine");
    qel::EngineProxy proxy { nullptr, root.get(), false };
    qel::ReelwarpProcessor* processor = nullptr;
    qel::Bus bus { 2, 256, "Main Out" };
    qel::RenderContext context;

    void SetUp() override
    {
        root->addChild(std::make_unique<qel::ReelwarpProcessor>());
        processor = static_cast<qel::ReelwarpProcessor*>(root->findChild("Reelwarp"));
        context.setSampleRate(48000.0);
        processor->setFormat(48000.0, 256);
        processor->setOutputStream(0, &bus);
        deliver();
    }

    void set(ReelwarpParameter p, float v) { processor->setParameterFloat(qel::reelwarpParameterId(p), v); }
    void set(ReelwarpParameter p, bool v) { processor->setParameterBool(qel::reelwarpParameterId(p), v); }

    // One block of a sine at the given peaks, in place.
    void render(float left, float right)
    {
        float block[2][256];
        for (int i = 0; i < 256; ++i)
            block[0][i] = left * std::sin(i * 0.1f), block[1][i] = right * std::sin(i * 0.1f);
        float* channels[2] { block[0], block[1] };
        bus.setChannels(channels);
        bus.clearSilent();
        processor->render(context, 256);
        context.endBlock(256);
    }
};

// A wrong parameter behind a field shows as a value that does not arrive.
TEST_F(DisplaysOnAProcessor, EachDisplayHearsItsOwnParametersAndTheFlangeDeckB)
{
    qel::RecordResponseDisplay record(proxy, "/Reelwarp");
    qel::PlayHeadResponseDisplay play(proxy, "/Reelwarp");
    qel::MagneticWaveformDisplay magnetic(proxy, "/Reelwarp");
    qel::FlangeDisplay flange(proxy, "/Reelwarp");
    EXPECT_FLOAT_EQ(play.getResponse().widthRatio, 0.8f) << "bound, a display starts from the values it finds";

    const auto& r = record.getResponse();
    const auto& p = play.getResponse();
    const auto& m = magnetic.getWaveform();
    const auto& f = flange.getLines();
    const std::tuple<ReelwarpParameter, float, std::vector<const float*>> numbers[] = {
        { ReelwarpParameter::MagneticHardness, 0.11f, { &r.hardness, &m.hardness } },
        { ReelwarpParameter::Hysteresis, 0.22f, { &r.resistance, &m.resistance } },
        { ReelwarpParameter::Speed, 0.33f, { &p.speed } },
        { ReelwarpParameter::Spacing, 0.44f, { &p.spacing } },
        { ReelwarpParameter::Thickness, 0.55f, { &p.thickness } },
        { ReelwarpParameter::Azimuth, 0.66f, { &p.azimuth } },
        { ReelwarpParameter::TrackWidthRatio, 0.77f, { &p.widthRatio } },
        { ReelwarpParameter::MaxRelativeDelay, 0.012f, { &f.maxRelativeDelay } },
    };
    const std::pair<ReelwarpParameter, std::vector<const bool*>> switches[] = {
        { ReelwarpParameter::ApplyRecordHead, { &r.on, &m.on } },
        { ReelwarpParameter::ApplyPlayheadFilter, { &p.on } },
        { ReelwarpParameter::PhaseInvert, { &f.phaseInvert } },
    };
    for (const auto& [parameter, value, fields] : numbers)
        set(parameter, value);
    for (const auto& [parameter, fields] : switches)
        set(parameter, !*fields.front());
    deliver();
    for (const auto& [parameter, value, fields] : numbers)
        for (const auto* field : fields)
            EXPECT_FLOAT_EQ(*field, value) << qel::reelwarpParameterRow(parameter).name;
    for (const auto& [parameter, fields] : switches)
        for (const auto* field : fields)
            EXPECT_EQ(*field, processor->getParameterBool(qel::reelwarpParameterId(parameter)))
                << qel::reelwarpParameterRow(parameter).name;

    EXPECT_TRUE(flange.isFollowingDecks());
    processor->setParameterInt(qel::reelwarpParameterId(ReelwarpParameter::FlangeMode), 0);
    set(ReelwarpParameter::RelativeDelay, 0.5f);
    render(0.5f, 0.5f);
    flange.followDecks();
    EXPECT_FLOAT_EQ(f.relativeDelay, 0.5f);
    auto gone = root->removeChild(processor);
    EXPECT_FALSE(flange.isFollowingDecks());
    EXPECT_FLOAT_EQ(f.relativeDelay, 0.5f) << "without an element it keeps what it has";
}

// The monitor sees the block before and after the effect; a take empties it.
TEST_F(DisplaysOnAProcessor, MetersReadEachChannelsPeakAtTheirEnd)
{
    set(ReelwarpParameter::Mix, 0.0f); // the dry line only: silence for its first 60 ms
    qel::AudioMeter input(proxy, "/Reelwarp", 0);
    qel::AudioMeter output(proxy, "/Reelwarp", 1);
    input.setSize(5, 264), output.setSize(5, 264);
    EXPECT_TRUE(input.isMetering());
    ASSERT_EQ(input.getNumBars(), 2);

    render(0.5f, 0.1f);
    auto monitor = processor->getAudioMonitor();
    input.takePeaks(), output.takePeaks();
    // -6 dB fills 0.85 of the bar, -20 dB half of it.
    EXPECT_NEAR(input.getBar(0).getBallistics().shown, 0.85f * 264.0f, 1.0f);
    EXPECT_NEAR(input.getBar(1).getBallistics().shown, 0.5f * 264.0f, 1.0f);
    EXPECT_EQ(output.getBar(0).getBallistics().shown, 0.0f) << "the delayed dry path is still silent";
    EXPECT_EQ(monitor->take(qel::AudioMonitor::input, 0), 0.0f) << "a take leaves nothing behind";

    // Past the dry line's delay the output carries the input's level.
    for (int b = 0; b < 20; ++b)
        render(0.5f, 0.1f);
    EXPECT_NEAR(monitor->take(qel::AudioMonitor::output, 0), 0.5f, 0.01f);
    EXPECT_NEAR(monitor->take(qel::AudioMonitor::input, 1), 0.1f, 0.001f);

    auto gone = root->removeChild(processor);
    EXPECT_FALSE(output.isMetering());
    EXPECT_EQ(output.getNumBars(), 0);
}

} // namespace
