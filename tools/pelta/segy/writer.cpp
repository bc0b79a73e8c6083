#include "segy/writer.h"

#include <pelta/formats.h>

#include <algorithm>
#include <bit>
#include <cmath>

#include "support/failure.h"

namespace pelta::segy {
namespace {

constexpr std::size_t blockBytes = 1 << 20;

}

Writer::Writer(std::string name, bool overwrite, const Preamble& preamble) : _file(std::move(name), overwrite) {
    _pending.reserve(blockBytes);
    append(preamble);
}

void Writer::append(const unsigned char* bytes, std::size_t count) {
    if (_pending.size() + count > blockBytes) flush();
    if (count >= blockBytes) _file.write(bytes, count);
    else _pending.insert(_pending.end(), bytes, bytes + count);
}

void Writer::flush() {
    _file.write(_pending.data(), _pending.size());
    _pending.clear();
}

void Writer::write(const Trace& trace) {
    append(trace.header);
    append(trace.encoded);
}

void Writer::writeTrailer(const std::vector<unsigned char>& trailer) { append(trailer); }

void Writer::commit() {
    flush();
    _file.commit();
}

namespace {

constexpr HeaderWord intervalWord{3217, 2}, samplesWord{3221, 2}, formatWord{3225, 2}, unitWord{3255, 2},
    extendedSamplesWord{3269, 4}, extendedIntervalWord{3273, 8}, byteOrderWord{3297, 4}, revisionWord{3501, 2},
    fixedLengthWord{3503, 2}, extraTraceHeadersWord{3507, 4};
constexpr std::int64_t byteOrderConstant = 0x01020304, metres = 1, feet = 2;

void setText(Preamble& preamble, const Layout& layout, const std::vector<std::string>& lines) {
    constexpr int lineCount = 40;
    for (int k = 0; k < lineCount; ++k) {
        const auto index = static_cast<std::size_t>(k);
        setTextLine(preamble, layout, k, index < lines.size() ? std::string_view(lines[index]) : "");
    }
}

/* The words of revision 2 hold what the old ones cannot. */
void setExtendedWords(Preamble& preamble, const Layout& layout) {
    unsigned char* header = preamble.data();
    const double microseconds = 1000.0 * layout.intervalMs;
    writeWord(header, extendedSamplesWord, layout.byteOrder, layout.sampleCount);
    writeWord(header, extendedIntervalWord, layout.byteOrder, std::bit_cast<std::int64_t>(microseconds));
    writeWord(header, byteOrderWord, layout.byteOrder, byteOrderConstant);
    writeWord(header, extraTraceHeadersWord, layout.byteOrder, layout.extraTraceHeaders);
}

}

Preamble makePreamble(const Layout& layout, const std::vector<std::string>& lines) {
    Preamble preamble(textHeaderBytes + binaryHeaderBytes);
    setText(preamble, layout, lines);
    unsigned char* header = preamble.data();
    const double microseconds = 1000.0 * layout.intervalMs;
    const auto whole = static_cast<std::int64_t>(std::clamp(std::round(microseconds), 0.0, 1e9));
    const bool isWhole = std::abs(microseconds - static_cast<double>(whole)) < 1e-6;
    const bool fits = isWhole && writeUnsignedWord(header, intervalWord, layout.byteOrder, whole) &&
                      writeUnsignedWord(header, samplesWord, layout.byteOrder, layout.sampleCount);
    writeWord(header, formatWord, layout.byteOrder, static_cast<int>(layout.format));
    writeWord(header, unitWord, layout.byteOrder, layout.isFeet ? feet : metres);
    writeWord(header, fixedLengthWord, layout.byteOrder, 1);
    const bool needsRevision2 = !fits || layout.extraTraceHeaders > 0;
    const int major = needsRevision2 ? 2 : layout.revisionMajor;
    if (major >= 2) {
        setExtendedWords(preamble, layout);
        header[revisionWord.position - 1] = static_cast<unsigned char>(major);
        header[revisionWord.position] = static_cast<unsigned char>(major == layout.revisionMajor ? layout.revisionMinor : 0);
    } else writeWord(header, revisionWord, layout.byteOrder, major << 8 | layout.revisionMinor);
    return preamble;
}

}
