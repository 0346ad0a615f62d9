#!/usr/bin/env python3
"""Builds the Debian packages with dpkg-buildpackage, from a copy of the sources, and puts them into a folder.

    package.py FOLDER                  builds the program from the files that git knows
    package.py FOLDER --built BUILD    packages what a build folder holds, in seconds

Needs the packages of cmake/packages/package.txt. The folder is emptied first.
"""

import argparse
import os
import shutil
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
NEEDED_IF_BUILT = ("debian", "README.md", "docs/guide.md", "scripts/packaged_docs.py")


def copy_sources(target, only=None):
    names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard", *(only or [])],
                           cwd=ROOT, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE).stdout
    for name in filter(None, names.decode().split("\0")):
        source = os.path.join(ROOT, name)
        if not os.path.exists(source):
            continue  # removed, and not committed yet
        os.makedirs(os.path.dirname(os.path.join(target, name)), exist_ok=True)
        shutil.copy2(source, os.path.join(target, name))


def build(folder, built):
    shutil.rmtree(folder, ignore_errors=True)
    source = os.path.join(folder, "source")
    os.makedirs(source)
    copy_sources(source, NEEDED_IF_BUILT if built else None)
    command = ["dpkg-buildpackage", "--unsigned-source", "--unsigned-changes", "--build=binary"]
    env = dict(os.environ)
    if built:
        # What the build needs was there when it was made.
        command += ["--no-check-builddeps", "--build-profiles=pkg.pellora.built"]
        env["PELLORA_BUILD"] = os.path.abspath(built)
    subprocess.run(command, cwd=source, env=env, stdin=subprocess.DEVNULL, check=True)
    shutil.rmtree(source)
    return sorted(os.path.join(folder, name) for name in os.listdir(folder) if name.endswith(".deb"))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder")
    parser.add_argument("--built", metavar="BUILD")
    arguments = parser.parse_args()
    try:
        packages = build(os.path.abspath(arguments.folder), arguments.built)
    except subprocess.CalledProcessError as error:
        print("%s failed" % error.cmd[0], file=sys.stderr)
        return 1
    print("\n".join(packages))
    return 0


if __name__ == "__main__":
    sys.exit(main())
