#pragma once

#include "element/ParameterInfo.h"
#include "element/ParameterRegistry.h"

#include <memory>

namespace qel
{

namespace detail
{
template <typename Member>
struct FieldOf;

template <typename Class, typename Value>
struct FieldOf<Value Class::*>
{
    using Target = Class;
    using Type = Value;
};
} // namespace detail

// A binding that reads and writes one field of its target: the element for
// element-level parameters, a state otherwise. The description is the
// registered one of that identifier.
template <auto Field>
std::unique_ptr<ParameterInfo<typename detail::FieldOf<decltype(Field)>::Type>> bindField(uint32_t id)
{
    using Target = typename detail::FieldOf<decltype(Field)>::Target;
    using T = typename detail::FieldOf<decltype(Field)>::Type;
    return std::make_unique<ParameterInfo<T>>(
        &ParameterRegistry::get().description<T>(id),
        [](const void* target, const uint16_t*) { return static_cast<const Target*>(target)->*Field; },
        [](void* target, const uint16_t*, T value) { static_cast<Target*>(target)->*Field = value; });
}

} // namespace qel
