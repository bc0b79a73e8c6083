#include <gtest/gtest.h>
#include <pelta/tapeio.h>
#include <sys/mtio.h>
#include <sys/stat.h>

#include <cerrno>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "segy/reader.h"
#include "segy/writer.h"
#include "support/failure.h"
#include "support/faultysystem.h"
#include "support/files.h"
#include "support/segyfiles.h"
#include "support/tapedouble.h"

/* SEG-Y from a tape, on the double of a drive or on the one that PELTA_TEST_TAPE names (scripts/tape). */
namespace {

using pelta::Failure;
using namespace pelta::segy;

/* By which reads from the tape are told from others. */
constexpr std::int64_t recordRoom = 1 << 20;

class TapeInput : public testing::Test {
  protected:
    void SetUp() override {
        system.answerBy([this](CallRecord& call) -> std::optional<long> {
            watch(call);
            if (intervention)
                if (const auto result = intervention(call)) return result;
            if (!isMachine()) return drive.answer(call);
            return call.call == SystemCall::sleep ? std::optional(0L) : std::nullopt;
        });
    }

    bool isMachine() const { return getenv("PELTA_TEST_TAPE") != nullptr; }

    /* A tape of these records, which a mark ends, and a second file behind it; it stands at its end. */
    void makeTape(const std::vector<std::string>& records) {
        tapeIOStruct tape = {};
        std::string device = name;
        tape.cTapeName = device.data();
        constexpr int mark = 0, rewind = 1;
        ASSERT_EQ(tapeOpen(&tape, 1), 1);
        ASSERT_EQ(tapeFunction(&tape, rewind, 1), 0);
        for (std::string bytes : records)
            ASSERT_EQ(tapeWrite(&tape, bytes.data(), bytes.size()), static_cast<int>(bytes.size()));
        ASSERT_EQ(tapeFunction(&tape, mark, 1), 0);
        std::string other = "another file";
        ASSERT_EQ(tapeWrite(&tape, other.data(), other.size()), static_cast<int>(other.size()));
        ASSERT_EQ(tapeFunction(&tape, mark, 2), 0);
        tapeClose(&tape);
        operations.clear();
        opensToWrite = 0;
    }

    /* A SEG-Y file as it goes to tape: its headers and every trace a record. */
    static std::vector<std::string> recordsOf(const std::string& file, const SegyRecipe& recipe) {
        std::vector<std::string> records = {file.substr(0, 3200), file.substr(3200, 400)};
        std::size_t place = 3600;
        for (; place < recipe.firstTrace(); place += 3200) records.push_back(file.substr(place, 3200));
        for (; place < file.size(); place += recipe.traceBytes()) records.push_back(file.substr(place, recipe.traceBytes()));
        return records;
    }

    /* What stands in the file that the tape is copied into, without a change; nothing after a failure. */
    std::string copied(ReadOptions options = {}, const std::string& device = "") {
        options.fromTape = true;
        failure.clear();
        testing::internal::CaptureStderr();
        const std::string out = folder.file("out.sgy");
        const Printed printed = printedBy([&] {
            try {
                Reader reader(device.empty() ? name : device, options);
                Writer writer(out, true, reader.preamble());
                for (Trace trace; reader.next(trace);) writer.write(trace);
                writer.writeTrailer(reader.trailer());
                writer.commit();
            } catch (const Failure& caught) { failure = caught.what(); }
        });
        warnings = testing::internal::GetCapturedStderr();
        EXPECT_EQ(printed.text, "");
        return failure.empty() ? contentsOf(out) : "";
    }

    static ReadOptions salvaging() {
        ReadOptions options;
        options.salvage = true;
        return options;
    }

    /* From the nth on so many reads of records fail. */
    void failReads(int nth, int count) {
        reads = 0;
        intervention = [=, this](CallRecord& call) -> std::optional<long> {
            if (call.call != SystemCall::read || call.argument != recordRoom) return {};
            ++reads;
            if (reads < nth || reads >= nth + count) return {};
            return errno = EIO, -1;
        };
    }

    const std::string name = isMachine() ? getenv("PELTA_TEST_TAPE") : "/dev/nst0-double";
    const ScratchFolder folder;
    TapeDouble drive{name};
    FaultySystem system;
    std::function<std::optional<long>(CallRecord&)> intervention;
    std::vector<int> operations;  // asked of the drive
    int opensToWrite = 0, reads = 0;
    std::string failure, warnings;  // of the last copy
    const SegyRecipe recipe = {.traces = 5, .samples = 50};
    const std::string file = makeSegy(recipe);

  private:
    void watch(const CallRecord& call) {
        if (call.call == SystemCall::open && call.path == name && call.argument & O_ACCMODE) ++opensToWrite;
        if (call.call == SystemCall::ioctl && static_cast<unsigned long>(call.argument) == MTIOCTOP)
            operations.push_back(static_cast<const mtop*>(call.data)->mt_op);
    }
};

TEST_F(TapeInput, ComesBackByteForByte) {
    makeTape(recordsOf(file, recipe));
    EXPECT_TRUE(copied() == file);
    EXPECT_EQ(failure, "");
    EXPECT_EQ(warnings, "");
}

TEST_F(TapeInput, BeginsAtTheBeginningEveryTime) {
    makeTape(recordsOf(file, recipe));
    for (int turn = 0; turn < 2; ++turn) EXPECT_TRUE(copied() == file);
}

TEST_F(TapeInput, MayHaveExtendedHeadersAndAnyFormat) {
    for (int format : {1, 3, 8}) {
        const SegyRecipe other = {.traces = 3,
                                  .samples = 1001,
                                  .format = format,
                                  .revision = 1,
                                  .afterBinaryHeader = textBlock(false) + textBlock(false)};
        const std::string bytes = makeSegy(other);
        makeTape(recordsOf(bytes, other));
        EXPECT_TRUE(copied() == bytes) << format;
        EXPECT_EQ(failure, "");
    }
}

/* A drive that is asked to write a tape that it only reads refuses without end. */
TEST_F(TapeInput, IsNeverWritten) {
    makeTape(recordsOf(file, recipe));
    drive.isProtected = true;
    copied();
    EXPECT_EQ(operations, (std::vector<int>{MTSETBLK, MTREW}));
    EXPECT_EQ(opensToWrite, 0);
    EXPECT_EQ(failure, "");
}

TEST_F(TapeInput, IsRefusedWithoutATape) {
    intervention = [](CallRecord& call) -> std::optional<long> {
        if (call.call != SystemCall::ioctl || static_cast<unsigned long>(call.argument) != MTIOCGET) return {};
        static_cast<mtget*>(call.data)->mt_gstat = 0;
        return 0;
    };
    copied();
    EXPECT_EQ(failure, name + ": no tape is loaded");
    intervention = nullptr;
    const std::pair<int, std::string> errors[] = {{ENOMEDIUM, "no tape is loaded"},
                                                  {EBUSY, "another program has the tape drive"},
                                                  {EACCES, "the tape drive cannot be opened: Permission denied"}};
    for (const auto& [error, expected] : errors) {
        intervention = [&, wanted = error](CallRecord& call) -> std::optional<long> {
            if (call.call != SystemCall::open || call.path != name) return {};
            return errno = wanted, -1;
        };
        copied();
        EXPECT_EQ(failure, name + ": " + expected);
    }
}

TEST_F(TapeInput, IsRefusedWhereThereIsNoDrive) {
    copied({}, "/dev/null");
    EXPECT_EQ(failure, "/dev/null: is no tape drive");
    const std::string pipe = folder.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& other : {pipe, folder.path().string()}) {
        copied({}, other);
        EXPECT_EQ(failure, other + ": is no tape drive");
    }
    const std::string missing = folder.file("nst0");
    copied({}, missing);
    EXPECT_EQ(failure, missing + ": the tape drive cannot be opened: No such file or directory");
}

TEST_F(TapeInput, IsRefusedWhenItCannotBeRewound) {
    makeTape(recordsOf(file, recipe));
    system.fail(SystemCall::ioctl, 3, EIO);
    copied();
    EXPECT_EQ(failure, name + ": the tape cannot be rewound: Input/output error");
}

TEST_F(TapeInput, IsRefusedWithoutSegyHeaders) {
    makeTape({});
    copied();
    EXPECT_EQ(failure, name + ": no record stands before the first file mark, expected the text header");
    makeTape({std::string(80, 'V'), std::string(400, 'x')});
    copied();
    EXPECT_EQ(failure, name + ": record 1 has 80 bytes, expected the text header of 3200");
    makeTape({std::string(3200, 'C'), std::string(3200, 'C')});
    copied();
    EXPECT_EQ(failure, name + ": record 2 has 3200 bytes, expected the binary header of 400");
    makeTape({file.substr(0, 3200), file.substr(3200, 400)});
    copied();
    EXPECT_EQ(failure, name + ": ends at byte 3600 and holds no trace");
}

TEST_F(TapeInput, TellsOfRecordsThatAreNoTraces) {
    std::vector<std::string> records = recordsOf(file, recipe);
    const std::string has = " bytes, a trace of 50 samples of format ieee has 440";
    records.at(4).resize(300);
    makeTape(records);
    copied();
    EXPECT_EQ(failure, name + ": record 5 has 300" + has + "; --salvage passes over such records");
    records.erase(records.begin() + 4);
    std::string expected;
    for (const std::string& bytes : records) expected += bytes;
    EXPECT_TRUE(copied(salvaging()) == expected);
    EXPECT_EQ(warnings, "pelta: warning: " + name + ": record 5 has 300" + has + "; it is passed over\n");
    ReadOptions shorter;
    shorter.overrides.samples = 49;
    copied(shorter);
    EXPECT_EQ(failure, name +
                           ": record 3 has 440 bytes, a trace of 49 samples of format ieee has 436; --samples or --format "
                           "override wrong words");
}

TEST_F(TapeInput, PassesOverAShortLastRecordWhenSalvaging) {
    std::vector<std::string> records = recordsOf(file, recipe);
    records.push_back("rest");
    makeTape(records);
    EXPECT_TRUE(copied(salvaging()) == file);
    EXPECT_NE(warnings.find("record 8 has 4 bytes"), std::string::npos);
}

TEST_F(TapeInput, TriesARecordAgainThatCannotBeReadAtOnce) {
    makeTape(recordsOf(file, recipe));
    failReads(4, 3);
    EXPECT_TRUE(copied() == file);
    EXPECT_EQ(failure, "");
    EXPECT_EQ(reads, 11);  // seven records, the mark and three in vain
}

TEST_F(TapeInput, TellsOfARecordThatCannotBeRead) {
    makeTape(recordsOf(file, recipe));
    const std::string what = name + ": record 5 cannot be read: Input/output error; ";
    failReads(5, 4);
    copied();
    EXPECT_EQ(failure, what + "--salvage takes the records before it");
    failReads(5, 4);
    EXPECT_TRUE(copied(salvaging()) == file.substr(0, recipe.placeInTrace(2, 0)));
    EXPECT_EQ(warnings, "pelta: warning: " + what + "the records before it are taken\n");
    failReads(1, 4);
    copied(salvaging());
    EXPECT_EQ(failure, name + ": record 1 cannot be read: Input/output error");
}

TEST_F(TapeInput, TellsOfARecordThatIsTooLong) {
    makeTape(recordsOf(file, recipe));
    intervention = [](CallRecord& call) {
        return call.call == SystemCall::read && call.argument == recordRoom ? errno = ENOMEM, std::optional(-1L) : std::nullopt;
    };
    copied();
    EXPECT_EQ(failure, name + ": record 1 is longer than 1048576 bytes");
}

TEST_F(TapeInput, HasAnEndThatMayLackTracesThatWerePromised) {
    const SegyRecipe newer = {.traces = 5, .samples = 50, .revision = 2};
    std::string promising = makeSegy(newer);
    putWord(promising, 3513, 8, 6);
    makeTape(recordsOf(promising, newer));
    copied();
    EXPECT_EQ(failure, name + ": ends at byte " + std::to_string(promising.size()) +
                           " after 5 traces, 6 are promised at byte 3513; --salvage takes the 5 whole ones, --samples or "
                           "--format override wrong words");
}

/* The program as it is built, in a process of its own. */
TEST_F(TapeInput, IsReadByTheProgramItself) {
    const char* command = getenv("PELTA_TEST_COMMAND");
    if (!command) GTEST_SKIP() << "the double of a drive is known to this process only";
    const std::string line = folder.file("line.sgy"), flow = folder.file("flow.toml"), out = folder.file("out.sgy");
    const std::string said = folder.file("said");
    const auto run = [&](const std::string& arguments) {
        return std::system((command + (" " + arguments) + " >" + said + " 2>&1").c_str());
    };
    makeTape(recordsOf(file, recipe));
    writeFile(flow, "[[step]]\nname = \"pick\"\n");
    EXPECT_EQ(run("run " + flow + " " + name + " " + out + " --tape"), 0);
    EXPECT_TRUE(contentsOf(out) == file);

    writeFile(line, file);
    EXPECT_EQ(run("info " + line), 0);
    std::string expected = contentsOf(said);
    expected.replace(0, expected.find('\n'), "file          " + name);
    EXPECT_EQ(run("info " + name + " --tape"), 0);
    EXPECT_EQ(contentsOf(said), expected);

    makeTape({});
    EXPECT_NE(run("info " + name + " --tape"), 0);
    EXPECT_EQ(contentsOf(said), "pelta: " + name + ": no record stands before the first file mark, expected the text header\n");
}

}
