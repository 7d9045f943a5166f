// Real-time factor of the record head, the main cost of a deck: seconds of
// audio processed per second of CPU, reported as the "rt_factor" counter.
#include "tape/RecordHead.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

namespace
{

constexpr double sampleRate = 48000.0;
constexpr int blockSize = 512;

std::vector<double> musicLikeBlock(double level)
{
    std::vector<double> x(blockSize);
    for (int i = 0; i < blockSize; ++i)
        x[(size_t) i] = level * (std::sin(i * 0.031) + 0.3 * std::sin(i * 0.47));
    return x;
}

void recordHead(benchmark::State& state)
{
    qel::RecordHead head;
    head.prepare(sampleRate);
    head.setA(5.0 - 4.0 * static_cast<double>(state.range(0)) / 100.0);
    const auto input = musicLikeBlock(static_cast<double>(state.range(1)));
    double sink = 0.0;
    for (auto _ : state)
    {
        for (double x : input)
            sink += head.process(x);
        benchmark::DoNotOptimize(sink);
    }
    state.counters["rt_factor"] = benchmark::Counter(static_cast<double>(state.iterations()) * blockSize / sampleRate,
                                                     benchmark::Counter::kIsRate);
}

// Hardness in percent, level at the +-100 scale: quiet, nominal, driven hard.
BENCHMARK(recordHead)->Args({ 100, 1 })->Args({ 100, 30 })->Args({ 0, 90 })->Args({ 50, 90 });

} // namespace
