#include "support/failure.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

using namespace pelta;

TEST(Failure, CarriesItsLine) {
    try {
        fail("{}: byte {} is {}", "in.sgy", 3225, 77);
    } catch (const Failure& failure) { EXPECT_STREQ(failure.what(), "in.sgy: byte 3225 is 77"); }
    EXPECT_THROW(failUsage("--samples: {}", 0), UsageError);
}

TEST(OneLine, ReplacesControlCharactersOnly) {
    EXPECT_EQ(oneLine("a\nb\tc\x7F\x1B[1m"), "a?b?c??[1m");
    EXPECT_EQ(oneLine("Plöss {} ~"), "Plöss {} ~");
}

TEST(Warning, IsOneLineOnStandardError) {
    testing::internal::CaptureStderr();
    warn("in\n.sgy: 3 samples are NaN");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "pelta: warning: in?.sgy: 3 samples are NaN\n");
}

TEST(Warning, StaysWholeWhenSeveralThreadsWarn) {
    testing::internal::CaptureStderr();
    std::vector<std::thread> threads;
    for (int k = 0; k < 4; ++k)
        threads.emplace_back([] {
            for (int i = 0; i < 50; ++i) warn("abc");
        });
    for (std::thread& thread : threads) thread.join();
    std::string expected;
    for (int i = 0; i < 200; ++i) expected += "pelta: warning: abc\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), expected);
}
