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

} // namespace qel
