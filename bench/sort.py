#!/usr/bin/python3
"""pelta sort on a line larger than its memory, beside copying the file twice with cp: what goes through a working file is read
and written twice. The order of what is sorted is checked.

  bench/sort.py [--write] [--folder FOLDER] [--records N] [--turns N]

--write   store the result as docs/sort-speed.md
--folder  where the line, the copies and the working files are made (build)
--records, --turns  less of both for a first look (2000 shot records, 5)
"""
import argparse
import os
import random
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import numpy as np

top = Path(__file__).resolve().parent.parent
pelta = top / "build/bench/tools/pelta/pelta"
memory = 64

words = {"cdp": 21, "offset": 37, "record": 9, "237:4": 237}  # where they stand in the trace header
orders = {
    "a file, shots to CDPs": "cdp,offset",
    "a file, shots to common offsets": "offset,record",
    "a file by a word in random order": "237:4",
    "a pipe, shots to CDPs": "cdp,offset",
    "a pipe by a word in random order": "237:4",
}
copies = {
    "cp, cp": "cp line.sgy copy.sgy && cp copy.sgy twice.sgy",
    "cat, cp": "cat line.sgy | cat > copy.sgy && cp copy.sgy twice.sgy",
}


def command_of(what):
    source, name = ("cat line.sgy | ", "-") if what.startswith("a pipe") else ("", "line.sgy")
    return f"{source}{pelta} sort {name} sorted.sgy --by {orders[what]} --memory {memory}"


def traces_of(path, mode):
    return np.memmap(path, np.uint8, mode, 3600).reshape(-1, 240 + 4 * 1500)


def make_line(folder, records):
    """Synthetic records with a random word at the end of every trace header."""
    subprocess.run([pelta, "synth", "line.sgy", "--records", str(records)], cwd=folder, check=True, stderr=subprocess.DEVNULL)
    traces = traces_of(folder / "line.sgy", "r+")
    traces[:, 236:240] = np.random.default_rng(1).integers(0, 256, (len(traces), 4), np.uint8)
    traces.flush()
    return (folder / "line.sgy").stat().st_size


def check(folder, order):
    """Ends the program unless the traces stand in their order, equal ones in that of the line."""
    line, found = traces_of(folder / "line.sgy", "r"), traces_of(folder / "sorted.sgy", "r")
    keys = [line[:, words[word] - 1 : words[word] + 3].copy().view(">i4").ravel() for word in order.split(",")]
    if not np.array_equal(found[:, :240], line[np.lexsort(keys[::-1]), :240]):
        sys.exit(f"sort.py: the traces are not in the order of {order}")


def forget(folder):
    """The line has to come from the disk."""
    subprocess.run(["sync", "line.sgy"], cwd=folder, check=True)
    with open(folder / "line.sgy", "rb") as line:
        os.posix_fadvise(line.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)


def seconds(command, folder, is_cold):
    for name in ("sorted.sgy", "copy.sgy", "twice.sgy"):
        (folder / name).unlink(missing_ok=True)
    os.sync()
    if is_cold:
        forget(folder)
    begin = time.perf_counter()
    done = subprocess.run(["bash", "-eo", "pipefail", "-c", command], cwd=folder, stderr=subprocess.PIPE, text=True,
                          env=dict(os.environ, PROMAX_SCRATCH_HOME=str(folder)))
    taken = time.perf_counter() - begin
    if done.returncode != 0:
        sys.exit(done.stderr)
    return taken


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--write", action="store_true")
    parser.add_argument("--folder", type=lambda name: Path(name).resolve(), default=top / "build")
    parser.add_argument("--records", type=int, default=2000)
    parser.add_argument("--turns", type=int, default=5)
    options = parser.parse_args()
    for command in (["cmake", "--preset", "bench"], ["cmake", "--build", "--preset", "bench", "--target", "pelta_command"]):
        subprocess.run(command, cwd=top, check=True, stdout=subprocess.DEVNULL)
    with tempfile.TemporaryDirectory(dir=options.folder) as name:
        folder = Path(name)
        size = make_line(folder, options.records)
        taken = {}
        commands = {**copies, **{what: command_of(what) for what in orders}}
        cases = [(what, is_cold) for what in commands for is_cold in (False, True)]
        for _ in range(options.turns):
            # Each time in another order: a virtual machine gives memory that was in use just before far sooner than other.
            for what, is_cold in random.sample(cases, len(cases)):
                taken.setdefault((what, is_cold), []).append(seconds(commands[what], folder, is_cold))
                if what in orders:
                    check(folder, orders[what])
    best = {case: min(values) for case, values in taken.items()}
    lines = ["| what | from | seconds | beside | its seconds | ratio |", "|---|---|---|---|---|---|"]
    for is_cold in (False, True):
        for what in orders:
            copy = "cat, cp" if what.startswith("a pipe") else "cp, cp"
            mine, other = best[what, is_cold], best[copy, is_cold]
            lines.append(f"| {what} | {'disk' if is_cold else 'page cache'} | {mine:.2f} | {copy} | {other:.2f} | "
                         f"{other / mine:.2f} |")
    text = (f"# Speed of sorting\n\nWritten by `bench/sort.py --write`: {size / 1e6:.0f} MB of traces of 1500 samples within "
            f"`--memory {memory}`, beside copying them twice, the best of\n{options.turns} turns. A ratio is the copies' time over "
            "pelta's: 0.5 means that sorting takes as long as four copies. From the disk the line has to be\nread anew; what is "
            "written may still be on its way to the disk when a command ends.\nA pipe is copied by cat first "
            "(`cat, cp`).\n\n" + "\n".join(lines) + "\n")
    print(text, end="")
    if options.write:
        (top / "docs/sort-speed.md").write_text(text)


if __name__ == "__main__":
    main()
