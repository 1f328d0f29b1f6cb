// Functions of angles against the C library, where that is of the kind that their bits come from.
#include "base/maths/Angles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace {

uint32_t bitsOf(float f) {
    uint32_t u;
    memcpy(&u, &f, sizeof(u));
    return std::isnan(f) ? 0x7FC00000u : u;
}

// On x86 all floats were compared once, against glibc 2.36 with and without fused operations: the fused sine and cosine
// differ for 34. Tangent and arc cosine are others in glibc for 32-bit x86 and for ARM.
TEST(AnglesTest, GivesTheBitsOfGlibc) {
#ifdef __GLIBC__
    for (uint64_t uBits = 0; uBits < uint64_t{1} << 32; uBits += 60013) {
        const uint32_t u = static_cast<uint32_t>(uBits);
        volatile float fAngle;  // or the compiler calculates
        memcpy(const_cast<float*>(&fAngle), &u, sizeof(u));
        SCOPED_TRACE(u);
        ASSERT_EQ(bitsOf(Velk::sine(fAngle)), bitsOf(sinf(fAngle)));
        ASSERT_EQ(bitsOf(Velk::cosine(fAngle)), bitsOf(cosf(fAngle)));
#ifdef __x86_64__
        ASSERT_EQ(bitsOf(Velk::tangent(fAngle)), bitsOf(tanf(fAngle)));
        ASSERT_EQ(bitsOf(Velk::arcCosine(fAngle)), bitsOf(acosf(fAngle)));
#endif
    }
#endif
}

TEST(AnglesTest, GivesTheSameBitsEverywhere) {
    uint32_t uSum = 2166136261u;
    for (uint64_t uBits = 0; uBits < uint64_t{1} << 32; uBits += 60013) {
        const uint32_t u = static_cast<uint32_t>(uBits);
        float f;
        memcpy(&f, &u, sizeof(u));
        for (const auto& function : {Velk::sine, Velk::cosine, Velk::tangent, Velk::arcCosine}) {
            uSum = (uSum ^ bitsOf(function(f))) * 16777619u;
        }
    }
    EXPECT_EQ(uSum, 1557088716u);
}

}  // namespace
