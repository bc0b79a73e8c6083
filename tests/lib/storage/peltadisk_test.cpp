#include <fcntl.h>
#include <gtest/gtest.h>
#include <pelta/peltadisk.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "support/scratchtest.h"

namespace {

static_assert(std::is_same_v<decltype(peltaDisk::blkSize), std::size_t>);
static_assert(offsetof(peltaDisk, blkTotal) == sizeof(std::size_t));
static_assert(offsetof(peltaDisk, offset) == 2 * sizeof(std::size_t) && sizeof(peltaDisk::offset) == 8);
static_assert(offsetof(peltaDisk, peltaName) == offsetof(peltaDisk, offset) + 8 && sizeof(peltaDisk::peltaName) == 1024);
static_assert(offsetof(peltaDisk, peltaFile) == offsetof(peltaDisk, peltaName) + 1024);
static_assert(offsetof(peltaDisk, peltaData) > offsetof(peltaDisk, peltaFile));

struct CloseAndFree {
    void operator()(peltaDisk* disk) const {
        peltaDiskClose(disk);
        std::free(disk);
    }
};
using Store = std::unique_ptr<peltaDisk, CloseAndFree>;

struct Opened {
    Store store;
    Printed printed;
};

/* An error's text behind the name of the function and the step that failed. */
std::string message(const std::string& start, int error) { return start + ": " + strerror(error) + "\n"; }

class PeltaDisk : public ScratchTest {
  protected:
    Opened open(std::size_t blockSize, std::size_t blockTotal) {
        buffer.assign(blockSize, 'x');
        Opened opened;
        opened.printed = printedBy([&] { opened.store.reset(peltaDiskOpen(blockSize, blockTotal, buffer.data())); });
        return opened;
    }
    Store quietlyOpened(std::size_t blockSize, std::size_t blockTotal) { return open(blockSize, blockTotal).store; }

    std::vector<char> buffer;
};

float* asFloats(std::string& bytes) { return reinterpret_cast<float*>(bytes.data()); }

std::string block(char letter, std::size_t size = 100) { return std::string(size, letter); }

std::string readBlock(peltaDisk& disk, std::size_t number) {
    std::string data = block('?', disk.blkSize);
    const int count = peltaDiskRead(&disk, number, asFloats(data));
    data.resize(std::max(count, 0));
    return data;
}

/* The blocks from 0 on, one after another. */
std::string readBlocks(peltaDisk& disk, std::size_t count) {
    std::string data;
    for (std::size_t k = 0; k < count; ++k) data += readBlock(disk, k);
    return data;
}

int writeBlock(peltaDisk& disk, std::size_t number, char letter) {
    std::string data = block(letter, disk.blkSize);
    return peltaDiskWrite(&disk, number, asFloats(data));
}

off_t positionOf(const peltaDisk& disk) { return lseek(disk.peltaFile, 0, SEEK_CUR); }

off_t lengthOf(const peltaDisk& disk) {
    struct stat status = {};
    fstat(disk.peltaFile, &status);
    return status.st_size;
}

TEST_F(PeltaDisk, GivesBackBlocksInAnyOrder) {
    const Store store = quietlyOpened(6000, 10);
    std::string gather[10];
    for (int k : {3, 0, 9, 5, 1, 8, 2, 7, 6, 4}) {
        gather[k] = block(static_cast<char>('a' + k), 6000);
        EXPECT_EQ(peltaDiskWrite(store.get(), k, asFloats(gather[k])), 6000);
    }
    for (int k : {7, 8, 2, 2, 0, 9, 1, 4, 6, 5, 3}) EXPECT_EQ(readBlock(*store, k), gather[k]) << k;
}

TEST_F(PeltaDisk, OpensWithZeroedBlocksAndSaysWhere) {
    const Opened opened = open(6000, 10);
    ASSERT_TRUE(opened.store);
    const peltaDisk& disk = *opened.store;
    EXPECT_EQ(opened.printed.text, std::string("\npeltaDiskOpen, file: ") + disk.peltaName + "\n\n");
    EXPECT_EQ(opened.printed.unflushed, 0u);
    EXPECT_EQ(std::string(disk.peltaName).size(), folder.file("peltaXXXXXX").size());
    EXPECT_EQ(std::string(disk.peltaName).rfind(folder.file("pelta"), 0), 0u);
    EXPECT_EQ(disk.blkSize, 6000u);
    EXPECT_EQ(disk.blkTotal, 10u);
    EXPECT_EQ(disk.offset, 0);
    EXPECT_EQ(positionOf(disk), 0);
    EXPECT_EQ(disk.peltaData, buffer.data());
    EXPECT_EQ(buffer, std::vector<char>(6000, '\0'));
    EXPECT_EQ(lengthOf(disk), 60000);
    for (int k = 0; k < 10; ++k) EXPECT_EQ(readBlock(*opened.store, k), block('\0', 6000));
}

TEST_F(PeltaDisk, KeepsItsFileFromOtherUsersProgramsAndNames) {
    const Store store = quietlyOpened(100, 2);
    struct stat status = {};
    ASSERT_EQ(fstat(store->peltaFile, &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    EXPECT_EQ(status.st_nlink, 0u);
    EXPECT_TRUE(isEmpty());
    EXPECT_NE(fcntl(store->peltaFile, F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(PeltaDisk, ClaimsItsSpaceWhenItIsOpened) {
    const Store store = quietlyOpened(1 << 16, 16);
    struct stat status = {};
    ASSERT_EQ(fstat(store->peltaFile, &status), 0);
    EXPECT_GE(status.st_blocks * 512, 1 << 20);
}

TEST_F(PeltaDisk, OpensAnEmptyStoreWithoutTouchingTheBuffer) {
    Store store;
    buffer.assign(100, 'x');
    printedBy([&] {
        FaultySystem system;
        store.reset(peltaDiskOpen(100, 0, buffer.data()));
        EXPECT_EQ(system.count(SystemCall::write) + system.count(SystemCall::fallocate), 0);
    });
    ASSERT_TRUE(store);
    EXPECT_EQ(buffer, std::vector<char>(100, 'x'));
    EXPECT_EQ(lengthOf(*store), 0);
    EXPECT_EQ(readBlock(*store, 0), "");
    EXPECT_EQ(writeBlock(*store, 0, 'a'), 100);
    EXPECT_EQ(readBlock(*store, 0), block('a'));
}

TEST_F(PeltaDisk, OpensBlocksOfNoBytes) {
    const Store store = quietlyOpened(0, 5);
    ASSERT_TRUE(store);
    EXPECT_EQ(lengthOf(*store), 0);
    EXPECT_EQ(writeBlock(*store, 0, 'a'), 0);
    EXPECT_EQ(writeBlock(*store, 4294967295, 'a'), 0);  // the growth rule has nothing to divide by
    EXPECT_EQ(readBlock(*store, 5), "");
    EXPECT_EQ(store->blkTotal, 5u);
}

TEST_F(PeltaDisk, ReadsOneBlockPastTheEndAndNoFurther) {
    const Store store = quietlyOpened(100, 3);
    std::string data = block('?');
    const Printed printed = printedBy([&] {
        EXPECT_EQ(peltaDiskRead(store.get(), 3, asFloats(data)), 0);
        EXPECT_EQ(writeBlock(*store, 3, 'd'), 100);
        EXPECT_EQ(writeBlock(*store, 4, 'e'), 100);
        EXPECT_EQ(readBlock(*store, 3), block('d'));
        EXPECT_EQ(peltaDiskRead(store.get(), 4, asFloats(data)), -1);
        EXPECT_EQ(peltaDiskReadPartial(store.get(), 3, 90, 20, asFloats(data)), 20);
        EXPECT_EQ(data.substr(0, 21), block('d', 10) + block('e', 10) + "?");
        EXPECT_EQ(peltaDiskReadPartial(store.get(), 4, 0, 20, asFloats(data)), -1);
    });
    EXPECT_EQ(printed.text, "");
    EXPECT_EQ(store->offset, positionOf(*store));
}

TEST_F(PeltaDisk, LeavesTheRestOfABlockAsItWasWhenAPartIsWritten) {
    const Store store = quietlyOpened(100, 3);
    std::string part = block('p', 30);
    EXPECT_EQ(peltaDiskWritePartial(store.get(), 2, 50, 30, asFloats(part)), 30);
    EXPECT_EQ(readBlock(*store, 1), block('\0'));
    EXPECT_EQ(readBlock(*store, 2), block('\0', 50) + part + block('\0', 20));

    std::string back = block('?', 40);
    EXPECT_EQ(peltaDiskReadPartial(store.get(), 2, 45, 40, asFloats(back)), 40);
    EXPECT_EQ(back, block('\0', 5) + part + block('\0', 5));
    EXPECT_EQ(store->blkTotal, 3u);
}

TEST_F(PeltaDisk, ReturnsWhatThereWasWhenAFileEndsWithinABlock) {
    const Store store = quietlyOpened(100, 0);
    std::string part = block('p', 30);
    EXPECT_EQ(peltaDiskWritePartial(store.get(), 0, 0, 30, asFloats(part)), 30);
    EXPECT_EQ(readBlock(*store, 0), part);
    EXPECT_EQ(store->offset, 30);
    EXPECT_EQ(positionOf(*store), 30);
}

TEST_F(PeltaDisk, MovesNoMoreThanTheSystemDid) {
    const Store store = quietlyOpened(100, 3);
    std::string data = block('a');
    FaultySystem system;
    system.shorten(SystemCall::write, 1, 60);
    system.shorten(SystemCall::read, 1, 25);
    EXPECT_EQ(peltaDiskWrite(store.get(), 1, asFloats(data)), 60);
    EXPECT_EQ(store->offset, 160);
    EXPECT_EQ(peltaDiskRead(store.get(), 1, asFloats(data)), 25);
    EXPECT_EQ(store->offset, 125);
    EXPECT_EQ(system.count(SystemCall::write) + system.count(SystemCall::read), 2);
    EXPECT_TRUE(system.allFaultsMet());
}

/* The last block that starts within 32 bits is the only one that a store grows by. */
TEST_F(PeltaDisk, GrowsByTheLastBlockThatStartsWithin32Bits) {
    const Store store = quietlyOpened(1 << 20, 0);
    std::string part = block('p', 8);
    writeBlock(*store, 4094, 'a');
    writeBlock(*store, 4096, 'a');
    EXPECT_EQ(peltaDiskWritePartial(store.get(), 4095, 0, 8, asFloats(part)), 8);
    EXPECT_EQ(store->blkTotal, 0u);
    EXPECT_EQ(writeBlock(*store, 4095, 'b'), 1 << 20);
    EXPECT_EQ(store->blkTotal, 1u);
    EXPECT_EQ(writeBlock(*store, 4095, 'c'), 1 << 20);
    EXPECT_EQ(store->blkTotal, 2u);
}

TEST_F(PeltaDisk, GrowsAlsoWhenTheWriteFails) {
    const Store store = quietlyOpened(1 << 20, 0);
    printedBy([&] {
        FaultySystem system;
        system.fail(SystemCall::write, 1, EIO);
        system.fail(SystemCall::lseek, 2, EIO);
        EXPECT_EQ(writeBlock(*store, 4095, 'b'), -1);
        EXPECT_EQ(store->blkTotal, 1u);
        EXPECT_EQ(writeBlock(*store, 4095, 'b'), -1);  // but not when the seek does
        EXPECT_EQ(store->blkTotal, 1u);
    });
}

TEST_F(PeltaDisk, ReachesBeyond4GiB) {
    constexpr std::size_t megabyte = 1 << 20, beyond = 5000;  // at 4.9 GiB; 904 is 4 GiB before it
    const Store store = quietlyOpened(megabyte, 0);
    std::string part = block('p', 30), back = block('?', 30);
    EXPECT_EQ(writeBlock(*store, 904, 'a'), 1 << 20);
    EXPECT_EQ(writeBlock(*store, beyond, 'b'), 1 << 20);
    EXPECT_EQ(peltaDiskWritePartial(store.get(), beyond + 1, 70, 30, asFloats(part)), 30);
    EXPECT_EQ(lengthOf(*store), off_t{5001} * megabyte + 100);
    EXPECT_EQ(store->offset, off_t{5001} * megabyte + 100);

    store->blkTotal = 6000;  // reading is bound to it
    EXPECT_EQ(readBlock(*store, 904), block('a', megabyte));
    EXPECT_EQ(readBlock(*store, beyond), block('b', megabyte));
    EXPECT_EQ(peltaDiskReadPartial(store.get(), beyond + 1, 70, 30, asFloats(back)), 30);
    EXPECT_EQ(back, part);
}

TEST_F(PeltaDisk, ClaimsMoreThan4GiB) {
    std::int64_t claimed = 0;
    Store store;
    buffer.assign(1 << 20, 'x');
    printedBy([&] {
        FaultySystem system;
        system.answerBy([&](CallRecord& call) {
            if (call.call != SystemCall::fallocate) return std::optional<std::int64_t>();
            claimed = call.argument;
            return std::optional<std::int64_t>(0);
        });
        store.reset(peltaDiskOpen(1 << 20, 5000, buffer.data()));
    });
    ASSERT_TRUE(store);
    EXPECT_EQ(claimed, std::int64_t{5000} << 20);
}

/* By how far the store seeks meanwhile. */
std::vector<std::int64_t> seeksOf(const std::function<void()>& work) {
    std::vector<std::int64_t> distances;
    FaultySystem system;
    work();
    for (const CallRecord& call : system.calls())
        if (call.call == SystemCall::lseek && call.kind == SEEK_CUR) distances.push_back(call.argument);
    return distances;
}
using Seeks = std::vector<std::int64_t>;

TEST_F(PeltaDisk, SeeksByTheDistanceFromItsOffsetUnlessItGoesOnWhereItEnded) {
    const Store store = quietlyOpened(100, 10);
    std::string data = block('a');
    EXPECT_EQ(seeksOf([&] {
                  for (int k = 0; k < 3; ++k) writeBlock(*store, k, 'a');
                  readBlock(*store, 3);
                  readBlock(*store, 5);
                  peltaDiskReadPartial(store.get(), 4, 20, 30, asFloats(data));
                  peltaDiskWritePartial(store.get(), 4, 50, 20, asFloats(data));
                  peltaDiskReadPartial(store.get(), 4, 70, 30, asFloats(data));
                  writeBlock(*store, 5, 'b');
                  writeBlock(*store, 5, 'c');
              }),
              (Seeks{0, 100, -180, -100}));
    EXPECT_EQ(readBlock(*store, 5), block('c'));
}

TEST_F(PeltaDisk, SeeksForTheFirstTransferAfterOpeningAndClosing) {
    const Store store = quietlyOpened(100, 3);
    EXPECT_EQ(seeksOf([&] { readBlock(*store, 0); }), Seeks{0});
    Store other = quietlyOpened(100, 3);
    EXPECT_EQ(seeksOf([&] { readBlock(*store, 1); }), Seeks{0});
    other.reset();
    EXPECT_EQ(seeksOf([&] { readBlock(*store, 2); }), Seeks{0});
}

/* Memory and number of a store that was closed are those of the next one as a rule; its file stands at the start. */
TEST_F(PeltaDisk, SeeksForTheFirstTransferOfAStoreInThePlaceOfAnother) {
    Store store = quietlyOpened(0, 3);
    const peltaDisk before = *store;
    const peltaDisk* const place = store.get();
    readBlock(*store, 0);
    store.reset();
    store = quietlyOpened(0, 3);
    if (store.get() != place || store->peltaFile != before.peltaFile) GTEST_SKIP() << "the system gave it another";
    EXPECT_EQ(seeksOf([&] { readBlock(*store, 0); }), Seeks{0});
}

TEST_F(PeltaDisk, SeeksWhenAnotherStoreHasBeenAtWorkInBetween) {
    const Store store = quietlyOpened(100, 3), other = quietlyOpened(100, 3);
    EXPECT_EQ(seeksOf([&] {
                  readBlock(*store, 0);
                  readBlock(*other, 0);
                  readBlock(*store, 1);
                  readBlock(*store, 2);
              }),
              (Seeks{0, 0, 0}));
}

TEST_F(PeltaDisk, SeeksAfterATransferThatWasCutShort) {
    const Store store = quietlyOpened(100, 3);
    std::string data = block('?', 200);
    readBlock(*store, 0);
    {
        FaultySystem system;
        system.shorten(SystemCall::read, 1, 25);
        readBlock(*store, 1);
        EXPECT_EQ(system.count(SystemCall::lseek), 0);
    }
    EXPECT_EQ(seeksOf([&] { peltaDiskReadPartial(store.get(), 1, 25, 75, asFloats(data)); }), Seeks{0});
    EXPECT_EQ(seeksOf([&] { peltaDiskReadPartial(store.get(), 2, 0, 200, asFloats(data)); }), Seeks{});
    EXPECT_EQ(seeksOf([&] { readBlock(*store, 3); }), Seeks{0});
}

TEST_F(PeltaDisk, SeeksAfterAnyFailureInWhateverThread) {
    const Store store = quietlyOpened(100, 4), other = quietlyOpened(100, 4);
    readBlock(*store, 0);
    const auto failElsewhere = [&](SystemCall call) {
        std::thread([&] {
            printedBy([&] {
                FaultySystem system;
                system.fail(call, 1, EIO);
                readBlock(*other, 0);
            });
        }).join();
    };
    failElsewhere(SystemCall::read);
    EXPECT_EQ(seeksOf([&] { readBlock(*store, 1); }), Seeks{0});
    failElsewhere(SystemCall::lseek);
    EXPECT_EQ(seeksOf([&] { readBlock(*store, 2); }), Seeks{0});
    EXPECT_EQ(seeksOf([&] { readBlock(*store, 3); }), Seeks{});
}

/* A failed transfer of another thread leaves the offset where one of this thread ended, but the file a byte further. */
TEST_F(PeltaDisk, SeeksWhenAnotherThreadHasFailedOnTheStore) {
    const Store store = quietlyOpened(100, 4);
    std::string data = block('?');
    for (int k = 0; k < 4; ++k) writeBlock(*store, k, static_cast<char>('a' + k));
    readBlock(*store, 0);
    std::thread([&] {
        peltaDiskReadPartial(store.get(), 1, 0, 1, asFloats(data));
        printedBy([&] {
            FaultySystem system;
            system.fail(SystemCall::read, 1, EIO);
            peltaDiskReadPartial(store.get(), 1, 1, 1, asFloats(data));
        });
    }).join();
    ASSERT_EQ(store->offset, 100);
    ASSERT_EQ(positionOf(*store), 101);
    EXPECT_EQ(seeksOf([&] { readBlock(*store, 1); }), Seeks{0});
    EXPECT_EQ(store->offset, 201);
}

TEST_F(PeltaDisk, SeeksWhenItsThreadOrItsRecordIsAnother) {
    const Store store = quietlyOpened(100, 4);
    readBlock(*store, 0);
    std::thread([&] { EXPECT_EQ(seeksOf([&] { readBlock(*store, 1); }), Seeks{0}); }).join();
    EXPECT_EQ(seeksOf([&] { readBlock(*store, 2); }), Seeks{0});
    peltaDisk copy = *store;
    EXPECT_EQ(seeksOf([&] { readBlock(copy, 3); }), Seeks{0});
}

TEST_F(PeltaDisk, SeeksWhenTheCallerHasExchangedItsFileOrMovedIt) {
    const Store store = quietlyOpened(100, 3);
    for (int k = 0; k < 3; ++k) writeBlock(*store, k, static_cast<char>('a' + k));
    readBlock(*store, 0);
    const int number = store->peltaFile;
    store->peltaFile = dup(number);
    EXPECT_EQ(seeksOf([&] { EXPECT_EQ(readBlock(*store, 1), block('b')); }), Seeks{0});
    close(store->peltaFile);
    store->peltaFile = number;

    store->offset = lseek(number, 10, SEEK_SET);
    EXPECT_EQ(seeksOf([&] { EXPECT_EQ(readBlock(*store, 1), block('b')); }), Seeks{90});
    store->offset = 150;
    EXPECT_EQ(seeksOf([&] { EXPECT_EQ(readBlock(*store, 2), block('c', 50)); }), Seeks{50});
    EXPECT_EQ(store->offset, 300);
}

TEST_F(PeltaDisk, LearnsWhereItsFileStandsFromEachSeek) {
    const Store store = quietlyOpened(100, 3);
    for (int k = 0; k < 3; ++k) writeBlock(*store, k, static_cast<char>('a' + k));
    lseek(store->peltaFile, 10, SEEK_CUR);
    EXPECT_EQ(readBlock(*store, 1), block('b', 90) + block('c', 10));
    EXPECT_EQ(store->offset, 210);
}

TEST_F(PeltaDisk, SaysThatItCannotSeekWhenTheCallerHasClosedItsFile) {
    std::string data = block('b');
    const auto textOf = [&](auto transfer) {
        const Store store = quietlyOpened(100, 3);
        writeBlock(*store, 0, 'a');
        close(store->peltaFile);
        const Printed printed = printedBy([&] { EXPECT_EQ(transfer(store.get()), -1); });  // where the file stands already
        EXPECT_EQ(printed.unflushed, 0u);
        EXPECT_EQ(store->offset, -1);
        return printed.text;
    };
    EXPECT_EQ(textOf([&](peltaDisk* disk) { return peltaDiskWrite(disk, 1, asFloats(data)); }),
              message("peltaDiskWrite, Error with lseek64", EBADF));
    EXPECT_EQ(textOf([&](peltaDisk* disk) { return peltaDiskWritePartial(disk, 1, 0, 8, asFloats(data)); }),
              std::string("peltaDiskWritePartial, Error with lseek64: ") + strerror(EBADF) + "   blknum=1 start=0 size=8\n");
    EXPECT_EQ(textOf([&](peltaDisk* disk) { return peltaDiskRead(disk, 1, asFloats(data)); }),
              message("peltaDiskRead, Error with lseek64", EBADF));
    EXPECT_EQ(textOf([&](peltaDisk* disk) { return peltaDiskReadPartial(disk, 1, 0, 8, asFloats(data)); }),
              message("peltaDiskReadPartial, Error with lseek64", EBADF));
}

TEST_F(PeltaDisk, TellsAFailedTransferByItsOwnErrorWhereItWentOnWithoutASeek) {
    const Store store = quietlyOpened(100, 3);
    for (const SystemCall call : {SystemCall::read, SystemCall::write}) {
        writeBlock(*store, 0, 'a');
        const Printed printed = printedBy([&] {
            FaultySystem system;
            system.fail(call, 1, ENXIO);
            system.answerBy([](CallRecord& record) {
                if (record.call == SystemCall::lseek) errno = EINTR;  // a success may leave any
                return std::optional<std::int64_t>();
            });
            if (call == SystemCall::read) EXPECT_EQ(readBlock(*store, 1), "");
            else EXPECT_EQ(writeBlock(*store, 1, 'b'), -1);
            EXPECT_EQ(system.count(SystemCall::lseek), 1);
        });
        EXPECT_EQ(printed.text, call == SystemCall::read ? message("peltaDiskRead, Error with read", ENXIO)
                                                         : message("peltaDiskWrite, Error with write", ENXIO));
        EXPECT_EQ(store->offset, 99);
        EXPECT_EQ(positionOf(*store), 100);
        EXPECT_EQ(seeksOf([&] { writeBlock(*store, 0, 'a'); }), Seeks{-99});
        store->offset = positionOf(*store);
        EXPECT_EQ(seeksOf([&] { readBlock(*store, 1); }).size(), 1u);
    }
}

TEST_F(PeltaDisk, DoesNotGrowWhenNeitherTheTransferNorTheSeekAfterItWorks) {
    const Store store = quietlyOpened(1 << 20, 0);
    writeBlock(*store, 4094, 'a');
    printedBy([&] {
        FaultySystem system;
        system.fail(SystemCall::write, 1, EIO);
        system.fail(SystemCall::lseek, 1, EIO);
        EXPECT_EQ(writeBlock(*store, 4095, 'b'), -1);
        EXPECT_TRUE(system.allFaultsMet());
    });
    EXPECT_EQ(store->blkTotal, 0u);
    EXPECT_EQ(store->offset, -1);
}

TEST_F(PeltaDisk, ReportsAFailedTransferOnceWithoutTryingAgain) {
    for (const int error : {EIO, ENOSPC, EINTR, EACCES}) {
        const Store store = quietlyOpened(100, 3);
        std::string data = block('a');
        const auto report = [&](SystemCall call, auto transfer) {
            const Printed printed = printedBy([&] {
                FaultySystem system;
                system.fail(call, 1, error);
                EXPECT_EQ(transfer(), -1);
                EXPECT_TRUE(system.allFaultsMet());
                EXPECT_EQ(system.count(call), 1);
            });
            EXPECT_EQ(printed.unflushed, 0u);
            return printed.text;
        };
        const auto read = [&] { return peltaDiskRead(store.get(), 1, asFloats(data)); };
        const auto readPartial = [&] { return peltaDiskReadPartial(store.get(), 2, 10, 20, asFloats(data)); };
        const auto write = [&] { return peltaDiskWrite(store.get(), 1, asFloats(data)); };
        const auto writePartial = [&] { return peltaDiskWritePartial(store.get(), 2, 10, 20, asFloats(data)); };

        EXPECT_EQ(report(SystemCall::read, read), message("peltaDiskRead, Error with read", error));
        EXPECT_EQ(report(SystemCall::read, readPartial), message("peltaDiskReadPartial, Error with read", error));
        EXPECT_EQ(report(SystemCall::write, write), message("peltaDiskWrite, Error with write", error));
        EXPECT_EQ(report(SystemCall::write, writePartial), message("peltaDiskWritePartial, Error with write", error));

        EXPECT_EQ(report(SystemCall::lseek, read), message("peltaDiskRead, Error with lseek64", error));
        EXPECT_EQ(report(SystemCall::lseek, readPartial), message("peltaDiskReadPartial, Error with lseek64", error));
        EXPECT_EQ(report(SystemCall::lseek, write), message("peltaDiskWrite, Error with lseek64", error));
        EXPECT_EQ(report(SystemCall::lseek, writePartial), std::string("peltaDiskWritePartial, Error with lseek64: ") +
                                                               strerror(error) + "   blknum=2 start=10 size=20\n");
    }
}

TEST_F(PeltaDisk, CountsAFailedTransferAsAByteBack) {
    const Store store = quietlyOpened(100, 3);
    for (int k = 0; k < 3; ++k) writeBlock(*store, k, static_cast<char>('a' + k));
    printedBy([&] {
        FaultySystem system;
        system.fail(SystemCall::read, 1, EIO);
        EXPECT_EQ(readBlock(*store, 1), "");
    });
    EXPECT_EQ(store->offset, 99);
    EXPECT_EQ(positionOf(*store), 100);
    EXPECT_EQ(readBlock(*store, 0), block('a', 99) + "b");  // a byte late
    EXPECT_EQ(store->offset, 101);
    EXPECT_EQ(readBlock(*store, 0), block('a'));  // and right again
}

TEST_F(PeltaDisk, KeepsTheResultOfAFailedSeekAsItsOffset) {
    const Store store = quietlyOpened(100, 3);
    writeBlock(*store, 0, 'a');
    writeBlock(*store, 1, 'b');
    const auto failSeek = [&] {
        printedBy([&] {
            FaultySystem system;
            system.fail(SystemCall::lseek, 1, EIO);
            EXPECT_EQ(writeBlock(*store, 0, 'x'), -1);
        });
        EXPECT_EQ(store->offset, -1);
        EXPECT_EQ(positionOf(*store), 200);
    };
    failSeek();
    EXPECT_EQ(writeBlock(*store, 1, 'c'), 100);  // 201 bytes too far
    EXPECT_EQ(store->offset, 401);
    EXPECT_EQ(readBlocks(*store, 2), block('a') + block('b'));

    failSeek();
    store->offset = positionOf(*store);  // as the header advises
    EXPECT_EQ(writeBlock(*store, 2, 'd'), 100);
    EXPECT_EQ(readBlocks(*store, 3), block('a') + block('b') + block('d'));
}

/* The rule of positions, in so many words. */
class PlainStore {
  public:
    PlainStore(int file, std::size_t blockSize) : file_(file), blockSize_(blockSize) {}

    int transfer(bool writes, std::size_t number, std::size_t start, std::size_t size, std::string& data) {
        offset = lseek(file_, static_cast<off_t>(number * blockSize_ + start) - offset, SEEK_CUR);
        const ssize_t count = writes ? ::write(file_, data.data(), size) : ::read(file_, data.data(), size);
        offset += count;
        return static_cast<int>(count);
    }

    off_t offset = 0;

  private:
    int file_;
    std::size_t blockSize_;
};

TEST_F(PeltaDisk, KeepsToTheRuleOfPositionsWhateverFails) {
    constexpr std::size_t blockSize = 4, blockTotal = 6;
    std::mt19937 random(8);
    const auto below = [&](std::size_t limit) { return random() % limit; };
    const auto letters = [&] {
        std::string data(12, '\0');
        for (char& letter : data) letter = static_cast<char>('a' + below(26));
        return data;
    };
    for (int round = 0; round < 30; ++round) {
        const Store store = quietlyOpened(blockSize, blockTotal);
        const std::string path = elsewhere.file("plain");
        writeFile(path, std::string(blockSize * blockTotal, '\0'));
        const int file = ::open(path.c_str(), O_RDWR);
        PlainStore plain(file, blockSize);
        printedBy([&] {
            for (int turn = 0; turn < 200; ++turn) {
                const bool writes = below(2) == 0, isPartial = below(2) == 0, fails = below(4) == 0;
                const std::size_t number = below(blockTotal + 1);
                const std::size_t start = isPartial ? below(blockSize) : 0;
                const std::size_t size = isPartial ? below(2 * blockSize) : blockSize;
                std::string mine = letters(), others = mine;
                FaultySystem system;
                if (fails) {
                    system.fail(writes ? SystemCall::write : SystemCall::read, 1, EIO);
                    system.fail(writes ? SystemCall::write : SystemCall::read, 2, EIO);
                }
                const int count = writes ? isPartial ? peltaDiskWritePartial(store.get(), number, start, size, asFloats(mine))
                                                     : peltaDiskWrite(store.get(), number, asFloats(mine))
                                  : isPartial ? peltaDiskReadPartial(store.get(), number, start, size, asFloats(mine))
                                              : peltaDiskRead(store.get(), number, asFloats(mine));
                ASSERT_EQ(count, plain.transfer(writes, number, start, size, others));
                ASSERT_EQ(store->offset, plain.offset);
                ASSERT_EQ(mine, others);
            }
        });
        std::string whole(lengthOf(*store), '?');
        EXPECT_EQ(pread(store->peltaFile, whole.data(), whole.size(), 0), static_cast<ssize_t>(whole.size()));
        EXPECT_EQ(whole, contentsOf(path));
        close(file);
    }
}

TEST_F(PeltaDisk, RefusesPositionsThatNoFileHas) {
    if (sizeof(std::size_t) < 8) GTEST_SKIP() << "32-bit numbers make no such position";
    const Store store = quietlyOpened(100, 3);
    store->blkTotal = SIZE_MAX;
    writeBlock(*store, 0, 'a');
    std::string data = block('x');
    const Printed printed = printedBy([&] {
        EXPECT_EQ(peltaDiskWrite(store.get(), SIZE_MAX / 100 + 1, asFloats(data)), -1);  // 2^64 bytes on is block 0
        EXPECT_EQ(peltaDiskWritePartial(store.get(), 1, SIZE_MAX - 99, 100, asFloats(data)), -1);
        EXPECT_EQ(peltaDiskRead(store.get(), SIZE_MAX / 2, asFloats(data)), -1);
    });
    EXPECT_EQ(printed.text, message("peltaDiskWrite, Error with lseek64", EINVAL) +
                                "peltaDiskWritePartial, Error with lseek64: " + strerror(EINVAL) +
                                "   blknum=1 start=-100 size=100\n" + message("peltaDiskRead, Error with lseek64", EINVAL));
    EXPECT_EQ(store->offset, -1);
    store->offset = positionOf(*store);
    EXPECT_EQ(store->offset, 100);
    EXPECT_EQ(readBlock(*store, 0), block('a'));
}

TEST_F(PeltaDisk, RefusesMoreBlocksThanAnyFileHolds) {
    if (sizeof(std::size_t) < 8) GTEST_SKIP() << "32-bit numbers make no such length";
    const Opened opened = open(1 << 20, SIZE_MAX);
    EXPECT_FALSE(opened.store);
    EXPECT_TRUE(opened.printed.text.ends_with(message("\npeltaDiskOpen, Error with write", ENOENT)));
}

TEST_F(PeltaDisk, RemovesWhateverHasItsNameWhenItIsClosed) {
    const Store store = quietlyOpened(100, 3);
    const std::string name = store->peltaName;
    const int number = store->peltaFile;
    writeFile(name, "another's by now");
    peltaDiskClose(store.get());
    EXPECT_FALSE(std::filesystem::exists(name));
    EXPECT_EQ(fcntl(number, F_GETFD), -1);
}

TEST_F(PeltaDisk, LeavesItsRecordAsItWasWhenItIsClosed) {
    const Store store = quietlyOpened(100, 3);
    writeBlock(*store, 1, 'b');
    unsigned char before[sizeof(peltaDisk)];
    std::memcpy(before, store.get(), sizeof before);
    peltaDiskClose(store.get());
    EXPECT_EQ(std::memcmp(store.get(), before, sizeof before), 0);
    const Printed printed = printedBy([&] { EXPECT_EQ(readBlock(*store, 2), ""); });
    EXPECT_EQ(printed.text, message("peltaDiskRead, Error with lseek64", EBADF));
}

TEST_F(PeltaDisk, NeedsAScratchFolder) {
    const WithVariable unset(variable, nullptr);
    const Opened opened = open(100, 3);
    EXPECT_FALSE(opened.store);
    EXPECT_EQ(opened.printed.text, message("peltaDiskOpen, Error with open", ENOENT));
    EXPECT_EQ(opened.printed.unflushed, 0u);
}

TEST_F(PeltaDisk, TakesAnEmptyVariableForTheRootFolder) {
    const WithVariable empty(variable, "");
    std::vector<std::string> paths;
    const Printed printed = printedBy([&] {
        FaultySystem system;
        system.answerBy([&](CallRecord& call) {
            paths.push_back(call.path);
            errno = EACCES;
            return std::optional<std::int64_t>(-1);
        });
        EXPECT_EQ(peltaDiskOpen(100, 0, nullptr), nullptr);
    });
    EXPECT_EQ(printed.text, message("peltaDiskOpen, Error with open", EACCES));
    EXPECT_EQ(paths, (std::vector<std::string>{"/peltaXXXXXX", "/peltaXXXXXX"}));
}

TEST_F(PeltaDisk, TakesPathsUpTo1023Bytes) {
    const std::string path = pathForNameOf(1023), longer = path + "/";
    {
        const WithVariable longest(variable, path.c_str());
        const Opened opened = open(100, 3);
        ASSERT_TRUE(opened.store);
        EXPECT_EQ(strlen(opened.store->peltaName), 1023u);
    }
    const WithVariable tooLong(variable, longer.c_str());
    const Opened opened = open(100, 3);
    EXPECT_FALSE(opened.store);
    EXPECT_EQ(opened.printed.text, message("peltaDiskOpen, Error with open", ENAMETOOLONG));
}

TEST_F(PeltaDisk, SaysWhyTheScratchFolderCannotBeUsed) {
    const auto open = [] { EXPECT_EQ(peltaDiskOpen(100, 0, nullptr), nullptr); };
    EXPECT_EQ(textsOfUnusableFolders(open), (std::vector{message("peltaDiskOpen, Error with open", ENOENT),
                                                         message("peltaDiskOpen, Error with open", ENOTDIR),
                                                         message("peltaDiskOpen, Error with open", EACCES)}));
}

/* On a full device the failure's text is of the closing, which finds the name gone. */
TEST_F(PeltaDisk, ReturnsNothingWhenTheDeviceIsFull) {
    const auto before = openDescriptors();
    const WithFileLimit limit(100000);
    const Opened opened = open(6000, 20);
    EXPECT_FALSE(opened.store);
    EXPECT_EQ(opened.printed.text.substr(opened.printed.text.rfind("\n\n") + 2),
              message("peltaDiskOpen, Error with write", ENOENT));
    EXPECT_EQ(opened.printed.unflushed, 0u);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_TRUE(isEmpty());
}

TEST_F(PeltaDisk, KeepsWhatFittedWhenTheDeviceBecomesFull) {
    const Store store = quietlyOpened(100, 3);
    for (int k = 0; k < 3; ++k) writeBlock(*store, k, static_cast<char>('a' + k));
    std::string text;
    {
        const WithFileLimit limit(350);
        text = printedBy([&] {
                   EXPECT_EQ(writeBlock(*store, 3, 'd'), 50);
                   EXPECT_EQ(writeBlock(*store, 4, 'e'), -1);
               }).text;
    }
    EXPECT_EQ(text, message("peltaDiskWrite, Error with write", EFBIG));
    store->offset = positionOf(*store);
    EXPECT_EQ(readBlocks(*store, 3), block('a') + block('b') + block('c'));
    EXPECT_EQ(readBlock(*store, 3), block('d', 50));
}

/* Zeros are written up to a while, and set aside from there on; of three of these blocks the third is. */
constexpr std::size_t largeBlock = 40000;

TEST_F(PeltaDisk, WritesTheZerosOfASmallStoreBlockByBlock) {
    FaultySystem system;
    const Store store = quietlyOpened(100, 7);
    EXPECT_EQ(system.count(SystemCall::write), 7);
    EXPECT_EQ(system.count(SystemCall::fallocate), 0);
}

TEST_F(PeltaDisk, SetsTheSpaceOfALargeStoreAside) {
    FaultySystem system;
    const Store store = quietlyOpened(largeBlock, 1000);
    EXPECT_EQ(system.count(SystemCall::write), 2);
    EXPECT_EQ(system.count(SystemCall::fallocate), 1);
}

/* A file system that cannot set space aside has it written. */
TEST_F(PeltaDisk, WritesTheZerosWhereSpaceCannotBeSetAside) {
    for (const int error : {EOPNOTSUPP, ENOSYS, EINTR, EIO}) {
        Store store;
        buffer.assign(largeBlock, 'x');
        printedBy([&] {
            FaultySystem system;
            system.fail(SystemCall::fallocate, 1, error);
            system.shorten(SystemCall::write, 2, 30);
            store.reset(peltaDiskOpen(largeBlock, 3, buffer.data()));
            EXPECT_EQ(system.count(SystemCall::write), 4);
            EXPECT_TRUE(system.allFaultsMet());
        });
        ASSERT_TRUE(store);
        EXPECT_EQ(buffer, std::vector<char>(largeBlock, '\0'));
        EXPECT_EQ(lengthOf(*store), off_t{3 * largeBlock});
        EXPECT_EQ(store->offset, 0);
        EXPECT_EQ(positionOf(*store), 0);
        for (int k = 0; k < 3; ++k) EXPECT_EQ(readBlock(*store, k), block('\0', largeBlock));
    }
}

TEST_F(PeltaDisk, DoesNotFillADiskThatHasTooLittleSpace) {
    for (const int error : {ENOSPC, EDQUOT}) {
        const Printed printed = printedBy([&] {
            FaultySystem system;
            system.fail(SystemCall::fallocate, 1, error);
            buffer.assign(largeBlock, 'x');
            EXPECT_EQ(peltaDiskOpen(largeBlock, 1000, buffer.data()), nullptr);
            EXPECT_EQ(system.count(SystemCall::write), 2);
        });
        EXPECT_TRUE(printed.text.ends_with(message("\npeltaDiskOpen, Error with write", ENOENT)));
    }
}

TEST_F(PeltaDisk, KnowsWhereItsFileStandsWhenItCannotGoBackToTheStart) {
    for (const std::size_t size : {std::size_t{100}, largeBlock}) {
        Store store;
        buffer.assign(size, 'x');
        printedBy([&] {
            FaultySystem system;
            system.fail(SystemCall::lseek, 1, EIO);
            store.reset(peltaDiskOpen(size, 3, buffer.data()));
            EXPECT_TRUE(system.allFaultsMet());
        });
        ASSERT_TRUE(store);
        EXPECT_GT(positionOf(*store), 0);
        EXPECT_EQ(store->offset, positionOf(*store));
        writeBlock(*store, 1, 'b');
        EXPECT_EQ(readBlocks(*store, 2), block('\0', size) + block('b', size));
    }
}

/* What peltaDiskOpen prints behind the file's name when this call fails; none where it opens all the same. */
std::optional<std::string> failureText(SystemCall call, int error) {
    switch (call) {
        case SystemCall::open:
        case SystemCall::fstat: return message("peltaDiskOpen, Error with open", error);
        case SystemCall::unlink: return "peltDiskOpen: unlink() failed.\n";
        case SystemCall::write: return message("peltaDiskOpen, Error with write", ENOENT);
        case SystemCall::fallocate:
            if (error != ENOSPC) return {};
            return message("peltaDiskOpen, Error with write", ENOENT);
        default: return {};
    }
}

class PeltaDiskFault : public PeltaDisk, public testing::WithParamInterface<int> {
  protected:
    /* How many calls an opening made whose nth failed (0: none did), which has to end as said above. */
    std::size_t openWithFault(std::size_t nth, std::size_t blockSize, bool hasSpaceAside) {
        std::vector<CallRecord> calls;
        buffer.assign(blockSize, 'x');
        Store store;
        const Printed printed = printedBy([&] {
            FaultySystem system;
            if (!hasSpaceAside) system.fail(SystemCall::fallocate, 1, EOPNOTSUPP);
            system.fail(static_cast<int>(nth), GetParam());
            store.reset(peltaDiskOpen(blockSize, 3, buffer.data()));
            calls = system.calls();
        });
        const bool failsUnlink = nth > 0 && calls.at(nth - 1).call == SystemCall::unlink;
        const auto expected = nth > 0 ? failureText(calls.at(nth - 1).call, GetParam()) : std::nullopt;
        EXPECT_EQ(store == nullptr, expected.has_value());
        EXPECT_TRUE(printed.text.ends_with(expected.value_or(""))) << printed.text;
        EXPECT_EQ(printed.unflushed, failsUnlink ? expected->size() : 0u);
        if (store) expectToWork(*store);
        store.reset();
        EXPECT_TRUE(isEmpty());
        return calls.size();
    }

  private:
    static void expectToWork(peltaDisk& disk) {
        const std::size_t size = disk.blkSize;
        EXPECT_EQ(lengthOf(disk), static_cast<off_t>(3 * size));
        EXPECT_EQ(writeBlock(disk, 2, 'c'), static_cast<int>(size));
        EXPECT_EQ(readBlocks(disk, 3), block('\0', 2 * size) + block('c', size));
    }
};

TEST_P(PeltaDiskFault, EndsAsStatedWhicheverCallOfTheOpeningFails) {
    const auto before = openDescriptors();
    const auto failEach = [&](std::size_t blockSize, bool hasSpaceAside, std::size_t expectedCalls) {
        const std::size_t total = openWithFault(0, blockSize, hasSpaceAside);
        EXPECT_EQ(total, expectedCalls);
        for (std::size_t nth = 1; nth <= total; ++nth) {
            SCOPED_TRACE(nth);
            openWithFault(nth, blockSize, hasSpaceAside);
            EXPECT_EQ(openDescriptors(), before);
        }
    };
    failEach(100, true, 10);  // 6 for the file, 3 writes and a seek
    failEach(largeBlock, true, 10);
    failEach(largeBlock, false, 11);
}
INSTANTIATE_TEST_SUITE_P(Errors, PeltaDiskFault, testing::Values(EIO, ENOSPC, EACCES, EINTR, EMFILE));

TEST_F(PeltaDisk, ClosesItsFileWhateverTheSystemSays) {
    const auto before = openDescriptors();
    const Store store = quietlyOpened(100, 3);
    FaultySystem system;
    system.fail(SystemCall::close, 1, EIO);
    system.fail(SystemCall::unlink, 1, EACCES);
    peltaDiskClose(store.get());
    EXPECT_TRUE(system.allFaultsMet());
    EXPECT_EQ(openDescriptors(), before);
}

/* Between the making and the opening of a scratch file its name may be given to something else. */
TEST_F(PeltaDisk, DoesNotFollowALinkThatHasTakenItsName) {
    const std::string precious = elsewhere.file("precious");
    writeFile(precious, "kept");
    const std::string text = textWhenExchanged(
        SystemCall::open, [&](const std::string& name) { std::filesystem::create_symlink(precious, name); },
        [] { EXPECT_EQ(peltaDiskOpen(100, 0, nullptr), nullptr); });
    EXPECT_EQ(text, message("peltaDiskOpen, Error with open", ELOOP));
    EXPECT_EQ(contentsOf(precious), "kept");
    EXPECT_TRUE(std::filesystem::remove(exchanged));
}

TEST_F(PeltaDisk, DoesNotTakeAFileThatItDidNotMake) {
    for (const SystemCall when : {SystemCall::mkstemp, SystemCall::open}) {
        const std::string text = textWhenExchanged(
            when, [](const std::string& name) { writeFile(name, "kept"); },
            [] { EXPECT_EQ(peltaDiskOpen(100, 0, nullptr), nullptr); });
        EXPECT_EQ(text, message("peltaDiskOpen, Error with open", EEXIST));
        EXPECT_EQ(contentsOf(exchanged), "kept");
        EXPECT_TRUE(std::filesystem::remove(exchanged));
    }
}

}
