#pragma once

// The 64 rays of a packet in groups, each of which fills one vector of the type F. A lane mask has 64 bits, bit i for
// ray i. Has internal linkage, like everything that is compiled for several instruction sets.

#include <cstdint>

namespace rt {

namespace {

template <typename F>
struct LaneGroups {
    static constexpr unsigned W = F::WIDTH;
    static constexpr unsigned LANES = 64;
    static constexpr unsigned GROUPS = LANES / W;
    static constexpr uint64_t ALL = ~uint64_t{0};
    static constexpr uint64_t GROUP_MASK = (uint64_t{1} << W) - 1;
    static constexpr float INFINITE = __builtin_huge_valf();

    struct Interval {
        float fLow, fHigh;
    };

    static unsigned groupBits(uint64_t uMask, unsigned g) {
        return static_cast<unsigned>((uMask >> (g * W)) & GROUP_MASK);
    }
    static uint64_t lanesOf(unsigned uBits, unsigned g) { return uint64_t{uBits} << (g * W); }

    /// Calls visit(group, its lanes of uMask) for each group that has any.
    template <typename Visit>
    [[gnu::always_inline]] static void forEachGroup(uint64_t uMask, const Visit& visit) {
        if constexpr (GROUPS <= 4) {
            for (unsigned g = 0; g < GROUPS; ++g) {
                if (const unsigned uBits = groupBits(uMask, g)) visit(g, uBits);
            }
        } else {  // too many groups to test each
            while (uMask) {
                const unsigned g = static_cast<unsigned>(__builtin_ctzll(uMask)) / W;
                const unsigned uBits = groupBits(uMask, g);
                uMask &= ~(GROUP_MASK << (g * W));
                visit(g, uBits);
            }
        }
    }

    /// The least and the largest value of the lanes of uMask.
    template <typename Value>
    static Interval interval(uint64_t uMask, const Value& value) {
        F low = INFINITE, high = -INFINITE;
        if (uMask == ALL) {
            for (unsigned g = 0; g < GROUPS; ++g) {
                const F v = value(g);
                low = min(low, v);
                high = max(high, v);
            }
        } else {
            forEachGroup(uMask, [&](unsigned g, unsigned uBits) {
                const auto lanes = F::mask(uBits);
                const F v = value(g);
                low = min(low, select(lanes, v, low));
                high = max(high, select(lanes, v, high));
            });
        }
        return {smallest(low), largest(high)};
    }
};

}  // namespace

}  // namespace rt
