#pragma once

#include "tape/dsp/Lanes.h"

namespace qel
{

// A residual over its denominator: the search divides once per pass.
template <typename T>
struct Residual
{
    T r, D;
};

template <typename T>
struct SearchResult
{
    T solution, lastProbe;
};

// The companders' Newton search with a numerical derivative, lanes in
// lockstep: from start, up to limit passes, each lane until its step is
// within the tolerance; a lane that has stopped discards the passes the
// others still make. residual(x) gives a Residual<T>. The last probe each
// lane evaluated is what its state commits.
struct LockstepSearch
{
    static constexpr double tolerance = 1e-6;
    static constexpr double probe = 1e-6;
    static constexpr double tiny = 1e-16;

    template <typename T, typename ResidualOf>
    QEL_ALWAYS_INLINE static SearchResult<T> run(T start, int limit, ResidualOf&& residual) noexcept
    {
        T x = start;
        T lastProbe = start;
        auto active = T {} == T {};
        for (int pass = 0; pass < limit; ++pass)
        {
            const T probed = x + probe;
            const Residual<T> a = residual(x), b = residual(probed);
            // r_a / ((r_b - r_a) / probe + tiny), over one division.
            const T step = a.r * b.D / ((b.r * a.D - a.r * b.D) * (1.0 / probe) + tiny * (a.D * b.D));
            x = select(active, x - step, x);
            lastProbe = select(active, probed, lastProbe);
            active = active & (absOf(step) > tolerance);
            if (!anyLane(active))
                break;
        }
        return { x, lastProbe };
    }
};

} // namespace qel
