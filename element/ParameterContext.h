#pragma once

namespace qel
{

// What a parameter's text rules and mappers ask of the element they belong to.
class ParameterContext
{
public:
    virtual ~ParameterContext() = default;
    // The element's own SyncToHost value.
    virtual bool isSyncedToHost() const = 0;
    // A proxy answers for the element it stands for.
    virtual const ParameterContext* standsFor() const { return this; }
};

inline bool isSynced(const ParameterContext* context) noexcept
{
    if (context == nullptr)
        return false;
    if (const auto* target = context->standsFor())
        return target->isSyncedToHost();
    return false;
}

} // namespace qel
