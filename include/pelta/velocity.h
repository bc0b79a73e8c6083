#ifndef PELTA_VELOCITY_H
#define PELTA_VELOCITY_H

/* Velocities and angles of a layered earth, in consistent units: for interval velocities out of those that were picked on
 * semblance, for the way back, and for the angles by which amplitudes are compared with offset.
 *
 * Example:
 *     float time[3] = {400, 1100, 2200}, velocity[3] = {1800, 2300, 3050}, ssqr;
 *     dixIntVelocity(time, velocity, 3, 1500);
 *     printf("intervals: %.0f %.0f %.0f m/s\n", velocity[0], velocity[1], velocity[2]);
 *     sin2Angle(3.0f, 1.8f, 1100, 1500, &ssqr);  // m/ms, ms, m
 *     printf("incidence: %.1f degrees\n", 57.29578f * asinf(sqrtf(ssqr)));
 * Output:
 *     intervals: 1800 2542 3649 m/s
 *     incidence: 38.4 degrees
 */

#include "export.h"

PELTA_BEGIN_C

/* Interval velocities from RMS velocities (the Dix equation), in place; returns velocity.
 *   time      [nsamp] ascending; equal ones divide by zero
 *   velocity  [nsamp] RMS velocities at these times; sample 0 stays, sample i becomes the interval velocity of the layer between
 *             times i - 1 and i
 *   vmin      the least velocity that comes out: in place of smaller ones, of NaNs, and of layers that would need an imaginary one
 * C. H. Dix, Seismic velocities from surface measurements, Geophysics 20 (1955). */
PELTA_API float* dixIntVelocity(float* time, float* velocity, int nsamp, float vmin);

/* RMS velocities from interval velocities, in place; returns velocity. Kept on purpose: sample 0 stays and does not count, and
 * all others weigh alike, as in equal time steps. */
PELTA_API float* dixRmsVelocity(float* velocity, int nsamp);

/* Squared sine of the incidence angle at a reflector, where the velocity grows in proportion to depth.
 *   vel     velocity at the reflector      vzero   velocity at the surface, both above 0
 *   time    two-way time, 0 gives 0        offset  source to receiver
 *   ssqr    receives the result too
 * Never above 1. Of a reflector at a depth z below a medium with gradient k, the sine grows with offset up to where the ray turns
 * and falls behind it. */
PELTA_API float sin2Angle(float vel, float vzero, float time, float offset, float* ssqr);

PELTA_END_C

#endif
