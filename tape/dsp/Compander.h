#pragma once

#include "tape/dsp/Lanes.h"
#include "tape/dsp/TypeACompander.h"
#include "tape/dsp/TypeBCompander.h"

#include <array>

namespace qel
{

// One compander of each of several decks as the lanes of one state through
// a slice, lane k for deck k. The decks of an instance share their sample
// rate, so the first one's constants serve all.
template <typename Compander, typename T>
struct CompanderLanes
{
    static constexpr size_t N = laneCount<T>;
    std::array<Compander*, N> each;
    typename Compander::template State<T> lanes = zipLanes<Compander::template State, T>(states(each));
    const Compander& first = *each[0];
    const int passLimit = each[0]->passLimit;

    explicit CompanderLanes(const std::array<Compander*, N>& companders) noexcept : each(companders) {}

    // Hands the state back to the companders.
    void store() noexcept
    {
        std::array<typename Compander::template State<double>*, N> s;
        for (size_t k = 0; k < N; ++k)
            s[k] = &each[k]->state;
        unzipLanes<Compander::template State>(lanes, s);
    }

private:
    static std::array<const typename Compander::template State<double>*, N>
    states(const std::array<Compander*, N>& companders) noexcept
    {
        std::array<const typename Compander::template State<double>*, N> s;
        for (size_t k = 0; k < N; ++k)
            s[k] = &companders[k]->state;
        return s;
    }
};

} // namespace qel
