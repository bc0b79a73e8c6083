#include "segy/writer.h"

#include <gtest/gtest.h>

#include "segy/reader.h"
#include "segy/textheader.h"
#include "support/complaint.h"
#include "support/failure.h"
#include "support/files.h"
#include "support/segyfiles.h"

using namespace pelta;
using namespace pelta::segy;

namespace {

Trace emptyTrace(const Layout& layout) {
    Trace trace;
    trace.header.assign(static_cast<std::size_t>(layout.headerBytesPerTrace()), 0);
    trace.samples.assign(static_cast<std::size_t>(layout.sampleCount), 1.5f);
    trace.samplesChanged = true;
    encode(trace, layout);
    return trace;
}

void writeTraces(const std::string& name, const Layout& layout, int count) {
    Writer writer(name, false, makePreamble(layout, {"C 1 MADE FOR A TEST", "C 2"}));
    const Trace trace = emptyTrace(layout);
    for (int t = 0; t < count; ++t) writer.write(trace);
    writer.commit();
}

void expectReadBack(const Layout& layout) {
    const ScratchFolder folder;
    writeTraces(folder.file("out.sgy"), layout, 3);
    Reader reader(folder.file("out.sgy"), {});
    EXPECT_TRUE(reader.warnings().empty());
    EXPECT_EQ(reader.traceCount(), 3);
    EXPECT_EQ(reader.layout().byteOrder, layout.byteOrder);
    EXPECT_EQ(reader.layout().textEncoding, layout.textEncoding);
    EXPECT_EQ(reader.layout().format, layout.format);
    EXPECT_EQ(reader.layout().sampleCount, layout.sampleCount);
    EXPECT_EQ(reader.layout().intervalMs, layout.intervalMs);
    EXPECT_EQ(reader.layout().isFeet, layout.isFeet);
    EXPECT_EQ(reader.layout().extraTraceHeaders, layout.extraTraceHeaders);
    EXPECT_GE(reader.layout().revisionMajor, layout.revisionMajor);
    EXPECT_EQ(textLines(reader.preamble(), reader.layout())[0].substr(0, 19), "C 1 MADE FOR A TEST");
}

}

TEST(MadePreamble, ReadsBackAsTheLayoutItWasMadeFrom) {
    for (const ByteOrder order : {ByteOrder::big, ByteOrder::little})
        for (const TextEncoding text : {TextEncoding::ebcdic, TextEncoding::ascii})
            for (const int revision : {0, 1, 2}) {
                Layout layout;
                layout.byteOrder = order;
                layout.textEncoding = text;
                layout.revisionMajor = revision;
                layout.format = SampleFormat::int16;
                layout.sampleCount = 301;
                layout.intervalMs = 2.0;
                layout.isFeet = revision == 1;
                expectReadBack(layout);
            }
}

TEST(MadePreamble, GoesBeyondSixteenBitsByRevision2) {
    Layout layout;
    layout.format = SampleFormat::int8;
    layout.sampleCount = 65535;
    layout.intervalMs = 65.535;
    EXPECT_EQ(makePreamble(layout, {})[3500], 0);
    expectReadBack(layout);
    layout.sampleCount = 65536;
    EXPECT_EQ(makePreamble(layout, {})[3500], 2);
    expectReadBack(layout);
    layout.sampleCount = 100;
    for (const double interval : {0.0625, 70.0, 1000.0 / 3.0}) {
        layout.intervalMs = interval;
        EXPECT_EQ(makePreamble(layout, {})[3500], 2);
        expectReadBack(layout);
    }
    layout.intervalMs = 1.0;
    layout.extraTraceHeaders = 3;
    expectReadBack(layout);
}

TEST(Writer, ShowsTheFileOnlyWhenItIsWhole) {
    const ScratchFolder folder;
    Layout layout;
    layout.sampleCount = 10;
    {
        Writer writer(folder.file("out.sgy"), false, makePreamble(layout, {}));
        writer.write(emptyTrace(layout));
        EXPECT_FALSE(std::filesystem::exists(folder.file("out.sgy")));
    }
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    writeTraces(folder.file("out.sgy"), layout, 2);
    EXPECT_EQ(std::filesystem::file_size(folder.file("out.sgy")), 3600u + 2 * 280);
}

TEST(Writer, RefusesToReplaceTheFileThatIsBeingRead) {
    const ScratchFolder folder;
    const std::string name = folder.file("in.sgy");
    writeFile(name, makeSegy({}));
    std::filesystem::create_symlink(name, folder.file("link.sgy"));
    std::filesystem::create_hard_link(name, folder.file("twin.sgy"));
    Reader reader(name, {});
    for (const char* other : {"in.sgy", "link.sgy", "twin.sgy"})
        EXPECT_EQ(complaintOf<Failure>([&] { Writer(folder.file(other), true, reader.preamble()); }),
                  folder.file(other) + ": is the input itself; choose another name for the output");
    EXPECT_TRUE(contentsOf(name) == makeSegy({}));
}

TEST(Writer, WritesTracesLongerThanABlock) {
    const ScratchFolder folder;
    const SegyRecipe recipe{.traces = 3, .samples = 400000};
    std::string file = makeSegy(recipe);
    writeFile(folder.file("in.sgy"), file);
    ReadOptions options;
    options.overrides.samples = recipe.samples;
    Reader reader(folder.file("in.sgy"), options);
    Writer writer(folder.file("out.sgy"), false, reader.preamble());
    Trace trace;
    while (reader.next(trace)) writer.write(trace);
    writer.commit();
    EXPECT_TRUE(contentsOf(folder.file("out.sgy")) == file);
}
