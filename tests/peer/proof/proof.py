#!/usr/bin/env python3
"""Runs the long proofs of the real program: proof.py [NAME]...

    syscalls   killed, and made to fail, at every file call on its own data         about 40 min
    kills      2,000 random kills; some during FTP, some with a list of 1,000        about 45 min
    lists      started with damaged lists                                            about 3 min
    links      a link that goes down and up, is slow and drops packets               about 8 min, as root
    weblinks   such a link with the web engine                                      about 7 min, as root
    powercuts  the power cut under the web engine, on ext4                          about 15 min, as root
    limits     full and read-only folders, 64 descriptors, fifty downloads at once   about 6 min, as root
    package    the packages built twice from the clean tree, and compared           about 20 min
    bare       the package on a bare system                                          about 2 min, as root
    sizes      a file above 4 GiB, killed and resumed                                about 2 min
    soak       fifty records, added, paused and deleted continuously                 2 h

Without a name, runs all in this order. Needs build/release and the packages in cmake/packages/proof.txt. Each prints
its figures, and at the end "N passed, N failed"; each can be run alone and has its own options. Those that need root
first create their own network or mount namespaces, which end with them."""

import os
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(HERE)))
NAMES = ("syscalls", "kills", "lists", "links", "weblinks", "powercuts", "limits", "package", "bare", "sizes", "soak")


def main():
    names = sys.argv[1:] or NAMES
    if not set(names) <= set(NAMES):
        print(__doc__)
        return 2
    if subprocess.run(["bash", "-c", '. scripts/packages.sh && ensure_packages build display check package proof && '
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
