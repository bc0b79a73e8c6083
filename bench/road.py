#!/usr/bin/python3
"""The whole road of a trace: SEG-Y in, band-pass, moveout, gain, energy pick, SEG-Y out, beside the same steps written with
NumPy, SciPy and segyio. One thread each. That both come out alike is checked.

  bench/road.py [--write]      (--write stores the result as docs/road-speed.md)
"""
import os

for variable in ("OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS", "MKL_NUM_THREADS"):
    os.environ[variable] = "1"

import argparse
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import numpy as np
import scipy.ndimage
import scipy.signal
import segyio

top = Path(__file__).resolve().parent.parent
pelta = top / "build/bench/tools/pelta/pelta"
interval = 0.002
peer_traces = 480
pelta_traces = 24000


def ormsby(frequencies):
    return np.interp(frequencies, [5, 10, 60, 80], [0, 1, 1, 0], 0, 0)


def bandpass_operator(length=505):
    spectrum = ormsby(np.fft.rfftfreq(4096, interval))
    operator = np.fft.irfft(spectrum)
    return np.roll(operator, length // 2)[:length].astype(np.float32)


def sinc_rows(count=512):
    fractions = np.arange(count)[:, None] / count
    taps = fractions - np.arange(-3, 5)[None, :]
    return (np.sinc(taps) * np.cos(np.pi * taps / 8.5)).astype(np.float32)


rows = sinc_rows()


def moveout(trace, velocity, offset, times):
    positions = np.sqrt(times**2 + (offset / velocity) ** 2)
    muted = positions - times > 0.4 * times
    positions /= interval
    below = np.floor(positions).astype(int)
    fractions = ((positions - below) * len(rows)).astype(int)
    padded = np.pad(trace, (3, 5 + len(trace)))
    columns = np.minimum(below, len(trace) + 4)[:, None] + np.arange(8)[None, :]
    result = np.einsum("ij,ij->i", padded[columns], rows[fractions])
    if muted.any():
        result[: np.flatnonzero(muted)[-1] + 1] = 0.0
    return result.astype(np.float32)


def gain(trace, window=250):
    medians = scipy.ndimage.median_filter(np.abs(trace), size=window, mode="nearest")
    return np.where(medians > 1e-30, trace / np.maximum(medians, 1e-30), 0.0).astype(np.float32)


def energy_pick(trace, lags=(10, 20, 5, 5, 10, 14)):
    cumulative = np.cumsum(np.abs(trace))
    n = len(trace)
    index = np.arange(1, n - 1)
    picks = []
    for lag in lags:
        lead = max(int(0.67 * lag), 1)
        before, after = np.maximum(index - lag, 0), np.minimum(index + lead, n - 1)
        ratio = (cumulative[after] - cumulative[index]) / (after - index)
        ratio /= (cumulative[index] - cumulative[before]) / (index - before) + 1e-3
        picks.append(index[np.argmax(ratio)])
    return int(np.median(picks[3:]))


def peer_road(source, target):
    """Seconds for each step over all traces."""
    operator = bandpass_operator()
    spent = dict.fromkeys(["read", "band-pass", "moveout", "gain", "pick", "write"], 0.0)
    shutil.copyfile(source, target)
    with segyio.open(source, ignore_geometry=True) as line, segyio.open(target, "r+", ignore_geometry=True) as result:
        times = np.arange(line.samples.size) * interval
        velocity = np.interp(times, [0.4, 1.1, 2.2], [1800, 2300, 3050])
        for k in range(line.tracecount):
            marks = [time.perf_counter()]
            trace = line.trace.raw[k]
            offset = line.header[k][segyio.TraceField.offset]
            marks.append(time.perf_counter())
            trace = scipy.signal.fftconvolve(trace, operator, mode="same")
            marks.append(time.perf_counter())
            trace = moveout(trace, velocity, offset, times)
            marks.append(time.perf_counter())
            trace = gain(trace)
            marks.append(time.perf_counter())
            energy_pick(trace)
            marks.append(time.perf_counter())
            result.trace[k] = trace
            marks.append(time.perf_counter())
            for step, begin, end in zip(spent, marks, marks[1:]):
                spent[step] += end - begin
    return spent


def pelta_road(source, folder):
    """Wall seconds of the command, and its own profile."""
    flow = Path(folder) / "road.toml"
    flow.write_text((top / "bench/road.toml").read_text().replace("picks.csv", f"{folder}/picks.csv"))
    begin = time.perf_counter()
    done = subprocess.run([pelta, "run", flow, source, f"{folder}/out.sgy", "--threads", "1", "--profile", "--overwrite"],
                          stderr=subprocess.PIPE, text=True)
    wall = time.perf_counter() - begin
    if done.returncode != 0:
        sys.exit(done.stderr)
    profile = re.findall(r"^ *(\S+) +([\d.]+) s +([\d.]+) % +([\d.]+) us", done.stderr, re.M)
    return wall, [(name, float(microseconds), float(share)) for name, _, share, microseconds in profile]


def check(folder):
    """Ends the program unless both roads come out alike, away from the ends of the gain's windows, which they treat each in its
    own way."""
    part, least = slice(800, 1200), 0.99
    with segyio.open(f"{folder}/peer.sgy", ignore_geometry=True) as peer, segyio.open(f"{folder}/out.sgy", ignore_geometry=True) as own:
        for number, (first, second) in enumerate(zip(peer.trace.raw[:], own.trace.raw[:], strict=True)):
            if first.any() and not np.corrcoef(first[part], second[part])[0, 1] > least:
                sys.exit(f"road.py: trace {number + 1} comes out otherwise in Python")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--write", action="store_true")
    options = parser.parse_args()
    for command in (["cmake", "--preset", "bench"], ["cmake", "--build", "--preset", "bench", "--target", "pelta_command"]):
        subprocess.run(command, cwd=top, check=True, stdout=subprocess.DEVNULL)
    with tempfile.TemporaryDirectory() as folder:
        short, long = f"{folder}/short.sgy", f"{folder}/long.sgy"
        for name, traces in ((short, peer_traces), (long, pelta_traces)):
            subprocess.run([pelta, "synth", name, "--records", str(traces // 48)], check=True, stderr=subprocess.DEVNULL)
        peer_road(short, f"{folder}/peer.sgy")
        pelta_road(short, folder)
        check(folder)
        runs = []
        for _ in range(5):   # in turn, so that a slow spell of the machine meets both
            peer = peer_road(short, f"{folder}/peer.sgy")
            wall, profile = pelta_road(long, folder)
            runs.append((sum(peer.values()) / peer_traces, wall / pelta_traces, peer, profile))
    runs.sort(key=lambda run: run[0] / run[1])
    peer_time, pelta_time, peer, profile = runs[len(runs) // 2]
    lines = ["| step | microseconds a trace | share |", "|---|---|---|"]
    lines += [f"| {name} | {microseconds:.2f} | {share:.1f} % |" for name, microseconds, share in profile]
    peer_lines = [f"| {name} | {1e6 * seconds / peer_traces:.1f} |" for name, seconds in peer.items()]
    text = ("# Speed of the whole road\n\nWritten by `bench/road.py --write`: traces of 1500 samples at 2 ms, IBM floats in and out, by "
            "the steps of `bench/road.toml`,\nbeside the same steps with NumPy, SciPy and segyio; one thread each, medians of five "
            f"turns.\n\nThe command takes {1e6 * pelta_time:.1f} us a trace (start of the process included, {pelta_traces} traces), "
            f"the Python program {1e6 * peer_time:.0f} us ({peer_traces}\ntraces): {peer_time / pelta_time:.1f} times the rate.\n\n"
            + "\n".join(lines) + "\n\n| step in Python | microseconds a trace |\n|---|---|\n" + "\n".join(peer_lines) + "\n")
    print(text, end="")
    if options.write:
        (top / "docs/road-speed.md").write_text(text)


if __name__ == "__main__":
    main()
