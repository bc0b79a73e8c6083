#ifndef PELTA_TESTS_TAPEDOUBLE_H
#define PELTA_TESTS_TAPEDOUBLE_H

#include <fcntl.h>
#include <sys/mtio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/faultysystem.h"

/* A tape drive that is not there: answers the calls to its name as the kernel's driver was seen to (tests/tape shows it at that).
 * Hand answer to FaultySystem::answerBy. The cartridge can be looked at and changed between the calls. */
class TapeDouble {
  public:
    explicit TapeDouble(std::string name, std::size_t capacity = std::size_t{8} << 20)
        : name_(std::move(name)), capacity_(capacity) {}

    struct Block {
        bool isMark = false, isDamaged = false;
        std::string bytes = {};
    };
    std::vector<Block> blocks;
    std::size_t position = 0;  // of the block that comes next
    bool isLoaded = true, isProtected = false;

    std::optional<long> answer(CallRecord& call) {
        switch (call.call) {
            case SystemCall::open:
                return call.path == name_ ? std::optional(open(static_cast<int>(call.argument))) : std::nullopt;
            case SystemCall::system: return runByShell(call.path);
            case SystemCall::sleep: return 0;
            default: break;
        }
        if (descriptor_ < 0 || call.descriptor != descriptor_) return {};
        const auto length = static_cast<std::size_t>(call.argument);
        switch (call.call) {
            case SystemCall::close: return close();
            case SystemCall::read: return read(static_cast<char*>(call.data), length);
            case SystemCall::write: return write(static_cast<const char*>(call.data), length);
            case SystemCall::ioctl: return control(static_cast<unsigned long>(call.argument), call.data);
            default: return {};
        }
    }

  private:
    static long failure(int error) { return errno = error, -1; }

    long open(int flags) {
        // A close that was made to fail has given the descriptor back without coming here.
        if (descriptor_ >= 0 && fcntl(descriptor_, F_GETFD) >= 0) return failure(EBUSY);
        if (!isLoaded) return failure(ENOMEDIUM);
        canWrite_ = (flags & O_ACCMODE) != O_RDONLY;
        canRead_ = (flags & O_ACCMODE) != O_WRONLY;
        if (canWrite_ && isProtected) return failure(EROFS);
        return descriptor_ = dup(STDERR_FILENO);
    }

    /* What was written last is ended by a mark; the descriptor itself is the system's to close. */
    std::optional<long> close() {
        endFile();
        descriptor_ = -1;
        return {};
    }

    long read(char* data, std::size_t length) {
        if (!canRead_) return failure(EBADF);
        if (!isLoaded) return failure(ENOMEDIUM);
        if (position == blocks.size()) return std::exchange(isPastEnd_, true) ? failure(EIO) : 0;
        const Block& block = blocks[position++];
        if (block.isMark) return 0;
        if (block.isDamaged) return failure(EIO);
        if (block.bytes.size() > length) return failure(ENOMEM);
        std::ranges::copy(block.bytes, data);
        return static_cast<long>(block.bytes.size());
    }

    long write(const char* data, std::size_t length) {
        constexpr std::size_t shortest = 4, longest = 1 << 20;
        if (!canWrite_) return failure(EBADF);
        if (!isLoaded) return failure(ENOMEDIUM);
        if (length < shortest || length > longest) return failure(EINVAL);
        // The drive warns of the end, takes the next record all the same, and warns again.
        isWarned_ = usedBytes() + length > capacity_ && !isWarned_;
        if (isWarned_) return failure(ENOSPC);
        put({false, false, std::string(data, length)});
        isInFile_ = true;
        return static_cast<long>(length);
    }

    long control(unsigned long request, void* data) {
        if (request == MTIOCGET) {
            constexpr long online = 0x01000000, protection = 0x04000000;
            static_cast<mtget*>(data)->mt_gstat = (isLoaded ? online : 0) | (isProtected ? protection : 0);
            return 0;
        }
        if (request != MTIOCTOP) return failure(ENOTTY);
        const auto& [operation, count] = *static_cast<const mtop*>(data);
        if (operation == MTNOP) return 0;
        if (!isLoaded) return failure(ENOMEDIUM);
        if (operation != MTWEOF && operation != MTSETBLK) endFile();
        isPastEnd_ = false;
        switch (operation) {
            case MTSETBLK: return count == 0 ? 0 : failure(EINVAL);
            case MTWEOF: return writeMarks(count);
            case MTREW: return position = 0;
            case MTOFFL:
            case MTUNLOAD: return isLoaded = false;
            case MTFSR: return repeat(count, [this] { return passRecord(); });
            case MTBSR: return repeat(count, [this] { return backOverRecord(); });
            case MTFSF: return repeat(count, [this] { return passFile(); });
            case MTBSF: return repeat(count, [this] { return backOverFile(); });
            case MTBSFM: return repeat(count, [this] { return backOverFile(); }) < 0 || !passFile() ? failure(EIO) : 0;
            default: return failure(ENOSYS);
        }
    }

    std::optional<long> runByShell(const std::string& command) {
        if (command != "mt -f " + name_ + " rewind &") return {};
        position = 0;
        return 0;
    }

    std::size_t usedBytes() const {
        std::size_t bytes = 0;
        for (std::size_t i = 0; i < position; ++i) bytes += blocks[i].bytes.size();
        return bytes;
    }

    /* What is written ends the data of the tape. */
    void put(Block block) {
        blocks.resize(position++);
        blocks.push_back(std::move(block));
    }

    void endFile() {
        if (std::exchange(isInFile_, false)) put({.isMark = true});
    }

    long writeMarks(int count) {
        if (!canWrite_) return failure(EACCES);
        isInFile_ = false;
        for (int k = 0; k < count; ++k) put({.isMark = true});
        return 0;
    }

    template <class Move>
    static long repeat(int count, Move moves) {
        for (int k = 0; k < count; ++k)
            if (!moves()) return failure(EIO);
        return 0;
    }

    bool passRecord() { return position < blocks.size() && !blocks[position++].isMark; }
    bool backOverRecord() { return position > 0 && !blocks[--position].isMark; }
    bool passFile() {
        while (position < blocks.size())
            if (blocks[position++].isMark) return true;
        return false;
    }
    bool backOverFile() {
        while (position > 0)
            if (blocks[--position].isMark) return true;
        return false;
    }

    std::string name_;
    std::size_t capacity_;
    int descriptor_ = -1;
    bool canRead_ = false, canWrite_ = false;
    bool isInFile_ = false;   // records were written and no mark behind them
    bool isWarned_ = false;   // of the end of the tape, by the last write
    bool isPastEnd_ = false;  // the last read met the end of the data
};

#endif
