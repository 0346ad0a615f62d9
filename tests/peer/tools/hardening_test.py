"""The check of the executables reports each protection that a planted one lacks, and none for a hardened one."""

import importlib.util
import os
import struct
import subprocess
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__)))))
SPEC = importlib.util.spec_from_file_location("hardening", os.path.join(ROOT, "scripts", "hardening.py"))
hardening = importlib.util.module_from_spec(SPEC)
SPEC.loader.exec_module(hardening)

SOURCE = """
#include <cstdio>
#include <cstring>
#include <vector>
int main(int count, char** words) {
  char text[20000];
  std::vector<std::size_t> lengths(static_cast<std::size_t>(count), 1);
  std::memcpy(text, words[0], lengths[static_cast<std::size_t>(count) - 1] + std::strlen(words[0]));
  return std::printf("%s", text) < 0;
}
"""
PT_LOAD, PF_X, PF_W = 1, 1, 2  # of the ELF format
COMPILE = ["-std=c++20", "-O2", "-fPIE", "-U_FORTIFY_SOURCE", "-D_FORTIFY_SOURCE=3", "-D_GLIBCXX_ASSERTIONS",
           "-fstack-protector-strong", "-fstack-clash-protection", "-fcf-protection=full"]
LINK = ["-pie", "-Wl,-z,relro,-z,now,-z,noexecstack"]


class Hardening(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.addCleanup(hardening.output_of.cache_clear)

    def build(self, compile_flags=(), link_flags=()):
        """Builds an executable with the usual flags followed by the given ones."""
        command = ["g++", "-x", "c++", "-"] + COMPILE + list(compile_flags) + ["-x", "none"] + LINK + list(link_flags)
        subprocess.run(command + ["-o", os.path.join(self.folder.name, "planted")], input=SOURCE.encode(), check=True)

    def missing(self):
        return [claim for claim, holds in hardening.check_folder(self.folder.name) if not holds]

    def expect_missing(self, *claims):
        self.assertEqual(self.missing(), list(claims))

    def test_fully_hardened_executable_passes(self):
        self.build()
        self.expect_missing()

    def test_folder_without_executables_fails(self):
        self.assertIn("there are executables in " + self.folder.name, self.missing())

    def test_script_is_not_counted_as_an_executable(self):
        self.build()
        script = os.path.join(self.folder.name, "script")
        with open(script, "w", encoding="utf-8") as f:
            f.write("#!/bin/sh\n")
        os.chmod(script, 0o755)
        self.expect_missing()

    def test_fixed_load_address_is_found(self):
        self.build(["-fno-pie"], ["-no-pie"])
        self.expect_missing("planted is position-independent")

    def test_late_binding_and_writable_relocations_are_found(self):
        claim = "planted has full RELRO"
        self.build(link_flags=["-Wl,-z,lazy"])
        self.expect_missing(claim)
        hardening.output_of.cache_clear()
        self.build(link_flags=["-Wl,-z,norelro"])
        self.expect_missing(claim)

    def test_executable_stack_is_found(self):
        self.build(link_flags=["-Wl,-z,execstack"])
        self.expect_missing("planted has no executable stack")

    def test_writable_code_is_found(self):
        self.build()
        path = os.path.join(self.folder.name, "planted")
        with open(path, "r+b") as f:
            data = bytearray(f.read())
            table, size, count = struct.unpack_from("<Q", data, 32) + struct.unpack_from("<HH", data, 54)
            for header in range(table, table + size * count, size):
                kind, flags = struct.unpack_from("<II", data, header)
                if kind == PT_LOAD and flags & PF_X:
                    struct.pack_into("<I", data, header + 4, flags | PF_W)
            f.seek(0)
            f.write(data)
        self.expect_missing("planted has no memory that is writable and executable")

    def test_library_search_folder_is_found(self):
        claim = "planted has no library search path"
        self.build(link_flags=["-Wl,-rpath,/build/lib"])
        self.expect_missing(claim)
        hardening.output_of.cache_clear()
        self.build(link_flags=["-Wl,--disable-new-dtags,-rpath,/build/lib"])
        self.expect_missing(claim)

    def test_unguarded_stack_is_found(self):
        self.build(["-fno-stack-protector"])
        self.expect_missing("planted has stack canaries")

    def test_missing_stack_clash_protection_is_found(self):
        self.build(["-fno-stack-clash-protection"])
        self.expect_missing("planted probes every page of its stack")

    def test_unmarked_jump_targets_are_found(self):
        self.build(["-fcf-protection=none"])
        self.expect_missing("planted has landing marks for indirect jumps")

    def test_unchecked_copies_are_found(self):
        self.build(["-U_FORTIFY_SOURCE"])
        self.expect_missing("one of them has checked memory copies")

    def test_missing_assertions_are_found(self):
        self.build(["-U_GLIBCXX_ASSERTIONS"])
        self.expect_missing("one of them has the library's assertions")

    def test_source_compiled_without_a_flag_is_found(self):
        name = os.path.join(self.folder.name, "commands.json")
        flags = " ".join(hardening.COMPILER_FLAGS)
        entries = '[{"file": "/x/src/a.cpp", "command": "g++ %s"}, {"file": "/x/src/b.cpp", "command": "g++ %s"}]'
        with open(name, "w", encoding="utf-8") as f:
            f.write(entries % (flags, flags))
        self.assertTrue(all(holds for _, holds in hardening.check_commands(name)))
        for flag in hardening.COMPILER_FLAGS:
            with open(name, "w", encoding="utf-8") as f:
                f.write(entries % (flags, flags.replace(flag, "-g")))
            self.assertEqual([claim for claim, holds in hardening.check_commands(name) if not holds],
                             ["every source is compiled with %s: not /x/src/b.cpp" % flag])


if __name__ == "__main__":
    unittest.main()
