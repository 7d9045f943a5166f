// Real-time factor of the record head, the main cost of a deck.
#include "BenchSignal.h"
#include "tape/dsp/RecordHead.h"

namespace
{

using namespace qel::bench;

void recordHead(benchmark::State& state)
{
    qel::RecordHead head;
    head.prepare(sampleRate);
    head.setA(5.0 - 4.0 * static_cast<double>(state.range(0)) / 100.0);
    runPerSample(state, musicLikeBlock(static_cast<double>(state.range(1))), [&](double x) { return head.process(x); });
}

// Hardness in percent, level at the +-100 scale: quiet, nominal, driven hard.
BENCHMARK(recordHead)->Args({ 100, 1 })->Args({ 100, 30 })->Args({ 0, 90 })->Args({ 50, 90 });

} // namespace
