#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <random>

#include "segy/reader.h"
#include "segy/textheader.h"
#include "segy/writer.h"
#include "support/failure.h"
#include "support/files.h"
#include "support/segyfiles.h"

/* Files that are cut off or damaged anywhere are read to their end or refused in one line; nothing else may happen. */

using namespace pelta;
using namespace pelta::segy;

/* What the largest piece of memory was that anybody asked for: a length that is believed without a look at the file's size
 * shows here. They stay out of line: inlined one by one, compilers take the pairs for mismatched ones. */
namespace {
std::size_t largestRequest = 0;
constexpr std::size_t modestBytes = 4 << 20;
}

[[gnu::noinline]] void* operator new(std::size_t size) {
    largestRequest = std::max(largestRequest, size);
    if (void* memory = std::malloc(size)) return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

struct Outcome {
    std::int64_t traces = 0;
    std::string failure;
};

/* Takes everything of a file that the command looks at. */
Outcome readEverything(const std::string& name, bool salvage = false) {
    Outcome outcome;
    try {
        ReadOptions options;
        options.salvage = salvage;
        Reader reader(name, options);
        textLines(reader.preamble(), reader.layout());
        Trace trace;
        while (reader.next(trace)) {
            decode(trace, reader.layout());
            readFacts(trace, reader.layout());
            trace.samplesChanged = true;
            encode(trace, reader.layout());
            ++outcome.traces;
        }
        for (const std::string& warning : reader.warnings()) EXPECT_EQ(warning, oneLine(warning));
    } catch (const Failure& failure) {
        outcome.failure = failure.what();
        EXPECT_EQ(outcome.failure, oneLine(outcome.failure));
        EXPECT_TRUE(outcome.failure.starts_with(name + ": ")) << outcome.failure;
    }
    return outcome;
}

std::vector<std::string> smallFiles() {
    std::string revision2 = makeSegy({.traces = 2,
                                      .samples = 5,
                                      .format = 3,
                                      .revision = 2,
                                      .extraTraceHeaders = 1,
                                      .afterBinaryHeader = textBlock(false, "((SEG: EndText))")});
    putWord(revision2, 3269, 4, 5);
    putWord(revision2, 3297, 4, 16909060);
    putWord(revision2, 3513, 8, 2);
    std::string contradictory = makeSegy({.traces = 4, .samples = 10, .format = 1});
    for (int t = 0; t < 4; ++t) putWord(contradictory, 3600u + static_cast<unsigned>(280 * t + 115), 2, 150);
    return {makeSegy({.traces = 3, .samples = 6}), makeSegy({.traces = 3, .samples = 6, .format = 8, .isLittle = true}),
            revision2, contradictory};
}

}

TEST(CutOff, FilesFailCleanlyAtEveryByte) {
    const ScratchFolder folder;
    const std::string name = folder.file("in.sgy");
    for (const std::string& file : smallFiles()) {
        const std::int64_t traces = [&] {
            writeFile(name, file);
            const Outcome whole = readEverything(name);
            EXPECT_EQ(whole.failure, "");
            return whole.traces;
        }();
        for (std::size_t length = 0; length < file.size(); ++length) {
            writeFile(name, std::string_view(file).substr(0, length));
            const Outcome outcome = readEverything(name);
            ASSERT_LT(outcome.traces, traces) << length;
            const Outcome salvaged = readEverything(name, true);
            ASSERT_TRUE(salvaged.failure.empty() == (salvaged.traces > 0)) << length << salvaged.failure;
        }
    }
}

TEST(CutOff, FilesGiveTheirWholeTracesOnly) {
    const ScratchFolder folder;
    const std::string name = folder.file("in.sgy");
    const SegyRecipe recipe{.traces = 4, .samples = 10, .format = 1};
    std::string file = makeSegy(recipe);
    for (int t = 0; t < recipe.traces; ++t) putWord(file, recipe.placeInTrace(t, 115), 2, 150);
    for (std::size_t length = 3840; length < file.size(); ++length) {
        writeFile(name, std::string_view(file).substr(0, length));
        const bool isWhole = (length - 3600) % recipe.traceBytes() == 0;
        ASSERT_EQ(readEverything(name).failure.empty(), isWhole) << length;
    }
}

TEST(Damage, OfAnyHeaderByteIsReadOrRefused) {
    const ScratchFolder folder;
    const std::string name = folder.file("in.sgy");
    largestRequest = 0;
    for (const std::string& file : smallFiles())
        for (std::size_t place = 0; place < 3840; ++place) {
            const int kept = static_cast<unsigned char>(file[place]);
            for (const int value : {0x00, 0x01, 0x7F, 0x80, 0xFF, kept ^ 0x40}) {
                std::string damaged = file;
                damaged[place] = static_cast<char>(value);
                writeFile(name, damaged);
                const Outcome outcome = readEverything(name);
                ASSERT_TRUE(outcome.failure.empty() == (outcome.traces > 0)) << place << ' ' << value << outcome.failure;
            }
            if (place == 0) place = 3199; /* one text byte stands for all */
        }
    EXPECT_LE(largestRequest, modestBytes);
}

TEST(Damage, OfManyWordsAtOnceIsReadOrRefused) {
    const ScratchFolder folder;
    const std::string name = folder.file("in.sgy");
    largestRequest = 0;
    std::mt19937 engine(11);
    const std::vector<std::string> files = smallFiles();
    for (int turn = 0; turn < 20000; ++turn) {
        std::string file = files[engine() % files.size()];
        for (unsigned count = engine() % 12 + 1; count > 0; --count)
            file[3200 + engine() % (file.size() - 3200)] = static_cast<char>(engine() % 3 ? engine() : 0xFF);
        file[3500] = static_cast<char>(engine() % 3);
        writeFile(name, file);
        const Outcome outcome = readEverything(name, engine() % 2);
        ASSERT_TRUE(!outcome.failure.empty() || outcome.traces > 0) << turn;
    }
    EXPECT_LE(largestRequest, modestBytes);
}
