#include "segy/reader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <thread>

#include "segy/writer.h"
#include "support/failure.h"
#include "support/files.h"
#include "support/segyfiles.h"

using namespace pelta;
using namespace pelta::segy;

namespace {

/* Standard input is a pipe that a thread fills, for as long as the object lives. */
class PipedInput {
  public:
    explicit PipedInput(std::string bytes) : _bytes(std::move(bytes)) {
        int ends[2];
        if (pipe(ends) != 0) throw std::runtime_error("no pipe");
        _before = dup(STDIN_FILENO);
        dup2(ends[0], STDIN_FILENO);
        close(ends[0]);
        _end = ends[1];
        signal(SIGPIPE, SIG_IGN);
        _thread = std::thread([this] {
            for (std::size_t done = 0; done < _bytes.size();) {
                const ssize_t count = ::write(_end, _bytes.data() + done, _bytes.size() - done);
                if (count <= 0) break;
                done += static_cast<std::size_t>(count);
            }
            close(_end);
        });
    }
    ~PipedInput() {
        dup2(_before, STDIN_FILENO);
        close(_before);
        _thread.join();
    }
    PipedInput(const PipedInput&) = delete;
    PipedInput& operator=(const PipedInput&) = delete;

  private:
    std::string _bytes;
    int _before, _end;
    std::thread _thread;
};

struct Outcome {
    std::vector<std::vector<float>> traces;
    std::string failure;
    std::vector<std::string> warnings;
    std::string trailer;
    std::int64_t truncatedBytes = 0;
};

Outcome readAll(const std::string& name, const ReadOptions& options = {}) {
    Outcome outcome;
    try {
        Reader reader(name, options);
        outcome.warnings = reader.warnings();
        Trace trace;
        while (reader.next(trace)) {
            decode(trace, reader.layout());
            outcome.traces.push_back(trace.samples);
        }
        EXPECT_FALSE(reader.next(trace));
        outcome.trailer.assign(reader.trailer().begin(), reader.trailer().end());
        outcome.truncatedBytes = reader.truncatedBytes();
    } catch (const Failure& failure) { outcome.failure = failure.what(); }
    return outcome;
}

Outcome readPiped(const std::string& bytes, const ReadOptions& options = {}) {
    const PipedInput input(bytes);
    return readAll("-", options);
}

ReadOptions salvaging() {
    ReadOptions options;
    options.salvage = true;
    return options;
}

void expectMadeSamples(const Outcome& outcome, const SegyRecipe& recipe) {
    ASSERT_EQ(outcome.failure, "");
    ASSERT_EQ(outcome.traces.size(), static_cast<std::size_t>(recipe.traces));
    for (int t = 0; t < recipe.traces; ++t)
        for (int k = 0; k < recipe.samples; ++k)
            ASSERT_EQ(outcome.traces[static_cast<std::size_t>(t)][static_cast<std::size_t>(k)], madeSample(t, k));
}

}

TEST(Reader, ReadsFilesAndPipesOfEveryFormat) {
    const ScratchFolder folder;
    for (const int format : {1, 2, 3, 5, 8})
        for (const bool isLittle : {false, true}) {
            const SegyRecipe recipe{.traces = 5, .samples = 301, .format = format, .isLittle = isLittle};
            writeFile(folder.file("in.sgy"), makeSegy(recipe));
            expectMadeSamples(readAll(folder.file("in.sgy")), recipe);
            expectMadeSamples(readPiped(makeSegy(recipe)), recipe);
        }
}

/* Blocks are 1 MiB: many traces across their borders, and traces longer than one. */
TEST(Reader, CrossesTheBordersOfItsBlocks) {
    const ScratchFolder folder;
    for (const SegyRecipe& recipe : {SegyRecipe{.traces = 700, .samples = 1501}, SegyRecipe{.traces = 3, .samples = 700001}}) {
        std::string file = makeSegy(recipe);
        ReadOptions options;
        options.overrides.samples = recipe.samples;
        writeFile(folder.file("in.sgy"), file);
        expectMadeSamples(readAll(folder.file("in.sgy"), options), recipe);
        expectMadeSamples(readPiped(file, options), recipe);
    }
}

TEST(Reader, TellsWhatItKnowsOfAFileBeforeReadingIt) {
    const ScratchFolder folder;
    const SegyRecipe recipe{.traces = 4};
    writeFile(folder.file("in.sgy"), makeSegy(recipe));
    Reader reader(folder.file("in.sgy"), {});
    EXPECT_EQ(reader.name(), folder.file("in.sgy"));
    EXPECT_EQ(reader.traceCount(), 4);
    EXPECT_EQ(reader.fileSize(), 3600 + 4 * 272);
    EXPECT_EQ(reader.preamble().size(), 3600u);
    EXPECT_EQ(reader.truncatedBytes(), 0);
    Trace trace;
    ASSERT_TRUE(reader.next(trace));
    EXPECT_EQ(trace.number, 0);
    EXPECT_EQ(trace.header.size(), 240u);
    EXPECT_EQ(trace.encoded.size(), 32u);
    EXPECT_EQ(readFacts(trace, reader.layout()).delayMs, -12.0);
    EXPECT_EQ(readFacts(trace, reader.layout()).sourceX, 1234.5);
}

TEST(Reader, KnowsNoCountOfAPipe) {
    const PipedInput input(makeSegy({}));
    Reader reader("-", {});
    EXPECT_EQ(reader.name(), "standard input");
    EXPECT_EQ(reader.traceCount(), std::nullopt);
    EXPECT_EQ(reader.fileSize(), std::nullopt);
    EXPECT_THROW(reader.seek(0), Failure);
}

TEST(Reader, TakesAFileOnStandardInputForAFile) {
    const ScratchFolder folder;
    writeFile(folder.file("in.sgy"), makeSegy({}));
    const int before = dup(STDIN_FILENO), file = open(folder.file("in.sgy").c_str(), O_RDONLY);
    dup2(file, STDIN_FILENO);
    EXPECT_EQ(Reader("-", {}).traceCount(), 3);
    dup2(before, STDIN_FILENO);
    close(before);
    close(file);
}

TEST(Reader, TakesNoFileForStandardInputButTheDash) {
    const ScratchFolder folder;
    writeFile(folder.file("standard input"), makeSegy({}));
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    const Outcome outcome = readAll("standard input");
    std::filesystem::current_path(before);
    expectMadeSamples(outcome, {});
}

TEST(Reader, GoesToATraceByItsPosition) {
    const ScratchFolder folder;
    writeFile(folder.file("in.sgy"), makeSegy({.traces = 1000, .samples = 1000}));
    Reader reader(folder.file("in.sgy"), {});
    Trace trace;
    for (const std::int64_t number : {999, 0, 500, 501}) {
        reader.seek(number);
        ASSERT_TRUE(reader.next(trace));
        EXPECT_EQ(trace.number, number);
        EXPECT_EQ(readFacts(trace, reader.layout()).cdp, 1000 + number);
    }
    reader.seek(1000);
    EXPECT_FALSE(reader.next(trace));
    EXPECT_THROW(reader.seek(1001), Failure);
    EXPECT_THROW(reader.seek(-1), Failure);
}

TEST(Reader, PassesEveryByteOnAsItCame) {
    const ScratchFolder folder;
    SegyRecipe recipe{.traces = 5, .samples = 33, .format = 3, .revision = 2, .extraTraceHeaders = 2, .isAscii = true};
    recipe.afterBinaryHeader = textBlock(true, "((SEG: EndText))");
    std::string file = makeSegy(recipe) + textBlock(true, "((Trailer))");
    putWord(file, 3529, 4, 1);
    putWord(file, 3601 + 300, 4, 0x12345678);
    putWord(file, recipe.placeInTrace(2, 300), 4, 0x12345678);
    writeFile(folder.file("in.sgy"), file);
    for (const bool isPiped : {false, true}) {
        std::unique_ptr<PipedInput> input;
        if (isPiped) input = std::make_unique<PipedInput>(file);
        Reader reader(isPiped ? "-" : folder.file("in.sgy"), {});
        Writer writer(folder.file("out.sgy"), true, reader.preamble());
        Trace trace;
        while (reader.next(trace)) {
            EXPECT_EQ(trace.header.size(), 720u);
            decode(trace, reader.layout());
            encode(trace, reader.layout());
            writer.write(trace);
        }
        writer.writeTrailer(reader.trailer());
        writer.commit();
        EXPECT_TRUE(contentsOf(folder.file("out.sgy")) == file);
    }
}

TEST(Reader, GivesManyTracesAtOnceAsTheyStand) {
    const ScratchFolder folder;
    const SegyRecipe recipe{.traces = 700, .samples = 500, .revision = 2};
    std::string file = makeSegy(recipe) + textBlock(false, "((Trailer))");
    putWord(file, 3529, 4, 1);
    writeFile(folder.file("in.sgy"), file);
    for (const bool isPiped : {false, true}) {
        std::unique_ptr<PipedInput> input;
        if (isPiped) input = std::make_unique<PipedInput>(file);
        Reader reader(isPiped ? "-" : folder.file("in.sgy"), {});
        Trace first;
        ASSERT_TRUE(reader.next(first));
        std::string traces(700 * recipe.traceBytes(), '\0');
        auto* bytes = reinterpret_cast<unsigned char*>(traces.data());
        std::size_t count = 1;
        for (const std::size_t most : {1, 0, 2, 500, 1000}) {
            const std::size_t got = reader.nextTraces(bytes + count * recipe.traceBytes(), most);
            EXPECT_EQ(got, std::min<std::size_t>(most, 700 - count));
            count += got;
        }
        EXPECT_EQ(reader.nextTraces(bytes, 1), 0u);
        EXPECT_TRUE(traces.substr(recipe.traceBytes()) == file.substr(recipe.placeInTrace(1, 0), 699 * recipe.traceBytes()));
        EXPECT_TRUE(std::equal(reader.trailer().begin(), reader.trailer().end(),
                               reinterpret_cast<const unsigned char*>(file.data()) + file.size() - 3200));
        if (isPiped) continue;
        reader.seek(698);
        EXPECT_EQ(reader.nextTraces(bytes, 1), 1u);
        ASSERT_TRUE(reader.next(first));
        EXPECT_EQ(first.number, 699);
    }
}

TEST(Reader, GivesTheWholeTracesOfAPipeThatIsCutOff) {
    const SegyRecipe recipe;
    const std::string file = makeSegy(recipe);
    std::vector<unsigned char> bytes(3 * recipe.traceBytes());
    const PipedInput input(file.substr(0, file.size() - 1));
    Reader reader("-", {.overrides = {}, .salvage = true});
    EXPECT_EQ(reader.nextTraces(bytes.data(), 3), 2u);
    EXPECT_EQ(reader.truncatedBytes(), static_cast<std::int64_t>(recipe.traceBytes()) - 1);
    EXPECT_EQ(reader.nextTraces(bytes.data(), 3), 0u);
}

TEST(Reader, NoticesAFileThatBecomesShorterBetweenManyTraces) {
    const ScratchFolder folder;
    const SegyRecipe recipe;
    writeFile(folder.file("in.sgy"), makeSegy(recipe));
    Reader reader(folder.file("in.sgy"), {});
    std::filesystem::resize_file(folder.file("in.sgy"), recipe.placeInTrace(2, 0));
    reader.seek(1);
    std::vector<unsigned char> bytes(3 * recipe.traceBytes());
    EXPECT_THROW(reader.nextTraces(bytes.data(), 3), Failure);
}

TEST(Reader, FailsAtOnceWhenTheLastTraceIsCutOff) {
    const ScratchFolder folder;
    const std::string file = makeSegy({});
    writeFile(folder.file("in.sgy"), file.substr(0, file.size() - 1));
    const std::string name = folder.file("in.sgy");
    EXPECT_EQ(readAll(name).failure,
              name +
                  ": the last trace, from byte 4145, has 271 of 272 bytes (8 samples of format ieee a "
                  "trace); --salvage takes the 2 whole ones, --samples or --format override wrong words");
    EXPECT_EQ(readPiped(file.substr(0, file.size() - 1)).failure,
              "standard input: the last trace, from byte 4145, has 271 of 272 bytes (8 samples of format ieee a trace); "
              "--salvage takes the 2 whole ones, --samples or --format override wrong words");
}

TEST(Reader, SalvagesTheWholeTraces) {
    const ScratchFolder folder;
    const std::string cut = makeSegy({}).substr(0, 3600 + 2 * 272 + 240 + 8);
    writeFile(folder.file("in.sgy"), cut);
    const Outcome ofFile = readAll(folder.file("in.sgy"), salvaging());
    expectMadeSamples(ofFile, {.traces = 2});
    EXPECT_EQ(ofFile.truncatedBytes, 248);
    ASSERT_EQ(ofFile.warnings.size(), 1u);
    EXPECT_TRUE(ofFile.warnings.front().ends_with("; the 2 whole ones are taken"));
    testing::internal::CaptureStderr();
    const Outcome ofPipe = readPiped(cut, salvaging());
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "pelta: warning: standard input: the last trace, from byte 4145, has 248 of 272 bytes (8 samples of format ieee "
              "a trace); the 2 whole ones are taken\n");
    expectMadeSamples(ofPipe, {.traces = 2});
    EXPECT_EQ(ofPipe.truncatedBytes, 248);
}

TEST(Reader, FailsWithoutAWholeTraceEvenWhenSalvaging) {
    const ScratchFolder folder;
    const std::string cut = makeSegy({}).substr(0, 3600 + 271);
    writeFile(folder.file("in.sgy"), cut);
    const std::string text =
        ": the last trace, from byte 3601, has 271 of 272 bytes (8 samples of format ieee a trace); there is no whole one, "
        "--samples or --format override wrong words";
    EXPECT_EQ(readAll(folder.file("in.sgy"), salvaging()).failure, folder.file("in.sgy") + text);
    EXPECT_EQ(readPiped(cut, salvaging()).failure, "standard input" + text);
}

TEST(Reader, FailsWhenFewerTracesArePresentThanPromised) {
    const ScratchFolder folder;
    std::string file = makeSegy({.revision = 2});
    putWord(file, 3513, 8, 9);
    writeFile(folder.file("in.sgy"), file);
    const std::string text =
        ": ends at byte 4416 after 3 traces, 9 are promised at byte 3513; --salvage takes the 3 whole ones, --samples or "
        "--format override wrong words";
    EXPECT_EQ(readAll(folder.file("in.sgy")).failure, folder.file("in.sgy") + text);
    EXPECT_EQ(readPiped(file).failure, "standard input" + text);
    expectMadeSamples(readAll(folder.file("in.sgy"), salvaging()), {});
}

TEST(Reader, ReadsAllTracesWhenMoreArePresentThanPromised) {
    const ScratchFolder folder;
    std::string file = makeSegy({.revision = 2});
    putWord(file, 3513, 8, 2);
    writeFile(folder.file("in.sgy"), file);
    const Outcome outcome = readAll(folder.file("in.sgy"));
    expectMadeSamples(outcome, {});
    EXPECT_EQ(outcome.warnings.front(),
              folder.file("in.sgy") + ": 2 traces are promised at byte 3513 and 3 are there; all are read");
}

TEST(Reader, SetsATrailerApart) {
    const ScratchFolder folder;
    const std::string trailer = textBlock(false, "((SEG: EndText))");
    const SegyRecipe recipe{.traces = 40, .samples = 750, .revision = 2};
    for (const int promised : {0, 40})
        for (const int stanzas : {1, -1}) {
            std::string file = makeSegy(recipe) + trailer;
            putWord(file, 3529, 4, stanzas);
            putWord(file, 3513, 8, promised);
            writeFile(folder.file("in.sgy"), file);
            const Outcome ofFile = readAll(folder.file("in.sgy"));
            expectMadeSamples(ofFile, recipe);
            EXPECT_TRUE(ofFile.trailer == trailer);
            if (stanzas == -1 && promised == 0) continue; /* a pipe cannot tell where such a trailer begins */
            const Outcome ofPipe = readPiped(file);
            expectMadeSamples(ofPipe, recipe);
            EXPECT_TRUE(ofPipe.trailer == trailer);
        }
}

TEST(Reader, NamesWhatCannotBeOpened) {
    const ScratchFolder folder;
    EXPECT_EQ(readAll(folder.file("no.sgy")).failure, folder.file("no.sgy") + ": cannot be read: No such file or directory");
    EXPECT_EQ(readAll(folder.path().string()).failure, folder.path().string() + ": is a folder, expected a SEG-Y file");
    writeFile(folder.file("empty.sgy"), "");
    EXPECT_EQ(readAll(folder.file("empty.sgy")).failure, folder.file("empty.sgy") + ": is empty, expected a SEG-Y file");
    EXPECT_EQ(readAll("/dev/null").failure, "/dev/null: ends inside the file headers, expected 3600 bytes of them and traces");
}

/* A socket has a name and cannot be opened. */
TEST(Reader, LeavesTheLibrarysMessagesOutOfStandardOutput) {
    const ScratchFolder folder;
    const int handle = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::string name = folder.file("s");
    ASSERT_LT(name.size(), sizeof address.sun_path);
    std::strcpy(address.sun_path, name.c_str());
    ASSERT_EQ(bind(handle, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    std::string failure;
    const Printed printed = printedBy([&] { failure = readAll(name).failure; });
    close(handle);
    EXPECT_EQ(printed.text, "");
    EXPECT_EQ(failure, name + ": cannot be read: No such device or address");
}

TEST(Reader, DoesNotFillMemoryWithWhatAPipeOnlyClaims) {
    std::string file = makeSegy({.revision = 2});
    putWord(file, 3221, 2, 0);
    putWord(file, 3269, 4, 2000000000);
    putWord(file, 3715, 2, 0);
    rusage before, after;
    getrusage(RUSAGE_SELF, &before);
    EXPECT_NE(readPiped(file).failure, "");
    getrusage(RUSAGE_SELF, &after);
    constexpr long fewKibibytes = 64 * 1024;
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, fewKibibytes);
}
