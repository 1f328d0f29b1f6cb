#pragma once

#include <gtest/gtest.h>

#include "accel/build/BuildKernel.h"

/// A test of the loops of the tree's construction, once for each kernel: its parameter is the number of lanes.
class BuildKernelTest : public testing::TestWithParam<unsigned> {
 protected:
    void SetUp() override {
        if (GetParam() == 8) pKernel = &BuildKernel::fastest();
        if (GetParam() == 8 && pKernel == &g_buildKernel4) GTEST_SKIP() << "no eight lanes on this machine";
    }

    const BuildKernel* pKernel = &g_buildKernel4;
};
