#!/usr/bin/python3
"""Measures what a user of NumPy, SciPy, bottleneck, numba, Shapely, GDAL or GRASS would write in place of pelta's routines.

  bench/peers.py FAMILY ...

Prints JSON, {"routine|who|case": seconds a call}, for the families of the benchmarks (formats, statistics, ...). Routine and
case are spelt as in the family's _bench.cpp, the traces come from the same makers, and scripts/bench sets the figures beside
one another. A figure is the median processor time over many turns through all traces of the peer, on one thread. Before a peer
is measured its answer is held against a plain formula: a peer that computes something else ends the run. A program that is not
installed is left out and named.
"""
import os

for variable in ("OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS", "MKL_NUM_THREADS", "NUMBA_NUM_THREADS"):
    os.environ[variable] = "1"

import gc
import json
import math
import resource
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass
from typing import Any, Callable, Sequence

import bottleneck
import numba
import numpy as np
import scipy.fft
import scipy.interpolate
import scipy.linalg
import scipy.ndimage
import scipy.signal
import scipy.spatial
import scipy.stats
import shapely.geometry
import shapely.prepared
import shapely.vectorized
from numpy.lib.stride_tricks import sliding_window_view

interval = 2.0  # ms
seconds_per_figure = 0.3
lengths = (1500, 4000)


@dataclass
class Peer:
    name: str  # routine|who|case
    inputs: Sequence[Any]  # run in turn: of one trace alone the branch predictor learns every comparison
    run: Callable  # input -> answer
    expected: Callable  # input -> what the routine computes, by a plain formula
    tolerance: float  # largest absolute difference
    part: Any = ...  # of the answer that is compared: where the peer treats the ends of a trace as the routine does


# Traces as in tests/support/signals.h, from the same generator.


def random_trace(count, seed, size=1.0):
    words = np.random.RandomState(seed).randint(0, 1 << 32, count, dtype=np.uint32)
    return np.float32(size) * ((words >> 8).astype(np.float32) / np.float32(8388608) - np.float32(1))


def add_ricker(trace, centre, frequency, amplitude):
    phase = np.pi * frequency * (np.arange(len(trace)) - np.float64(np.float32(centre))) * interval / 1000
    trace += (amplitude * (1 - 2 * phase**2) * np.exp(-(phase**2))).astype(np.float32)


def shot_gather(trace_count, sample_count):
    gather = []
    for k in range(trace_count):
        trace = random_trace(sample_count, 1 + 7919 * k, 0.02)
        offset = 50.0 + 25.0 * k
        add_ricker(trace, offset / 1.5 / interval, 40, 1.0)
        for zero_offset_time in (400, 900, 1600):
            add_ricker(trace, math.hypot(zero_offset_time, offset / 2.2) / interval, 30, 0.5)
        gather.append(trace)
    return gather


def traces_with_onset(sample_count):
    """Noise, and from a fifth of the trace on a sine of 40 Hz; pairs of trace and onset, as in fbpicker_bench.cpp."""
    pairs = []
    for k in range(16):
        onset = sample_count // 5 + 7 * k
        trace = random_trace(sample_count, 100 + k, 0.02)
        trace[onset:] += np.sin(2 * np.pi * 40 * 0.001 * interval * np.arange(sample_count - onset)).astype(np.float32)
        pairs.append((trace, onset))
    return pairs


# Formats.


def swap_bytes(words):
    return words.byteswap(inplace=True)


def reversed_words(words):
    return np.frombuffer(words.tobytes(), np.uint8).reshape(-1, 4)[:, ::-1].copy().view(np.uint32).ravel()


every_byte = bytes(range(256))
to_ebcdic = every_byte.decode("latin-1").encode("cp037")
to_ascii = every_byte.decode("cp037").encode("latin-1")


def translation(table):
    """Each turn makes new bytes: Python's text has no translation in place. Which code page it is costs nothing."""
    return lambda text: text.translate(table)


def header_text(size):
    return ((0x20 + np.arange(size) * 7 % 95).astype(np.uint8)).tobytes()


def formats_peers():
    for case, size in (("16 KiB", 16 << 10), ("1 MiB", 1 << 20), ("64 MiB", 64 << 20)):
        words = (random_trace(size // 4, 1) * np.float32(524288)).view(np.uint32)
        text = header_text(size)
        yield Peer(f"endianSwap|NumPy byteswap|{case}", [words], swap_bytes, reversed_words, 0)
        yield Peer(f"asciiToEbcdic|Python bytes.translate|{case}", [text], translation(to_ebcdic),
                   lambda text: text.decode("latin-1").encode("cp037"), 0)
        yield Peer(f"ebcdicToAscii|Python bytes.translate|{case}", [text], translation(to_ascii),
                   lambda text: text.decode("cp037").encode("latin-1"), 0)


# Statistics.


def mean_and_deviation(trace):
    return trace.mean(dtype=np.float64), trace.std(dtype=np.float64, ddof=1)


def mean_and_deviation_plainly(trace):
    mean = math.fsum(trace) / len(trace)
    return mean, math.sqrt(math.fsum((float(x) - mean) ** 2 for x in trace) / (len(trace) - 1))


def live_rms(trace):
    return np.sqrt(np.dot(trace, trace) / np.count_nonzero(trace))


def live_rms_plainly(trace):
    live = [float(x) for x in trace if x != 0]
    return math.sqrt(math.fsum(x * x for x in live) / len(live))


def moving_mean(window):
    """The window's last sample is the output's place here, the one before its centre there: half a window apart."""
    return lambda trace: bottleneck.move_mean(trace, window, min_count=1)[window // 2 - 1:]


def uniform_filter(window):
    return lambda trace: scipy.ndimage.uniform_filter1d(trace, window)


def moving_mean_plainly(window):
    def means(trace):
        half = window // 2
        return [trace[max(i - half, 0):i + half].mean(dtype=np.float64) for i in range(len(trace))]
    return means


def statistics_peers():
    for n in lengths:
        gather = shot_gather(8, n)
        yield Peer(f"computeMean|NumPy mean and std|{n} samples", gather, mean_and_deviation, mean_and_deviation_plainly, 1e-7)
        yield Peer(f"computeMeanRms|NumPy sqrt(dot / count)|{n} samples", gather, live_rms, live_rms_plainly, 1e-6)
        for window in (50, 500):
            inside = slice(window // 2, n - window // 2 + 1)
            routine, expected = f"smooth window {window}", moving_mean_plainly(window)
            yield Peer(f"{routine}|bottleneck move_mean|{n} samples", gather, moving_mean(window), expected, 1e-6, inside)
            yield Peer(f"{routine}|SciPy uniform_filter1d|{n} samples", gather, uniform_filter(window), expected, 1e-6, inside)


# Numbers, outlines and tables, as in numeric_bench.cpp.


def typed_numbers():
    return "".join(f"{number:.2f} " for number in np.float32(5000) * (random_trace(1000, 1) + np.float32(1)))


def list_from_text(text):
    return np.fromstring(text, np.float32, sep=" ")


def list_plainly(text):
    return [float(number) for number in text.split()]


def outline():
    angle, radius = 2 * np.pi / 100 * np.arange(100), 800 + 200 * random_trace(100, 2).astype(np.float64)
    return np.stack([radius * np.cos(angle), radius * np.sin(angle)], axis=1)


def points_inside(vertices):
    polygon = shapely.prepared.prep(shapely.geometry.Polygon(vertices))
    return lambda points: shapely.vectorized.contains(polygon, *points)


def points_inside_plainly(vertices):
    def inside(points):
        x, y = points
        parity = np.zeros(len(x), bool)
        for (x1, y1), (x2, y2) in zip(vertices, np.roll(vertices, -1, axis=0)):
            if y1 != y2:
                parity ^= ((y1 <= y) != (y2 <= y)) & (x < (x2 - x1) * (y - y1) / (y2 - y1) + x1)
        return parity
    return inside


def polynomial_plainly(depths, velocities):
    def value(depth):
        return sum(velocity * math.prod((depth - other) / (own - other) for other in depths if other != own)
                   for own, velocity in zip(depths, velocities))
    return value


def numeric_peers():
    yield Peer("peltaParseFloat|NumPy fromstring|1000 numbers", [typed_numbers()], list_from_text, list_plainly, 1e-3)
    points = random_trace(10000, 3, 1000.0).astype(np.float64), random_trace(10000, 4, 1000.0).astype(np.float64)
    for routine in ("peltaPnPolygon", "peltaPnPolygon2", "peltaPnPolygon1"):
        yield Peer(f"{routine}|Shapely prepared contains|100 vertices, 10000 points", [points], points_inside(outline()),
                   points_inside_plainly(outline()), 0)
    depths = [k + 0.125 * (k % 3) for k in range(8)]
    velocities = [6 - 4 / (1 + 0.5 * depth) for depth in depths]
    wanted = 3.5 + 3.4 * random_trace(64, 5).astype(np.float64)
    for routine in ("polint", "ratint"):
        yield Peer(f"{routine}|SciPy barycentric_interpolate|8 points", wanted,
                   lambda depth: scipy.interpolate.barycentric_interpolate(depths, velocities, depth),
                   polynomial_plainly(depths, velocities), 1e-9)


# Convolution and band-pass.


def fft_convolution(taps):
    return lambda trace: scipy.signal.fftconvolve(trace, taps, "same")


def direct_convolution(taps):
    return lambda trace: np.convolve(trace, taps, "same")


def convolution_plainly(taps):
    def convolved(trace):
        half = len(taps) // 2
        return sliding_window_view(np.pad(trace, half).astype(np.float64), len(taps)) @ taps[::-1].astype(np.float64)
    return convolved


def convolution_peers(routine, tap_count, n):
    taps, trace, case = random_trace(tap_count, 1), random_trace(n, 2), f"{tap_count} taps, {n} samples"
    yield Peer(f"{routine}|SciPy fftconvolve|{case}", [trace], fft_convolution(taps), convolution_plainly(taps), 1e-3)
    yield Peer(f"{routine}|NumPy convolve|{case}", [trace], direct_convolution(taps), convolution_plainly(taps), 1e-3)


def host_peers():
    for tap_count, n in ((505, 1500), (127, 4000), (19, 1500)):
        yield from convolution_peers("conv", tap_count, n)


def ormsby_response(length):
    """5-10-60-80 Hz, 60 dB down outside."""
    frequency = np.arange(length // 2 + 1) * 1000 / interval / length
    ramp = np.interp(frequency, [5, 10, 60, 80], [0, 1, 1, 0])
    return np.maximum(np.sin(np.pi / 2 * ramp) ** 2, 0.001).astype(np.float32)


def product_of_spectra(response, length):
    return lambda trace: scipy.fft.irfft(scipy.fft.rfft(trace, length) * response, length)[:len(trace)]


def circular_convolution_plainly(response, length):
    """With the response's impulse, a sum of cosines."""
    def convolved(trace):
        bins = np.arange(1, length // 2)
        weights = 2 * response[1:-1].astype(np.float64)
        impulse = np.array([response[0] + response[-1] * (-1) ** t + np.cos(2 * np.pi / length * (bins * t % length)) @ weights
                            for t in range(length)]) / length
        return [trace.astype(np.float64) @ impulse[(i - np.arange(len(trace))) % length] for i in range(len(trace))]
    return convolved


def bandpassfilter_peers():
    for n in lengths:
        yield from convolution_peers("bandpass in time", 505, n)
    for n, length in zip(lengths, (1980, 5280)):
        response = ormsby_response(length)
        yield Peer(f"bandpass in frequency|SciPy rfft, product, irfft|{n} samples, transform {length}", [random_trace(n, 1)],
                   product_of_spectra(response, length), circular_convolution_plainly(response, length), 1e-5)


# Spectra.


def solve_normal_equations(lags_and_wanted):
    return scipy.linalg.solve_toeplitz(*lags_and_wanted)


def normal_equations_plainly(lags_and_wanted):
    lags, wanted = lags_and_wanted
    return np.linalg.solve(scipy.linalg.toeplitz(lags), wanted)


def normal_equations(order):
    """Autocorrelation of a random trace with a little white noise, and a wanted cross-correlation."""
    lags = autocorrelation_plainly(random_trace(2 * order, 2))[:order]
    lags[0] *= 1.001
    return lags, random_trace(order, 3)


def autocorrelation_by_transform(trace):
    return scipy.signal.correlate(trace, trace, "full", "fft")[len(trace) - 1:]


def autocorrelation_in_time(trace):
    return np.correlate(trace, trace, "full")[len(trace) - 1:]


def autocorrelation_plainly(trace):
    series = trace.astype(np.float64)
    return np.array([series[lag:] @ series[:len(series) - lag] for lag in range(len(series))])


def polar(spectrum):
    return np.abs(spectrum), np.angle(spectrum)


def polar_plainly(spectrum):
    return [abs(complex(z)) for z in spectrum], [math.atan2(z.imag, z.real) for z in spectrum]


def spectrum_peers():
    for n in (505, *lengths):
        traces, case = [random_trace(n, seed) for seed in range(1, 9)], f"{n} samples, all lags"
        yield Peer(f"AutoCorr|SciPy correlate, fft|{case}", traces, autocorrelation_by_transform, autocorrelation_plainly, 1e-2)
        yield Peer(f"AutoCorr|NumPy correlate, direct|{case}", traces, autocorrelation_in_time, autocorrelation_plainly, 1e-2)
    for order in (127, 505, 1500):
        yield Peer(f"Wiener|SciPy solve_toeplitz|shaping filter, order {order}", [normal_equations(order)],
                   solve_normal_equations, normal_equations_plainly, 1e-6)
    for n in (1001, 300001):
        spectra = [random_trace(2 * n, seed).view(np.complex64) for seed in (5, 6)]
        yield Peer(f"rectToPolar|NumPy abs and angle|{n} bins", spectra, polar, polar_plainly, 1e-5)


# Phase rotation and quadrature traces.


def rotation_of_spectra(angle, length):
    factor = np.complex64(np.exp(1j * angle))  # NumPy's forward transform has the negative exponent
    return lambda trace: scipy.fft.irfft(scipy.fft.rfft(trace, length) * factor, length)[:len(trace)]


def rotation_plainly(angle, length):
    """With the response's impulse, a sum of cosines; of the end bins the real part counts."""
    def rotated(trace):
        bins = np.arange(1, length // 2)
        impulse = np.array([(1 + (-1) ** t) * np.cos(angle) + 2 * np.cos(2 * np.pi / length * (bins * t % length) + angle).sum()
                            for t in range(length)]) / length
        return [trace.astype(np.float64) @ impulse[(i - np.arange(len(trace))) % length] for i in range(len(trace))]
    return rotated


def phaseshift_peers():
    angle = math.radians(30)
    for n, length in zip(lengths, (1980, 5280)):
        yield Peer(f"PeltaPhaseShift|SciPy rfft, product, irfft|{n} samples, transform {length}", [random_trace(n, 1)],
                   rotation_of_spectra(angle, length), rotation_plainly(angle, length), 1e-5)
    for n in lengths:
        trace, case = random_trace(n, 1), f"{n} samples"
        yield Peer(f"applyHilbert|SciPy hilbert|{case}", [trace], lambda trace: scipy.signal.hilbert(trace).imag,
                   transform_plainly, 1e-5)
        yield Peer(f"applyHilbert|NumPy convolve|{case}", [trace], lambda trace: np.convolve(trace, hilbert_taps, "same"),
                   taps_plainly, 1e-5)


# Moveout and gain.

fraction_count = 1024
sinc_rows = np.sinc(np.arange(fraction_count)[:, None] / fraction_count - np.arange(-3, 5)[None, :]).astype(np.float32)


def moveout_positions(sample_count, velocity, offset):
    times = np.arange(sample_count, dtype=np.float32) * np.float32(interval)
    return np.sqrt(times * times + (offset / velocity) ** 2) / np.float32(interval)


@numba.njit
def read_eight_taps(trace, positions, rows):
    values = np.zeros_like(trace)
    for i in range(len(trace)):
        whole = int(positions[i])
        row = rows[int((positions[i] - whole) * len(rows))]
        first = whole - 3
        total = np.float32(0)
        if first >= 0 and first + 8 <= len(trace):
            for j in range(8):
                total += row[j] * trace[first + j]
        else:
            for j in range(max(0, -first), min(8, len(trace) - first)):
                total += row[j] * trace[first + j]
        values[i] = total
    return values


def moveout_by_eight_taps(velocity):
    return lambda pair: read_eight_taps(pair[0], moveout_positions(len(velocity), velocity, pair[1]), sinc_rows)


def moveout_by_lines(velocity):
    places = np.arange(len(velocity))
    return lambda pair: np.interp(moveout_positions(len(velocity), velocity, pair[1]), places, pair[0], 0, 0)


def moveout_plainly(velocity):
    """At these traces, smooth at the scale of a sample but for their noise, sinc and line differ by little more than it."""
    def corrected(pair):
        trace, offset = pair
        values = []
        for i in range(len(trace)):
            position = math.hypot(i * interval, offset / float(velocity[i])) / interval
            whole = int(position)
            taps = np.sinc(position - whole - np.arange(-3, 5))
            values.append(sum(taps[j] * trace[whole - 3 + j] for j in range(8) if 0 <= whole - 3 + j < len(trace)))
        return values
    return corrected


def gain_control(window):
    def balanced(trace):
        half = window // 2
        medians = bottleneck.move_median(np.abs(trace), window)[window - 1:]
        gains = np.empty_like(trace)
        gains[half:half + len(medians)] = 1 / medians
        gains[:half] = gains[half]
        gains[half + len(medians):] = gains[half + len(medians) - 1]
        return trace * gains
    return balanced


def gain_control_plainly(window):
    def balanced(trace):
        medians = np.median(sliding_window_view(np.abs(trace), window), axis=1)
        return trace / medians[np.clip(np.arange(len(trace)) - window // 2, 0, len(medians) - 1)]
    return balanced


def analytic_gather(sample_count):
    """Traces muted ahead of their first arrivals, and companions in the place of their quadrature traces."""
    pairs = []
    for k, trace in enumerate(shot_gather(32, sample_count)):
        trace[:int((50 + 25 * k) / 1.6 / interval)] = 0
        pairs.append((trace, np.roll(trace, 3)))
    return pairs


def semblance_sums(sample_count):
    """Adds to sums that are kept; of a dead sample only the companion has to be masked."""
    total, companions, squares = np.zeros((3, sample_count))
    fold = np.zeros(sample_count)

    def add(pair):
        trace, companion = pair[0].astype(np.float64), pair[1].astype(np.float64)
        live = trace != 0
        companion *= live
        np.add(fold, live, out=fold)
        np.add(total, trace, out=total)
        np.add(companions, companion, out=companions)
        np.add(squares, trace * trace + companion * companion, out=squares)
        return total, companions, squares, fold
    return add


def semblance_sums_plainly(pair):
    terms = [(float(x), float(y), float(x) ** 2 + float(y) ** 2, 1.0) if x != 0 else (0.0,) * 4 for x, y in zip(*pair)]
    return np.array(terms).T


def semblance_from_sums(window):
    def semblance(sums):
        total, companions, squares, fold = sums
        stack = scipy.ndimage.uniform_filter1d(total * total + companions * companions, window, mode="mirror")
        energy = scipy.ndimage.uniform_filter1d(squares, window, mode="mirror")
        ratio = np.zeros(len(total), np.float32)
        return np.divide(stack, fold * energy, out=ratio, where=energy > 0, casting="same_kind")
    return semblance


def semblance_from_sums_plainly(window):
    def semblance(sums):
        total, companions, squares, fold = sums
        count, half, ratios = len(total), window // 2, []
        for j in range(count):
            places = [abs(i) if i < count else 2 * (count - 1) - i for i in range(j - half, j + half + 1)]
            energy = sum(squares[i] for i in places)
            ratios.append(sum(total[i] ** 2 + companions[i] ** 2 for i in places) / (fold * energy) if energy > 0 else 0)
        return ratios
    return semblance


static_shift = 2.5


def shift_by_eight_taps(trace):
    return read_eight_taps(trace, np.arange(len(trace), dtype=np.float32) + np.float32(static_shift), sinc_rows)


def shift_by_lines(trace):
    places = np.arange(len(trace))
    return np.interp(places + static_shift, places, trace, 0, 0)


def shift_by_splines(trace):
    return scipy.ndimage.shift(trace, -static_shift)


def shift_plainly(trace):
    whole, fraction = int(static_shift), static_shift % 1
    taps = np.sinc(fraction - np.arange(-3, 5))
    return [sum(taps[j] * trace[i + whole - 3 + j] for j in range(8) if i + whole - 3 + j < len(trace))
            for i in range(len(trace))]


def gather_peers():
    for n in lengths:
        velocity = (1.8 + 0.0005 * np.arange(n)).astype(np.float32)
        pairs = [(trace, np.float32(50 + 25 * k)) for k, trace in enumerate(shot_gather(32, n))]
        inside = slice(100, n - 100)
        yield Peer(f"applyNMO|NumPy positions, numba 8-tap loop|n={n}", pairs, moveout_by_eight_taps(velocity),
                   moveout_plainly(velocity), 1e-2, inside)
        yield Peer(f"applyNMO|NumPy positions, interp (linear)|n={n}", pairs, moveout_by_lines(velocity),
                   moveout_plainly(velocity), 0.1, inside)
    for n in lengths:
        pairs = analytic_gather(n)
        yield Peer(f"buildSemblance|NumPy|n={n}", pairs, semblance_sums(n), semblance_sums_plainly, 1e-12)
        sums = np.sum([semblance_sums_plainly(pair) for pair in pairs], axis=0)
        yield Peer(f"applySemblance|NumPy, SciPy uniform_filter1d|n={n} window 11", [(*sums[:3], float(len(pairs)))],
                   semblance_from_sums(11), semblance_from_sums_plainly(11), 1e-5)
        traces, case, inside = shot_gather(32, n), f"n={n} shift {static_shift}", slice(100, n - 100)
        for name, shift, tolerance in (("NumPy positions, numba 8-tap loop", shift_by_eight_taps, 1e-2),
                                       ("NumPy interp (linear)", shift_by_lines, 0.1), ("SciPy shift (cubic)", shift_by_splines, 0.1)):
            yield Peer(f"applyStatic|{name}|{case}", traces, shift, shift_plainly, tolerance, inside)
    for n, window in ((1500, 125), (1500, 251), (4000, 251), (4000, 1001)):
        yield Peer(f"PeltaAGC|bottleneck move_median|n={n} window {window}", shot_gather(32, n), gain_control(window),
                   gain_control_plainly(window), 1e-3)


# First breaks.


def energy_ratio(sample_count, lead=17, lag=26):
    """One scan of the twelve that the routine makes. Windows are cut off at the ends of the trace; where they begin and end,
    and how long that makes them, is formed once for all traces."""
    places = np.arange(1, sample_count - 1)
    starts, ends = np.maximum(places - lag, 0), np.minimum(places + lead, sample_count - 1)
    lag_lengths, lead_lengths = (places - starts).astype(np.float32), (ends - places).astype(np.float32)

    def pick(pair):
        amplitudes = np.abs(pair[0])
        amplitudes[0] = 0
        total = np.cumsum(amplitudes)
        stabilizer = np.float32(0.05) * total[-1] / np.float32(sample_count)
        here = total[1:-1]
        before = (here - total[starts]) / lag_lengths + stabilizer
        return 1 + np.argmax((total[ends] - here) / lead_lengths / before)
    return pick


def smallest_ratio(deviations, noise=50, signal=25):
    """deviations(trace, window): one for each place of the window along the trace. A sample lies between the two windows."""
    def pick(pair):
        before, after = deviations(pair[0], noise), deviations(pair[0], signal)
        count = len(after) - noise - 2
        return noise + 1 + np.argmin(before[:count] / after[noise + 1:noise + 1 + count])
    return pick


def moving_deviations(trace, window):
    return bottleneck.move_std(trace, window)[window - 1:]


def window_deviations(trace, window):
    return sliding_window_view(trace, window).std(axis=1)


def onset(pair):
    return pair[1]


def fbpicker_peers():
    reach = 5  # samples
    for n in lengths:
        pairs = traces_with_onset(n)
        case = f"windows 50/25, n {n}"
        yield Peer(f"computeEnPick|NumPy, one scan|whole trace, n {n}", pairs, energy_ratio(n), onset, reach)
        yield Peer(f"computeSDPick|bottleneck move_std|{case}", pairs, smallest_ratio(moving_deviations), onset, reach)
        yield Peer(f"computeSDPick|NumPy sliding windows|{case}", pairs, smallest_ratio(window_deviations), onset, reach)


def tapered_frequency(window, frequency=40.0):
    distance = (np.arange(window) - window // 2) / (window / 6)
    angle = 2 * np.pi * frequency * interval / 1000 * np.arange(window)
    return np.exp(-0.5 * distance**2) * np.exp(-1j * angle)


def amplitudes_at_frequency(window):
    kernel = np.conj(tapered_frequency(window)).astype(np.complex64)  # which correlate conjugates
    return lambda trace: np.abs(np.correlate(trace.astype(np.complex64), kernel, "valid")) / np.float32(window)


def amplitudes_plainly(window):
    table = tapered_frequency(window)
    return lambda trace: [abs(sum(float(x) * w for x, w in zip(trace[i:i + window], table))) / window
                          for i in range(len(trace) - window + 1)]


def picking_kernels_peers():
    for n in lengths:
        for window in (32, 64):
            # As many centres as the benchmark has: all but the first half window.
            gather = [trace[:n - window // 2 + window - 1] for trace in shot_gather(8, n + window)]
            yield Peer(f"spddecompose_|NumPy correlate, complex64|{n} samples, window {window}", gather,
                       amplitudes_at_frequency(window), amplitudes_plainly(window), 1e-6)


# Velocity analysis: a gather and its offsets. The panel is that of velan_bench.cpp.

scanned_velocities = np.linspace(1500, 3480, 100)
semblance_window = 11
hilbert_taps = np.array([-2 / (np.pi * k) if k % 2 else 0 for k in range(-9, 10)], dtype=np.float32)
stretch = np.float32(0.3)


def interpolate_by_eight_taps(gather, positions):
    """The moveout of the routine itself: eight samples around each position, weighted by a table of sincs."""
    padded = np.pad(gather, ((0, 0), (3, 5)))
    within = np.minimum(positions, gather.shape[1])
    below = within.astype(np.intp)
    rows = ((within - below) * fraction_count).astype(np.intp)
    samples = sliding_window_view(padded, 8, axis=1)[np.arange(len(gather))[:, None], below]
    return np.einsum("ijk,ijk->ij", samples, sinc_rows[rows])


def interpolate_by_lines(gather, positions):
    places = np.arange(gather.shape[1])
    return np.array([np.interp(position, places, trace, 0, 0) for position, trace in zip(positions, gather)],
                    dtype=np.float32)


def interpolate_by_index(gather, positions):
    """The same without np.interp's search: the samples around each position by their number."""
    sample_count = gather.shape[1]
    below = np.minimum(positions, sample_count - 2).astype(np.intp)
    weights = positions - below
    first = np.take_along_axis(gather, below, axis=1)
    values = first + weights * (np.take_along_axis(gather, below + 1, axis=1) - first)
    values[positions > sample_count - 1] = 0
    return values


def quadrature_by_transform(gather):
    return scipy.signal.hilbert(gather, axis=1).imag


def quadrature_by_taps(gather):
    return scipy.ndimage.convolve1d(gather, hilbert_taps, axis=1, mode="constant")


def semblance_panel(interpolate, quadrature_of):
    """Moveout, quadrature traces, semblance, in this order for each velocity, a whole gather at a time."""
    def panel(pair):
        gather, offsets = pair
        times = np.arange(gather.shape[1], dtype=np.float32) * np.float32(interval)
        squared_times = times * times
        latest = (np.float32(1) + stretch) * times
        rows = np.empty((len(scanned_velocities), gather.shape[1]), dtype=np.float32)
        for row, velocity in zip(rows, scanned_velocities):
            slowness = 1000 * offsets[:, None] / np.float32(velocity)  # ms
            arrivals = np.sqrt(squared_times + slowness * slowness)
            corrected = interpolate(gather, arrivals / np.float32(interval))
            corrected[arrivals > latest] = 0
            quadrature = quadrature_of(corrected)
            live = corrected != 0
            quadrature[~live] = 0
            fold = live.sum(axis=0)
            scale = len(gather) / np.maximum(fold, 1)
            stack = (corrected.sum(axis=0) * scale) ** 2 + (quadrature.sum(axis=0) * scale) ** 2
            energy = (np.einsum("ij,ij->j", corrected, corrected) + np.einsum("ij,ij->j", quadrature, quadrature)) * scale
            stack = scipy.ndimage.uniform_filter1d(stack, semblance_window, mode="mirror")
            energy = scipy.ndimage.uniform_filter1d(energy, semblance_window, mode="mirror")
            row[:] = np.where(energy > 0, stack / (len(gather) * np.where(energy > 0, energy, 1)), 0)
        return rows
    return panel


compared_velocity = 35  # of the scanned ones


def line_between(trace, position):
    below = min(int(position), len(trace) - 2)
    return trace[below] + (position - below) * (trace[below + 1] - trace[below]) if position <= len(trace) - 1 else 0


def eight_taps(trace, position):
    below = int(position)
    return sum(np.sinc(position - i) * trace[i] for i in range(max(below - 3, 0), min(below + 5, len(trace))))


def moveout_with_mute_plainly(trace, offset, velocity, read):
    values = np.zeros(len(trace))
    for i in range(len(trace)):
        position = math.hypot(i * interval, offset / velocity) / interval
        if position <= (1 + stretch) * i:
            values[i] = read(trace, position)
    return values


def taps_plainly(trace):
    return [sum(float(hilbert_taps[k + 9]) * trace[i - k] for k in range(-9, 10) if 0 <= i - k < len(trace))
            for i in range(len(trace))]


def transform_plainly(trace):
    """The circular convolution that the transform of an even length stands for."""
    count = len(trace)
    odd = np.arange(1, count, 2)
    kernel = np.zeros(count)
    kernel[odd] = 2 / count / np.tan(np.pi * odd / count)
    return [float(np.dot(kernel[(i - np.arange(count)) % count], trace)) for i in range(count)]


def semblance_plainly(read, quadrature_of):
    """One velocity of the panel, trace by trace and sample by sample; the others stay 0."""
    def panel(pair):
        gather, offsets = pair
        sample_count, half = gather.shape[1], semblance_window // 2
        sums, fold = np.zeros((3, sample_count)), np.zeros(sample_count)
        for trace, offset in zip(gather, offsets):
            velocity = scanned_velocities[compared_velocity] / 1000
            corrected = moveout_with_mute_plainly(trace, float(offset), velocity, read)
            quadrature = quadrature_of(corrected)
            for i in np.flatnonzero(corrected):
                sums[:, i] += corrected[i], quadrature[i], corrected[i] ** 2 + quadrature[i] ** 2
                fold[i] += 1
        sums *= len(gather) / np.maximum(fold, 1)
        rows = np.zeros((len(scanned_velocities), sample_count))
        for j in range(sample_count):
            window = [abs(i) if i < sample_count else 2 * (sample_count - 1) - i for i in range(j - half, j + half + 1)]
            stack = sum(sums[0, i] ** 2 + sums[1, i] ** 2 for i in window)
            energy = sum(sums[2, i] for i in window)
            rows[compared_velocity, j] = stack / (len(gather) * energy) if energy > 0 else 0
        return rows
    return panel


def velan_peers():
    gather = np.array(shot_gather(48, 2000))
    offsets = (50 + 25 * np.arange(48)).astype(np.float32)
    part = (slice(compared_velocity, compared_velocity + 1), slice(100, 1900))
    case = "48 traces, 2000 samples, 100 velocities"
    eight = interpolate_by_eight_taps, eight_taps
    line, line_by_index = (interpolate_by_lines, line_between), (interpolate_by_index, line_between)
    transform, taps = (quadrature_by_transform, transform_plainly), (quadrature_by_taps, taps_plainly)
    for name, (interpolate, read), (quadrature, quadrature_plainly), tolerance in (
            ("NumPy 8-tap sinc, SciPy 19-tap convolve1d", eight, taps, 2e-2),  # of the table's fractions
            ("NumPy interp (linear), SciPy hilbert", line, transform, 1e-3),
            ("NumPy indices (linear), SciPy 19-tap convolve1d", line_by_index, taps, 1e-3)):
        yield Peer(f"velocity analysis|{name}|{case}", [(gather, offsets)], semblance_panel(interpolate, quadrature),
                   semblance_plainly(read, quadrature_plainly), tolerance, part)


# Straight lines.


def spread(count, seed, at_origin):
    place, noise = random_trace(count, seed, 5), random_trace(count, seed + 1, 5)
    index = np.arange(count, dtype=np.float32)
    x = np.float32(100) + np.float32(12.5) * index + place
    late = np.where(index % 10 == 7, np.float32(400), np.float32(0))
    return x, np.float32(at_origin) + np.float32(0.4) * x + noise + late


def spreads(count, at_origin):
    return [spread(count, 10 * k, at_origin) for k in range(max(2, 40000 // count))]


def line_by_polyfit(points):
    slope, intercept = np.polyfit(*points, 1)
    return intercept, slope


def line_by_linregress(points):
    line = scipy.stats.linregress(*points)
    return line.intercept, line.slope


def line_plainly(points):
    x, y = ([float(value) for value in values] for values in points)
    x_mean, y_mean = math.fsum(x) / len(x), math.fsum(y) / len(y)
    slope = math.fsum((a - x_mean) * (b - y_mean) for a, b in zip(x, y)) / math.fsum((a - x_mean) ** 2 for a in x)
    return y_mean - slope * x_mean, slope


def trimmed_slope(points):
    return scipy.stats.trim_mean(points[1] / points[0], 0.1)


def trimmed_slope_plainly(points):
    ratios = sorted(float(y) / float(x) for x, y in zip(*points))
    ends = len(ratios) // 10
    return math.fsum(ratios[ends:-ends]) / (len(ratios) - 2 * ends)


def regression_peers():
    single_precision = 1e-3  # of an intercept of 140
    lines = spreads(1000, 100)
    yield Peer("lstSquare|NumPy polyfit|1000 points", lines, line_by_polyfit, line_plainly, single_precision)
    yield Peer("lstSquare|SciPy linregress|1000 points", lines, line_by_linregress, line_plainly, single_precision)
    for count in (1000, 100000):
        yield Peer(f"meanAlphaTrim|SciPy trim_mean|{count} points", spreads(count, 0), trimmed_slope,
                   trimmed_slope_plainly, 1e-6)


# Mesh: the survey of mesh_bench.cpp, functions of 12 pairs at a thousand places and as many locations in rows.


@dataclass
class Survey:
    places: np.ndarray
    times: np.ndarray
    velocities: np.ndarray
    locations: np.ndarray
    grid: np.ndarray
    triangulation: Any
    ready_made: Callable  # a function at every place, resampled before


def survey():
    width, pairs = 10000.0, 12
    k, j = np.arange(1000)[:, None], np.arange(pairs)
    places = width * np.fmod(np.hstack([k * 0.7548776662466927, k * 0.5698402909980532]), 1.0)
    times = -100 + 2400.0 * j / (pairs - 1) + np.where(j > 0, 7.0 * (k % 11), 0.0)
    velocities = 1500 + 2000.0 * j / (pairs - 1) + 10.0 * ((k + j) % 17)
    locations = np.array([(width * (0.1 + 0.8 * column / 100), width * (0.3 + 0.04 * row))
                          for row in range(10) for column in range(100)])
    grid = 4.0 * np.arange(501)
    resampled = np.array([np.interp(grid, *function) for function in zip(times, velocities)])
    triangulation = scipy.spatial.Delaunay(places)
    return Survey(places, times, velocities, locations, grid, triangulation,
                  scipy.interpolate.LinearNDInterpolator(triangulation, resampled))


def corners_and_weights(one):
    """Of the triangle of every location."""
    faces = one.triangulation.find_simplex(one.locations)
    transforms = one.triangulation.transform[faces]
    first_two = np.einsum("nij,nj->ni", transforms[:, :2], one.locations - transforms[:, 2])
    return one.triangulation.simplices[faces], np.hstack([first_two, 1 - first_two.sum(axis=1, keepdims=True)])


def interpolate_ready_made(one):
    return one.ready_made(one.locations)


def interpolate_three(one):
    return [sum(weight * np.interp(one.grid, one.times[corner], one.velocities[corner])
                for corner, weight in zip(corners, weights))
            for corners, weights in zip(*corners_and_weights(one))]


def interpolate_plainly(one):
    """Each location from the triangle that has it inside, by areas."""
    result = []
    for x, y in one.locations:
        a, b, c = one.places[one.triangulation.simplices].transpose(1, 2, 0)
        whole = (b[0] - a[0]) * (c[1] - a[1]) - (c[0] - a[0]) * (b[1] - a[1])
        of_b = ((x - a[0]) * (c[1] - a[1]) - (c[0] - a[0]) * (y - a[1])) / whole
        of_c = ((b[0] - a[0]) * (y - a[1]) - (x - a[0]) * (b[1] - a[1])) / whole
        face = np.argmax(np.minimum(np.minimum(of_b, of_c), 1 - of_b - of_c))
        weights = (1 - of_b[face] - of_c[face], of_b[face], of_c[face])
        result.append(sum(weight * np.interp(one.grid, one.times[corner], one.velocities[corner])
                          for corner, weight in zip(one.triangulation.simplices[face], weights)))
    return result


def mesh_peers():
    case, rounded = "1000 ordered locations, 12 pairs, 501 samples", 1e-6
    surveys = [survey()]
    yield Peer(f"triInterpolate|SciPy LinearND, ready-made vectors|{case}", surveys, interpolate_ready_made,
               interpolate_plainly, rounded)
    yield Peer(f"triInterpolate|NumPy, three interp and a sum|{case}", surveys, interpolate_three, interpolate_plainly, rounded)


# Surfaces through scattered points, as in gridding_bench.cpp.

extent, point_count = 10.0, 10000  # km


def hills(x, y):
    a, b = 9 * x / extent, 9 * y / extent

    def bell(p, q):
        return np.exp(-p * p - q * q)
    return (750 * bell((a - 2) / 2, (b - 2) / 2) + 750 * np.exp(-(a + 1) ** 2 / 49 - (b + 1) / 10)
            + 500 * bell((a - 7) / 2, (b - 3) / 2) - 200 * bell(a - 4, b - 7))


def folds(x, y):
    return 300 * np.sin(np.pi * x) * np.cos(2 * np.pi / 3 * y) + 60 * x - 40 * y


def points_on(surface):
    x, y = (random_trace(point_count, seed, extent / 2).astype(np.float64) + extent / 2 for seed in (1, 2))
    return np.stack([x, y, surface(x, y)], axis=1)


class CloughTocher:
    name = "SciPy CloughTocher"

    def __init__(self, points, size):
        self.points, self.axis = points, np.linspace(0, extent, size)

    def work(self):
        spline = scipy.interpolate.CloughTocher2DInterpolator(self.points[:, :2], self.points[:, 2])
        self.answer = spline(self.axis[None, :], self.axis[:, None])

    def grid(self):
        return self.answer


class GriddingProgram:
    """Works in a folder of its own. Its nodes are the centres of cells: the region reaches half a spacing further."""

    def __init__(self, points, size):
        self.folder = tempfile.TemporaryDirectory()
        self.size, half = str(size), extent / (size - 1) / 2
        self.low, self.high = repr(-half), repr(extent + half)
        np.savetxt(self.path("points.csv"), points, "%.9g", ",", header="x,y,z", comments="")
        self.prepare()

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def call(self, *command):
        done = subprocess.run(command, cwd=self.folder.name, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if done.returncode != 0:
            sys.exit(f"peers.py: {' '.join(command)}\n{done.stdout}")

    def grid(self):
        """From the south on; both programs write the northernmost line first."""
        return np.fromfile(self.path("grid.bin"), np.float32).reshape(int(self.size), -1)[::-1]


class GdalGrid(GriddingProgram):
    name, command = "gdal_grid linear", "gdal_grid"

    def prepare(self):
        with open(self.path("points.vrt"), "w") as layer:
            layer.write('<OGRVRTDataSource><OGRVRTLayer name="points"><SrcDataSource>points.csv</SrcDataSource>'
                        '<GeometryType>wkbPoint</GeometryType><GeometryField encoding="PointFromColumns" x="x" y="y" z="z"/>'
                        '</OGRVRTLayer></OGRVRTDataSource>')

    def work(self):
        self.call("gdal_grid", "-a", "linear:radius=-1", "-txe", self.low, self.high, "-tye", self.low, self.high, "-outsize",
                  self.size, self.size, "-of", "ENVI", "-ot", "Float32", "-l", "points", "points.vrt", "grid.bin")


class GrassSplines(GriddingProgram):
    name, command = "GRASS v.surf.rst", "grass"

    def module(self, *command):
        self.call("grass", "place/PERMANENT", "--exec", *command)

    def prepare(self):
        self.call("grass", "-c", "XY", "place", "-e")
        self.module("v.in.ascii", "-z", "-t", "input=points.csv", "output=points", "separator=comma", "skip=1", "x=1", "y=2", "z=3")
        self.module("g.region", f"w={self.low}", f"e={self.high}", f"s={self.low}", f"n={self.high}", f"rows={self.size}",
                    f"cols={self.size}")

    def work(self):
        self.module("v.surf.rst", "input=points", "elevation=grid", "--overwrite")

    def grid(self):
        self.module("r.out.bin", "-f", "input=grid", "output=grid.bin")
        return super().grid()


def processor_time():
    children = resource.getrusage(resource.RUSAGE_CHILDREN)
    return time.process_time() + children.ru_utime + children.ru_stime


def rms_error(grid, surface):
    """As in gridding_bench.cpp, a twentieth of the region away from its rim."""
    size = len(grid)
    inside, axis = slice(size // 20, size - size // 20), np.linspace(0, extent, size)
    return np.sqrt(np.mean((grid - surface(axis[None, :], axis[:, None]))[inside, inside] ** 2))


def gridding_figures():
    """Times and errors, of which both of pelta's routines have their own. One turn where it takes long."""
    figures = {}
    for kind, sizes, turns in ((CloughTocher, (501, 2001), 3), (GdalGrid, (501, 2001), 3), (GrassSplines, (501,), 1)):
        command = getattr(kind, "command", None)
        if command and not shutil.which(command):
            print(f"peers.py: no {command} here: {kind.name} is left out", file=sys.stderr)
            continue
        for size in sizes:
            for surface in (hills, folds):
                peer, seconds = kind(points_on(surface), size), []
                for _ in range(turns):
                    start = processor_time()
                    peer.work()
                    seconds.append(processor_time() - start)
                error = rms_error(peer.grid(), surface)
                if not error < 10:  # m; the heights reach over 1000
                    sys.exit(f"peers.py: {kind.name}: the surface is off by {error:g} m")
                for routine in ("makeGMTGrid", "computeGMT1Surface"):
                    end = f"|{kind.name}|{size} x {size} nodes, {surface.__name__}"
                    figures[routine + end], figures[f"{routine}, RMS error{end}"] = statistics.median(seconds), error
    return figures


families = {
    "formats": formats_peers,
    "statistics": statistics_peers,
    "numeric": numeric_peers,
    "spectrum": spectrum_peers,
    "host": host_peers,
    "bandpassfilter": bandpassfilter_peers,
    "phaseshift": phaseshift_peers,
    "gather": gather_peers,
    "fbpicker": fbpicker_peers,
    "picking_kernels": picking_kernels_peers,
    "regression": regression_peers,
    "velan": velan_peers,
    "mesh": mesh_peers,
}


def as_array(answer):
    return np.frombuffer(answer, np.uint8) if isinstance(answer, bytes) else np.asarray(answer)


def check(peer):
    one = peer.inputs[0]
    expected = as_array(peer.expected(one))[peer.part]  # first, since the peer may work in place
    answer = as_array(peer.run(one))[peer.part]
    if answer.shape != expected.shape:
        sys.exit(f"peers.py: {peer.name}: the answer has the shape {answer.shape} instead of {expected.shape}")
    difference = np.abs(answer.astype(np.float64) - expected.astype(np.float64)).max()  # integers would wrap
    if not difference <= peer.tolerance:
        sys.exit(f"peers.py: {peer.name}: the answer is off by {difference:g}")


def seconds_per_call(peer):
    def turn(rounds):
        start = time.process_time()
        for _ in range(rounds):
            for one in peer.inputs:
                peer.run(one)
        return (time.process_time() - start) / (rounds * len(peer.inputs))

    turn(1)  # warms caches up
    seconds = turn(1) * len(peer.inputs)
    rounds = max(1, round(0.01 / seconds))
    turns = min(max(int(seconds_per_figure / (rounds * seconds)), 5), 30)
    return statistics.median(turn(rounds) for _ in range(turns))


def main():
    figures = {}
    gc.disable()
    for family in sys.argv[1:]:
        if family == "gridding":
            figures.update(gridding_figures())
        for peer in families.get(family, list)():
            check(peer)
            figures[peer.name] = seconds_per_call(peer)
    json.dump(figures, sys.stdout, indent=1)
    print()


if __name__ == "__main__":
    main()
