"""The rule about the extension's permissions names each that is too many or missing, and nothing that is right."""

import json
import os
import sys
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__)))))
sys.path.insert(0, os.path.join(ROOT, "scripts"))
import lint

SCRIPT = """
chrome.contextMenus.create({});
chrome.runtime.onInstalled.addListener(() => {});
const answer = await chrome.runtime.sendNativeMessage("host", {});
"""
RIGHT = {"permissions": ["contextMenus", "nativeMessaging"]}


class Permissions(unittest.TestCase):
    def faults(self, script=SCRIPT, **changes):
        return lint.extension_faults({**RIGHT, **changes}, script)

    def test_used_permissions_pass(self):
        self.assertEqual(self.faults(), [])
        self.assertEqual(self.faults(SCRIPT.replace("chrome.", "browser.")), [])

    def test_unused_permission_is_reported(self):
        self.assertEqual(self.faults(permissions=["contextMenus", "cookies", "nativeMessaging"]),
                         ["has the permission cookies, which nothing uses"])

    def test_missing_permission_is_reported(self):
        self.assertEqual(self.faults(permissions=["contextMenus"]), ["uses nativeMessaging without the permission"])
        self.assertEqual(self.faults(SCRIPT + "chrome.cookies.getAll({});"), ["uses cookies without the permission"])

    def test_access_to_sites_is_reported(self):
        self.assertEqual(self.faults(host_permissions=["<all_urls>"]), ["has host_permissions at its installation"])
        self.assertEqual(self.faults(content_scripts=[{}]), ["has content_scripts at its installation"])
        self.assertIn("has a permission for sites: http://*/*",
                      self.faults(permissions=["contextMenus", "http://*/*", "nativeMessaging"]))

    def test_optional_permission_must_be_requested_and_used(self):
        script = SCRIPT + "chrome.cookies.getAll({});"
        optional = {"optional_permissions": ["cookies"], "optional_host_permissions": ["<all_urls>"]}
        self.assertEqual(self.faults(script, **optional), ["never requests its optional permissions"])
        self.assertEqual(self.faults(script + "chrome.permissions.request({});", **optional), [])

    def test_shipped_extension_passes(self):
        with open(os.path.join(ROOT, "browser/manifest.json.in"), encoding="utf-8") as f:
            manifest = json.load(f)
        with open(os.path.join(ROOT, "browser/background.js"), encoding="utf-8") as f:
            self.assertEqual(lint.extension_faults(manifest, f.read()), [])


if __name__ == "__main__":
    unittest.main()
