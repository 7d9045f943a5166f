// Real-time factors of the play head and of each noise-reduction pair.
#include "BenchSignal.h"
#include "tape/dsp/NoiseReduction.h"
#include "tape/dsp/PlayHead.h"

namespace
{

using namespace qel::bench;

void playHead(benchmark::State& state)
{
    qel::PlayHead head;
    head.setSampleRate(sampleRate);
    runPerSample(state, musicLikeBlock(30.0), [&](double x) { return head.process(x); });
}
BENCHMARK(playHead);

template <qel::NoiseReductionMode Mode>
void noiseReductionPair(benchmark::State& state)
{
    qel::NoiseReduction nr;
    nr.prepare(sampleRate);
    nr.setEncoderMode(Mode);
    nr.setDecoderMode(Mode);
    runPerSample(state, musicLikeBlock(static_cast<double>(state.range(0))),
                 [&](double x) { return nr.decode<Mode>(nr.encode<Mode>(x)); });
}
BENCHMARK_TEMPLATE(noiseReductionPair, qel::NoiseReductionMode::preEmphasis)->Arg(30);
BENCHMARK_TEMPLATE(noiseReductionPair, qel::NoiseReductionMode::typeA)->Arg(1)->Arg(30);
BENCHMARK_TEMPLATE(noiseReductionPair, qel::NoiseReductionMode::typeB)->Arg(1)->Arg(30);

} // namespace
