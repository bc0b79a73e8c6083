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
    void commit();

  private:
    void flush();
    OutputFile _file;
    std::vector<unsigned char> _pending;
};

/* A preamble made from nothing: text lines (at most 40), and the layout's words in the binary header. */
Preamble makePreamble(const Layout& layout, const std::vector<std::string>& lines);

}

#endif
