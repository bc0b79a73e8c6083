#include "segy/trace.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <random>

#include "support/bits.h"
#include "support/segyfiles.h"

using namespace pelta::segy;

namespace {

constexpr SampleFormat allFormats[] = {SampleFormat::ibm, SampleFormat::int32, SampleFormat::int16, SampleFormat::ieee,
                                       SampleFormat::int8};
constexpr ByteOrder bothOrders[] = {ByteOrder::big, ByteOrder::little};

Layout layoutWith(SampleFormat format, ByteOrder order) {
    Layout layout;
    layout.format = format;
    layout.byteOrder = order;
    return layout;
}

Trace traceOf(const std::string& bytes) {
    Trace trace;
    trace.encoded.assign(bytes.begin(), bytes.end());
    return trace;
}

std::vector<float> encodedAndDecoded(const std::vector<float>& samples, const Layout& layout, std::int64_t& clipped) {
    Trace trace;
    trace.samples = samples;
    trace.samplesChanged = true;
    clipped = encode(trace, layout);
    trace.samples.clear();
    decode(trace, layout);
    return trace.samples;
}

}

TEST(Trace, DecodesEveryFormatInBothByteOrders) {
    for (const SampleFormat format : allFormats)
        for (const ByteOrder order : bothOrders) {
            const int size = bytesPerSample(format), count = 100;
            std::string bytes(static_cast<std::size_t>(size * count), '\0');
            for (int k = 0; k < count; ++k)
                putWord(bytes, static_cast<std::size_t>(1 + k * size), size,
                        sampleBits(static_cast<int>(format), madeSample(3, k)), order == ByteOrder::little);
            Trace trace = traceOf(bytes);
            decode(trace, layoutWith(format, order));
            ASSERT_EQ(trace.samples.size(), 100u);
            for (int k = 0; k < count; ++k) EXPECT_EQ(trace.samples[static_cast<std::size_t>(k)], madeSample(3, k));
        }
}

TEST(Trace, DecodesTheLimitsOfIntegers) {
    Trace trace = traceOf({"\x80\x00\x7F\xFF\xFF\xFF", 6});
    decode(trace, layoutWith(SampleFormat::int16, ByteOrder::big));
    EXPECT_EQ(trace.samples, (std::vector<float>{-32768, 32767, -1}));
    trace = traceOf("\x80\x7F\xFF");
    decode(trace, layoutWith(SampleFormat::int8, ByteOrder::big));
    EXPECT_EQ(trace.samples, (std::vector<float>{-128, 127, -1}));
    trace = traceOf({"\x80\x00\x00\x00\x7F\xFF\xFF\xFF", 8});
    decode(trace, layoutWith(SampleFormat::int32, ByteOrder::big));
    EXPECT_EQ(trace.samples, (std::vector<float>{-2147483648.0f, 2147483648.0f}));
}

TEST(Trace, ReturnsToTheSameBytesWhenRewritten) {
    std::mt19937 engine(5);
    for (const SampleFormat format : allFormats)
        for (const ByteOrder order : bothOrders) {
            const int size = bytesPerSample(format), count = 9000;
            std::string bytes(static_cast<std::size_t>(size * count), '\0');
            for (int k = 0; k < count; ++k) {
                const int value = static_cast<int>(engine() % 250) - 125;
                putWord(bytes, static_cast<std::size_t>(1 + k * size), size, sampleBits(static_cast<int>(format), value),
                        order == ByteOrder::little);
            }
            Trace trace = traceOf(bytes);
            const Layout layout = layoutWith(format, order);
            const std::vector<unsigned char> before = trace.encoded;
            decode(trace, layout);
            trace.samplesChanged = true;
            EXPECT_EQ(encode(trace, layout), 0);
            EXPECT_EQ(trace.encoded, before);
        }
}

TEST(Trace, KeepsItsBytesWhenNothingChanged) {
    Trace trace = traceOf({"\x41\x00\x00\x00\xFF\xFF\xFF\xFF", 8});
    const std::vector<unsigned char> before = trace.encoded;
    const Layout layout = layoutWith(SampleFormat::ibm, ByteOrder::big);
    decode(trace, layout);
    trace.samples = {1.0f, 2.0f};
    EXPECT_EQ(encode(trace, layout), 0);
    EXPECT_EQ(trace.encoded, before);
}

TEST(Trace, RoundsToTheNearestIntegerAndHalvesToTheEvenOne) {
    std::int64_t clipped;
    const std::vector<float> samples = {0.5f, 1.5f, -0.5f, -1.5f, -2.5f, 2.49999f, 126.5f, -128.4f};
    for (const SampleFormat format : {SampleFormat::int8, SampleFormat::int16, SampleFormat::int32})
        for (const ByteOrder order : bothOrders) {
            EXPECT_EQ(encodedAndDecoded(samples, layoutWith(format, order), clipped),
                      (std::vector<float>{0, 2, 0, -2, -2, 2, 126, -128}));
            EXPECT_EQ(clipped, 0);
        }
}

TEST(Trace, RoundsAsTheCLibraryDoes) {
    std::mt19937 engine(6);
    std::vector<float> samples(20000);
    for (float& sample : samples) sample = static_cast<float>(static_cast<std::int32_t>(engine())) / 65536.0f;
    std::int64_t clipped;
    const auto rounded = encodedAndDecoded(samples, layoutWith(SampleFormat::int32, ByteOrder::big), clipped);
    for (std::size_t k = 0; k < samples.size(); ++k) ASSERT_EQ(rounded[k], std::nearbyint(samples[k]));
}

TEST(Trace, ClipsIntegersAndCountsWhatDidNotFit) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const std::vector<float> samples = {1e30f, -1e30f, infinity, -infinity, std::nanf(""), 5.0f};
    std::int64_t clipped;
    EXPECT_EQ(encodedAndDecoded(samples, layoutWith(SampleFormat::int8, ByteOrder::big), clipped),
              (std::vector<float>{127, -128, 127, -128, 0, 5}));
    EXPECT_EQ(clipped, 5);
    EXPECT_EQ(encodedAndDecoded(samples, layoutWith(SampleFormat::int16, ByteOrder::little), clipped),
              (std::vector<float>{32767, -32768, 32767, -32768, 0, 5}));
    EXPECT_EQ(clipped, 5);
    EXPECT_EQ(encodedAndDecoded(samples, layoutWith(SampleFormat::int32, ByteOrder::big), clipped),
              (std::vector<float>{2147483648.0f, -2147483648.0f, 2147483648.0f, -2147483648.0f, 0, 5}));
    EXPECT_EQ(clipped, 5);
    EXPECT_EQ(encodedAndDecoded({32767.5f, 127.5f, -128.5f}, layoutWith(SampleFormat::int16, ByteOrder::big), clipped),
              (std::vector<float>{32767, 128, -128}));
    EXPECT_EQ(clipped, 1);
}

TEST(Trace, CountsWhatIbmFloatsCannotHold) {
    std::int64_t clipped;
    const std::vector<float> samples = {FLT_MAX, -1.0f, std::nanf(""), std::numeric_limits<float>::infinity()};
    encodedAndDecoded(samples, layoutWith(SampleFormat::ibm, ByteOrder::big), clipped);
    EXPECT_EQ(clipped, 2);
}

TEST(Trace, KeepsEveryBitOfIeeeFloats) {
    std::mt19937 engine(7);
    std::vector<float> samples(10000);
    for (float& sample : samples) sample = floatFromBits(static_cast<std::uint32_t>(engine()));
    for (const ByteOrder order : bothOrders) {
        std::int64_t clipped;
        EXPECT_TRUE(sameSamples(encodedAndDecoded(samples, layoutWith(SampleFormat::ieee, order), clipped), samples));
        EXPECT_EQ(clipped, 0);
    }
}

TEST(Trace, WithoutSamplesIsNothingToConvert) {
    for (const SampleFormat format : allFormats) {
        Trace trace;
        trace.samplesChanged = true;
        decode(trace, layoutWith(format, ByteOrder::big));
        EXPECT_EQ(encode(trace, layoutWith(format, ByteOrder::big)), 0);
        EXPECT_TRUE(trace.samples.empty() && trace.encoded.empty());
    }
}

TEST(TraceFacts, ApplyTheirScalars) {
    for (const bool isLittle : {false, true}) {
        std::string header(240, '\0');
        const auto put = [&](std::size_t place, int size, std::int64_t value) {
            putWord(header, place, size, value, isLittle);
        };
        put(9, 4, 11);
        put(13, 4, 12);
        put(21, 4, 13);
        put(29, 2, 2);
        put(37, 4, -262);
        put(41, 4, 2550);
        put(45, 4, -15);
        put(69, 2, -100);
        put(71, 2, 10);
        put(73, 4, 100);
        put(77, 4, -101);
        put(81, 4, 102);
        put(85, 4, 103);
        put(109, 2, -125);
        put(181, 4, 104);
        put(185, 4, 105);
        put(215, 2, -10);
        Trace trace;
        trace.header.assign(header.begin(), header.end());
        const TraceFacts facts =
            readFacts(trace, layoutWith(SampleFormat::ieee, isLittle ? ByteOrder::little : ByteOrder::big));
        EXPECT_EQ(facts.record, 11);
        EXPECT_EQ(facts.channel, 12);
        EXPECT_EQ(facts.cdp, 13);
        EXPECT_EQ(facts.traceType, 2);
        EXPECT_EQ(facts.offset, -262.0);
        EXPECT_EQ(facts.receiverElevation, 25.5);
        EXPECT_EQ(facts.sourceElevation, -0.15);
        EXPECT_EQ(facts.sourceX, 1000.0);
        EXPECT_EQ(facts.sourceY, -1010.0);
        EXPECT_EQ(facts.receiverX, 1020.0);
        EXPECT_EQ(facts.receiverY, 1030.0);
        EXPECT_EQ(facts.cdpX, 1040.0);
        EXPECT_EQ(facts.cdpY, 1050.0);
        EXPECT_EQ(facts.delayMs, -12.5);
    }
}

TEST(TraceFacts, FollowTheMap) {
    std::string header(240, '\0');
    putWord(header, 181, 4, 775);
    putWord(header, 233, 8, 123456789012);
    Trace trace;
    trace.header.assign(header.begin(), header.end());
    Layout layout;
    layout.words.remap("offset=181:4,record=233:8");
    EXPECT_EQ(readFacts(trace, layout).offset, 775.0);
    EXPECT_EQ(readFacts(trace, layout).record, 123456789012);
}
