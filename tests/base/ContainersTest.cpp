// The growable and the aligned arrays.
#include <gtest/gtest.h>

#include "base/NArrays.h"

namespace {

TEST(Arrays, GrowByTheirStepOrDropTheElement) {
    for (const uint32_t uStep : {4u, 0u}) {
        Velk::NAlignedDataVector<uint64_t> v;
        ASSERT_FALSE(v.create(4, uStep, 32));
        for (uint32_t u = 0; u < 100; ++u) {
            ASSERT_EQ(v.PushBack(u < 4 ? u : v[u % 4] + u / 4 * 4), !uStep && u >= 4);
            ASSERT_EQ(v.uCapacity, uStep ? (u / 4 + 1) * 4 : 4);
        }
        for (uint32_t u = 0; u < v.uSize; ++u) ASSERT_EQ(v[u], u);
    }
    Velk::NAlignedArray<char[1 << 20]> beyondMemory;
    EXPECT_TRUE(beyondMemory.allocate(0xFFFFFFFFu, 16));
    EXPECT_FALSE(beyondMemory.pData || beyondMemory.uCount || beyondMemory.uAlignment);
}

}  // namespace
