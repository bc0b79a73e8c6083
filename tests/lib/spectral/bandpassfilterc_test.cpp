#include <gtest/gtest.h>
#include <pelta/bandpassfilter.h>

#include <memory>
#include <vector>

#include "support/bits.h"
#include "support/signals.h"

namespace {

TEST(FlatBandPassFilter, LeavesTheDataAloneBeforeThereIsAFilter) {
    ASSERT_EQ(bandpassfilter, nullptr);
    std::vector<float> trace = randomTrace(50, 1);
    const std::vector<float> before = trace;
    EXPECT_EQ(applyBandPassFilter(trace.data(), 50), 0);
    EXPECT_TRUE(sameSamples(trace, before));
}

/* Kept on purpose: low cut, low pass, high pass, high cut, whatever the declaration names them. */
TEST(FlatBandPassFilter, TakesItsFrequenciesByPosition) {
    EXPECT_EQ(bandPassFilter(0, 0, 0, 0.01f, 5, 10, 60, 80, 300, 2.0f), 0);
    const std::unique_ptr<BandPassFilter> made(bandpassfilter);
    EXPECT_EQ(made->_lc, 5);
    EXPECT_EQ(made->_lp, 10);
    EXPECT_EQ(made->_hp, 60);
    EXPECT_EQ(made->_hc, 80);
    EXPECT_EQ(made->_nsample, 300);
    EXPECT_EQ(made->_sRate, 2.0f);
    bandpassfilter = nullptr;
}

TEST(FlatBandPassFilter, FiltersLikeTheClass) {
    EXPECT_EQ(bandPassFilter(1, 0, 1, 0.02f, 18, 10, 60, 36, 300, 2.0f), 0);
    const std::unique_ptr<BandPassFilter> made(bandpassfilter);
    BandPassFilter same(1, 0, 1, 0.02f, 18, 10, 60, 36, 300, 2.0f);
    std::vector<float> trace = randomTrace(300, 2), expected = trace;
    EXPECT_EQ(applyBandPassFilter(trace.data(), 300), 0);
    same.applyFilter(expected.data(), 300);
    EXPECT_TRUE(sameSamples(trace, expected));
    bandpassfilter = nullptr;
}

/* Kept on purpose: the caller may still hold the filter before. */
TEST(FlatBandPassFilter, LeavesTheFilterBeforeToItsHolder) {
    bandPassFilter(0, 0, 0, 0.01f, 5, 10, 60, 80, 300, 2.0f);
    const std::unique_ptr<BandPassFilter> first(bandpassfilter);
    bandPassFilter(0, 0, 0, 0.01f, 5, 10, 60, 80, 100, 4.0f);
    const std::unique_ptr<BandPassFilter> second(bandpassfilter);
    EXPECT_NE(first, second);
    EXPECT_EQ(first->_nsample, 300);
    std::vector<float> trace = randomTrace(300, 3);
    EXPECT_EQ(first->applyFilter(trace.data(), 300), 0);
    bandpassfilter = nullptr;
}

}
