#include "corpusfile.h"

/* usage: tables_corpus FOLDER: writes one small file for each kind of table. */

int main(int argc, char** argv) {
    return writeCorpus(argc, argv,
                       {{"functions_by_cdp",
                         "# of velan\ncdp,time_ms,velocity_m_per_s\n150,400,1800,1100,2300\n210,400,1850\n"
                         "210,1100,2420\n"},
                        {"functions_by_place",
                         "\xEF\xBB\xBFx;y;\"Time (s)\";vel km/s\r\n0;0;0;1.5;1;2\r\n100;0;0;1.6;1;2.1\r\n"
                         "0;100;0;1.7;1;2.5\r\n50;50;0;2;1;3\r\n0;0;0;3;1;4\r\n"},
                        {"function_everywhere", "time_ms velocity\n0 1500\n1000\t2000\n"},
                        {"functions_without_heading", "150 0 1500 1000 2000\n160 100 1600\n160 2000 2500\n"},
                        {"pairs", "offset,time\n0,100\n500, 300\n"},
                        {"picks_by_station", "record,channel,pick_ms,valid\n3,1,101.5,1\n3,2,,0\n"},
                        {"picks_by_trace", "trace,time_s\n\"1\",0.1\n2,+2e-1\n"},
                        {"points", "name,x,y,depth\nA,1,2,3.5\nB,4,5,\n"}});
}
