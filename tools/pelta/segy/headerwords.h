#ifndef PELTA_TOOL_HEADERWORDS_H
#define PELTA_TOOL_HEADERWORDS_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pelta::segy {

inline constexpr int traceHeaderBytes = 240;

enum class ByteOrder { big, little };

/* A two's complement word of 1, 2, 4 or 8 bytes by its one-based first byte in its header. */
struct HeaderWord {
    int position = 0;
    int size = 0;
    bool operator==(const HeaderWord&) const = default;
};

std::int64_t readWord(const unsigned char* header, HeaderWord word, ByteOrder order);
/* False, and nothing written, when the value does not fit the word. */
bool writeWord(unsigned char* header, HeaderWord word, ByteOrder order, std::int64_t value);

/* The same without a sign: sample counts and intervals, which run to 65,535 in 2 bytes. Words of 8 bytes keep their sign. */
std::int64_t readUnsignedWord(const unsigned char* header, HeaderWord word, ByteOrder order);
bool writeUnsignedWord(unsigned char* header, HeaderWord word, ByteOrder order, std::int64_t value);

/* A scalar word is 1, 10, 100, 1000 or 10000, or one of these with a minus sign for division; 0 counts as 1. */
bool isScalar(std::int64_t scalar);
/* The value times its scalar. Anything that is no scalar counts as 1: real files keep all kinds of things in those words. */
double scaled(std::int64_t value, std::int64_t scalar);
/* What stands in a word whose scaled value is this one, not rounded. */
double unscaled(double value, std::int64_t scalar);

/* The words of the 240-byte trace header, in the order of their names below. */
enum class Word {
    trace,
    traceInFile,
    record,
    channel,
    source,
    cdp,
    traceInCdp,
    traceType,
    fold,
    offset,
    receiverElevation,
    sourceElevation,
    sourceDepth,
    elevationScalar,
    coordinateScalar,
    sourceX,
    sourceY,
    receiverX,
    receiverY,
    coordinateUnits,
    sourceStatic,
    receiverStatic,
    totalStatic,
    delay,
    muteStart,
    muteEnd,
    samples,
    interval,
    cdpX,
    cdpY,
    inlineNumber,
    crossline,
    timeScalar,
    pick
};
inline constexpr std::size_t wordCount = static_cast<std::size_t>(Word::pick) + 1;

/* The words by name; any of them can be told to stand elsewhere. Names and standard places:
 *   trace 1:4 (in the line), trace_in_file 5:4, record 9:4, channel 13:4, source 17:4, cdp 21:4, trace_in_cdp 25:4,
 *   trace_type 29:2, fold 33:2 (traces stacked into this one), offset 37:4, receiver_elevation 41:4, source_elevation 45:4,
 *   source_depth 49:4, elevation_scalar 69:2, coordinate_scalar 71:2, source_x 73:4, source_y 77:4, receiver_x 81:4,
 *   receiver_y 85:4, coordinate_units 89:2, source_static 99:2, receiver_static 101:2, total_static 103:2, delay 109:2,
 *   mute_start 111:2, mute_end 113:2, samples 115:2, interval 117:2, cdp_x 181:4, cdp_y 185:4, inline 189:4,
 *   crossline 193:4, time_scalar 215:2,
 *   and pick, which has no place until it is given one. */
class HeaderMap {
  public:
    HeaderMap();
    /* Takes "offset=37:4,record=9:4"; fails (UsageError) on unknown names (with the nearest known one), sizes other than
     * 1, 2, 4 or 8, words beyond the header. */
    void remap(std::string_view assignments);
    /* The word of a name, or of a place given as "37:4"; nothing for a name without a place. Fails (UsageError) on unknown
     * names and impossible places. */
    std::optional<HeaderWord> find(std::string_view name) const;
    /* Position and size 0 where the word has no place. */
    HeaderWord operator[](Word word) const { return _words[static_cast<std::size_t>(word)]; }
    static std::vector<std::string> names();

  private:
    std::array<HeaderWord, wordCount> _words;
};

}

#endif
