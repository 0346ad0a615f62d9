#!/usr/bin/env python3
"""Rules for the sources that no compiler checks. Prints violations and the number of rules that hold.

    lint.py [--ctest BUILD_FOLDER]     also compares the test files with what ctest of that build runs
"""

import argparse
import json
import os
import re
import subprocess
import sys
import xml.etree.ElementTree

import layers

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
LOGIC = layers.layers()

# Functions that follow the locale read "1,5" on one machine and "1.5" on another, or upper-case i to a dotted I.
LOCALE = re.compile(
    r"\b(?:strto(?:d|f|ld|l|ll|ul|ull|imax|umax)|ato(?:f|i|l|ll)|sto(?:i|l|ll|ul|ull|f|d|ld)|v?(?:f|s|sn|d|as)?printf"
    r"|v?(?:f|s)?scanf|toupper|tolower|isalpha|isdigit|isalnum|isspace|isupper|islower|isprint|ispunct|isxdigit|iscntrl"
    r"|setlocale|localeconv|strftime|strcoll|strxfrm|mbstowcs|wcstombs|mbrtowc|wcrtomb)\s*\(|std::locale\b|std::to_string\s*\("
    r"\s*\w*(?:double|float)|#include\s*<(?:locale|clocale|cctype|regex|iomanip|sstream|iostream|fstream|cstdio)>")

# The system is accessed only through ports: a direct call or header cannot be simulated.
PLATFORM = re.compile(
    r"(?<![\w.>:])(?:::|std::)?(?:socket|bind|listen|recv|recvfrom|sendto|sendmsg|getaddrinfo|gethostbyname|setsockopt"
    r"|epoll_\w+|select|fopen|freopen|creat|openat|pread|pwrite|mmap|fsync|fdatasync|posix_fallocate|mkstemp"
    r"|gettimeofday|clock_gettime|localtime|localtime_r|gmtime|gmtime_r|mktime|nanosleep|usleep|getenv|secure_getenv|setenv"
    r"|system|popen|fork|execv\w*|posix_spawn\w*|abort|exit|_exit|quick_exit)\s*\("
    r"|(?<![\w.>])(?:::)(?:open|close|read|write|poll|time|sleep|send|connect|unlink|mkdir|rename|stat)\s*\("
    r"|(?<![\w.>:])std::time\s*\("
    r"|std::(?:thread|jthread|mutex|async|this_thread|random_device|filesystem|ifstream|ofstream|fstream|cout|cerr|cin)\b"
    r"|std::chrono::(?:system|steady|high_resolution)_clock"
    r"|#include\s*<(?:unistd\.h|sys/\w+\.h|netinet/\w+\.h|arpa/\w+\.h|netdb\.h|fcntl\.h|poll\.h|pthread\.h|dirent\.h"
    r"|time\.h|signal\.h|csignal|thread|mutex|filesystem|fstream|iostream|random)>")

QT = re.compile(r"#include\s*[<\"](?:Q[A-Za-z]|Qt|.*\.moc)|\bQ_(?:OBJECT|DECLARE|INVOKABLE|SIGNALS|SLOTS|EMIT)\b"
                r"|\bQ(?:String|Object|Widget|Timer|ByteArray|Variant|CoreApplication)\b")

PARENT = re.compile(r"^\s*#\s*include\s*[<\"][^>\"]*\.\.")

UMBRELLA = re.compile(r"#include\s*<(Qt(?:Core|Gui|Widgets|DBus|Network|Multimedia))(?:/\1)?>")

# g++ 12 destroys an argument in braces twice if its statement waits; a lambda's body is not such an argument.
BRACED = re.compile(r"\bco_await\b[^;{]*[(,]\s*(?:\w+(?:::\w+)*)?\{")

# Its constructor introspects the other side, up to 25 s, while the window waits; a call by a QDBusMessage does not.
INTROSPECTION = re.compile(r"\bQDBusInterface\b")

# Marks of unfinished work, and tests that exist but do not run.
WORDS = re.compile(r"\bTO" r"DO\b|\bFIX" r"ME\b|\bX" r"XX\b|\bHA" r"CK\b|\bDIS" r"ABLED_\w|GTEST" r"_SKIP|unittest\.s" r"kip"
                   r"|\bskip" r"Test\b")

# Parts of the browsers' interface that need no permission, and functions in them that do.
FREE_APIS = {"runtime", "permissions", "i18n", "action", "tabs"}
PERMISSION_OF = {"runtime.sendNativeMessage": "nativeMessaging", "runtime.connectNative": "nativeMessaging"}

TEXT_ENDINGS = (".cpp", ".h", ".py", ".sh", ".md", ".txt", ".cmake", ".ui", ".json", ".js", ".html", ".qrc", ".in")
LINE_LIMIT = 600  # lines of one source file; longer ones have more than one subject


def tracked():
    out = subprocess.run(["git", "-C", ROOT, "ls-files", "-z"], capture_output=True, check=True,
                         stdin=subprocess.DEVNULL).stdout
    return [name for name in out.decode().split("\0") if name and os.path.exists(os.path.join(ROOT, name))]


def text_of(name):
    with open(os.path.join(ROOT, name), encoding="utf-8", errors="replace") as f:
        return f.read()


def without_comments_and_texts(source):
    """Only the code, with its line numbers. Include lines keep their names."""

    def blank(match):
        found = match.group(0)
        if found.startswith("#"):
            return found
        return "\n" * found.count("\n") if found.startswith("/") else '""'

    return re.sub(r'#include[^\n]*|//[^\n]*|/\*.*?\*/|R"\((?:.|\n)*?\)"|"(?:\\.|[^"\\\n])*"', blank, source, flags=re.S)


def found_lines(name, source, pattern):
    return ["%s:%d: %s" % (name, number, line.strip())
            for number, line in enumerate(source.split("\n"), 1) if pattern.search(line)]


def logic_files(names):
    return [n for n in names if n.endswith((".cpp", ".h")) and n.startswith(tuple("src/%s/" % part for part in LOGIC))]


def check_logic(names, pattern):
    broken = []
    for name in logic_files(names):
        broken += found_lines(name, without_comments_and_texts(text_of(name)), pattern)
    return broken


def check_parents(names):
    """Such an include would find its way around the include path, which keeps the layers apart."""
    return [line for name in names if name.startswith("src/") and name.endswith((".cpp", ".h"))
            for line in found_lines(name, text_of(name), PARENT)]


def check_circles(names):
    """There is no include cycle in the headers of the logic."""
    edges = {}
    for name in logic_files(names):
        if name.endswith(".h"):
            edges[name[4:]] = re.findall(r'^\s*#include\s*"([^"]+)"', text_of(name), flags=re.M)
    broken, state = [], {}

    def walk(name, path):
        if state.get(name) == "done" or name not in edges:
            return
        if name in path:
            broken.append(" -> ".join(path[path.index(name):] + [name]))
            return
        for other in edges[name]:
            walk(other, path + [name])
        state[name] = "done"

    for name in edges:
        walk(name, [])
    return broken


def check_umbrella(names):
    broken = []
    for name in names:
        if name.endswith((".cpp", ".h")):
            broken += found_lines(name, text_of(name), UMBRELLA)
    return broken


def introspection_faults(name, source):
    return found_lines(name, without_comments_and_texts(source), INTROSPECTION)


def check_introspection(names):
    return [line for name in names if name.startswith("src/") and name.endswith((".cpp", ".h"))
            for line in introspection_faults(name, text_of(name))]


def check_words(names):
    broken = []
    for name in names:
        if name.endswith(TEXT_ENDINGS) or "." not in os.path.basename(name):
            broken += found_lines(name, text_of(name), WORDS)
    return broken


def check_length(names):
    return ["%s: %d lines" % (name, text_of(name).count("\n")) for name in names
            if name.endswith((".cpp", ".h", ".py")) and text_of(name).count("\n") > LINE_LIMIT]


def extension_faults(manifest, script):
    """Differences between the permissions that an extension gets at its installation and what its script uses. It gets
    no access to sites; optional permissions must be requested."""
    used = set()
    for api, function in re.findall(r"\b(?:chrome|browser)\.(\w+)(?:\.(\w+))?", script):
        used.add(PERMISSION_OF.get("%s.%s" % (api, function), None if api in FREE_APIS else api))
    used.discard(None)
    if "scripting" in used:
        used.add("activeTab")  # of the page alone in which the user has chosen a menu entry
    asked = set(manifest.get("permissions", []))
    optional = set(manifest.get("optional_permissions", []))
    sites = [key for key in ("host_permissions", "content_scripts") if manifest.get(key)]
    faults = ["has the permission %s, which nothing uses" % name for name in sorted((asked | optional) - used)]
    faults += ["uses %s without the permission" % name for name in sorted(used - asked - optional)]
    faults += ["has a permission for sites: %s" % name for name in sorted(asked) if "://" in name or name == "<all_urls>"]
    faults += ["has %s at its installation" % key for key in sites]
    wishes = optional | set(manifest.get("optional_host_permissions", []))
    if wishes and "permissions.request(" not in script:
        faults.append("never requests its optional permissions")
    return faults


def check_extension(names):
    scripts = [text_of(name) for name in names if re.match(r"browser/.*\.js$", name)]
    return ["browser/manifest.json.in: " + fault
            for fault in extension_faults(json.loads(text_of("browser/manifest.json.in")), "\n".join(scripts))]


def message_faults(messages, uses):
    """Differences between the texts of the extension's languages, {language: {name: text}}, and those that it uses."""
    english = messages["en"]
    faults = ["en has %s, which nothing uses" % name for name in sorted(set(english) - uses)]
    faults += ["en lacks %s" % name for name in sorted(uses - set(english))]
    for language, texts in sorted(messages.items()):
        faults += ["%s lacks %s" % (language, name) for name in sorted(set(english) - set(texts))]
        faults += ["%s has %s, which en lacks" % (language, name) for name in sorted(set(texts) - set(english))]
        for name in sorted(set(texts) & set(english)):
            for pattern in (r"\$\d", "&"):
                if sorted(re.findall(pattern, texts[name])) != sorted(re.findall(pattern, english[name])):
                    faults.append("%s: %s has other marks than in English" % (language, name))
    return faults


def check_messages(names):
    """The extension has the same texts in every language, and uses them all."""
    messages = {name.split("/")[2]: {key: value["message"] for key, value in json.loads(text_of(name)).items()}
                for name in names if re.match(r"browser/_locales/\w+/messages\.json$", name)}
    code = "\n".join(text_of(name) for name in names
                     if name.startswith("browser/") and name.endswith((".js", ".html", ".in")))
    uses = set(re.findall(r'data-(?:text|hint|ghost)="(\w+)"|__MSG_(\w+)__', code))
    uses = {word for pair in uses for word in pair if word}
    for call in re.findall(r"\btext\(((?:[^()]|\([^()]*\))*)\)", code):
        uses |= set(re.findall(r'"(\w+)"', call))
    uses |= {name for name in messages["en"] if name.startswith("state_") and "`state_${" in code}
    uses |= {name for name in ("pause", "resume") if '"%s"' % name in code}
    return ["browser/_locales: " + fault for fault in message_faults(messages, uses)]


def check_version(names):
    """Whatever else names it gets it from CMakeLists.txt when it is built, so a new version is one line."""
    version = re.search(r"^project\(\w+ VERSION (\d+\.\d+)", text_of("CMakeLists.txt"), flags=re.M)
    pattern = re.compile(r'"[^"]*(?<![\d.])%s(?:\.\d+)*(?![\w.])' % re.escape(version.group(1)))
    return [line for name in names if name.startswith(("src/", "browser/")) and name.endswith(TEXT_ENDINGS)
            for line in found_lines(name, text_of(name), pattern)]


def check_newlines(names):
    broken = []
    for name in names:
        if name.endswith(TEXT_ENDINGS):
            with open(os.path.join(ROOT, name), "rb") as f:
                data = f.read()
            if data and not data.endswith(b"\n"):
                broken.append("%s: no newline at the end" % name)
            if b"\r" in data and not name.startswith("languages/"):
                broken.append("%s: carriage returns" % name)
    return broken


def check_forms(names):
    """A merge can lose one line of a form, which only a build of the desktop program would notice."""
    broken = []
    for name in names:
        if not name.endswith((".ui", ".qrc")):
            continue
        try:
            xml.etree.ElementTree.fromstring(text_of(name))
        except xml.etree.ElementTree.ParseError as error:
            broken.append("%s: %s" % (name, error))
    return broken


def check_ctest(names, build):
    """ctest runs every TEST in the tracked files below tests/, and each test file has some."""
    out = subprocess.run(["ctest", "-N"], cwd=os.path.join(ROOT, build), capture_output=True, check=True,
                         stdin=subprocess.DEVNULL).stdout.decode()
    run = {match for match in re.findall(r"Test +#\d+: (\S+)", out)}
    # A value-parameterised test is listed as Prefix/Suite.Name/Value.
    known = {re.sub(r"^(?:[^./]+/)?([^./]+)(?:/\d+)?\.([^/]+)(?:/.*)?$", r"\1.\2", name) for name in run}
    broken = []
    for name in names:
        if not re.match(r"tests/(?:unit|sim|scenario|fuzz)/.*\.cpp$", name):
            continue
        source = without_comments_and_texts(text_of(name))
        tests = re.findall(r"^\s*(?:TYPED_)?TEST(?:_F|_P)?\(\s*(\w+)\s*,\s*(\w+)\s*\)", source, flags=re.M)
        # Or it runs a suite of another file, as an implementation runs the tests of its contract.
        if not tests and "INSTANTIATE_TEST_SUITE_P" not in source and name.endswith(("Test.cpp", "_test.cpp")):
            broken.append("%s: a test file without a test" % name)
        broken += ["%s: ctest does not run %s.%s" % (name, suite, test) for suite, test in tests
                   if "%s.%s" % (suite, test) not in known]
    if not run:
        broken.append("ctest runs nothing")
    return broken


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--ctest", metavar="BUILD_FOLDER")
    arguments = parser.parse_args()
    names = tracked()
    rules = [
        ("the logic includes no Qt", lambda: check_logic(names, QT)),
        ("no include of src goes by a parent folder", lambda: check_parents(names)),
        ("the logic's headers have no include cycle", lambda: check_circles(names)),
        ("the logic calls nothing that follows the locale", lambda: check_logic(names, LOCALE)),
        ("the logic accesses the system only through its ports", lambda: check_logic(names, PLATFORM)),
        ("no statement with co_await has an argument in braces", lambda: check_logic(names, BRACED)),
        ("no file includes a whole Qt module", lambda: check_umbrella(names)),
        ("no call of the bus introspects while the window waits", lambda: check_introspection(names)),
        ("nothing is marked as unfinished, and no test is disabled", lambda: check_words(names)),
        ("no source file is longer than %d lines" % LINE_LIMIT, lambda: check_length(names)),
        ("the browsers' extension has the permissions that it uses and no others", lambda: check_extension(names)),
        ("the browsers' extension has its texts in every language", lambda: check_messages(names)),
        ("src and the extension name no version", lambda: check_version(names)),
        ("text files end in a newline and have no carriage returns", lambda: check_newlines(names)),
        ("forms and lists of resources are well-formed XML", lambda: check_forms(names)),
    ]
    if arguments.ctest:
        rules.append(("ctest runs every test that is written", lambda: check_ctest(names, arguments.ctest)))
    failed = 0
    for claim, rule in rules:
        broken = rule()
        failed += bool(broken)
        print("%s  %s" % ("FAILED" if broken else "ok    ", claim))
        for line in broken[:20]:
            print("          " + line)
        if len(broken) > 20:
            print("          and %d more" % (len(broken) - 20))
    print("%d passed, %d failed" % (len(rules) - failed, failed))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
