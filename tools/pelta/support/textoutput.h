#ifndef PELTA_TOOL_TEXTOUTPUT_H
#define PELTA_TOOL_TEXTOUTPUT_H

#include <string>
#include <utility>

#include "support/outputfile.h"

namespace pelta {

/* An output file of many short lines, handed on in large pieces. */
class TextOutput {
  public:
    TextOutput(std::string name, bool overwrite) : _file(std::move(name), overwrite) {}

    void write(std::string_view text) {
        _pending += text;
        if (_pending.size() >= pieceBytes) flush();
    }
    void commit() {
        flush();
        _file.commit();
    }
    const std::string& name() const { return _file.name(); }

  private:
    static constexpr std::size_t pieceBytes = 1 << 16;

    void flush() {
        if (!_pending.empty()) _file.write(_pending);
        _pending.clear();
    }

    OutputFile _file;
    std::string _pending;
};

}

#endif
