#!/usr/bin/env python3
"""The stored inputs of the fuzz targets: one archive for each target, corpus/TARGET.tar.

    archive.py unpack TARGET FOLDER    replaces the content of FOLDER by the inputs of TARGET
    archive.py pack TARGET FOLDER      replaces the inputs of TARGET by the files of FOLDER

Equal inputs give equal archives, byte for byte: plain ustar, sorted by name, without times, owners or modes.
"""

import io
import os
import shutil
import sys
import tarfile

CORPUS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")


def path_of(target, corpus=CORPUS):
    return os.path.join(corpus, target + ".tar")


def read(path):
    """{name: bytes}; empty if there is no archive."""
    if not os.path.exists(path):
        return {}
    with tarfile.open(path, "r:") as archive:
        return {member.name: archive.extractfile(member).read() for member in archive}


def write(path, inputs):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with tarfile.open(path, "w:", format=tarfile.USTAR_FORMAT) as archive:
        for name, content in sorted(inputs.items()):
            member = tarfile.TarInfo(name)
            member.size = len(content)
            archive.addfile(member, io.BytesIO(content))


def unpack(path, folder):
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    for name, content in read(path).items():
        with open(os.path.join(folder, name), "wb") as f:
            f.write(content)


def pack(path, folder):
    inputs = {}
    for entry in os.scandir(folder):
        with open(entry.path, "rb") as f:
            inputs[entry.name] = f.read()
    write(path, inputs)


if __name__ == "__main__":
    if len(sys.argv) != 4 or sys.argv[1] not in ("unpack", "pack"):
        sys.exit(__doc__)
    (unpack if sys.argv[1] == "unpack" else pack)(path_of(sys.argv[2]), sys.argv[3])
