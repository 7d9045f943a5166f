#pragma once

#include "engine/BlockElement.h"
#include "tape/DriveCompensation.h"
#include "tape/LinearRamp.h"
#include "tape/PlayHead.h"
#include "tape/RecordHead.h"

#include <vector>

namespace qel
{

// The effect's place in the tree until the full processor stands: every
// channel through drive, the record head, the play head and the drive
// compensation, at their defaults.
class TapeSpine : public BlockElement
{
public:
    struct Channel
    {
        RecordHead recordHead;
        PlayHead playHead;
        LinearRamp driveCompensation;
        double driveCompensationTarget = 1.0;

        void prepare(double sampleRate);
        float process(float x) noexcept;
    };

    void setFormat(double sampleRate, int maximumBlockSize) override;
    void setOutputStream(int index, Bus* bus) override;
    void processEvents(RenderContext&, const EngineEvent*, int, int) override {}
    void render(RenderContext& context, int frames) override;
    void reset() override;

    static constexpr double drive = 1.0;
    static constexpr double noiseGain = 0.0001;

private:
    void prepareChannels();

    double sampleRate = 0.0;
    Bus* output = nullptr;
    std::vector<Channel> channels;
};

} // namespace qel
