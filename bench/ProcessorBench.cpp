// The whole effect, a stereo instance at 48 kHz on 512-frame blocks, run by
// the element framework as the engine runs it: "rt_factor" is seconds of
// stereo audio per second of one core. Each case runs with two decks per
// register and, where the processor has AVX2, with four; a table of both
// follows the runs.
#include "BenchSignal.h"
#include "engine/Bus.h"
#include "engine/RenderContext.h"
#include "tape/ReelwarpProcessor.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace
{

using namespace qel::bench;

constexpr int defaults = -1; // as the encoder: no parameter touched

const char* const modeNames[] = { "None", "PreEmph", "TypeA", "TypeB" };

struct StereoProcessor
{
    qel::ReelwarpProcessor processor;
    qel::Bus bus { 2, blockSize, "Main Out" };
    std::unique_ptr<qel::RenderContext> context = std::make_unique<qel::RenderContext>();
    float left[blockSize], right[blockSize];
    float* channels[2] { left, right };

    StereoProcessor(int encoder, int decoder, bool heavy)
    {
        context->setSampleRate(sampleRate);
        processor.setFormat(sampleRate, blockSize);
        processor.setOutputStream(0, &bus);
        auto set = [&](const char* name, float value) { processor.setParameterFloat(processor.findParameterId(name), value); };
        if (encoder != defaults)
        {
            processor.setParameterBool(processor.findParameterId("ApplyCompander"), true);
            processor.setParameterBool(processor.findParameterId("NRLink"), false);
            processor.setParameterInt(processor.findParameterId("NoiseReductionEncoder"), encoder);
            processor.setParameterInt(processor.findParameterId("NoiseReductionDecoder"), decoder);
        }
        if (heavy)
        {
            set("Feedback", 0.9f);
            set("Drive", 40.0f);
            set("WowMod", 1.0f);
            set("FlutterMod", 1.0f);
            set("NoiseMod", 1.0f);
            set("DegradeDepth", 1.0f);
            set("MagneticHardness", 1.0f);
            set("Mix", 0.5f);
        }
        const auto music = musicLikeBlock(0.3);
        for (int i = 0; i < blockSize; ++i)
            left[i] = right[i] = static_cast<float>(music[(size_t) i]);
    }

    void run()
    {
        bus.setChannels(channels);
        processor.render(*context, blockSize);
        context->endBlock(blockSize);
    }
};

// The width is chosen at prepare: the override asks for two lanes.
std::unique_ptr<StereoProcessor> makeProcessor(int encoder, int decoder, bool heavy, int lanes)
{
    if (lanes == 2)
        setenv("REELWARP_LANES", "2", 1);
    auto p = std::make_unique<StereoProcessor>(encoder, decoder, heavy);
    unsetenv("REELWARP_LANES");
    return p;
}

void stereoProcessor(benchmark::State& state)
{
    const int lanes = static_cast<int>(state.range(3));
    if (lanes == 4 && qel::chooseLaneWidth() != qel::LaneWidth::four)
    {
        state.SkipWithError("no AVX2 here");
        return;
    }
    auto p = makeProcessor(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)), state.range(2) != 0, lanes);
    runBlocks(state, [&] { p->run(); }, p->left[0]);
}

// Defaults; every encoder against every decoder; the heaviest settings with
// the costliest pair (Type B encoding, Type A decoding). Each at both widths.
void cases(benchmark::internal::Benchmark* b)
{
    b->ArgNames({ "encoder", "decoder", "heavy", "lanes" });
    for (int lanes : { 2, 4 })
    {
        b->Args({ defaults, defaults, 0, lanes });
        for (int e = 0; e < 4; ++e)
            for (int d = 0; d < 4; ++d)
                b->Args({ e, d, 0, lanes });
        b->Args({ 3, 2, 1, lanes });
    }
}

BENCHMARK(stereoProcessor)->Apply(cases);

// Keeps each case's real-time factor for the table.
class TableReporter : public benchmark::ConsoleReporter
{
public:
    std::map<std::string, double> factors;

    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const auto& run : runs)
        {
            const auto found = run.counters.find("rt_factor");
            if (!run.error_occurred && found != run.counters.end())
                factors[run.benchmark_name()] = found->second.value;
        }
    }

    std::string cell(int encoder, int decoder, int heavy, int lanes) const
    {
        const std::string name = "stereoProcessor/encoder:" + std::to_string(encoder) + "/decoder:" + std::to_string(decoder)
                               + "/heavy:" + std::to_string(heavy) + "/lanes:" + std::to_string(lanes);
        const auto found = factors.find(name);
        if (found == factors.end())
            return "-";
        char text[32];
        std::snprintf(text, sizeof text, "%.1fx", found->second);
        return text;
    }

    void printTable() const
    {
        std::printf("\nStereo instance, 48 kHz, blocks of 512, one core: times real time\n");
        std::printf("%-26s %9s %9s\n", "setting", "2 lanes", "4 lanes");
        const auto row = [&](const std::string& label, int e, int d, int heavy) {
            std::printf("%-26s %9s %9s\n", label.c_str(), cell(e, d, heavy, 2).c_str(), cell(e, d, heavy, 4).c_str());
        };
        row("defaults", defaults, defaults, 0);
        for (int e = 0; e < 4; ++e)
            for (int d = 0; d < 4; ++d)
                row(std::string(modeNames[e]) + " -> " + modeNames[d], e, d, 0);
        row("heaviest, TypeB -> TypeA", 3, 2, 1);
    }
};

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printTable();
    benchmark::Shutdown();
    return 0;
}
