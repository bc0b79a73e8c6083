#ifndef PELTA_TOOL_WRITER_H
#define PELTA_TOOL_WRITER_H

#include <string>

#include "segy/trace.h"
#include "support/outputfile.h"

namespace pelta::segy {

/* Writes preamble and traces as they are given, in large blocks. The file appears under its name with commit(). */
class Writer {
  public:
    Writer(std::string name, bool overwrite, const Preamble& preamble);
    void write(const Trace& trace);
    /* Traces as they stand in a file, count bytes of them. */
    void write(const unsigned char* traces, std::size_t count) { append(traces, count); }
    /* What stands behind the last trace (Reader::trailer). */
    void writeTrailer(const std::vector<unsigned char>& trailer);
    void commit();

  private:
    void append(const std::vector<unsigned char>& bytes) { append(bytes.data(), bytes.size()); }
    void append(const unsigned char* bytes, std::size_t count);
    void flush();
    OutputFile _file;
    std::vector<unsigned char> _pending;
};

/* A preamble made from nothing: text lines (at most 40) and the layout's words in the binary header, without extended text
 * headers. Sample counts above 65,535 and intervals that are no whole microseconds up to 65,535 make it revision 2. */
Preamble makePreamble(const Layout& layout, const std::vector<std::string>& lines);

}

#endif
