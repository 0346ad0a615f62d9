#!/usr/bin/env python3
"""An upward include does not compile, in any folder of src, with the commands by which a build compiles that folder.

    layers_test.py BUILD_FOLDER

For each layer a text is planted beside its sources. It is an error in it that a header which the layer must not see is
found, and that one which it may see is not.
"""

import concurrent.futures
import json
import os
import re
import shlex
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "scripts"))
import layers

# The order of src/CMakeLists.txt keeps a layer from those below its line. These could be drawn, and must not be.
FORBIDDEN = {
    "core": {"ui"},  # records, settings and lists know no controls
    "transfer": {"ui", "lang", "options", "fetch", "transferwin", "zipview", "mainwin", "capture"},  # an engine knows no controls
    "fetch": {"ui", "lang", "options", "transfer", "transferwin", "zipview", "mainwin", "capture"},  # nor does this one
    "transferwin": {"options", "transfer", "fetch", "zipview", "mainwin", "capture"},  # and its window knows no engine
    "zipview": {"options", "transfer", "fetch", "transferwin", "mainwin", "capture"},  # they and the lists meet in core
    "mainwin": {"transfer", "fetch", "transferwin", "zipview"},
    "capture": {"transfer", "fetch", "transferwin", "zipview"},
}
# What belongs to no folder of src: the framework of the desktop, and the simulator.
FOREIGN = ["QtCore/QString", "QString", "SimPlatform.h"]


def commands_of(layer, entries):
    """Each different way in which the build compiles a source of the layer, without file and output."""
    folder = os.path.join(layers.SRC, layer)
    commands = set()
    for entry in entries:
        if os.path.dirname(os.path.realpath(os.path.join(entry["directory"], entry["file"]))) != os.path.realpath(folder):
            continue
        words = shlex.split(entry["command"])
        if os.path.basename(words[0]) == "ccache":
            del words[0]
        output = words.index("-o")
        del words[output:output + 2]
        commands.add((entry["directory"], *(word for word in words if word not in ("-c", entry["file"]))))
    return sorted(commands)


def plant(command, layer, allowed, forbidden):
    """The errors of a source in the folder of the layer that asks for all these headers."""
    directory, *words = command
    text = "".join("#if !__has_include(\"%s\")\n#error cannot see %s\n#endif\n" % (name, name) for name in allowed)
    text += "".join("#if __has_include(\"%s\")\n#error sees %s\n#endif\n" % (name, name) for name in forbidden)
    words += ["-iquote", os.path.join(layers.SRC, layer), "-fsyntax-only", "-x", "c++", "-"]
    done = subprocess.run(words, cwd=directory, input=text, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    errors = re.findall(r"error: (?:#error )?\"?((?:cannot see|sees) \S+)", done.stdout)
    return errors or ([done.stdout] if done.returncode else [])


def main():
    with open(os.path.join(sys.argv[1], "compile_commands.json"), encoding="utf-8") as f:
        entries = json.load(f)
    table, above = layers.read()
    seen = layers.visible(table)
    headers = {folder: [name for name in layers.headers_and_sources(folder) if name.endswith(".h")]
               for folder in list(table) + above}
    commands = {layer: commands_of(layer, entries) for layer in table}
    results = []

    def claim(what, faults):
        results.append(not faults)
        print("%s  %s" % ("FAILED" if faults else "ok    ", what))
        for fault in faults[:20]:
            print("          " + fault)

    def headers_of(folders):
        return [name for folder in folders for name in headers[folder]]

    def faults_of(layer):
        hidden = [folder for folder in headers if folder not in seen[layer]]
        faults = [] if commands[layer] else ["the build compiles nothing of it"]
        for command in commands[layer]:
            faults += plant(command, layer, headers_of(seen[layer]), headers_of(hidden) + FOREIGN)
        return faults

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for layer, faults in zip(table, pool.map(faults_of, table)):
            claim("src/%s sees %s and nothing else" % (layer, ", ".join(sorted(seen[layer]))), faults)
    for layer, folders in FORBIDDEN.items():
        claim("src/%s is to see nothing of %s" % (layer, ", ".join(sorted(folders))),
              ["src/CMakeLists.txt lets it see " + folder for folder in sorted(folders & seen[layer])])
    # What can be included is found, so that the claims above are none that cannot fail.
    top = list(table)[-1]
    found = plant(commands[top][0], top, [], headers_of(seen[top]))
    claim("a header that can be included counts as seen", [name for name in headers_of(seen[top]) if "sees " + name not in found])
    print("%d passed, %d failed" % (sum(results), len(results) - sum(results)))
    return 0 if all(results) else 1


if __name__ == "__main__":
    sys.exit(main())
