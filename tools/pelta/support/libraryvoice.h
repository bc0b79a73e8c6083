#ifndef PELTA_TOOL_LIBRARYVOICE_H
#define PELTA_TOOL_LIBRARYVOICE_H

namespace pelta {

/* The library's file functions report failures on standard output, where the command writes data. While an object of this
 * kind lives, what the library prints goes nowhere: the command says it in its own line. */
class LibraryVoice {
  public:
    LibraryVoice();
    ~LibraryVoice();
    LibraryVoice(const LibraryVoice&) = delete;
    LibraryVoice& operator=(const LibraryVoice&) = delete;

  private:
    int _standardOutput;
};

}

#endif
