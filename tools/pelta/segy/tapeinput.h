#ifndef PELTA_TOOL_TAPEINPUT_H
#define PELTA_TOOL_TAPEINPUT_H

#include <pelta/tapeio.h>

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace pelta::segy {

/* The first file of a tape, as the bytes of its records one after the other: the text header, the binary header, and whatever
 * follows. Fails (Failure) in one line where the drive does, or the first two records are no such headers. */
class TapeInput {
  public:
    /* Rewinds the tape. With salvage a record that cannot be read is warned of and ends the file. */
    TapeInput(std::string name, bool salvage);
    ~TapeInput();
    TapeInput(const TapeInput&) = delete;
    TapeInput& operator=(const TapeInput&) = delete;

    /* Bytes of one record, at most count; 0 at the end. */
    std::size_t read(unsigned char* bytes, std::size_t count);

    struct Record {
        std::int64_t number; /* from 1 */
        std::int64_t start;  /* among the file's bytes */
        std::int64_t bytes;
    };
    /* The record of a byte that has been read; those before it are forgotten. */
    Record recordAt(std::int64_t position);

  private:
    void open();
    bool readRecord();
    std::int64_t readTape(std::int64_t number);

    std::string _name;
    bool _salvage, _isAtEnd = false;
    tapeIOStruct _tape = {};
    std::vector<char> _bytes;    /* of the last record read, and room for a longer one */
    std::size_t _taken = 0;      /* of them */
    std::deque<Record> _records; /* read and not yet passed by recordAt; at least the last one */
};

}

#endif
