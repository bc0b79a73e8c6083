#include <pelta/host.h>
#include <pelta/pelta.h>

#include <stdio.h>

/* Swaps the bytes of a trace there and back, and asks the host for a transform length. */
int main(void) {
    float trace[5] = {0, 0, 3, 0, 0};
    endianSwap(trace, 4, 5);
    endianSwap(trace, 4, 5);
    printf("%g %g %g, %d\n", trace[1], trace[2], trace[3], npfar(1000));
    return trace[2] != 3 || npfar(1000) < 1000;
}
