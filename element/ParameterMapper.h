#pragma once

#include "element/ParameterContext.h"

#include <memory>

namespace qel
{

// Between a normalised position 0..1 (a slider, host automation) and a value.
class ParameterMapper
{
public:
    virtual ~ParameterMapper() = default;
    virtual void mapBlock(const ParameterContext* context, float* values, int count) const
    {
        for (int i = 0; i < count; ++i)
            map(context, values[i]);
    }
    // Position to value, in place.
    virtual void map(const ParameterContext* context, float& value) const = 0;
    // Value to position, in place.
    virtual void unmap(const ParameterContext* context, float& value) const = 0;
    virtual std::unique_ptr<ParameterMapper> clone() const = 0;
};

class LinearParameterMapper : public ParameterMapper
{
public:
    LinearParameterMapper(float minimum, float maximum) : minimum(minimum), maximum(maximum) {}
    void mapBlock(const ParameterContext* context, float* values, int count) const override;
    void map(const ParameterContext*, float& value) const override { value = minimum + value * (maximum - minimum); }
    void unmap(const ParameterContext*, float& value) const override { value = (value - minimum) / (maximum - minimum); }
    std::unique_ptr<ParameterMapper> clone() const override { return std::make_unique<LinearParameterMapper>(*this); }

protected:
    float minimum, maximum;
};

// Linear while free; when synchronised, 30 positions for the beat divisions.
class SyncLinearParameterMapper : public LinearParameterMapper
{
public:
    using LinearParameterMapper::LinearParameterMapper;
    void map(const ParameterContext* context, float& value) const override;
    void unmap(const ParameterContext* context, float& value) const override;
    std::unique_ptr<ParameterMapper> clone() const override { return std::make_unique<SyncLinearParameterMapper>(*this); }

    static float ratioAtPosition(float position) noexcept;
    static float positionOfRatio(float ratio) noexcept;
};

// Power curve c; bipolar when minimum is -maximum, with the curve on each side of the centre.
class CurveMapper : public ParameterMapper
{
public:
    CurveMapper(float curve, float minimum, float maximum) : curve(curve), minimum(minimum), maximum(maximum) {}
    void map(const ParameterContext* context, float& value) const override;
    void unmap(const ParameterContext* context, float& value) const override;
    std::unique_ptr<ParameterMapper> clone() const override { return std::make_unique<CurveMapper>(*this); }
    bool isBipolar() const noexcept { return minimum == -maximum; }

private:
    float curve, minimum, maximum;
};

// Logarithmic between minimum and maximum, shifted by an offset; in double.
class LogMapper : public ParameterMapper
{
public:
    LogMapper(float minimum, float maximum, float offset = 0.0f) : minimum(minimum), maximum(maximum), offset(offset) {}
    void map(const ParameterContext* context, float& value) const override;
    void unmap(const ParameterContext* context, float& value) const override;
    std::unique_ptr<ParameterMapper> clone() const override { return std::make_unique<LogMapper>(*this); }

protected:
    float minimum, maximum, offset;
};

// Logarithmic while free; the beat divisions when synchronised.
class SyncLogMapper : public LogMapper
{
public:
    using LogMapper::LogMapper;
    void map(const ParameterContext* context, float& value) const override;
    void unmap(const ParameterContext* context, float& value) const override;
    std::unique_ptr<ParameterMapper> clone() const override { return std::make_unique<SyncLogMapper>(*this); }
};

} // namespace qel
