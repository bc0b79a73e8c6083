#include "segy/layout.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>

#include "segy/textheader.h"
#include "support/complaint.h"
#include "support/failure.h"
#include "support/segyfiles.h"

using namespace pelta;
using namespace pelta::segy;

namespace {

enum class Seen { withSize, asPipe };

struct Found {
    Layout layout;
    std::vector<std::string> warnings;
    std::string failure, usageError;
};

Found layoutOf(const std::string& file, const Overrides& overrides = {}, Seen seen = Seen::withSize) {
    const Look look = [&](std::int64_t position, std::size_t count) -> const unsigned char* {
        const auto size = static_cast<std::int64_t>(file.size());
        if (position < 0 || position > size || static_cast<std::int64_t>(count) > size - position) return nullptr;
        return reinterpret_cast<const unsigned char*>(file.data()) + position;
    };
    Found found;
    try {
        const auto size = seen == Seen::withSize ? std::optional<std::int64_t>(file.size()) : std::nullopt;
        found.layout = readLayout(look, size, overrides, "in.sgy", found.warnings);
    } catch (const Failure& failure) { found.failure = failure.what(); } catch (const UsageError& error) {
        found.usageError = error.what();
    }
    return found;
}

Overrides withFormat(SampleFormat format) {
    Overrides overrides;
    overrides.format = format;
    return overrides;
}

constexpr int twoExtendedHeaders = 2;
std::string extendedHeaders(bool isAscii, std::string_view last = "") {
    std::string text;
    for (int k = 0; k < twoExtendedHeaders; ++k)
        text += textBlock(isAscii, k == twoExtendedHeaders - 1 ? last : "((SEG: Layout))");
    return text;
}

}

TEST(Layout, IsFoundForEveryFormatAndByteOrder) {
    for (const int format : {1, 2, 3, 5, 8})
        for (const bool isLittle : {false, true}) {
            const std::string file = makeSegy({.samples = 75, .format = format, .isLittle = isLittle, .isAscii = isLittle});
            for (const Seen seen : {Seen::withSize, Seen::asPipe}) {
                const Found found = layoutOf(file, {}, seen);
                ASSERT_EQ(found.failure, "");
                EXPECT_TRUE(found.warnings.empty()) << found.warnings.front();
                EXPECT_EQ(found.layout.format, static_cast<SampleFormat>(format));
                EXPECT_EQ(found.layout.byteOrder, isLittle ? ByteOrder::little : ByteOrder::big);
                EXPECT_EQ(found.layout.textEncoding, isLittle ? TextEncoding::ascii : TextEncoding::ebcdic);
                EXPECT_EQ(found.layout.sampleCount, 75);
                EXPECT_EQ(found.layout.intervalMs, 4.0);
                EXPECT_EQ(found.layout.firstTraceByte, 3600);
                EXPECT_FALSE(found.layout.isFeet);
            }
        }
}

TEST(Layout, CountsSamplesWithoutSign) {
    const Found found = layoutOf(makeSegy({.traces = 2, .samples = 65535, .intervalUs = 40000, .format = 8}));
    EXPECT_EQ(found.layout.sampleCount, 65535);
    EXPECT_EQ(found.layout.intervalMs, 40.0);
}

TEST(Layout, TellsFeetFromMetres) {
    std::string file = makeSegy({});
    EXPECT_EQ(layoutOf(file).layout.metresPerUnit(), 1.0);
    putWord(file, 3255, 2, 2);
    EXPECT_EQ(layoutOf(file).layout.metresPerUnit(), 0.3048);
    putWord(file, 3255, 2, 7);
    EXPECT_FALSE(layoutOf(file).layout.isFeet);
    EXPECT_EQ(layoutOf(file).warnings.front(),
              "in.sgy: unit of lengths at byte 3255 is 7, expected 1 (metres) or 2 (feet); metres are taken");
}

TEST(Layout, TakesTheByteOrderFromItsConstant) {
    for (const bool isLittle : {false, true}) {
        std::string file = makeSegy({.format = 3, .isLittle = isLittle});
        putWord(file, 3297, 4, 16909060, isLittle);
        putWord(file, 3225, 2, 77, isLittle);
        EXPECT_EQ(layoutOf(file, withFormat(SampleFormat::int16)).layout.byteOrder,
                  isLittle ? ByteOrder::little : ByteOrder::big);
    }
}

TEST(Layout, FindsTheByteOrderWithoutAFormatWordByTheSizeOfTheFile) {
    for (const bool isLittle : {false, true}) {
        std::string file = makeSegy({.samples = 75, .format = 3, .isLittle = isLittle});
        putWord(file, 3225, 2, 0, isLittle);
        const Found found = layoutOf(file, withFormat(SampleFormat::int16));
        EXPECT_EQ(found.layout.byteOrder, isLittle ? ByteOrder::little : ByteOrder::big);
        EXPECT_EQ(found.layout.sampleCount, 75);
    }
}

TEST(Layout, RefusesUnknownFormatsByNameOfTheWord) {
    std::string file = makeSegy({});
    for (const int code : {0, 4, 6, 7, 12, 77, -1}) {
        putWord(file, 3225, 2, code);
        EXPECT_EQ(layoutOf(file).failure, "in.sgy: sample format at byte 3225 is " + std::to_string(code) +
                                              ", expected 1 (ibm), 2 (int32), 3 (int16), 5 (ieee) or 8 (int8); --format "
                                              "overrides it");
    }
    EXPECT_EQ(layoutOf(file, withFormat(SampleFormat::ieee)).failure, "");
}

TEST(Layout, LetsTheUserSayOtherwise) {
    Overrides overrides;
    overrides.samples = 4;
    overrides.intervalMs = 0.125;
    overrides.format = SampleFormat::int16;
    overrides.byteOrder = ByteOrder::little;
    overrides.words.remap("offset=181:4");
    const Layout layout = layoutOf(makeSegy({}), overrides).layout;
    EXPECT_EQ(layout.sampleCount, 4);
    EXPECT_EQ(layout.intervalMs, 0.125);
    EXPECT_EQ(layout.format, SampleFormat::int16);
    EXPECT_EQ(layout.byteOrder, ByteOrder::little);
    EXPECT_EQ(layout.words.find("offset"), (HeaderWord{181, 4}));
}

TEST(Layout, RefusesOverridesThatCannotBe) {
    Overrides overrides;
    overrides.samples = 3000000000;
    EXPECT_EQ(layoutOf(makeSegy({}), overrides).usageError, "--samples: 3000000000 lies outside 1 .. 2147483647");
    overrides.samples = {};
    for (const double interval : {0.0, -1.0, std::numeric_limits<double>::infinity(), std::nan("")}) {
        overrides.intervalMs = interval;
        EXPECT_EQ(layoutOf(makeSegy({}), overrides).usageError,
                  fmt::format("--interval: {} ms lies outside 1e-06 .. 1000000", interval));
    }
}

TEST(Layout, OverrulesASampleCountThatDoesNotFitTheFile) {
    std::string file = makeSegy({.samples = 60});
    putWord(file, 3221, 2, 150);
    const Found found = layoutOf(file);
    EXPECT_EQ(found.layout.sampleCount, 60);
    ASSERT_EQ(found.warnings.size(), 1u);
    EXPECT_EQ(
        found.warnings.front(),
        "in.sgy: sample count at byte 3221 is 150; 60 at byte 3715 is taken, which fits the file, --samples overrides it");
}

TEST(Layout, BelievesTheBinaryHeaderOnAPipe) {
    std::string file = makeSegy({.samples = 60});
    putWord(file, 3715, 2, 150);
    const Found found = layoutOf(file, {}, Seen::asPipe);
    EXPECT_EQ(found.layout.sampleCount, 60);
    EXPECT_EQ(found.warnings.front(),
              "in.sgy: sample count at byte 3715 is 150; 60 at byte 3221 is taken, --samples overrides it");
}

/* Of 60 samples (480 bytes a trace), cut off where whole traces of 150 samples (840 bytes) happen to end. */
TEST(Layout, IsNotMisledByACutWhereAWrongCountFits) {
    const SegyRecipe recipe{.traces = 12, .samples = 60};
    std::string file = makeSegy(recipe);
    for (int t = 0; t < recipe.traces; ++t) putWord(file, recipe.placeInTrace(t, 115), 2, 150);
    for (const std::size_t wrongTraces : {1u, 2u, 3u, 5u}) {
        const std::string cut = file.substr(0, 3600 + 840 * wrongTraces);
        EXPECT_EQ(layoutOf(cut).layout.sampleCount, 60) << wrongTraces;
    }
}

TEST(Layout, TakesTheFirstTracesWordsWhereTheBinaryHeaderHasNone) {
    std::string file = makeSegy({});
    putWord(file, 3217, 2, 0);
    putWord(file, 3221, 2, 0);
    for (const Seen seen : {Seen::withSize, Seen::asPipe}) {
        const Found found = layoutOf(file, {}, seen);
        EXPECT_EQ(found.layout.sampleCount, 8);
        EXPECT_EQ(found.layout.intervalMs, 4.0);
        EXPECT_EQ(found.warnings,
                  (std::vector<std::string>{
                      "in.sgy: sample count at byte 3221 is 0; 8 at byte 3715 is taken, --samples overrides it",
                      "in.sgy: sample interval at byte 3217 is 0; 4 ms at byte 3717 is taken, --interval overrides it"}));
    }
}

TEST(Layout, FailsWithoutAnySampleCountOrInterval) {
    std::string file = makeSegy({});
    putWord(file, 3217, 2, 0);
    putWord(file, 3717, 2, 0);
    EXPECT_EQ(layoutOf(file).failure,
              "in.sgy: sample interval at byte 3217 is 0, and so is the first trace's at byte 3717, expected microseconds; "
              "--interval gives it");
    putWord(file, 3221, 2, 0);
    putWord(file, 3715, 2, 0);
    EXPECT_EQ(layoutOf(file).failure,
              "in.sgy: sample count at byte 3221 is 0, and so is the first trace's at byte 3715, expected 1 or more; "
              "--samples gives it");
    Overrides overrides;
    overrides.samples = 8;
    overrides.intervalMs = 2.0;
    EXPECT_EQ(layoutOf(file, overrides).failure, "");
}

TEST(Layout, SaysWhichIntervalOfTwoIsTaken) {
    std::string file = makeSegy({});
    putWord(file, 3717, 2, 2000);
    const Found found = layoutOf(file);
    EXPECT_EQ(found.layout.intervalMs, 4.0);
    EXPECT_EQ(found.warnings.front(),
              "in.sgy: sample interval at byte 3717 is 2 ms; 4 ms at byte 3217 is taken, --interval overrides it");
}

TEST(Layout, SkipsExtendedTextHeaders) {
    for (const bool isAscii : {false, true})
        for (const Seen seen : {Seen::withSize, Seen::asPipe}) {
            const std::string file =
                makeSegy({.revision = 1, .isAscii = isAscii, .afterBinaryHeader = extendedHeaders(isAscii)});
            const Found found = layoutOf(file, {}, seen);
            EXPECT_EQ(found.layout.revisionMajor, 1);
            EXPECT_EQ(found.layout.extendedTextHeaders, 2);
            EXPECT_EQ(found.layout.firstTraceByte, 3600 + 6400);
        }
}

TEST(Layout, FindsTheEndOfAnOpenNumberOfTextHeaders) {
    for (const bool isAscii : {false, true}) {
        for (const char* end : {"((SEG: EndText))", "((SEG:EndText))", "((seg: endtext))"}) {
            if (!isAscii && end[2] == 'e') continue;
            std::string file =
                makeSegy({.revision = 1, .isAscii = isAscii, .afterBinaryHeader = extendedHeaders(isAscii, end)});
            putWord(file, 3505, 2, -1);
            const Found found = layoutOf(file, {}, isAscii ? Seen::withSize : Seen::asPipe);
            EXPECT_EQ(found.failure, "");
            EXPECT_EQ(found.layout.extendedTextHeaders, 2);
        }
    }
}

TEST(Layout, FailsWhenAnOpenNumberOfTextHeadersNeverEnds) {
    std::string file = makeSegy({.revision = 1, .afterBinaryHeader = extendedHeaders(false)});
    putWord(file, 3505, 2, -1);
    EXPECT_EQ(layoutOf(file).failure,
              "in.sgy: the extended text headers, whose number is open (-1 at byte 3505), never end with ((SEG: EndText))");
}

TEST(Layout, IgnoresANumberOfTextHeadersWhereTracesFollowAtOnce) {
    std::string file = makeSegy({.traces = 400, .revision = 1});
    putWord(file, 3505, 2, 3);
    EXPECT_EQ(layoutOf(file).layout.extendedTextHeaders, 0);
    EXPECT_EQ(layoutOf(file).warnings.size(), 1u);
    putWord(file, 3505, 2, -1);
    EXPECT_EQ(layoutOf(file).layout.extendedTextHeaders, 0);
    EXPECT_EQ(layoutOf(file).warnings.size(), 1u);
    putWord(file, 3505, 2, -9);
    EXPECT_EQ(layoutOf(file).layout.extendedTextHeaders, 0);
}

/* Before revision 1 the word had no meaning, but many programs set it without the revision. */
TEST(Layout, BelievesANumberOfTextHeadersOfRevision0OnlyWhenTextFollows) {
    std::string file = makeSegy({.afterBinaryHeader = extendedHeaders(false)});
    putWord(file, 3505, 2, 2);
    EXPECT_EQ(layoutOf(file).layout.extendedTextHeaders, 2);
    file = makeSegy({.traces = 400});
    putWord(file, 3505, 2, 2);
    EXPECT_EQ(layoutOf(file).layout.extendedTextHeaders, 0);
    EXPECT_TRUE(layoutOf(file).warnings.empty());
}

TEST(Layout, ReadsTheWordsOfRevision2) {
    for (const bool isLittle : {false, true}) {
        std::string file = makeSegy({.traces = 2,
                                     .samples = 70000,
                                     .format = 8,
                                     .revision = 2,
                                     .extraTraceHeaders = 1,
                                     .isLittle = isLittle,
                                     .afterBinaryHeader = std::string(500, '\1')});
        putWord(file, 3221, 2, 0, isLittle);
        putWord(file, 3269, 4, 70000, isLittle);
        putWord(file, 3273, 8, std::bit_cast<std::int64_t>(62.5), isLittle);
        putWord(file, 3297, 4, 16909060, isLittle);
        putWord(file, 3505, 2, 0, isLittle);
        putWord(file, 3513, 8, 2, isLittle);
        putWord(file, 3521, 8, 4100, isLittle);
        const Found found = layoutOf(file);
        ASSERT_EQ(found.failure, "");
        EXPECT_TRUE(found.warnings.empty()) << found.warnings.front();
        EXPECT_EQ(found.layout.sampleCount, 70000);
        EXPECT_EQ(found.layout.intervalMs, 0.0625);
        EXPECT_EQ(found.layout.extraTraceHeaders, 1);
        EXPECT_EQ(found.layout.headerBytesPerTrace(), 480);
        EXPECT_EQ(found.layout.traceBytes(), 70480);
        EXPECT_EQ(found.layout.firstTraceByte, 4100);
        EXPECT_EQ(found.layout.promisedTraces, 2);
    }
}

/* What makeSegy puts there unless told otherwise, and nothing of revision 2. */
void expectTheOldWords(const Layout& layout) {
    EXPECT_EQ(layout.sampleCount, 8);
    EXPECT_EQ(layout.intervalMs, 4.0);
    EXPECT_EQ(layout.traceBytes(), 272);
    EXPECT_EQ(layout.firstTraceByte, 3600);
    EXPECT_EQ(layout.promisedTraces, 0);
    EXPECT_EQ(layout.trailerBytes, 0);
}

/* Real files of revisions 0 and 1 keep anything in those bytes. */
TEST(Layout, LeavesTheWordsOfRevision2AloneBeforeIt) {
    for (const int revision : {0, 1}) {
        std::string file = makeSegy({.revision = revision});
        putWord(file, 3269, 4, 393216001);
        putWord(file, 3273, 8, 1234567890123);
        putWord(file, 3507, 4, 5);
        putWord(file, 3513, 8, 99);
        putWord(file, 3521, 8, 100);
        putWord(file, 3529, 4, 3);
        const Found found = layoutOf(file);
        EXPECT_TRUE(found.warnings.empty());
        expectTheOldWords(found.layout);
    }
}

TEST(Layout, OverrulesWordsOfRevision2ThatCannotBe) {
    std::string file = makeSegy({.revision = 2});
    putWord(file, 3269, 4, 2000000000);
    putWord(file, 3273, 8, std::bit_cast<std::int64_t>(std::nan("")));
    putWord(file, 3507, 4, -1);
    putWord(file, 3513, 8, -4);
    putWord(file, 3521, 8, INT64_MAX);
    putWord(file, 3529, 4, 2000000000);
    const Found found = layoutOf(file);
    ASSERT_EQ(found.failure, "");
    EXPECT_EQ(found.warnings.size(), 6u);
    expectTheOldWords(found.layout);
}

TEST(Layout, SetsTrailersApartFromTraces) {
    for (const int stanzas : {1, -1}) {
        std::string file = makeSegy({.samples = 750, .revision = 2}) + textBlock(false, "((SEG: EndText))");
        putWord(file, 3529, 4, stanzas);
        const Found found = layoutOf(file);
        EXPECT_EQ(found.failure, "");
        EXPECT_EQ(found.layout.sampleCount, 750);
        EXPECT_EQ(found.layout.trailerBytes, 3200);
        putWord(file, 3513, 8, 3);
        EXPECT_EQ(layoutOf(file).layout.trailerBytes, 3200);
    }
}

TEST(Layout, TakesAnUnknownRevisionForTheOldest) {
    std::string file = makeSegy({});
    putWord(file, 3501, 1, 9);
    EXPECT_EQ(layoutOf(file).layout.revisionMajor, 0);
    EXPECT_EQ(layoutOf(file).warnings.front(),
              "in.sgy: revision 9.0 at byte 3501 is unknown, expected 0 to 2; read as revision 0");
}

TEST(Layout, ReadsASwappedRevision) {
    std::string file = makeSegy({.isLittle = true});
    putWord(file, 3501, 2, 0x0100, true);
    EXPECT_EQ(layoutOf(file).layout.revisionMajor, 1);
    EXPECT_EQ(layoutOf(file).layout.revisionMinor, 0);
}

TEST(Layout, WarnsOfScalarsThatAreNone) {
    std::string file = makeSegy({});
    putWord(file, 3671, 2, 82);
    EXPECT_EQ(layoutOf(file).warnings,
              (std::vector<std::string>{
                  "in.sgy: coordinate_scalar at byte 3671 is 82, expected 1, 10, 100, 1000 or 10000 or one of these negative; "
                  "it is taken as 1, --map coordinate_scalar=BYTE:SIZE names another word"}));
}

TEST(Layout, FailsInOneLineWhereTheHeadersEnd) {
    const std::string file = makeSegy({});
    EXPECT_EQ(layoutOf("").failure, "in.sgy: is empty, expected a SEG-Y file");
    EXPECT_EQ(layoutOf(file.substr(0, 3599)).failure,
              "in.sgy: ends at byte 3599 inside the file headers, expected 3600 bytes of them and traces");
    EXPECT_EQ(layoutOf("", {}, Seen::asPipe).failure,
              "in.sgy: ends inside the file headers, expected 3600 bytes of them and traces");
    EXPECT_EQ(layoutOf(file.substr(0, 3600)).failure,
              "in.sgy: ends at byte 3600 and holds no trace, expected the first at byte 3601");
}

TEST(SampleFormat, IsNamedByNameOrCode) {
    EXPECT_EQ(formatNamed("ibm"), SampleFormat::ibm);
    EXPECT_EQ(formatNamed("8"), SampleFormat::int8);
    EXPECT_STREQ(nameOf(SampleFormat::int16), "int16");
    EXPECT_EQ(bytesPerSample(SampleFormat::int16), 2);
    EXPECT_THROW(formatNamed("4"), UsageError);
    EXPECT_EQ(complaintOf<UsageError>([] { formatNamed("iee"); }),
              "'iee' is no sample format, expected ibm, int32, int16, ieee, int8 or their codes 1, 2, 3, 5, 8, did you mean "
              "'ieee'?");
}

TEST(TextHeader, IsReadInBothAlphabets) {
    for (const bool isAscii : {false, true}) {
        const std::string file = makeSegy({.revision = 1, .isAscii = isAscii, .afterBinaryHeader = extendedHeaders(isAscii)});
        const Layout layout = layoutOf(file).layout;
        const Preamble preamble(file.begin(), file.begin() + layout.firstTraceByte);
        const std::vector<std::string> lines = textLines(preamble, layout);
        ASSERT_EQ(lines.size(), 40u);
        EXPECT_EQ(lines[0], "C 1 MADE FOR A TEST" + std::string(61, ' '));
        EXPECT_EQ(lines[39], "C40 MADE FOR A TEST" + std::string(61, ' '));
        EXPECT_EQ(textLines(preamble, layout, 1)[0].substr(0, 15), "((SEG: Layout))");
        EXPECT_EQ(textLines(preamble, layout, 2)[1].substr(0, 4), "C 2 ");
        EXPECT_TRUE(textLines(preamble, layout, 3).empty());
        EXPECT_TRUE(textLines(preamble, layout, -1).empty());
        EXPECT_TRUE(textLines({}, layout).empty());
    }
}

TEST(TextHeader, ShowsBlanksForWhatCannotBePrinted) {
    const Preamble preamble(3600, 0x15);
    for (const std::string& line : textLines(preamble, {})) EXPECT_EQ(line, std::string(80, ' '));
}

TEST(TextHeader, TakesALineInTheFilesOwnAlphabet) {
    for (const bool isAscii : {false, true}) {
        const std::string file = makeSegy({.isAscii = isAscii});
        const Layout layout = layoutOf(file).layout;
        const Preamble before(file.begin(), file.begin() + 3600);
        Preamble preamble = before;
        setTextLine(preamble, layout, 5, "C 6 BAND PASS 5 TO 80 HZ");
        EXPECT_EQ(textLines(preamble, layout)[5], "C 6 BAND PASS 5 TO 80 HZ" + std::string(56, ' '));
        EXPECT_EQ(preamble[5 * 80], isAscii ? 'C' : 0xC3);
        EXPECT_TRUE(std::equal(before.begin(), before.begin() + 400, preamble.begin()));
        EXPECT_TRUE(std::equal(before.begin() + 480, before.end(), preamble.begin() + 480));
        setTextLine(preamble, layout, 39, std::string(200, 'X'));
        EXPECT_EQ(textLines(preamble, layout)[39], std::string(80, 'X'));
        EXPECT_TRUE(std::equal(before.begin() + 3200, before.end(), preamble.begin() + 3200));
        const Preamble kept = preamble;
        setTextLine(preamble, layout, 40, "X");
        setTextLine(preamble, layout, -1, "X");
        EXPECT_EQ(preamble, kept);
    }
}
