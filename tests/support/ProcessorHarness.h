#pragma once

#include "engine/Bus.h"
#include "engine/RenderContext.h"
#include "tape/ReelwarpProcessor.h"

#include <cstdlib>
#include <memory>
#include <vector>

namespace qel::test
{

// The effect on a bus of its own, as the engine runs it: blocks in place,
// the transport in a context that the test writes.
struct ProcessorHarness
{
    ProcessorHarness(int channelCount, double sampleRate, int blockSize)
        : bus(channelCount, blockSize, "Main Out"), channels(static_cast<size_t>(channelCount))
    {
        // The record heads draw their noise seeds from rand(): start it alike.
        std::srand(1);
        context->setSampleRate(sampleRate);
        processor.setFormat(sampleRate, blockSize);
        processor.setOutputStream(0, &bus);
    }

    uint32_t id(const char* name) const { return processor.findParameterId(name); }
    void set(const char* name, float value) { processor.setParameterFloat(id(name), value); }
    void set(const char* name, bool value) { processor.setParameterBool(id(name), value); }
    void set(const char* name, int value) { processor.setParameterInt(id(name), value); }
    // Any kind from a number: a switch from 0 or 1, a choice from its index.
    void setValue(const char* name, float value)
    {
        const auto i = id(name);
        if (processor.findBoolParameter(i) != nullptr)
            processor.setParameterBool(i, value != 0.0f);
        else if (processor.findIntParameter(i) != nullptr)
            processor.setParameterInt(i, static_cast<int>(value));
        else
            processor.setParameterFloat(i, value);
    }
    float number(const char* name) const { return processor.getParameterFloat(id(name)); }
    int choice(const char* name) const { return processor.getParameterInt(id(name)); }
    String text(const char* name) const
    {
        const auto i = id(name);
        if (auto* f = processor.findFloatParameter(i))
            return f->typedDescription().toString(&processor, processor.getParameterFloat(i));
        if (auto* c = processor.findIntParameter(i))
            return c->typedDescription().toString(&processor, processor.getParameterInt(i));
        return {};
    }

    ReelwarpProcessor::State& state() { return processor.getReelwarpState(); }

    // One block of `frames` samples per channel, processed in place.
    void render(std::vector<std::vector<float>>& block, int frames)
    {
        for (size_t c = 0; c < channels.size(); ++c)
            channels[c] = block[c].data();
        bus.setChannels(channels.data());
        processor.render(*context, frames);
        context->endBlock(frames);
    }

    // A whole mono signal through channel 0 (other channels get the same), in blocks.
    std::vector<float> renderSignal(const std::vector<float>& input, int blockSize)
    {
        std::vector<float> output(input.size());
        std::vector<std::vector<float>> block(channels.size(), std::vector<float>((size_t) blockSize));
        for (size_t at = 0; at < input.size(); at += (size_t) blockSize)
        {
            const int n = static_cast<int>(std::min<size_t>((size_t) blockSize, input.size() - at));
            for (auto& channel : block)
                std::copy_n(input.begin() + (std::ptrdiff_t) at, n, channel.begin());
            render(block, n);
            std::copy_n(block[0].begin(), n, output.begin() + (std::ptrdiff_t) at);
        }
        return output;
    }

    ReelwarpProcessor processor;
    Bus bus;
    std::unique_ptr<RenderContext> context = std::make_unique<RenderContext>();
    std::vector<float*> channels;
};

} // namespace qel::test
