#include "sorting/sort.h"

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/stat.h>

#include <algorithm>
#include <random>
#include <regex>

#include "segy/reader.h"
#include "segy/textheader.h"
#include "support/failure.h"
#include "support/process.h"
#include "support/segyfiles.h"

using namespace pelta;
using namespace pelta::sorting;

/* `pelta sort`, within the process for its ways and as its users call it. */

namespace {

void write(const std::string& fileName, const std::string& contents) {
    std::filesystem::remove(fileName);
    std::ofstream(fileName, std::ios::binary).write(contents.data(), static_cast<std::streamsize>(contents.size()));
}

/* A word of the trace headers, and how it is to be sorted. */
struct PlainField {
    int byte;
    bool isDescending = false;
};

std::int64_t wordOf(const std::string& trace, int byte, bool isLittle) {
    std::uint32_t bits = 0;
    for (int k = 0; k < 4; ++k)
        bits = bits << 8 | static_cast<unsigned char>(trace[static_cast<std::size_t>(byte - 1 + (isLittle ? 3 - k : k))]);
    return static_cast<std::int32_t>(bits);
}

/* The file with its traces sorted in memory, bytes as they are. */
std::string plainlySorted(const std::string& file, const SegyRecipe& recipe, const std::vector<PlainField>& fields) {
    std::vector<std::string> traces;
    for (int t = 0; t < recipe.traces; ++t) traces.push_back(file.substr(recipe.placeInTrace(t, 0), recipe.traceBytes()));
    std::stable_sort(traces.begin(), traces.end(), [&](const std::string& a, const std::string& b) {
        for (const PlainField& field : fields) {
            const std::int64_t ofA = wordOf(a, field.byte, recipe.isLittle), ofB = wordOf(b, field.byte, recipe.isLittle);
            if (ofA != ofB) return field.isDescending ? ofA > ofB : ofA < ofB;
        }
        return false;
    });
    std::string sorted = file.substr(0, recipe.firstTrace());
    for (const std::string& trace : traces) sorted += trace;
    return sorted + file.substr(recipe.firstTrace() + static_cast<std::size_t>(recipe.traces) * recipe.traceBytes());
}

constexpr int recordByte = 9, channelByte = 13, cdpByte = 21, offsetByte = 37;
constexpr std::size_t sortingCodeByte = 3229;

/* Words with many equal values, of both signs. Every trace stays another by its number in the file. */
std::string withRandomWords(std::string file, const SegyRecipe& recipe, std::mt19937& random) {
    for (int t = 0; t < recipe.traces; ++t)
        for (const int byte : {recordByte, channelByte, cdpByte, offsetByte})
            putWord(file, recipe.placeInTrace(t, byte), 4, static_cast<std::int64_t>(random() % 7) - 3, recipe.isLittle);
    return file;
}

std::string withSortingCode(std::string file, const SegyRecipe& recipe, int code) {
    putWord(file, sortingCodeByte, 2, code, recipe.isLittle);
    return file;
}

class Sorting : public testing::Test {
  protected:
    Sorting() { setenv("PROMAX_SCRATCH_HOME", folder.path().c_str(), 1); }
    /* Within the process, from a file to another. */
    std::string sorted(const SortOptions& options, SortSummary* summary = nullptr) {
        segy::Reader reader(in, {});
        SortOptions quiet = options;
        quiet.quiet = quiet.overwrite = true;
        const SortSummary done = sortTraces(reader, out, quiet);
        if (summary) *summary = done;
        return contentsOf(out);
    }
    /* As a command; what it reads comes from a pipe where there is a source. */
    Outcome sort(const std::string& arguments, const std::string& source = "", const std::string& setting = ":") {
        const std::string before = source.empty() ? "" : "cat " + source + " | ";
        Outcome outcome = runShell(setting + "; " + before + PELTA_COMMAND + " sort " + arguments);
        outcome.err = std::regex_replace(outcome.err, std::regex(" in [0-9.]+ s "), " in TIME ");
        return outcome;
    }
    /* One line, this status, and nothing but the input left behind. */
    void expectFailure(const Outcome& outcome, const std::string& complaint, int status = 1) {
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "pelta: " + complaint + "\n");
        EXPECT_EQ(folder.listing(), "in.sgy ");
    }
    /* 1000 traces of 2240 bytes, 2.1 MB. */
    std::string writeLine() {
        std::string file = withRandomWords(makeSegy(line), line, random);
        write(in, file);
        return file;
    }
    const SegyRecipe line{.traces = 1000, .samples = 500};
    std::mt19937 random{1};

    const TemporaryFolder folder;
    const std::string in = folder / "in.sgy", out = folder / "out.sgy";
};

/* Without a machine's memory behind it, a file is read in key order only where its traces stand close together. */
SortOptions options(std::vector<std::string> by, std::size_t memoryBytes, std::int64_t cachedBytes = 0) {
    SortOptions made;
    made.by = std::move(by);
    made.memoryBytes = static_cast<std::int64_t>(memoryBytes);
    made.cachedBytes = cachedBytes;
    return made;
}

}

TEST_F(Sorting, IsTheStableSortInMemoryForAnyBudgetAndFormat) {
    std::size_t mostMerges = 0;
    for (const int format : {1, 2, 3, 5, 8})
        for (const bool isLittle : {false, true}) {
            SegyRecipe recipe{.traces = 60, .samples = 20, .format = format, .revision = 1, .isLittle = isLittle};
            if (format == 3) recipe.afterBinaryHeader = textBlock(false) + textBlock(false);
            const std::string file = withRandomWords(makeSegy(recipe), recipe, random);
            write(in, file);
            const std::string expected =
                withSortingCode(plainlySorted(file, recipe, {{cdpByte}, {offsetByte, true}, {channelByte}}), recipe, 2);
            for (const std::size_t tracesInMemory : {3, 4, 7, 12, 30, 61, 200})
                for (const std::int64_t cached : {0, 1 << 30}) {
                    SortOptions chosen =
                        options({"cdp", "offset", "channel"}, tracesInMemory * recipe.traceBytes() + 300, cached);
                    chosen.descending = {"offset"};
                    SortSummary summary;
                    ASSERT_TRUE(sorted(chosen, &summary) == expected)
                        << "format " << format << ", little " << isLittle << ", memory of " << tracesInMemory;
                    EXPECT_EQ(summary.traces, 60);
                    mostMerges = std::max(mostMerges, summary.mergePasses);
                }
        }
    EXPECT_GE(mostMerges, 3u);
    EXPECT_EQ(folder.listing(), "in.sgy out.sgy ");
}

TEST_F(Sorting, GoesTheWayThatTheInputAndTheMachineAskFor) {
    const SegyRecipe recipe{.traces = 250, .samples = 1000};
    std::string file = makeSegy(recipe);
    std::vector<int> order(static_cast<std::size_t>(recipe.traces));
    for (std::size_t t = 0; t < order.size(); ++t) order[t] = static_cast<int>(t);
    for (const bool isShuffled : {false, true}) {
        if (isShuffled) std::shuffle(order.begin(), order.end(), random);
        for (int t = 0; t < recipe.traces; ++t)
            putWord(file, recipe.placeInTrace(t, cdpByte), 4, order[static_cast<std::size_t>(t)]);
        write(in, file);
        const std::string expected = withSortingCode(plainlySorted(file, recipe, {{cdpByte}}), recipe, 2);
        const auto wayOf = [&](std::size_t memoryBytes, std::int64_t cachedBytes) {
            SortSummary summary;
            EXPECT_TRUE(sorted(options({"cdp"}, memoryBytes, cachedBytes), &summary) == expected);
            EXPECT_EQ(summary.way == Way::throughScratch, summary.runs > 0);
            return summary.way;
        };
        const std::size_t tenth = file.size() / 10;
        EXPECT_EQ(wayOf(tenth, static_cast<std::int64_t>(file.size())), Way::inKeyOrder);
        EXPECT_EQ(wayOf(tenth, 0), isShuffled ? Way::throughScratch : Way::inKeyOrder);
        EXPECT_EQ(wayOf(tenth, static_cast<std::int64_t>(file.size()) - 1), isShuffled ? Way::throughScratch : Way::inKeyOrder);
        EXPECT_EQ(wayOf(2 * file.size(), 0), Way::inKeyOrder);
        /* The keys of 32 bytes would leave less than half. */
        EXPECT_EQ(wayOf(14000, static_cast<std::int64_t>(file.size())), Way::throughScratch);
    }
}

#if !defined(__SANITIZE_ADDRESS__) /* which keeps what was released */

/* The most memory that this process has had since the mark, in bytes beyond what it had then. */
class MemoryMark {
  public:
    MemoryMark() : _before(bytes("VmRSS:")) {
        _isSet = static_cast<bool>(std::ofstream("/proc/self/clear_refs") << 5 << std::flush);
    }
    bool isSet() const { return _isSet; }
    std::int64_t most() const { return bytes("VmHWM:") - _before; }

  private:
    static std::int64_t bytes(const std::string& name) {
        std::ifstream status("/proc/self/status");
        for (std::string word; status >> word;)
            if (word == name) {
                std::int64_t kilobytes = 0;
                status >> kilobytes;
                return 1024 * kilobytes;
            }
        return 0;
    }
    std::int64_t _before;
    bool _isSet = false;
};

/* Short traces, so that their keys count. */
TEST_F(Sorting, TakesNoMoreMemoryThanItIsGiven) {
    const SegyRecipe recipe{.traces = 180000, .samples = 10, .format = 8};
    std::string file = makeSegy(recipe);
    for (int t = 0; t < recipe.traces; ++t) putWord(file, recipe.placeInTrace(t, cdpByte), 4, static_cast<int>(random() >> 1));
    write(in, file);
    file = {};
    mallopt(M_MMAP_THRESHOLD, 1 << 15); /* what is released goes back to the system */
    constexpr std::size_t memory = 16 << 20;
    constexpr std::int64_t blocks = 5 << 19; /* of reader and writer, and what the system rounds up */
    const auto mostOf = [&](const std::string& input, std::int64_t cachedBytes, Way way) {
        segy::Reader reader(input, {});
        SortOptions chosen = options({"cdp"}, memory, cachedBytes);
        chosen.quiet = chosen.overwrite = true;
        const MemoryMark mark;
        EXPECT_EQ(sortTraces(reader, out, chosen).way, way);
        return mark.isSet() ? mark.most() : -1;
    };
    const std::int64_t inKeyOrder = mostOf(in, 1 << 30, Way::inKeyOrder);
    if (inKeyOrder < 0) GTEST_SKIP() << "the system does not tell how much memory was used";
    EXPECT_LE(inKeyOrder, static_cast<std::int64_t>(memory) + blocks);
    EXPECT_LE(mostOf(in, 0, Way::throughScratch), static_cast<std::int64_t>(memory) + blocks);

    const std::string pipe = folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    ASSERT_EQ(std::system(("cat " + in + " >" + pipe + " &").c_str()), 0);
    const std::int64_t piped = mostOf(pipe, 0, Way::throughScratch);
    EXPECT_LE(piped, static_cast<std::int64_t>(memory) + blocks);
    EXPECT_GE(piped, static_cast<std::int64_t>(memory) / 2); /* it is taken */
}

#endif

TEST_F(Sorting, NamesTheOrderInTheBinaryHeaderAsFarAsTheRevisionCan) {
    struct Expected {
        const char* field;
        int code[3]; /* by revision */
    };
    for (const int revision : {0, 1, 2}) {
        const SegyRecipe recipe{.revision = revision};
        for (const Expected& expected :
             {Expected{"cdp", {2, 2, 2}}, Expected{"record", {1, 5, 5}}, Expected{"source", {0, 5, 5}},
              Expected{"offset", {0, 7, 7}}, Expected{"channel", {0, -1, -1}}})
            for (const int before : {0, 1, 2, 3, 4, 7}) {
                const std::string file = withSortingCode(makeSegy(recipe), recipe, before);
                write(in, file);
                const bool isStack = before == 3 || before == 4;
                EXPECT_TRUE(sorted(options({expected.field}, 1 << 20)) ==
                            withSortingCode(file, recipe, isStack ? before : expected.code[revision]))
                    << expected.field << ", revision " << revision << ", code " << before;
            }
    }
}

TEST_F(Sorting, KeepsExtraHeadersAndTrailersAndPipesGiveTheSame) {
    SegyRecipe recipe{.traces = 1500, .samples = 250, .revision = 2, .extraTraceHeaders = 1, .isLittle = true, .isAscii = true};
    recipe.afterBinaryHeader = textBlock(true);
    std::string file = withRandomWords(makeSegy(recipe), recipe, random);
    putWord(file, 3513, 8, recipe.traces, true);
    putWord(file, 3529, 4, 1, true);
    file += textBlock(true, "THE TRAILER");
    write(in, file);
    const std::string expected = withSortingCode(plainlySorted(file, recipe, {{offsetByte}, {recordByte, true}}), recipe, 7);
    const std::string by = " --by offset,record --descending record --overwrite";

    const Outcome fromFile = sort(in + " " + out + by + " --memory 1");
    EXPECT_EQ(fromFile.status, 0) << fromFile.err;
    EXPECT_TRUE(contentsOf(out) == expected);
    const Outcome again = sort(by + " " + out + " " + in + ".again");
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_TRUE(contentsOf(in + ".again") == expected);
    std::filesystem::remove(in + ".again");

    for (const std::string memory : {"1", "4", "100"}) {
        const Outcome piped = sort("- -" + by + " --memory " + memory, in);
        EXPECT_EQ(piped.status, 0) << piped.err;
        EXPECT_TRUE(piped.out == expected) << memory;
    }
    EXPECT_EQ(folder.listing(), "in.sgy out.sgy ");
}

TEST_F(Sorting, SaysWhatWasDone) {
    const std::string expected = withSortingCode(plainlySorted(writeLine(), line, {{cdpByte}, {channelByte}}), line, 2);
    const std::string by = " --by cdp,channel --overwrite --memory ";
    const Outcome file = sort(in + " " + out + by + "1");
    EXPECT_EQ(file.err,
              "pelta: 1000 traces by cdp,channel in TIME (--memory 1: read in key order, 3 windows) -> " + out + "\n");
    EXPECT_TRUE(contentsOf(out) == expected);
    const Outcome small = sort("- " + out + by + "1", in);
    EXPECT_EQ(small.err, "pelta: 1000 traces by cdp,channel in TIME (--memory 1: 3 runs in " + folder.path() +
                             ", 1 merge) -> " + out + "\n");
    EXPECT_TRUE(contentsOf(out) == expected);
    const Outcome large = sort("- -" + by + "3", in);
    EXPECT_EQ(large.err, "pelta: 1000 traces by cdp,channel in TIME (--memory 3: all in memory) -> standard output\n");
    EXPECT_TRUE(large.out == expected);
    EXPECT_EQ(sort(in + " " + out + by + "1 --quiet").err, "");

    std::string withRoom = contentsOf(in);
    constexpr std::size_t fourthLine = 240, lineLength = 80;
    withRoom.replace(fourthLine, lineLength, lineLength, '\x40');
    write(in, withRoom);
    sort(in + " " + out + by + "1 --history --descending channel");
    segy::Reader reader(out, {});
    EXPECT_EQ(segy::textLines(reader.preamble(), reader.layout())[3].substr(0, 52),
              "C 4 pelta sort by=cdp,channel descending=channel    ");
}

TEST_F(Sorting, SaysWhereItWorksWhenNoScratchFolderIsNamed) {
    writeLine();
    const Outcome outcome = sort("- " + out + " --by cdp --memory 1", in, "unset PROMAX_SCRATCH_HOME");
    EXPECT_EQ(outcome.err, "pelta: PROMAX_SCRATCH_HOME is not set: working files are made in " + folder.path() +
                               "\npelta: 1000 traces by cdp in TIME (--memory 1: 3 runs in " + folder.path() +
                               ", 1 merge) -> " + out + "\n");
    EXPECT_EQ(sort("- " + out + " --by cdp --memory 1 --quiet --overwrite", in, "unset PROMAX_SCRATCH_HOME").err, "");
    EXPECT_EQ(folder.listing(), "in.sgy out.sgy ");
}

TEST_F(Sorting, WarnsOfAWordThatIsNeverFilled) {
    writeLine();
    const Outcome outcome = sort(in + " " + out + " --by cdp,inline --map inline=5:4 --quiet");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err,
              "pelta: warning: " + in + ": inline at byte 5 is 0 in every trace; --map inline=BYTE:SIZE names another word\n");
}

TEST_F(Sorting, RefusesInOneLineAndLeavesNothing) {
    const std::string file = writeLine();
    const std::string files = in + " " + out;
    expectFailure(sort(files + " --by cpd"), "--by: 'cpd' is no trace-header word, did you mean 'cdp'?", 2);
    expectFailure(sort(files), "--by is required (see pelta sort --help)", 2);
    expectFailure(sort(files + " --by cdp --memory 0"), "--memory: 0 lies outside 1 .. 1048576 (see pelta sort --help)", 2);
    expectFailure(sort(in + ".none " + out + " --by cdp"), in + ".none: cannot be read: No such file or directory");
    expectFailure(sort(in + " " + in + " --by cdp --overwrite"),
                  in + ": is the input itself; choose another name for the output");
    write(in, file.substr(0, file.size() - 100));
    const std::string cut =
        ": the last trace, from byte 2241361, has 2140 of 2240 bytes (500 samples of format ieee a trace); "
        "--salvage takes the 999 whole ones, --samples or --format override wrong words";
    expectFailure(sort(files + " --by cdp"), in + cut);
    expectFailure(sort("- " + out + " --by cdp --memory 1", in), "standard input" + cut);
}

TEST_F(Sorting, SalvagesWholeTracesAndForgetsHowManyWerePromised) {
    const SegyRecipe promising{.traces = 10, .revision = 2};
    std::string file = withRandomWords(makeSegy(promising), promising, random);
    putWord(file, 3513, 8, 10);
    SegyRecipe left = promising;
    left.traces = 9;
    write(in, file.substr(0, left.placeInTrace(9, 0)));
    std::string expected = withSortingCode(plainlySorted(contentsOf(in), left, {{cdpByte}}), left, 2);
    putWord(expected, 3513, 8, 0);
    EXPECT_EQ(sort(in + " " + out + " --by cdp --salvage").status, 0);
    EXPECT_TRUE(contentsOf(out) == expected);
    EXPECT_TRUE(sort("- - --by cdp --salvage", in).out == expected);
}

TEST_F(Sorting, NeedsMemoryForTwoTraces) {
    const SegyRecipe longTraces{.traces = 3, .samples = 1};
    write(in, makeSegy(longTraces));
    const std::string by = " --by cdp --samples 200000";
    const std::string traces(800240, '\0');
    write(in, contentsOf(in).substr(0, 3600) + traces + traces + traces);
    expectFailure(sort(in + " " + out + by + " --memory 1"),
                  "--memory: has to hold two traces of 800240 bytes at least; --memory 2 does");
    EXPECT_EQ(sort(in + " " + out + by + " --memory 2 --quiet").status, 0);
}

TEST_F(Sorting, SaysWhatTheScratchFolderLacks) {
    writeLine();
    const std::string arguments = "- " + out + " --by cdp --memory 1", names = "; PROMAX_SCRATCH_HOME names another";
    const std::string missing = folder / "missing";
    expectFailure(sort(arguments, in, "export PROMAX_SCRATCH_HOME=" + missing),
                  "scratch folder " + missing + ": cannot make a file there: No such file or directory" + names);
    expectFailure(sort(arguments, in, "ulimit -f 2000"),
                  "scratch folder " + folder.path() + ": cannot hold more than 1 MB: File too large" + names);

    /* Of a file it is known beforehand how much is needed. Were it not, the limit would end it. */
    const std::uintmax_t needed = 3 * std::filesystem::space(folder.path()).available;
    std::error_code problem;
    std::filesystem::resize_file(in, line.placeInTrace(0, 0) + needed / line.traceBytes() * line.traceBytes(), problem);
    if (problem) GTEST_SKIP() << "no file may be three times as long as the folder has room";
    const Outcome outcome = sort(in + " " + out + " --by cdp --memory 1", "", "ulimit -f 2000");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(std::regex_match(outcome.err, std::regex("pelta: scratch folder " + folder.path() +
                                                         ": has [0-9]+ MB free and [0-9]+ are needed" + names + "\n")))
        << outcome.err;
    EXPECT_EQ(folder.listing(), "in.sgy ");
}
