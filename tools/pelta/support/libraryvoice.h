#ifndef PELTA_TOOL_LIBRARYVOICE_H
#define PELTA_TOOL_LIBRARYVOICE_H

namespace pelta {

/* The library's file functions report failures on standard output, where the command writes data. While an object of this
 * kind lives, what the library prints goes nowhere: the command says it in its own line. Objects may overlap, in one thread
 * or in several: the first one turns standard output away and the last one brings it back. */
class LibraryVoice {
  public:
    LibraryVoice();
    ~LibraryVoice();
    LibraryVoice(const LibraryVoice&) = delete;
    LibraryVoice& operator=(const LibraryVoice&) = delete;
};

/* A new descriptor of the real standard output, also while the library is silent; -1 when there is none. */
int duplicateStandardOutput();

/* Called once at start: where standard input, output or error is closed, its number is given to a descriptor that can do
 * nothing, lest a file that is opened later gets it and with it what is printed. */
void occupyStandardDescriptors();

}

#endif
