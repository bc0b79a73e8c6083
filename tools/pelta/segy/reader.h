#ifndef PELTA_TOOL_READER_H
#define PELTA_TOOL_READER_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "segy/trace.h"

namespace pelta::segy {

struct ReadOptions {
    Overrides overrides;
    bool salvage = false;  /* a truncated last trace: take the whole ones with a warning instead of failing */
    bool fromTape = false; /* the name is that of a tape drive */
};

/* Reads a SEG-Y file, or standard input ("-"), from front to back in large blocks; memory does not grow with the file. A file
 * that is cut off or holds fewer traces than it promises fails at once, a pipe when its end is reached; with salvage it gives
 * what whole traces there are, and a warning.
 * A tape is read like a pipe, from its beginning to the first file mark. Every trace has to be a record of its own; with salvage
 * others behind the first trace are passed over with a warning. */
class Reader {
  public:
    Reader(const std::string& name, ReadOptions options);
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    const std::string& name() const;
    const Layout& layout() const;
    const Preamble& preamble() const;
    /* Lines about words that contradict one another and how they were read. */
    const std::vector<std::string>& warnings() const;
    /* Whole traces in the file; nothing for a pipe. */
    std::optional<std::int64_t> traceCount() const;
    /* File size in bytes; nothing for a pipe. */
    std::optional<std::int64_t> fileSize() const;
    /* Bytes of a truncated last trace, known once the end was reached (at once for a file). */
    std::int64_t truncatedBytes() const;

    /* What stands behind the last trace, byte for byte; known once the end was reached (at once for a file). */
    const std::vector<unsigned char>& trailer() const;

    /* The next trace with its bytes (not decoded); false at the end. Reuses the trace's arrays. */
    bool next(Trace& trace);
    /* The same for its header: the samples of a file are passed over. */
    bool nextHeader(Trace& trace);
    /* Up to most traces as they stand in the file, one behind the other, layout().traceBytes() each; those of a file without
     * another copy on their way. Returns how many there were, 0 at the end. */
    std::size_t nextTraces(unsigned char* bytes, std::size_t most);
    /* Goes to a trace by its position; fails on a pipe. */
    void seek(std::int64_t traceNumber);

  private:
    struct Inside;
    std::unique_ptr<Inside> _inside;
};

}

#endif
