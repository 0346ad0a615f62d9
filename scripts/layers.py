"""The folders of src as src/CMakeLists.txt has them, for the scripts that treat each of them."""

import glob
import os
import re
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SRC = os.path.join(ROOT, "src")


def headers_and_sources(folder):
    """Relative to src."""
    names = glob.glob(os.path.join(SRC, folder, "**", "*.h"), recursive=True)
    names += glob.glob(os.path.join(SRC, folder, "**", "*.cpp"), recursive=True)
    return sorted(os.path.relpath(name, SRC) for name in names)


def read():
    """({layer: the layers that its line names}, the lowest first; the folders above them). Ends the script at a source
    file in any other folder, so that none goes unchecked."""
    with open(os.path.join(SRC, "CMakeLists.txt"), encoding="utf-8") as f:
        text = f.read()
    table = {words.split()[0]: words.split()[1:] for words in re.findall(r"^pellora_layer\(([^)]*)\)", text, flags=re.M)}
    above = re.search(r"^set\(PELLORA_ABOVE_LAYERS ([^)]*)\)", text, flags=re.M).group(1).split()
    unknown = {name.split(os.sep)[0] for name in headers_and_sources("")}.difference(table, above)
    if unknown:
        sys.exit("FAILED  src/CMakeLists.txt does not know src/" + ", src/".join(sorted(unknown)))
    return table, above


def layers():
    """The folders of the logic, the lowest first."""
    return tuple(read()[0])


def visible(table):
    """{layer: itself and all layers that it can include}."""
    seen = {}
    for layer, named in table.items():
        seen[layer] = {layer}.union(*(seen[name] for name in named))
    return seen
