// The growable and the aligned arrays.
#include <gtest/gtest.h>

#include "base/NArrays.h"

namespace {

template <typename Array, typename... Alignment>
void expectGrowth(Alignment... alignment) {
    for (const uint32_t uStep : {4u, 0u}) {
        Array v;
        ASSERT_FALSE(v.create(4, uStep, alignment...));
        for (uint32_t u = 0; u < 100; ++u) {
            ASSERT_EQ(v.PushBack(u < 4 ? u : v[u - 4] + 4), !uStep && u >= 4);
            ASSERT_EQ(v.uCapacity, uStep ? (u / 4 + 1) * 4 : 4);
            if (v.uSize <= u) break;
        }
        for (uint32_t u = 0; u < v.uSize; ++u) ASSERT_EQ(v[u], u);
        for (int i = 0; i < 2; ++i) v.Release();
        EXPECT_EQ(v.pData, nullptr);
        EXPECT_EQ(v.uSize + v.uCapacity, 0u);
        EXPECT_EQ(v.uGrowBy, uStep);
    }
}

TEST(GrowableArrays, GrowByTheirStepOrDropTheElement) {
    expectGrowth<Velk::NDataVector<uint64_t>>();
    expectGrowth<Velk::NAlignedDataVector<uint64_t>>(32u);
}

TEST(AlignedArrays, AreAlignedOrStayAsTheyWere) {
    struct Large {
        char c[1 << 20];
    };
    Velk::NAlignedArray<Large> v;
    EXPECT_TRUE(v.allocate(0xFFFFFFFFu, 16)) << "beyond any memory";
    EXPECT_FALSE(v.pData);
    EXPECT_FALSE(v.uCount);
    EXPECT_FALSE(v.uAlignment);
    ASSERT_FALSE(v.allocate(2, 4096));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(v.pData) % 4096, 0u);
    v.Release();
    EXPECT_FALSE(v.pData);
    EXPECT_FALSE(v.uCount);
}

}  // namespace
