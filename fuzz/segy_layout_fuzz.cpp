#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "segy/textheader.h"
#include "segy/trace.h"
#include "support/failure.h"

/* The input is the start of a SEG-Y file: layout, text, the words of the first trace header and as many samples as there are.
 * Every input must be read or refused with a line of text. */

using namespace pelta;
using namespace pelta::segy;

namespace {

struct Bytes {
    const std::uint8_t* data;
    std::size_t size;

    const unsigned char* look(std::int64_t position, std::size_t count) const {
        const auto all = static_cast<std::int64_t>(size);
        if (position < 0 || position > all || static_cast<std::int64_t>(count) > all - position) return nullptr;
        return data + position;
    }
};

void readFirstTrace(const Bytes& bytes, const Layout& layout) {
    const auto headerBytes = static_cast<std::size_t>(layout.headerBytesPerTrace());
    const unsigned char* header = bytes.look(layout.firstTraceByte, headerBytes);
    if (!header) return;
    Trace trace;
    trace.header.assign(header, header + headerBytes);
    trace.encoded.assign(header + headerBytes, bytes.data + bytes.size);
    trace.encoded.resize(trace.encoded.size() - trace.encoded.size() % static_cast<std::size_t>(bytesPerSample(layout.format)));
    readFacts(trace, layout);
    decode(trace, layout);
    trace.samplesChanged = true;
    encode(trace, layout);
}

void read(const Bytes& bytes, std::optional<std::int64_t> fileSize, const Overrides& overrides) {
    const Look look = [&](std::int64_t position, std::size_t count) { return bytes.look(position, count); };
    std::vector<std::string> warnings;
    try {
        const Layout layout = readLayout(look, fileSize, overrides, "input", warnings);
        const Preamble preamble(bytes.data, bytes.data + std::min<std::size_t>(bytes.size, layout.firstTraceByte));
        for (int header = 0; header <= layout.extendedTextHeaders && header < 4; ++header) textLines(preamble, layout, header);
        readFirstTrace(bytes, layout);
    } catch (const Failure& failure) {
        if (std::string(failure.what()).empty()) __builtin_trap();
    }
}

}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes bytes = {data, size};
    read(bytes, static_cast<std::int64_t>(size), {});
    read(bytes, std::nullopt, {});
    Overrides overrides;
    overrides.format = SampleFormat::int16;
    read(bytes, static_cast<std::int64_t>(size), overrides);
    overrides.byteOrder = ByteOrder::little;
    overrides.samples = 5;
    overrides.words.remap("samples=233:8,interval=225:8,coordinate_scalar=1:8,delay=240:1");
    read(bytes, static_cast<std::int64_t>(size), overrides);
    return 0;
}
