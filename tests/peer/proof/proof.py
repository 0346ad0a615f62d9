#!/usr/bin/env python3
"""Runs the long proofs of the real program: proof.py [NAME]...

    syscalls   killed, and failed, at every file call on its own data               about 40 min
    kills      2,000 random kills; some during FTP, some with a list of 1,000        about 45 min
    lists      started with damaged lists                                            about 3 min
    links      servers behind a link that goes down, comes up, is slow and loses     about 8 min, as root
    limits     full and read-only folders, 64 descriptors, fifty downloads at once   about 6 min, as root
    soak       fifty records that go on and on                                       2 h

Without a name all of them, in this order. What it needs beside build/release: cmake/packages/proof.txt. Each prints what it
counted, and last "N passed, N failed"; each can be run by itself with options of its own. links and limits put themselves
into a network and mounts of their own first, which end with them."""

import os
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(HERE)))
NAMES = ("syscalls", "kills", "lists", "links", "limits", "soak")


def main():
    names = sys.argv[1:] or NAMES
    if not set(names) <= set(NAMES):
        print(__doc__)
        return 2
    if subprocess.run(["bash", "-c", '. scripts/packages.sh && ensure_packages build display check proof && '
                       'unpack_packages unpacked'], cwd=ROOT, env=dict(os.environ, ROOT=ROOT), check=False).returncode:
        return 1
    failed = []
    for name in names:
        print("== " + name, flush=True)
        if subprocess.run([sys.executable, os.path.join(HERE, name + ".py")], stdin=subprocess.DEVNULL,
                          check=False).returncode:
            failed.append(name)
    if failed:
        print("failed: " + ", ".join(failed))
    print("%d passed, %d failed" % (len(names) - len(failed), len(failed)))
    return bool(failed)


if __name__ == "__main__":
    sys.exit(main())
