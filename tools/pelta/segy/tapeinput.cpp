#include "segy/tapeinput.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "segy/layout.h"
#include "support/failure.h"
#include "support/libraryvoice.h"

namespace pelta::segy {
namespace {

/* What tape drives take at most. */
constexpr std::size_t longestRecord = 1 << 20;

/* Errors at which a record is given up. */
constexpr int errorLimit = 4;

}

TapeInput::TapeInput(std::string name, bool salvage) : _name(std::move(name)), _salvage(salvage), _bytes(longestRecord) {
    _tape.cTapeName = _name.data();
    open();
    _tape.tapeErrorMax = errorLimit;
    const LibraryVoice silent;
    constexpr int rewinding = 1;  // and back when it is done, unlike by the shell's command
    if (tapeFunction(&_tape, rewinding, 1) < 0) {
        const int error = errno;
        tapeClose(&_tape);
        fail("{}: the tape cannot be rewound: {}", _name, std::strerror(error));
    }
}

TapeInput::~TapeInput() { tapeClose(&_tape); }

void TapeInput::open() {
    struct stat status;
    const bool isSomethingElse = stat(_name.c_str(), &status) == 0 && !S_ISCHR(status.st_mode);
    if (isSomethingElse) fail("{}: is no tape drive", _name);  // before a named pipe has its opening wait for a writer
    const LibraryVoice silent;
    errno = 0;  // where it stays the drive has answered, and said that nothing is in it
    if (tapeOpen(&_tape, 0)) return;
    switch (errno) {
        case 0:
        case ENOMEDIUM: fail("{}: no tape is loaded", _name);
        case ENOTTY: fail("{}: is no tape drive", _name);
        case EBUSY: fail("{}: another program has the tape drive", _name);
        default: fail("{}: the tape drive cannot be opened: {}", _name, std::strerror(errno));
    }
}

std::size_t TapeInput::read(unsigned char* bytes, std::size_t count) {
    if (_records.empty() || _taken == static_cast<std::size_t>(_records.back().bytes))
        if (_isAtEnd || !readRecord()) return 0;
    const std::size_t piece = std::min(count, static_cast<std::size_t>(_records.back().bytes) - _taken);
    std::memcpy(bytes, _bytes.data() + _taken, piece);
    _taken += piece;
    return piece;
}

/* False at the end of the file. */
bool TapeInput::readRecord() {
    const Record last = _records.empty() ? Record{0, 0, 0} : _records.back();
    const Record next = {last.number + 1, last.start + last.bytes, readTape(last.number + 1)};
    if (next.bytes == 0) {
        if (next.number == 1) fail("{}: no record stands before the first file mark, expected the text header", _name);
        _isAtEnd = true;
        return false;
    }
    constexpr std::int64_t headerBytes[] = {textHeaderBytes, binaryHeaderBytes};
    if (next.number <= 2 && next.bytes != headerBytes[next.number - 1])
        fail("{}: record {} has {} bytes, expected the {} header of {}", _name, next.number, next.bytes,
             next.number == 1 ? "text" : "binary", headerBytes[next.number - 1]);
    _records.push_back(next);
    _taken = 0;
    return true;
}

/* Bytes of the next record; 0 at a file mark, and where the records before are all that is to be salvaged. */
std::int64_t TapeInput::readTape(std::int64_t number) {
    const LibraryVoice silent;
    const int count = tapeRead(&_tape, _bytes.data(), static_cast<unsigned long>(_bytes.size()));
    if (count >= 0) return count;
    const std::string what = errno == ENOMEM ? fmt::format("is longer than {} bytes", _bytes.size())
                                             : fmt::format("cannot be read: {}", std::strerror(errno));
    if (number <= 2) fail("{}: record {} {}", _name, number, what);
    if (!_salvage) fail("{}: record {} {}; --salvage takes the records before it", _name, number, what);
    warn(fmt::format("{}: record {} {}; the records before it are taken", _name, number, what));
    return 0;
}

TapeInput::Record TapeInput::recordAt(std::int64_t position) {
    while (_records.size() > 1 && _records.front().start + _records.front().bytes <= position) _records.pop_front();
    return _records.front();
}

}
