#include "segy/layout.h"

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cstring>
#include <utility>

#include "segy/binaryheader.h"
#include "segy/textheader.h"
#include "support/failure.h"
#include "support/nearest.h"

namespace pelta::segy {
namespace {

struct FormatName {
    SampleFormat format;
    const char* name;
    int bytes;
};
constexpr FormatName formats[] = {{SampleFormat::ibm, "ibm", 4},
                                  {SampleFormat::int32, "int32", 4},
                                  {SampleFormat::int16, "int16", 2},
                                  {SampleFormat::ieee, "ieee", 4},
                                  {SampleFormat::int8, "int8", 1}};

const FormatName* knownFormat(std::int64_t code) {
    for (const FormatName& known : formats)
        if (static_cast<std::int64_t>(known.format) == code) return &known;
    return nullptr;
}

}

int bytesPerSample(SampleFormat format) { return knownFormat(static_cast<int>(format))->bytes; }
const char* nameOf(SampleFormat format) { return knownFormat(static_cast<int>(format))->name; }

SampleFormat formatNamed(std::string_view name) {
    std::vector<std::string> names;
    for (const FormatName& known : formats) {
        if (name == known.name || name == std::to_string(static_cast<int>(known.format))) return known.format;
        names.emplace_back(known.name);
    }
    failUsage("'{}' is no sample format, expected {} or their codes 1, 2, 3, 5, 8{}", name, fmt::join(names, ", "),
              didYouMean(name, names));
}

namespace {

constexpr int fixedBytes = textHeaderBytes + binaryHeaderBytes;
constexpr std::int64_t mostExtraTraceHeaders = 65535;
constexpr std::int64_t mostPreambleBytes = fixedBytes + mostTextHeaders * textHeaderBytes;
constexpr double shortestIntervalMs = 1e-6, longestIntervalMs = 1e6;
constexpr std::int64_t largestFormatCode = 16;

/* Goes from what is certain to what depends on it: byte order, revision, format, start of the traces, sample count. */
class LayoutFinder {
  public:
    LayoutFinder(const Look& look, std::optional<std::int64_t> fileSize, const Overrides& overrides,
                 const std::string& fileName, std::vector<std::string>& warnings)
        : _look(look), _fileSize(fileSize), _overrides(overrides), _name(fileName), _warnings(warnings) {
        const unsigned char* bytes = look(0, fixedBytes);
        if (!bytes) failOfHeaders();
        std::memcpy(_bytes.data(), bytes, fixedBytes);
        _layout.words = overrides.words;
    }

    Layout find() {
        _layout.textEncoding = textEncodingOf(_bytes.data());
        findByteOrder();
        findRevision();
        findFormat();
        findUnit();
        findTraceHeaders();
        findTraceStart();
        findTrailer();
        findSampleCount();
        checkTrailer();
        findOpenTrailer();
        findInterval();
        checkScalars();
        return _layout;
    }

  private:
    template <class... Arguments>
    void warn(fmt::format_string<Arguments...> text, Arguments&&... arguments) {
        _warnings.push_back(_name + ": " + fmt::format(text, std::forward<Arguments>(arguments)...));
    }

    [[noreturn]] void failOfHeaders() const {
        if (_fileSize == 0) fail("{}: is empty, expected a SEG-Y file", _name);
        if (_fileSize)
            fail("{}: ends at byte {} inside the file headers, expected {} bytes of them and traces", _name, *_fileSize,
                 fixedBytes);
        fail("{}: ends inside the file headers, expected {} bytes of them and traces", _name, fixedBytes);
    }

    std::int64_t value(HeaderWord word) const { return readWord(_bytes.data(), word, _layout.byteOrder); }
    std::int64_t unsignedValue(HeaderWord word) const { return readUnsignedWord(_bytes.data(), word, _layout.byteOrder); }
    bool isRevision(int major) const { return _layout.revisionMajor >= major; }

    void findByteOrder() {
        if (_overrides.byteOrder) {
            _layout.byteOrder = *_overrides.byteOrder;
            return;
        }
        const auto holds = [&](ByteOrder order) { return readWord(_bytes.data(), byteOrderWord, order) == byteOrderConstant; };
        const auto hasFormat = [&](ByteOrder order) {
            const std::int64_t code = readWord(_bytes.data(), formatWord, order);
            return code >= 1 && code <= largestFormatCode;
        };
        const auto isLittle = [](const auto& speaksFor) { return !speaksFor(ByteOrder::big) && speaksFor(ByteOrder::little); };
        const auto isKnown = [](const auto& speaksFor) { return speaksFor(ByteOrder::big) || speaksFor(ByteOrder::little); };
        bool little = false;
        if (isKnown(holds)) little = isLittle(holds);
        else if (isKnown(hasFormat)) little = isLittle(hasFormat);
        else little = likelihood(ByteOrder::little) > likelihood(ByteOrder::big);
        _layout.byteOrder = little ? ByteOrder::little : ByteOrder::big;
    }

    /* Where the format word is of no help: a file size that fits, a unit and an interval as people use them. */
    int likelihood(ByteOrder order) const {
        const auto read = [&](HeaderWord word) { return readUnsignedWord(_bytes.data(), word, order); };
        int points = 0;
        if (_fileSize && _overrides.format && read(samplesWord) > 0) {
            const std::int64_t traceBytes = traceHeaderBytes + read(samplesWord) * bytesPerSample(*_overrides.format);
            if ((*_fileSize - fixedBytes) % traceBytes == 0) points += 4;
        }
        if (read(unitWord) == metresUnit || read(unitWord) == feetUnit) points += 2;
        constexpr std::int64_t usualStep = 50;
        if (read(intervalWord) > 0 && read(intervalWord) % usualStep == 0) points += 1;
        return points;
    }

    void findRevision() {
        constexpr int newest = 2;
        auto major = static_cast<int>(unsignedValue(revisionMajorWord));
        auto minor = static_cast<int>(unsignedValue(revisionMinorWord));
        /* Little-endian files of revision 1 hold it as one swapped word. */
        if (_layout.byteOrder == ByteOrder::little && major == 0 && (minor == 1 || minor == newest)) std::swap(major, minor);
        if (major > newest) {
            warn("revision {}.{} at byte {} is unknown, expected 0 to {}; read as revision 0", major, minor,
                 revisionMajorWord.position, newest);
            return;
        }
        _layout.revisionMajor = major;
        _layout.revisionMinor = minor;
    }

    void findFormat() {
        const std::int64_t code = value(formatWord);
        if (_overrides.format) _layout.format = *_overrides.format;
        else if (const FormatName* known = knownFormat(code)) _layout.format = known->format;
        else
            fail(
                "{}: sample format at byte {} is {}, expected 1 (ibm), 2 (int32), 3 (int16), 5 (ieee) or 8 (int8); --format "
                "overrides it",
                _name, formatWord.position, code);
    }

    void findUnit() {
        const std::int64_t unit = value(unitWord);
        _layout.isFeet = unit == feetUnit;
        if (unit != 0 && unit != metresUnit && unit != feetUnit)
            warn("unit of lengths at byte {} is {}, expected 1 (metres) or 2 (feet); metres are taken", unitWord.position,
                 unit);
    }

    void findTraceHeaders() {
        if (!isRevision(2)) return;
        const std::int64_t count = value(extraTraceHeadersWord);
        const bool isPossible =
            count >= 0 && count <= mostExtraTraceHeaders && (!_fileSize || count * traceHeaderBytes < *_fileSize - fixedBytes);
        if (isPossible) _layout.extraTraceHeaders = static_cast<int>(count);
        else
            warn("number of additional trace headers at byte {} is {}, which cannot be; none is taken",
                 extraTraceHeadersWord.position, count);
    }

    void findTraceStart() {
        findExtendedHeaders();
        _layout.firstTraceByte = fixedBytes + _layout.extendedTextHeaders * textHeaderBytes;
        const std::int64_t given = isRevision(2) ? value(firstTraceWord) : 0;
        if (given != 0 && given != _layout.firstTraceByte) {
            const bool isPossible = given >= fixedBytes && given <= mostPreambleBytes && (!_fileSize || given < *_fileSize);
            if (isPossible) _layout.firstTraceByte = given;
            else
                warn("start of the first trace at byte {} is {}, which cannot be; {} is taken", firstTraceWord.position, given,
                     _layout.firstTraceByte);
        }
        if (_fileSize && *_fileSize <= _layout.firstTraceByte)
            fail("{}: ends at byte {} and holds no trace, expected the first at byte {}", _name, *_fileSize,
                 _layout.firstTraceByte + 1);
    }

    /* A file that ends inside a text header is known by what there is of it. */
    bool textFollows() const {
        std::int64_t count = textHeaderBytes;
        if (_fileSize) count = std::min(count, *_fileSize - fixedBytes);
        const unsigned char* bytes = count > 0 ? _look(fixedBytes, static_cast<std::size_t>(count)) : nullptr;
        return bytes && looksLikeText(bytes, static_cast<std::size_t>(count));
    }

    /* Before revision 1 the word had no meaning: there it counts only where text follows indeed. */
    void findExtendedHeaders() {
        const std::int64_t count = value(extendedHeadersWord);
        if (count == 0) return;
        const bool isText = textFollows();
        if (count == -1) {
            if (isText) countOpenHeaders();
            else if (isRevision(1))
                warn("number of extended text headers at byte {} is open (-1), but no text follows; none is taken",
                     extendedHeadersWord.position);
            return;
        }
        const std::int64_t start = fixedBytes + count * textHeaderBytes;
        const bool believes = isText || (isRevision(1) && (!_fileSize || anyCountFits(start) || !anyCountFits(fixedBytes)));
        if (count > 0 && believes) _layout.extendedTextHeaders = count;
        else if (isRevision(1))
            warn("number of extended text headers at byte {} is {}, but traces follow at once; none is taken",
                 extendedHeadersWord.position, count);
    }

    void countOpenHeaders() {
        for (std::int64_t k = 1; k <= mostTextHeaders; ++k) {
            const unsigned char* block = _look(fixedBytes + (k - 1) * textHeaderBytes, textHeaderBytes);
            if (!block) break;
            if (!endsText(block)) continue;
            _layout.extendedTextHeaders = k;
            return;
        }
        fail("{}: the extended text headers, whose number is open (-1 at byte {}), never end with ((SEG: EndText))", _name,
             extendedHeadersWord.position);
    }

    void findTrailer() {
        if (!isRevision(2)) return;
        _layout.promisedTraces = value(traceCountWord);
        if (_layout.promisedTraces < 0) {
            warn("number of traces at byte {} is {}, expected 0 or more; it is ignored", traceCountWord.position,
                 _layout.promisedTraces);
            _layout.promisedTraces = 0;
        }
        const std::int64_t stanzas = value(trailerWord);
        const bool isPossible =
            stanzas <= mostTextHeaders && (!_fileSize || stanzas * textHeaderBytes < *_fileSize - _layout.firstTraceByte);
        if (stanzas > 0 && isPossible) _layout.trailerBytes = stanzas * textHeaderBytes;
        else if (stanzas < -1 || stanzas > 0)
            warn("number of trailer stanzas at byte {} is {}, which cannot be; none is taken", trailerWord.position, stanzas);
    }

    std::int64_t traceBytesWith(std::int64_t sampleCount) const {
        return _layout.headerBytesPerTrace() + sampleCount * bytesPerSample(_layout.format);
    }

    /* Whole traces from start to the end of the file. */
    bool fits(std::int64_t sampleCount, std::int64_t start) const {
        const std::int64_t room = *_fileSize - start - _layout.trailerBytes;
        return sampleCount > 0 && room > 0 && room % traceBytesWith(sampleCount) == 0;
    }

    bool anyCountFits(std::int64_t start) const {
        const auto counts = candidates(start);
        return std::any_of(counts.begin(), counts.end(), [&](const Candidate& c) { return fits(c.count, start); });
    }

    struct Candidate {
        std::int64_t count;
        std::int64_t byte; /* one-based, where it stands */
    };

    /* A word of the first trace header, without sign; 0 where there is none. */
    std::int64_t firstTraceValue(Word name, std::int64_t start) const {
        const HeaderWord word = _layout.words[name];
        const unsigned char* header = _look(start, traceHeaderBytes);
        return header && word.size > 0 ? readUnsignedWord(header, word, _layout.byteOrder) : 0;
    }

    /* The sample counts that the file speaks of, the most trusted one first. */
    std::vector<Candidate> candidates(std::int64_t start) const {
        std::vector<Candidate> list;
        const auto add = [&](std::int64_t count, std::int64_t byte) {
            if (count > 0 && count <= INT_MAX) list.push_back({count, byte});
        };
        if (isRevision(2)) add(value(extendedSamplesWord), extendedSamplesWord.position);
        add(unsignedValue(samplesWord), samplesWord.position);
        add(firstTraceValue(Word::samples, start), start + _layout.words[Word::samples].position);
        return list;
    }

    /* Headers of a line repeat sample count and interval: 1 when the second trace's place under this count shows them again,
     * -1 when it shows something else, 0 when there is nothing to compare. */
    int repeatsHeader(std::int64_t sampleCount) const {
        constexpr int place = 114, length = 4;
        std::array<unsigned char, length> first;
        const unsigned char* bytes = _look(_layout.firstTraceByte + place, length);
        if (!bytes) return 0;
        std::copy_n(bytes, length, first.begin());
        if (first == std::array<unsigned char, length>{}) return 0;
        bytes = _look(_layout.firstTraceByte + traceBytesWith(sampleCount) + place, length);
        if (!bytes) return 0;
        return std::equal(first.begin(), first.end(), bytes) ? 1 : -1;
    }

    /* The size of the file and the look of the second header weigh the same, so that a file that is cut off where a wrong
     * count happens to fit is still read by the right one. */
    int weight(const Candidate& candidate) const {
        return (fits(candidate.count, _layout.firstTraceByte) ? 1 : 0) + repeatsHeader(candidate.count);
    }

    void findSampleCount() {
        if (_overrides.samples) {
            if (*_overrides.samples < 1 || *_overrides.samples > INT_MAX)
                failUsage("--samples: {} lies outside 1 .. {}", *_overrides.samples, INT_MAX);
            _layout.sampleCount = *_overrides.samples;
            return;
        }
        const std::vector<Candidate> list = candidates(_layout.firstTraceByte);
        if (list.empty())
            fail(
                "{}: sample count at byte {} is 0, and so is the first trace's at byte {}, expected 1 or more; "
                "--samples gives it",
                _name, samplesWord.position, _layout.firstTraceByte + _layout.words[Word::samples].position);
        const Candidate* best = &list.front();
        if (_fileSize)
            for (const Candidate& candidate : list)
                if (weight(candidate) > weight(*best)) best = &candidate;
        _layout.sampleCount = best->count;
        warnOfCounts(list, *best);
        if (unsignedValue(samplesWord) == 0 && best->byte != extendedSamplesWord.position)
            warn("sample count at byte {} is 0; {} at byte {} is taken, --samples overrides it", samplesWord.position,
                 best->count, best->byte);
    }

    void warnOfCounts(const std::vector<Candidate>& list, const Candidate& taken) {
        const bool isExtended = taken.byte == extendedSamplesWord.position;
        for (const Candidate& other : list) {
            if (other.count == taken.count) continue;
            /* A count beyond 16 bits has no room in the two old words. */
            if (isExtended && taken.count > UINT16_MAX) continue;
            const bool decides =
                _fileSize && fits(taken.count, _layout.firstTraceByte) && !fits(other.count, _layout.firstTraceByte);
            warn("sample count at byte {} is {}; {} at byte {} is taken{}, --samples overrides it", other.byte, other.count,
                 taken.count, taken.byte, decides ? ", which fits the file" : "");
        }
    }

    /* A trailer without which the traces come out even is none. */
    void checkTrailer() {
        if (_layout.trailerBytes == 0 || !_fileSize || fits(_layout.sampleCount, _layout.firstTraceByte)) return;
        const std::int64_t claimed = std::exchange(_layout.trailerBytes, 0);
        if (fits(_layout.sampleCount, _layout.firstTraceByte))
            warn("{} trailer stanzas at byte {} do not fit the file; none is taken", claimed / textHeaderBytes,
                 trailerWord.position);
        else _layout.trailerBytes = claimed;
    }

    /* The trailer of an open number of stanzas (-1): what is left behind the traces that are promised, or text at the end. */
    void findOpenTrailer() {
        if (!isRevision(2) || !_fileSize || value(trailerWord) != -1) return;
        const std::int64_t room = *_fileSize - _layout.firstTraceByte;
        if (_layout.promisedTraces > 0 && _layout.promisedTraces <= room / _layout.traceBytes()) {
            _layout.trailerBytes = std::min(room - _layout.promisedTraces * _layout.traceBytes(), mostPreambleBytes);
            return;
        }
        for (std::int64_t k = 1; k <= mostTextHeaders; ++k) {
            const std::int64_t position = *_fileSize - k * textHeaderBytes;
            const unsigned char* block = position > _layout.firstTraceByte ? _look(position, textHeaderBytes) : nullptr;
            if (!block || !looksLikeText(block, textHeaderBytes)) return;
            _layout.trailerBytes = k * textHeaderBytes;
        }
    }

    static bool isInterval(double milliseconds) {
        return milliseconds >= shortestIntervalMs && milliseconds <= longestIntervalMs;
    }

    void findInterval() {
        if (_overrides.intervalMs) {
            if (!isInterval(*_overrides.intervalMs))
                failUsage("--interval: {} ms lies outside {} .. {}", *_overrides.intervalMs, shortestIntervalMs,
                          longestIntervalMs);
            _layout.intervalMs = *_overrides.intervalMs;
            return;
        }
        constexpr double microseconds = 1000.0;
        const double binary = static_cast<double>(unsignedValue(intervalWord)) / microseconds;
        const double trace = static_cast<double>(firstTraceValue(Word::interval, _layout.firstTraceByte)) / microseconds;
        const std::int64_t tracePlace = _layout.firstTraceByte + _layout.words[Word::interval].position;
        if (isRevision(2) && value(extendedIntervalWord) != 0) {
            _layout.intervalMs = std::bit_cast<double>(value(extendedIntervalWord)) / microseconds;
            if (isInterval(_layout.intervalMs)) return;
            warn("sample interval at byte {} is {} us, which cannot be; that at byte {} is taken",
                 extendedIntervalWord.position, _layout.intervalMs * microseconds, intervalWord.position);
        }
        if (!isInterval(binary) && !isInterval(trace))
            fail(
                "{}: sample interval at byte {} is 0, and so is the first trace's at byte {}, expected microseconds; "
                "--interval gives it",
                _name, intervalWord.position, tracePlace);
        _layout.intervalMs = isInterval(binary) ? binary : trace;
        if (!isInterval(binary))
            warn("sample interval at byte {} is 0; {} ms at byte {} is taken, --interval overrides it", intervalWord.position,
                 trace, tracePlace);
        else if (isInterval(trace) && trace != binary)
            warn("sample interval at byte {} is {} ms; {} ms at byte {} is taken, --interval overrides it", tracePlace, trace,
                 binary, intervalWord.position);
    }

    void checkScalars() {
        const unsigned char* header = _look(_layout.firstTraceByte, traceHeaderBytes);
        if (!header) return;
        const auto read = [&](Word word) { return readWord(header, _layout.words[word], _layout.byteOrder); };
        const auto check = [&](Word word, const char* name) {
            if (!isScalar(read(word)))
                warn(
                    "{} at byte {} is {}, expected 1, 10, 100, 1000 or 10000 or one of these negative; it is taken as 1, --map "
                    "{}=BYTE:SIZE names another word",
                    name, _layout.firstTraceByte + _layout.words[word].position, read(word), name);
        };
        check(Word::coordinateScalar, "coordinate_scalar");
        check(Word::elevationScalar, "elevation_scalar");
        if (read(Word::delay) != 0) check(Word::timeScalar, "time_scalar");
    }

    const Look& _look;
    const std::optional<std::int64_t> _fileSize;
    const Overrides& _overrides;
    const std::string& _name;
    std::vector<std::string>& _warnings;
    std::array<unsigned char, fixedBytes> _bytes;
    Layout _layout;
};

}

Layout readLayout(const Look& look, std::optional<std::int64_t> fileSize, const Overrides& overrides,
                  const std::string& fileName, std::vector<std::string>& warnings) {
    return LayoutFinder(look, fileSize, overrides, fileName, warnings).find();
}

void forgetTraceCount(Preamble& preamble, Layout& layout) {
    if (layout.promisedTraces > 0) writeWord(preamble.data(), traceCountWord, layout.byteOrder, 0);
    layout.promisedTraces = 0;
}

}
