// The whole effect, a stereo instance at 48 kHz on 512-frame blocks, run by
// the element framework as the engine runs it: "rt_factor" is seconds of
// stereo audio per second of one core. The frame around the decks should
// cost little beside the decks alone (reelwarp_bench).
#include "BenchSignal.h"
#include "engine/Bus.h"
#include "engine/RenderContext.h"
#include "tape/ReelwarpProcessor.h"

#include <memory>

namespace
{

using namespace qel::bench;

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
        processor.setParameterBool(processor.findParameterId("ApplyCompander"), true);
        processor.setParameterBool(processor.findParameterId("NRLink"), false);
        processor.setParameterInt(processor.findParameterId("NoiseReductionEncoder"), encoder);
        processor.setParameterInt(processor.findParameterId("NoiseReductionDecoder"), decoder);
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

void stereoProcessor(benchmark::State& state)
{
    StereoProcessor p(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)), state.range(2) != 0);
    runBlocks(state, [&] { p.run(); }, p.left[0]);
}

BENCHMARK(stereoProcessor)->Apply(encoderDecoderPairs);

} // namespace
