#!/usr/bin/env python3
"""Packages what build/release holds, and checks the packages: run.py [--keep FOLDER], or those that are built: run.py
--packages FOLDER. The last line is "N passed, N failed".

Installation, a download and removal happen on an overlay over this machine (machine.py), which is left alone; without
root a line says that they were left out.
"""

import argparse
import glob
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(HERE)))
BUILD = os.environ.get("PELLORA_BUILD", os.path.join(ROOT, "build/release"))
SOURCES = os.path.join(ROOT, "src") + os.sep
EVERY_TAG = "error,warning,info,pedantic"


def output_of(*command, **options):
    result = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                            text=True, check=False, **options)
    return result.returncode, result.stdout


class Checks:
    def __init__(self):
        self.passed = self.failed = 0

    def note(self, good, what, why=""):
        self.passed += good
        self.failed += not good
        print("%s: %s%s" % ("ok" if good else "FAIL", what, "" if good else "\n" + why), flush=True)

    def command(self, what, *command, **options):
        code, text = output_of(*command, **options)
        self.note(code == 0, what, text)
        return text


def is_optimised(given):
    """A build of the program for quick tests is not hardened."""
    if given:
        return True
    with open(os.path.join(BUILD, "compile_commands.json"), encoding="utf-8") as f:
        return not any("-O0" in each["command"] for each in json.load(f) if each["file"].startswith(SOURCES))


def text_of(name):
    with open(os.path.join(ROOT, name), encoding="utf-8") as f:
        return f.read()


def check_versions(checks, packages):
    """The version is written in more than one place."""
    version = re.search(r"project\(Pellora VERSION (\S+)", text_of("CMakeLists.txt")).group(1)
    wrong = [path for path in packages if "_%s_" % version not in os.path.basename(path)]
    if 'version="%s"' % version not in text_of("assets/desktop/org.pelloraproject.pellora.metainfo.xml"):
        wrong.append("the data of the software centre")
    manuals = sorted(glob.glob(os.path.join(ROOT, "docs/man/*.1")))
    wrong += [path for path in manuals if '"Pellora %s"' % version.rpartition(".")[0] not in text_of(path)]
    checks.note(not wrong, "packages, manual pages and data of the software centre have version " + version,
                "\n".join(wrong))


def check_completions(checks, unpacked):
    """Each command and each option of the help texts is known to all shells."""
    shells = {name: os.path.join(unpacked, "usr/share", path) for name, path in (
        ("bash", "bash-completion/completions/%s"), ("zsh", "zsh/vendor-completions/_%s"),
        ("fish", "fish/vendor_completions.d/%s.fish"))}

    def help_of(program, *command):
        return output_of(os.path.join(unpacked, "usr/lib/pellora", program), *command, "--help")[1]

    def options_in(text):
        return re.findall(r"^ +(?:-\w, )?--([a-z-]+)", text, re.MULTILINE)

    commands = re.findall(r"^  ([a-z]+)  ", help_of("pelloractl").split("\n\n")[1], re.MULTILINE)
    words = {"pellora": options_in(help_of("Pellora")), "pelloractl": list(commands)}
    for command in commands:
        words["pelloractl"] += options_in(help_of("pelloractl", command))
    lacking = []
    for program, wanted in words.items():
        for shell, path in shells.items():
            known = re.findall(r"[a-z-]+", text_of(path % program))
            lacking += ["%s: %s %s" % (shell, program, word) for word in sorted(set(wanted))
                        if not {word, "--" + word} & set(known)]
    checks.note(len(words["pelloractl"]) > 20 and not lacking, "completion knows every command and option",
                "\n".join(lacking) or "no help texts")


def check_documents(checks, unpacked):
    """Whatever the documents link lies beside them."""
    folder = os.path.join(unpacked, "usr/share/doc/pellora")
    names = {name.removesuffix(".gz") for name in os.listdir(folder)}
    documents = sorted(name for name in os.listdir(folder) if ".md" in name)
    lacking = []
    for name in documents:
        _, text = output_of("zcat", "--force", os.path.join(folder, name))
        lacking += ["%s: %s" % (name, target) for target in re.findall(r"\]\(([^)#\s]+)[^)]*\)", text)
                    if "://" not in target and target not in names]
    checks.note(len(documents) == 2 and not lacking, "the packaged documents link nothing that is not there",
                "\n".join(lacking) or str(documents))


def check_contents(checks, packages, folder, optimised):
    # Without optimisation no function is fortified, and the reason for one program without is not needed.
    suppressed = [] if optimised else ["--suppress-tags", "hardening-no-fortify-functions,unused-override"]
    checks.command("lintian finds nothing, pedantic", "lintian", "--info", "--display-info", "--pedantic",
                   "--fail-on", EVERY_TAG, "--allow-root", *suppressed, *packages)
    unpacked = os.path.join(folder, "unpacked")
    for package in packages:
        checks.command("%s unpacks" % os.path.basename(package), "dpkg-deb", "--extract", package, unpacked)
    if optimised:
        checks.command("the packaged programs are hardened", sys.executable, os.path.join(ROOT, "scripts/hardening.py"),
                       os.path.join(unpacked, "usr/lib/pellora"))
    else:
        print("left out: hardening of the packaged programs: %s is not optimised" % BUILD)
    manuals = os.listdir(os.path.join(unpacked, "usr/share/man/man1"))
    lacking = [name for name in os.listdir(os.path.join(unpacked, "usr/lib/pellora"))
               if name.lower() + ".1.gz" not in manuals]
    checks.note(not lacking, "every program has a manual page", "\n".join(lacking))
    check_completions(checks, unpacked)
    check_documents(checks, unpacked)
    texts = os.path.join(unpacked, "usr/share/pellora/languages")
    checks.note("english.txt" in os.listdir(texts), "the languages are there")
    code, text = output_of("systemd-analyze", "--user", "verify",
                           os.path.join(unpacked, "usr/lib/systemd/user/pellora.service"))
    # The program is not installed here.
    wrong = [line for line in text.split("\n") if "pellora.service" in line and "is not executable" not in line
             and "man " not in line]
    checks.note(not wrong, "systemd finds nothing wrong with the user unit", "\n".join(wrong) + str(code))


def check_other_folders(checks, folder):
    """Folders of GNUInstallDirs given by their full paths: every file is in one of them, and names what is there."""
    build, root = os.path.join(folder, "other-build"), os.path.join(folder, "other-root")
    given = {"LIBDIR": "/opt/lib64", "DATADIR": "/opt/data", "BINDIR": "/opt/programs", "SYSCONFDIR": "/opt/settings"}
    code, text = output_of("cmake", "-S", ROOT, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                           "-DPELLORA_TESTS=OFF", "-DCMAKE_INSTALL_PREFIX=/elsewhere",
                           *["-DCMAKE_INSTALL_%s=%s" % each for each in given.items()])
    shutil.copytree(os.path.join(BUILD, "Pellora"), os.path.join(build, "Pellora"), dirs_exist_ok=True)
    if code == 0:
        code, text = output_of("cmake", "--install", build, env={**os.environ, "DESTDIR": root})
    wrong = [] if code == 0 else [text]
    lies = {"/opt/settings/xdg/pellora/Pellora.ini", "/opt/programs/pellora", "/opt/programs/pelloractl",
            "/opt/data/dbus-1/services/PelloraProject.Pellora.service", "/opt/data/pellora/languages/english.txt",
            "/elsewhere/lib/mozilla/native-messaging-hosts/pelloraproject.pellora.json"}
    wrong += ["not there: " + path for path in sorted(lies) if not os.path.exists(root + path)]
    for name in ("Pellora", "pellora-browser-host"):
        path = "/opt/lib64/pellora/" + name
        naming, _ = output_of("grep", "-rqF", path, root)
        wrong += [] if naming == 0 and os.path.exists(root + path) else ["nothing names %s" % path]
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as f:
        [compiled] = [each["command"] for each in json.load(f) if each["file"].endswith("/ProgramPlaces.cpp")]
    # How the program recognises its folder, which it compares with what follows a slash, and finds its texts from there.
    known = dict(re.findall(r'PELLORA_(INSTALLED_\w+)=\\"(.*?)\\"', compiled))
    if known != {"INSTALLED_PROGRAM": "opt/lib64/pellora", "INSTALLED_DATA": "../../data/pellora"}:
        wrong.append(str(known))
    checks.note(not wrong, "cmake --install takes folders that are given by full paths", "\n".join(wrong))


def check_on_machine(checks, packages, folder):
    if os.geteuid() != 0:
        print("left out: installing the packages: it needs root")
        return
    overlay = os.path.join(folder, "overlay")
    os.mkdir(overlay)
    code, text = output_of(sys.executable, os.path.join(HERE, "machine.py"), os.path.join(HERE, "inside.py"), overlay,
                           *packages, timeout=300)
    claims = re.findall(r"^(ok|failed): (.*(?:\n(?!ok: |failed: ).*)*)", text, re.MULTILINE)
    for verdict, what in claims:
        checks.note(verdict == "ok", what.strip() if verdict == "ok" else what.split("\n")[0], what)
    if code != 0 or not claims:
        checks.note(False, "the machine for the packages", text)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--keep", metavar="FOLDER", help="puts the packages there")
    parser.add_argument("--packages", metavar="FOLDER", help="checks the packages there")
    arguments = parser.parse_args()
    checks = Checks()
    with tempfile.TemporaryDirectory(prefix="pellora-package.") as folder:
        os.chmod(folder, 0o755)
        target = arguments.packages or arguments.keep or os.path.join(folder, "packages")
        if not arguments.packages:
            checks.command("the packages are built", sys.executable, os.path.join(ROOT, "scripts/package.py"), target,
                           "--built", BUILD)
        packages = [path for path in sorted(glob.glob(os.path.join(target, "*.deb"))) if "-dbgsym_" not in path]
        checks.note(len(packages) == 2, "there are two of them", str(packages))
        if len(packages) == 2:
            check_versions(checks, packages)
            check_contents(checks, packages, folder, is_optimised(arguments.packages))
            check_other_folders(checks, folder)
            check_on_machine(checks, packages, folder)
    print("%d passed, %d failed" % (checks.passed, checks.failed))
    return 1 if checks.failed else 0


if __name__ == "__main__":
    sys.exit(main())
