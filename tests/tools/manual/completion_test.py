#!/usr/bin/env python3
"""Types at a bash that has read the completion, presses the tab key, and looks at what stands there then.

   completion_test.py FILE
"""
import os
import pty
import re
import select
import subprocess
import sys
import tempfile
import time

END_OF_LINE, START_OF_LINE, TAB = b"\x05", b"\x01", b"\t"
COMPLETED = [  # what is typed, and what stands there after the tab key
    ("pelta ban", "pelta bandpass "),
    ("pelta --ver", "pelta --version "),
    ("pelta plot --sty", "pelta plot --style "),
    ("pelta plot --style wig", "pelta plot --style wiggle "),
    ("pelta plot --style=den", "pelta plot --style=density "),
    ("pelta plot a.sgy --palette s", "pelta plot a.sgy --palette seismic "),
    ("pelta bandpass --shape butter", "pelta bandpass --shape butterworth "),
    ("pelta sort --by cdp,off", "pelta sort --by cdp,offset"),
    ("pelta info --map off", "pelta info --map offset="),
    ("pelta info --map=cdp_x", "pelta info --map=cdp_x="),
    ("pelta info --map offset=37:4,chan", "pelta info --map offset=37:4,channel="),
    ("pelta info --map offset=f", "pelta info --map offset=f"),  # a byte is not a file
    ("pelta mute --top 0:0,300:f", "pelta mute --top 0:0,300:f"),  # nor is a time
    ("pelta static --word total", "pelta static --word total_static "),
    ("pelta run fl", "pelta run flow.toml "),
    ("pelta run flow.toml lin", "pelta run flow.toml line\\ one.sgy "),
    ("pelta stack --flow fl", "pelta stack --flow flow.toml "),
    ("pelta gain --quiet fl", "pelta gain --quiet flow.toml "),
    ("pelta plot x y --picks fo", "pelta plot x y --picks folder/"),
    ("pelta ledger fl", "pelta ledger fl"),  # takes no files
    ("pelta gain --window fl", "pelta gain --window fl"),  # a number is not a file
    ("pelta sort --style", "pelta sort --style"),  # an option of another command
]


class Shell:
    def __init__(self, folder):
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            os.chdir(folder)
            os.environ.update(PS1="", TERM="dumb", INPUTRC="/dev/null", HISTFILE="")
            os.execvp("bash", ["bash", "--noprofile", "--norc", "-i"])

    def ask(self, keys, wait=20):
        """What comes back between angle brackets."""
        os.write(self.terminal, keys)
        answer, until = "", time.monotonic() + wait
        while time.monotonic() < until:
            if select.select([self.terminal], [], [], 0.1)[0]:
                answer += os.read(self.terminal, 65536).decode()
            found = re.search("<<<(.*?)>>>", answer)
            if found:
                return found.group(1)
        raise SystemExit(f"no answer from bash: {answer!r}")

    def completed(self, typed):
        # The line goes into a variable instead of being run.
        line = typed.encode() + TAB + END_OF_LINE + b"'" + START_OF_LINE + b"line='" + b"\n"
        return self.ask(line + b"printf '<%s%s%s>\\n' '<<' \"$line\" '>>'\n")


def main():
    completion = os.path.abspath(sys.argv[1])
    subprocess.run(["bash", "-n", completion], check=True)
    failures = 0
    with tempfile.TemporaryDirectory() as folder:
        for name in ("flow.toml", "line one.sgy"):
            open(os.path.join(folder, name), "w").close()
        os.mkdir(os.path.join(folder, "folder"))
        shell = Shell(folder)
        shell.ask(f"bind 'set bell-style none'; source '{completion}'; printf '<%s>\\n' '<<read>>'\n".encode())
        for typed, expected in COMPLETED:
            got = shell.completed(typed)
            if got != expected:
                print(f"'{typed}' became '{got}', expected '{expected}'")
                failures += 1
    print(f"{len(COMPLETED) - failures} of {len(COMPLETED)} completed")
    return failures > 0


sys.exit(main())
