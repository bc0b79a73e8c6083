"""Prints what segyio reads in a SEG-Y file, for a comparison with the module's own reading.

usage: judge.py FILE big|little OUT

OUT receives native 32-bit words: number of traces, samples, interval (us), format code and header words; then the one-based
place of each header word; then for every trace its header words and the bits of its samples as floats.
"""
import sys

import numpy
import segyio

name, order, out = sys.argv[1:]
# segyio 1.8 always gives 0 for byte 61, and takes the two unassigned words at the end for big-endian in every file.
misread = {61, 233, 237}
words = sorted({int(word) for word in segyio.TraceField.enums()} - misread)
with segyio.open(name, ignore_geometry=True, endian=order) as file, open(out, "wb") as dump:
    head = [file.tracecount, len(file.samples), file.bin[segyio.BinField.Interval], file.bin[segyio.BinField.Format], len(words)]
    dump.write(numpy.array(head + words, dtype=numpy.int32).tobytes())
    for number in range(file.tracecount):
        header = file.header[number]
        dump.write(numpy.array([header[word] for word in words], dtype=numpy.int32).tobytes())
        dump.write(file.trace[number].astype(numpy.float32).tobytes())
