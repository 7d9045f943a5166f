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

void LinearParameterMapper::mapBlock(const ParameterContext*, float* values, int count) const
{
    const float span = maximum - minimum;
    int i = 0;
    for (; i + 4 <= count; i += 4)
    {
        values[i] = minimum + values[i] * span;
        values[i + 1] = minimum + values[i + 1] * span;
        values[i + 2] = minimum + values[i + 2] * span;
        values[i + 3] = minimum + values[i + 3] * span;
    }
    for (; i < count; ++i)
        values[i] = minimum + values[i] * span;
}

void CurveMapper::map(const ParameterContext*, float& value) const
{
    if (!isBipolar())
    {
        value = minimum + std::pow(value, curve) * (maximum - minimum);
        return;
    }
    const float b = 2.0f * value - 1.0f;
    value = b >= 0.0f ? maximum * std::pow(b, curve) : minimum * std::pow(-b, curve);
}

void CurveMapper::unmap(const ParameterContext*, float& value) const
{
    const float inverse = 1.0f / curve;
    if (!isBipolar())
    {
        value = std::pow((value - minimum) / (maximum - minimum), inverse);
        return;
    }
    const float x = value >= 0.0f ? std::pow(value / maximum, inverse) : -std::pow(value / minimum, inverse);
    value = (x + 1.0f) * 0.5f;
}

void LogMapper::map(const ParameterContext*, float& value) const
{
    const double low = std::log(static_cast<double>(minimum) + offset);
    const double high = std::log(static_cast<double>(maximum) + offset);
    value = static_cast<float>(std::exp(value * (high - low) + low) - offset);
}

void LogMapper::unmap(const ParameterContext*, float& value) const
{
    const double low = std::log(static_cast<double>(minimum) + offset);
    const double high = std::log(static_cast<double>(maximum) + offset);
    value = static_cast<float>((std::log(static_cast<double>(value) + offset) - low) / (high - low));
}

void SyncLogMapper::map(const ParameterContext* context, float& value) const
{
    if (isSynced(context))
        value = SyncLinearParameterMapper::ratioAtPosition(value);
    else
        LogMapper::map(context, value);
}

void SyncLogMapper::unmap(const ParameterContext* context, float& value) const
{
    if (isSynced(context))
        value = SyncLinearParameterMapper::positionOfRatio(value);
    else
        LogMapper::unmap(context, value);
}

} // namespace qel
