#include "segy/reader.h"

#include <fcntl.h>
#include <pelta/fileio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <utility>

#include "segy/binaryheader.h"
#include "segy/tapeinput.h"
#include "support/failure.h"
#include "support/libraryvoice.h"
#include "support/outputfile.h"

namespace pelta::segy {
namespace {

constexpr std::size_t blockBytes = 1 << 20;

/* A descriptor of the library that is closed by itself, or a tape. */
class InputFile {
  public:
    InputFile(const std::string& name, const ReadOptions& options) : _name(name) {
        _file.cFileName = _name.data();
        if (options.fromTape) {
            _tape.emplace(_name, options.salvage);
            return;
        }
        if (_name == "-") openStandardInput();
        else openNamed();
        struct stat status;
        if (fstat(_file.iFile, &status) == 0 && S_ISREG(status.st_mode) && lseek(_file.iFile, 0, SEEK_CUR) == 0)
            _size = status.st_size;
        _protected.emplace(_file.iFile);
        if (_size) posix_fadvise(_file.iFile, 0, 0, POSIX_FADV_SEQUENTIAL);
    }
    ~InputFile() { fileClose(&_file); }
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    /* Null for what is none. */
    TapeInput* tape() { return _tape ? &*_tape : nullptr; }
    /* Nothing for what can only be read from front to back. */
    std::optional<std::int64_t> size() const { return _size; }
    std::int64_t position() const { return _position; }

    void seek(std::int64_t position) {
        if (position != _position && lseek(_file.iFile, position, SEEK_SET) != position)
            fail("{}: cannot go to byte {}: {}", _name, position + 1, std::strerror(errno));
        _position = position;
    }

    /* One piece of at most count bytes, 0 at the end. */
    std::size_t read(unsigned char* bytes, std::size_t count) {
        const std::size_t got = _tape ? _tape->read(bytes, count) : readFile(bytes, count);
        _position += static_cast<std::int64_t>(got);
        return got;
    }

  private:
    /* Under a number of its own: 0 does not count as open. */
    void openStandardInput() {
        _name = "standard input";
        _file.cFileName = _name.data();
        _file.iFile = std::max(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3), 0);
        if (_file.iFile == 0) fail("standard input: is closed");
    }

    void openNamed() {
        struct stat status;
        if (stat(_name.c_str(), &status) != 0) fail("{}: cannot be read: {}", _name, std::strerror(errno));
        if (S_ISDIR(status.st_mode)) fail("{}: is a folder, expected a SEG-Y file", _name);
        const LibraryVoice silent;
        if (!fileOpen(&_file, 0, 0)) fail("{}: cannot be read: {}", _name, std::strerror(errno));
    }

    std::size_t readFile(unsigned char* bytes, std::size_t count) {
        const LibraryVoice silent;
        const int got = fileRead(&_file, reinterpret_cast<char*>(bytes), static_cast<unsigned long>(count));
        if (got < 0) fail("{}: cannot be read at byte {}: {}", _name, _position + 1, std::strerror(errno));
        return static_cast<std::size_t>(got);
    }

    std::string _name;
    fileIOStruct _file = {};
    std::optional<TapeInput> _tape;
    std::optional<ProtectedInput> _protected;
    std::optional<std::int64_t> _size;
    std::int64_t _position = 0;
};

}

struct Reader::Inside {
    Inside(const std::string& givenName, ReadOptions givenOptions)
        : name(inputName(givenName)), options(std::move(givenOptions)), file(givenName, options), block(blockBytes) {
        const auto look = [this](std::int64_t position, std::size_t count) { return lookAt(position, count); };
        layout = readLayout(look, file.size(), options.overrides, name, warnings);
        if (layout.traceBytes() > PTRDIFF_MAX / 4)
            fail("{}: a trace of {} samples is more than memory can hold; --samples overrides the count", name,
                 layout.sampleCount);
        if (file.size()) {
            findExtent();
            file.seek(0);
        }
        if (!take(preamble, static_cast<std::size_t>(layout.firstTraceByte)))
            fail("{}: ends inside the file headers, expected the first trace at byte {}", name, layout.firstTraceByte + 1);
    }

    /* ---- bytes ---- */

    std::size_t available() const { return blockEnd - blockStart; }
    /* Where the next byte stands in the file. */
    std::int64_t position() const { return file.position() - static_cast<std::int64_t>(available()); }

    /* Makes count bytes available; false when the file ends before. The block grows only with bytes that are there. */
    bool fill(std::size_t count) {
        while (available() < count && !isAtEnd) {
            if (blockStart > 0) {
                std::memmove(block.data(), block.data() + blockStart, available());
                blockEnd -= std::exchange(blockStart, 0);
            }
            if (blockEnd == block.size()) block.resize(2 * block.size());
            const std::size_t got = file.read(block.data() + blockEnd, block.size() - blockEnd);
            blockEnd += got;
            isAtEnd = got == 0;
        }
        return available() >= count;
    }

    /* Moves count bytes into the vector; false when the file ends before, with what there was. */
    bool take(std::vector<unsigned char>& bytes, std::size_t count) {
        bytes.clear();
        while (bytes.size() < count) {
            if (!fill(1)) return false;
            const std::size_t piece = std::min(count - bytes.size(), available());
            bytes.insert(bytes.end(), block.data() + blockStart, block.data() + blockStart + piece);
            blockStart += piece;
        }
        return true;
    }

    /* Moves up to count bytes to their place and returns how many there were. What no block holds yet comes straight from a
     * file; a pipe is looked at beforehand, for its end. */
    std::size_t takeInto(unsigned char* bytes, std::size_t count) {
        std::size_t done = 0;
        while (done < count) {
            std::size_t piece = std::min(count - done, available());
            if (piece > 0) {
                std::memcpy(bytes + done, block.data() + blockStart, piece);
                blockStart += piece;
            } else if (file.size()) {
                piece = file.read(bytes + done, count - done);
                if (piece == 0) break;
            } else if (!fill(1)) break;
            done += piece;
        }
        return done;
    }

    /* Passes over count bytes; false when the file ends before. */
    bool skip(std::size_t count) {
        while (count > 0 && fill(1)) {
            const std::size_t piece = std::min(count, available());
            blockStart += piece;
            count -= piece;
        }
        return count == 0;
    }

    /* Anywhere in a file, into bytes of its own; in a pipe what has not been taken yet, which is all before the layout is
     * known. */
    const unsigned char* lookAt(std::int64_t place, std::size_t count) {
        if (!file.size()) return fill(static_cast<std::size_t>(place) + count) ? block.data() + place : nullptr;
        if (place < 0 || place > *file.size() - static_cast<std::int64_t>(count)) return nullptr;
        looked.resize(count);
        file.seek(place);
        for (std::size_t done = 0; done < count;) {
            const std::size_t got = file.read(looked.data() + done, count - done);
            if (got == 0) return nullptr;
            done += got;
        }
        return looked.data();
    }

    /* ---- traces ---- */

    void findExtent() {
        const std::int64_t room = *file.size() - layout.firstTraceByte - layout.trailerBytes;
        wholeTraces = room / layout.traceBytes();
        truncatedBytes = room % layout.traceBytes();
        if (layout.promisedTraces > 0 && layout.trailerBytes == 0 && *wholeTraces > layout.promisedTraces)
            warnings.push_back(fmt::format("{}: {} traces are promised at byte {} and {} are there; all are read", name,
                                           layout.promisedTraces, traceCountWord.position, *wholeTraces));
        complainOfEnd([this](const std::string& text) { warnings.push_back(text); });
        if (layout.trailerBytes == 0) return;
        const auto count = static_cast<std::size_t>(layout.trailerBytes);
        if (const unsigned char* bytes = lookAt(*file.size() - layout.trailerBytes, count))
            trailer.assign(bytes, bytes + count);
    }

    /* Fails, or warns when the file is to be salvaged, unless it ends where it should. */
    template <class Warn>
    void complainOfEnd(Warn say) const {
        const std::int64_t end = layout.firstTraceByte + *wholeTraces * layout.traceBytes();
        std::string what;
        if (truncatedBytes > 0)
            what = fmt::format("{}: the last trace, from byte {}, has {} of {} bytes ({} samples of format {} a trace)", name,
                               end + 1, truncatedBytes, layout.traceBytes(), layout.sampleCount, nameOf(layout.format));
        else if (*wholeTraces < layout.promisedTraces)
            what = fmt::format("{}: ends at byte {} after {} traces, {} are promised at byte {}", name, end, *wholeTraces,
                               layout.promisedTraces, traceCountWord.position);
        else if (*wholeTraces > 0) return;
        else fail("{}: ends at byte {} and holds no trace", name, end);
        if (*wholeTraces == 0) fail("{}; there is no whole one, --samples or --format override wrong words", what);
        if (!options.salvage)
            fail("{}; --salvage takes the {} whole ones, --samples or --format override wrong words", what, *wholeTraces);
        say(fmt::format("{}; the {} whole ones are taken", what, *wholeTraces));
    }

    bool next(Trace& trace) {
        if (file.size() ? number == *wholeTraces : pipeEnds()) return false;
        if (file.tape() && !findTraceRecord()) return false;
        trace.number = number;
        trace.samplesChanged = false;
        const auto headerBytes = static_cast<std::size_t>(layout.headerBytesPerTrace());
        const auto sampleBytes = static_cast<std::size_t>(layout.traceBytes()) - headerBytes;
        if (file.size()) trace.encoded.reserve(sampleBytes);
        trace.encoded.clear();
        const bool isWhole = take(trace.header, headerBytes) && take(trace.encoded, sampleBytes);
        if (!isWhole) return endInsideTrace(trace);
        ++number;
        return true;
    }

    /* Leaves a tape before the next record that is a trace; false at the end. */
    bool findTraceRecord() {
        for (;;) {
            const TapeInput::Record record = file.tape()->recordAt(position());
            if (record.start == position() && record.bytes == layout.traceBytes()) return true;
            const std::string what =
                fmt::format("{}: record {} has {} bytes, a trace of {} samples of format {} has {}", name, record.number,
                            record.bytes, layout.sampleCount, nameOf(layout.format), layout.traceBytes());
            if (number == 0) fail("{}; --samples or --format override wrong words", what);
            if (!options.salvage) fail("{}; --salvage passes over such records", what);
            warn(what + "; it is passed over");
            skip(static_cast<std::size_t>(record.start + record.bytes - position()));
            if (pipeEnds()) return false;
        }
    }

    bool nextHeader(Trace& trace) {
        if (!file.size()) return next(trace);
        if (number == *wholeTraces) return false;
        trace.number = number;
        const auto headerBytes = static_cast<std::size_t>(layout.headerBytesPerTrace());
        const bool isWhole =
            take(trace.header, headerBytes) && skip(static_cast<std::size_t>(layout.traceBytes()) - headerBytes);
        if (!isWhole) return endInsideTrace(trace);
        ++number;
        return true;
    }

    bool endInsideTrace(const Trace& trace) {
        endInside(trace.header.size() + trace.encoded.size());
        return false;
    }

    std::size_t nextTraces(unsigned char* bytes, std::size_t most) {
        const auto traceBytes = static_cast<std::size_t>(layout.traceBytes());
        if (file.size()) {
            most = static_cast<std::size_t>(std::min<std::uint64_t>(most, static_cast<std::uint64_t>(*wholeTraces - number)));
            const std::size_t got = takeInto(bytes, most * traceBytes);
            if (got < most * traceBytes) endInside(got % traceBytes);
            number += static_cast<std::int64_t>(most);
            return most;
        }
        std::size_t count = 0;
        for (; count < most && !pipeEnds(); ++count, ++number) {
            const std::size_t got = takeInto(bytes + count * traceBytes, traceBytes);
            if (got == traceBytes) continue;
            endInside(got);
            break;
        }
        return count;
    }

    void endInside(std::size_t bytesOfTrace) {
        if (file.size()) fail("{}: became shorter while it was read, and ends at byte {}", name, position());
        endPipe(static_cast<std::int64_t>(bytesOfTrace));
    }

    bool pipeEnds() {
        if (wholeTraces) return true;
        if (layout.promisedTraces > 0 && number == layout.promisedTraces) {
            constexpr auto longestTrailer = static_cast<std::size_t>(mostTextHeaders * textHeaderBytes);
            if (take(trailer, longestTrailer) && fill(1))
                fail("{}: goes on behind the {} traces that are promised at byte {}", name, layout.promisedTraces,
                     traceCountWord.position);
            endPipe(0);
            return true;
        }
        const auto trailerBytes = static_cast<std::size_t>(layout.trailerBytes);
        if (fill(trailerBytes + 1)) return false;
        const bool isTrailer = available() == trailerBytes;
        const auto rest = static_cast<std::int64_t>(available());
        take(trailer, available());
        endPipe(isTrailer ? 0 : rest);
        return true;
    }

    void endPipe(std::int64_t rest) {
        wholeTraces = number;
        truncatedBytes = rest;
        complainOfEnd([](const std::string& text) { warn(text); });
    }

    void seek(std::int64_t traceNumber) {
        if (!file.size()) fail("{}: is a pipe, whose traces can only be read in order", name);
        if (traceNumber < 0 || traceNumber > *wholeTraces)
            fail("{}: trace {} is asked for, it holds {}", name, traceNumber + 1, *wholeTraces);
        number = traceNumber;
        blockStart = blockEnd = 0;
        isAtEnd = false;
        file.seek(layout.firstTraceByte + number * layout.traceBytes());
    }

    std::string name;
    ReadOptions options;
    InputFile file;
    std::vector<unsigned char> block, looked;
    std::size_t blockStart = 0, blockEnd = 0;
    bool isAtEnd = false;

    Layout layout;
    Preamble preamble;
    std::vector<unsigned char> trailer;
    std::vector<std::string> warnings;
    std::int64_t number = 0;                 /* of the next trace */
    std::optional<std::int64_t> wholeTraces; /* for a pipe when it has ended */
    std::int64_t truncatedBytes = 0;
};

Reader::Reader(const std::string& name, ReadOptions options) : _inside(std::make_unique<Inside>(name, std::move(options))) {}
Reader::~Reader() = default;

const std::string& Reader::name() const { return _inside->name; }
const Layout& Reader::layout() const { return _inside->layout; }
const Preamble& Reader::preamble() const { return _inside->preamble; }
const std::vector<std::string>& Reader::warnings() const { return _inside->warnings; }
std::optional<std::int64_t> Reader::traceCount() const { return _inside->file.size() ? _inside->wholeTraces : std::nullopt; }
std::optional<std::int64_t> Reader::fileSize() const { return _inside->file.size(); }
std::int64_t Reader::truncatedBytes() const { return _inside->truncatedBytes; }
const std::vector<unsigned char>& Reader::trailer() const { return _inside->trailer; }
bool Reader::next(Trace& trace) { return _inside->next(trace); }
bool Reader::nextHeader(Trace& trace) { return _inside->nextHeader(trace); }
std::size_t Reader::nextTraces(unsigned char* bytes, std::size_t most) { return _inside->nextTraces(bytes, most); }
void Reader::seek(std::int64_t traceNumber) { _inside->seek(traceNumber); }

}
