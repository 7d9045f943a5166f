#include "element/ParameterMapper.h"

#include "element/BeatDivisions.h"

#include <cmath>

namespace qel
{

float SyncLinearParameterMapper::ratioAtPosition(float position) noexcept
{
    const int row = juce::jlimit(0, BeatDivisions::rows - 1, static_cast<int>(std::floor(position * 29.0f + 0.5f)));
    return BeatDivisions::ratioOfRow(row);
}

float SyncLinearParameterMapper::positionOfRatio(float ratio) noexcept
{
    return static_cast<float>(BeatDivisions::rowOfRatio(ratio)) * 0.03448276f;
}

void SyncLinearParameterMapper::map(const ParameterContext* context, float& value) const
{
    if (isSynced(context))
        value = ratioAtPosition(value);
    else
        LinearParameterMapper::map(context, value);
}

void SyncLinearParameterMapper::unmap(const ParameterContext* context, float& value) const
{
    if (isSynced(context))
        value = positionOfRatio(value);
    else
        LinearParameterMapper::unmap(context, value);
}

} // namespace qel
