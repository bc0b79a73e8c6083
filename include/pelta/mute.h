#ifndef PELTA_MUTE_H
#define PELTA_MUTE_H

/* Mutes and static shifts: for the edges of a zone that was zeroed, which would ring in a filter if they stayed sharp, and for
 * shifts finer than the sample interval, such as those that bring a trace to its datum.
 *
 * Example:
 *     float trace[12] = {0, 0, 8, 8, 8, 8, 8, 8, 8, 8, 0, 0}, shifted[12], work[12];
 *     float header[sizeof(stdHdrStruct) / sizeof(int)], taper[3] = {0.75f, 0.5f, 0.25f};
 *     applyMute(trace, 12, 4, header, 3, taper);
 *     for (int i = 0; i < 12; ++i) printf("%g ", trace[i]);
 *     printf("\nlive from %g to %g ms\n", header[stdHdr->itlive_s - 1], header[stdHdr->itlive_e - 1]);
 *
 *     applyStatic(trace, shifted, work, 12, 2);
 *     for (int i = 0; i < 12; ++i) printf("%g ", shifted[i]);
 *     printf("\n");
 * Output:
 *     0 0 2 4 6 8 8 2 4 6 0 0
 *     live from 12 to 40 ms
 *     2 4 6 8 8 2 4 6 0 0 0 0
 */

#include "export.h"

PELTA_BEGIN_C

/* Softens the edges of the live zone of a trace that was muted (zeroed) at its top and bottom, and records the zone's times in its
 * header.
 *   trace      [num] changed in place
 *   dt         sample interval
 *   header     the trace's header: one-based entries, of which itlive_s, itfull_s, itfull_e and itlive_e of the host's table
 *              stdHdr receive the first live sample, the end of the top taper, the start of the bottom taper and the last live
 *              sample, as one-based sample counts times dt (the tapers' ends are zero-based). Entries that the table does not
 *              have are not written
 *   itaperlen  length of the taper in samples; at 0 or less no sample changes and the times are still written
 *   taper      [itaperlen] multipliers, kept
 * A trace without a live sample behind the first one gets no top edge, one without a live sample before the last one no bottom
 * edge; NaNs are live.
 * Kept on purpose: the first and the last sample of the trace are never an edge, live as they may be; and the taper is read
 * backwards at both edges as time runs: the top edge sample gets the last multiplier, the bottom edge sample the first. */
PELTA_API void applyMute(float* trace, int num, float dt, float* header, int itaperlen, float* taper);

/* Shifts a trace by a fractional number of samples with the host's 8-point sinc interpolation (ints8r): output sample i is the
 * input at i + stat, so that a positive static moves events up, to earlier times.
 *   datain   [nsamp] kept
 *   dataout  [nsamp] receives the shifted trace; what comes from outside is 0. Must not overlap datain
 *   work     [nsamp] scratch
 *   stat     shift in samples; as large as the trace or larger, or NaN, it leaves zeros */
PELTA_API void applyStatic(float* datain, float* dataout, float* work, int nsamp, float stat);

PELTA_END_C

#endif
