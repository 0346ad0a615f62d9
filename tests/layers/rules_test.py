"""The rule about calls of the bus names each that introspects, and nothing that is right."""

import os
import sys
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "scripts"))
import lint


class Introspection(unittest.TestCase):
    def faults(self, line):
        return lint.introspection_faults("a.cpp", "int a;\n%s\n" % line)

    def test_its_class_is_reported_with_the_line(self):
        for line in ("QDBusInterface watcher(name, path);", "auto* const w = new QDBusInterface(name, path);",
                     "std::unique_ptr<QDBusInterface> w;", "#include <QDBusInterface>", "#include <QtDBus/QDBusInterface>"):
            self.assertEqual(self.faults(line), ["a.cpp:2: " + line])

    def test_other_classes_and_comments_pass(self):
        for line in ("QDBusConnectionInterface* const bus = connection.interface();", "// not by QDBusInterface",
                     'const char* name = "QDBusInterface";', "#include <QDBusConnectionInterface>"):
            self.assertEqual(self.faults(line), [])


if __name__ == "__main__":
    unittest.main()
