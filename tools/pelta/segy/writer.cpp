#include "segy/writer.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "segy/binaryheader.h"
#include "segy/textheader.h"

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

void setText(Preamble& preamble, const Layout& layout, const std::vector<std::string>& lines) {
    for (int k = 0; k < textLineCount; ++k) {
        const auto index = static_cast<std::size_t>(k);
        setTextLine(preamble, layout, k, index < lines.size() ? std::string_view(lines[index]) : "");
    }
}

/* False where the interval or the sample count needs the words of revision 2. */
bool setPlainWords(Preamble& preamble, const Layout& layout) {
    unsigned char* header = preamble.data();
    const double microseconds = 1000.0 * layout.intervalMs;
    const auto whole = static_cast<std::int64_t>(std::clamp(std::round(microseconds), 0.0, 1e9));
    const bool isWhole = std::abs(microseconds - static_cast<double>(whole)) < 1e-6;
    writeWord(header, formatWord, layout.byteOrder, static_cast<int>(layout.format));
    writeWord(header, unitWord, layout.byteOrder, layout.isFeet ? feetUnit : metresUnit);
    writeWord(header, fixedLengthWord, layout.byteOrder, 1);
    return isWhole && writeUnsignedWord(header, intervalWord, layout.byteOrder, whole) &&
           writeUnsignedWord(header, samplesWord, layout.byteOrder, layout.sampleCount);
}

/* Words of revision 2, for what the plain ones cannot hold. */
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
    const bool fits = setPlainWords(preamble, layout);
    const int major = !fits || layout.extraTraceHeaders > 0 ? 2 : layout.revisionMajor;
    const int minor = major == layout.revisionMajor ? layout.revisionMinor : 0;
    unsigned char* header = preamble.data();
    if (major < 2) {
        writeWord(header, revisionWord, layout.byteOrder, major << 8 | minor);
        return preamble;
    }
    setExtendedWords(preamble, layout);
    writeUnsignedWord(header, revisionMajorWord, layout.byteOrder, major);
    writeUnsignedWord(header, revisionMinorWord, layout.byteOrder, minor);
    return preamble;
}

}
