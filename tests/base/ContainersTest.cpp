#include <gtest/gtest.h>

#include "base/NAlignedArray.h"
#include "base/NAlignedDataVector.h"
#include "base/NDataVector.h"

namespace {

bool create(Velk::NDataVector<uint64_t>& v, uint32_t uStep) {
    return v.create(4, uStep);
}
bool create(Velk::NAlignedDataVector<uint64_t>& v, uint32_t uStep) {
    return v.create(4, uStep, 32);
}

template <typename T>
class GrowableArray : public testing::Test {};
using Arrays = testing::Types<Velk::NDataVector<uint64_t>, Velk::NAlignedDataVector<uint64_t>>;
TYPED_TEST_SUITE(GrowableArray, Arrays, );  // the empty argument keeps Clang content

TYPED_TEST(GrowableArray, GrowsByItsStepOrDropsTheElement) {
    for (const uint32_t uStep : {4u, 0u}) {
        TypeParam v;
        ASSERT_FALSE(create(v, uStep));
        for (uint32_t u = 0; u < 100; ++u) {
            ASSERT_EQ(v.PushBack(u < 4 ? u : v[u - 4] + 4), !uStep && u >= 4);
            ASSERT_EQ(v.uCapacity, uStep ? (u / 4 + 1) * 4 : 4);
            if (v.uSize <= u) break;
        }
        for (uint32_t u = 0; u < v.uSize; ++u) ASSERT_EQ(v[u], u);
        for (int i = 0; i < 2; ++i) v.Release();
        EXPECT_TRUE(!v.pData && !v.uSize && !v.uCapacity && v.uGrowBy == uStep);
    }
}

TEST(AlignedArrays, AreAlignedOrStayAsTheyWere) {
    struct Large {
        char c[1 << 20];
    };
    Velk::NAlignedArray<Large> v;
    EXPECT_TRUE(v.allocate(0xFFFFFFFFu, 16)) << "beyond any memory";
    EXPECT_TRUE(!v.pData && !v.uCount && !v.uAlignment);
    ASSERT_FALSE(v.allocate(2, 4096));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(v.pData) % 4096, 0u);
    v.Release();
    EXPECT_TRUE(!v.pData && !v.uCount);
}

}  // namespace
