#include <cstdio>
#include <cstring>

#include "support/faultysystem.h"
#include "support/tapedouble.h"

/* runexample FAMILY: runs the example of a header. The drive that one of them names is a double with a blank tape. */

#define EXAMPLE(family) extern "C" void example_##family();
#include "examplelist.h"
#undef EXAMPLE

namespace {

struct Example {
    const char* family;
    void (*run)();
};

constexpr Example examples[] = {
#define EXAMPLE(family) {#family, example_##family},
#include "examplelist.h"
};

}

int main(int argc, char** argv) {
    for (const Example& example : examples) {
        if (argc != 2 || std::strcmp(example.family, argv[1]) != 0) continue;
        TapeDouble drive("/dev/nst0");
        FaultySystem system;
        system.answerBy([&drive](CallRecord& call) { return drive.answer(call); });
        example.run();
        return 0;
    }
    std::fputs("usage: runexample FAMILY\n", stderr);
    return 2;
}
