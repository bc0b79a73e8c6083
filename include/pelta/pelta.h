#ifndef PELTA_PELTA_H
#define PELTA_PELTA_H

/* Everything in the library. What all its functions share:
 *
 * - A trace is an array of float, one value per sample; work is done in place unless an output array is named.
 * - Times and sample intervals are in milliseconds, frequencies in hertz, velocities in the offset's unit per the time unit
 *   of the sample interval.
 * - A pick is a zero-based sample index, 0 meaning no pick.
 * - A count of zero or less does nothing. Arguments are not validated beyond what a declaration says.
 * - Pointer parameters carry no const: that is the published interface. What is only read is said to be kept.
 * - An int result is 0 for success, and messages go to standard output, unless a declaration says otherwise. Nothing throws.
 * - Classes that work on traces allocate their work arrays when they are made and none per trace; where one could not be had, an
 *   operation leaves its data alone. An object belongs to one thread at a time.
 * - Flat functions may run in several threads on distinct arrays, but for bandPassFilter and applyBandPassFilter, which share one
 *   filter, and for computeGMT1Surface and the GMT1 routines, which share SG.
 * - Each header opens with an example: the body of a function, behind includes of <pelta/pelta.h>, <pelta/host.h> and of what it
 *   takes from the C library. */

#include "export.h"
#include "types.h"

/* In the order of a trace's road, which sorting would lose. */
/* clang-format off */
#include "formats.h"
#include "statistics.h"
#include "numeric.h"
#include "spectrum.h"
#include "bandpassfilter.h"
#include "phaseshift.h"
#include "wavelet.h"
#include "normalmoveout.h"
#include "peltaagc.h"
#include "semblance.h"
#include "mute.h"
#include "velocity.h"
#include "fbpicker.h"
#include "arpicker.h"
#include "spdpicker.h"
#include "leastsquares.h"
#include "trimodel.h"
#include "gmtgrid.h"
#include "gmtsurface.h"
#include "peltadisk.h"
#include "fileio.h"
#include "tapeio.h"
#include "cummlative.h"
/* clang-format on */

#endif
