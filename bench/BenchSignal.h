#pragma once

#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

namespace qel::bench
{

constexpr double sampleRate = 48000.0;
constexpr int blockSize = 512;

// A block of two sines at the chain's +-100 scale.
inline std::vector<double> musicLikeBlock(double level)
{
    std::vector<double> x(blockSize);
    for (int i = 0; i < blockSize; ++i)
        x[(size_t) i] = level * (std::sin(i * 0.031) + 0.3 * std::sin(i * 0.47));
    return x;
}

// Seconds of audio per second of CPU.
inline void reportRealTimeFactor(benchmark::State& state)
{
    state.counters["rt_factor"] = benchmark::Counter(static_cast<double>(state.iterations()) * blockSize / sampleRate,
                                                     benchmark::Counter::kIsRate);
}

// Runs process over a block of samples per iteration and reports the real-time factor.
template <typename Process>
void runPerSample(benchmark::State& state, const std::vector<double>& input, Process&& process)
{
    double sink = 0.0;
    for (auto _ : state)
    {
        for (double x : input)
            sink += process(x);
        benchmark::DoNotOptimize(sink);
    }
    reportRealTimeFactor(state);
}

// Runs a block per iteration and reports the real-time factor; sink keeps
// the output alive for the optimiser.
template <typename Run, typename Sink>
void runBlocks(benchmark::State& state, Run&& run, Sink& sink)
{
    for (auto _ : state)
    {
        run();
        benchmark::DoNotOptimize(sink);
    }
    reportRealTimeFactor(state);
}

// Every noise-reduction encoder against every decoder at light settings,
// then the heaviest pairs with every stage on.
inline void encoderDecoderPairs(benchmark::internal::Benchmark* b)
{
    b->ArgNames({ "encoder", "decoder", "heavy" });
    for (int e = 0; e < 4; ++e)
        for (int d = 0; d < 4; ++d)
            b->Args({ e, d, 0 });
    b->Args({ 2, 2, 1 })->Args({ 3, 3, 1 })->Args({ 2, 3, 1 })->Args({ 3, 2, 1 });
}

} // namespace qel::bench
