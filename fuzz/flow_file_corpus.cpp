#include "corpusfile.h"

/* usage: flow_file_corpus FOLDER: writes flows with values of every kind, and values as options take them. */

int main(int argc, char** argv) {
    return writeCorpus(
        argc, argv,
        {{"every_kind",
          "[[step]]\nname = \"step\"\nflag = true\ninteger = -3\nreal_ms = 1.5\ntext = \"a \\\" b\"\nchoice = \"two\"\n"
          "integers = [1, 2]\nreals_hz = [5, 10.5]\npairs_ms_m = [[0, 1500], [1000, 2200]]\n"},
         {"two_steps", "# a flow\n[[step]]\nname = 'step'\nchoice = 0\n\n[[step]]\nname = \"step\"\n"},
         {"unknown_key", "[[step]]\nname = \"step\"\nreel_ms = 1\n"},
         {"pairs_option", "0:1500,1000:2200.5"},
         {"reals_option", "5,10,60,80"},
         {"choice_option", "one"}});
}
