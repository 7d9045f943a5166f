// One paint of each display at its size on the face, into an image, as the
// software renderer draws it: the curve's maths and the stroke together.
// Scale 2 is a high-resolution screen. The flange paints 50 times a second,
// the speed curve up to 50, each meter bar 25; the rest on a change only.
#include "ui/displays/AudioMeter.h"
#include "ui/displays/FlangeDisplay.h"
#include "ui/displays/MagneticWaveformDisplay.h"
#include "ui/displays/PlayHeadResponseDisplay.h"
#include "ui/displays/RecordResponseDisplay.h"
#include "ui/displays/ScrollCurve.h"
#include "ui/displays/SpeedCurveFeed.h"

#include <benchmark/benchmark.h>

#include <cmath>

namespace
{

void paintLoop(benchmark::State& state, juce::Component& display)
{
    const auto scale = static_cast<int>(state.range(0));
    juce::Image image(juce::Image::ARGB, display.getWidth() * scale, display.getHeight() * scale, true,
                      juce::SoftwareImageType());
    juce::Graphics g(image);
    g.addTransform(juce::AffineTransform::scale(static_cast<float>(scale)));
    for (auto _ : state)
    {
        display.paint(g);
        benchmark::ClobberMemory();
    }
}

void FlangeDisplayPaint(benchmark::State& state)
{
    qel::FlangeDisplay display(qel::FlangeLines { 0.005f, false, 0.3f });
    display.setSize(271, 94);
    paintLoop(state, display);
}

void RecordResponsePaint(benchmark::State& state)
{
    qel::RecordResponseDisplay display(qel::RecordResponse { 0.3f, 0.5f, true });
    display.setSize(201, 59);
    paintLoop(state, display);
}

void PlayHeadResponsePaint(benchmark::State& state)
{
    qel::PlayHeadResponseDisplay display(qel::PlayHeadResponse { 0.2f, 0.6f, 0.5f, 0.3f, 0.2f, true });
    display.setSize(225, 59);
    paintLoop(state, display);
}

void MagneticWaveformPaint(benchmark::State& state)
{
    qel::MagneticWaveform values;
    values.hardness = 0.5f;
    values.resistance = 0.33f;
    values.on = true;
    qel::MagneticWaveformDisplay display(values);
    display.setSize(201, 59);
    paintLoop(state, display);
}

void SpeedCurvePaint(benchmark::State& state)
{
    qel::ScrollCurve curve;
    curve.setSize(275, 59);
    const int c = curve.addCurve();
    qel::SpeedCurveFeed::styleCurve(curve, c);
    for (int i = 0; i < 200; ++i)
        curve.push(c, 0.2f * std::sin(0.05f * static_cast<float>(i)));
    paintLoop(state, curve);
}

void MeterBarPaint(benchmark::State& state)
{
    qel::AudioMeterVU bar;
    bar.setSize(2, 264);
    bar.takePeak(0.5f);
    paintLoop(state, bar);
}

BENCHMARK(FlangeDisplayPaint)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);
BENCHMARK(RecordResponsePaint)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);
BENCHMARK(PlayHeadResponsePaint)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);
BENCHMARK(MagneticWaveformPaint)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);
BENCHMARK(SpeedCurvePaint)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);
BENCHMARK(MeterBarPaint)->Arg(1)->Arg(2)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv)
{
    juce::ScopedJuceInitialiser_GUI juce;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
