#ifndef PELTA_TOOL_OUTPUTFILE_H
#define PELTA_TOOL_OUTPUTFILE_H

#include <pelta/fileio.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace pelta {

/* What messages call a file: "-" is standard input or output. */
inline std::string inputName(const std::string& fileName) { return fileName == "-" ? "standard input" : fileName; }
inline std::string outputName(const std::string& fileName) { return fileName == "-" ? "standard output" : fileName; }

/* A file that stands under its final name only when it is whole: bytes go to a temporary file in the same folder, and
 * commit() renames it. Destroyed without commit, or ended by a signal, nothing is left behind (see
 * removeUnfinishedFilesOnSignals). The name "-" is standard output: bytes go there at once, as they do to a device or a
 * named pipe. */
class OutputFile {
  public:
    /* Fails when something stands under the name and overwrite is false, when it is an input of the command or another
     * unfinished output of it, or when the folder cannot be written. */
    OutputFile(std::string name, bool overwrite);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /* Goes to the system as it comes: write in large pieces. */
    void write(const void* bytes, std::size_t count);
    void write(std::string_view text) { write(text.data(), text.size()); }
    const std::string& name() const { return _name; }
    /* Closes the file and gives it its final name. */
    void commit();

  private:
    void openStandardOutput();
    void openDirectly();
    void openTemporary();
    void close();
    void giveFinalName();

    std::string _name, _target, _temporaryName;
    bool _overwrite;
    fileIOStruct _file = {};
    int _slot = -1;
    std::uint64_t _written = 0;
};

/* While an object of this kind lives, outputs refuse to replace the file that an open descriptor reads, or that stands under
 * a name ("-" is standard input). */
class ProtectedInput {
  public:
    explicit ProtectedInput(int descriptor);
    explicit ProtectedInput(const std::string& name);
    ~ProtectedInput();
    ProtectedInput(const ProtectedInput&) = delete;
    ProtectedInput& operator=(const ProtectedInput&) = delete;

  private:
    void protect(const struct stat& status);

    std::pair<dev_t, ino_t> _file = {};
    bool _isRegular = false;
};

/* Called once at start: SIGINT, SIGTERM, SIGHUP and SIGPIPE remove the unfinished files and end the process as the signal
 * would; one that is ignored stays ignored. A file that grows beyond the size limit becomes a failed write. */
void removeUnfinishedFilesOnSignals();

}

#endif
