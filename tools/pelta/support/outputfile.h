#ifndef PELTA_TOOL_OUTPUTFILE_H
#define PELTA_TOOL_OUTPUTFILE_H

#include <pelta/fileio.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace pelta {

/* A file that stands under its final name only when it is whole: bytes go to a temporary file in the same folder, and
 * commit() renames it. Destroyed without commit, or ended by a signal, nothing is left behind (see removeUnfinishedFiles).
 * The name "-" is standard output: bytes go there at once. */
class OutputFile {
  public:
    /* Fails when something stands under the name and overwrite is false, or when the folder cannot be written. */
    OutputFile(std::string name, bool overwrite);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    void write(const void* bytes, std::size_t count);
    void write(std::string_view text) { write(text.data(), text.size()); }
    /* The name of the temporary file, for writers that open it by name themselves (pictures). */
    const std::string& temporaryName() const { return _temporaryName; }
    bool isStandardOutput() const { return _isStandardOutput; }
    const std::string& name() const { return _name; }
    /* Flushes, closes and gives the file its final name. */
    void commit();

  private:
    std::string _name, _temporaryName;
    bool _isStandardOutput = false;
    fileIOStruct _file = {};
};

/* Called once at start: SIGINT, SIGTERM and SIGHUP remove the unfinished files and end the process as the signal would. */
void removeUnfinishedFilesOnSignals();

}

#endif
