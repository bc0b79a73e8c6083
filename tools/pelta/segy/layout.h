#ifndef PELTA_TOOL_LAYOUT_H
#define PELTA_TOOL_LAYOUT_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "segy/headerwords.h"

namespace pelta::segy {

inline constexpr int textHeaderBytes = 3200;
inline constexpr int binaryHeaderBytes = 400;

/* Sample formats by their code in the binary header. */
enum class SampleFormat { ibm = 1, int32 = 2, int16 = 3, ieee = 5, int8 = 8 };
int bytesPerSample(SampleFormat format);
const char* nameOf(SampleFormat format);
/* "ibm", "ieee", "int8", "int16", "int32" or the code; fails (UsageError) on others. */
SampleFormat formatNamed(std::string_view name);

enum class TextEncoding { ebcdic, ascii };

/* What the user says against or beyond the file: --samples, --interval, --format, --endian, --map. */
struct Overrides {
    std::optional<std::int64_t> samples;
    std::optional<double> intervalMs;
    std::optional<SampleFormat> format;
    std::optional<ByteOrder> byteOrder;
    HeaderMap words = {};
};

/* How a file is built, after overrides. */
struct Layout {
    ByteOrder byteOrder = ByteOrder::big;
    TextEncoding textEncoding = TextEncoding::ebcdic;
    SampleFormat format = SampleFormat::ibm;
    std::int64_t sampleCount = 0;
    double intervalMs = 0.0;
    int revisionMajor = 0, revisionMinor = 0;
    std::int64_t extendedTextHeaders = 0; /* as found, where the file leaves their number open */
    int extraTraceHeaders = 0;            /* 240-byte headers behind the first of every trace, revision 2 */
    std::int64_t firstTraceByte = 3600;   /* bytes before the first trace */
    std::int64_t promisedTraces = 0;      /* 0 where the file does not say, as before revision 2 */
    std::int64_t trailerBytes = 0;        /* text behind the last trace, revision 2 */
    bool isFeet = false;
    HeaderMap words = {};

    double metresPerUnit() const { return isFeet ? 0.3048 : 1.0; }
    const char* lengthUnit() const { return isFeet ? "ft" : "m"; }
    std::int64_t headerBytesPerTrace() const { return std::int64_t{traceHeaderBytes} * (1 + extraTraceHeaders); }
    std::int64_t traceBytes() const { return headerBytesPerTrace() + sampleCount * bytesPerSample(format); }
};

/* Everything before the first trace, as it stands in the file: text header, binary header, extended text headers. */
using Preamble = std::vector<unsigned char>;

/* A look at bytes of the file by their zero-based position: count of them, valid until the next look; null where the file
 * has not so many. */
using Look = std::function<const unsigned char*(std::int64_t position, std::size_t count)>;

/* Finds out how a file is built from its headers. Takes any bytes. Fails (Failure) with one line that names the byte, the
 * value, what was expected and the option that helps.
 *   look      at the file; it must yield the first 3,600 bytes
 *   fileSize  in bytes where known: then words that contradict it are overruled by others that fit it; otherwise nothing,
 *             and the binary header is believed
 *   warnings  receives one line for each word that was found wrong and overruled by a better source */
Layout readLayout(const Look& look, std::optional<std::int64_t> fileSize, const Overrides& overrides,
                  const std::string& fileName, std::vector<std::string>& warnings);

/* Makes a revision 2 file leave open how many traces it holds: some may be dropped after this is written. */
void forgetTraceCount(Preamble& preamble, Layout& layout);

}

#endif
