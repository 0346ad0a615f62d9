"""The rules about the extension's permissions and texts name each that is too many or missing, and nothing that is right."""

import glob
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

    def test_scripts_in_pages_need_the_users_click(self):
        script = SCRIPT + "chrome.scripting.executeScript({});"
        self.assertEqual(self.faults(script, permissions=["contextMenus", "nativeMessaging", "scripting"]),
                         ["uses activeTab without the permission"])

    def test_shipped_extension_passes(self):
        with open(os.path.join(ROOT, "browser/manifest.json.in"), encoding="utf-8") as f:
            manifest = json.load(f)
        scripts = []
        for path in sorted(glob.glob(os.path.join(ROOT, "browser/*.js"))):
            with open(path, encoding="utf-8") as f:
                scripts.append(f.read())
        self.assertEqual(lint.extension_faults(manifest, "\n".join(scripts)), [])


class Messages(unittest.TestCase):
    def faults(self, uses=("ask", "name"), **messages):
        return lint.message_faults({"en": {"ask": "$1 &now?", "name": "Name"}, **messages}, set(uses))

    def test_complete_languages_pass(self):
        self.assertEqual(self.faults(de={"ask": "&Jetzt $1?", "name": "Name"}), [])

    def test_unused_and_missing_texts_are_reported(self):
        self.assertEqual(self.faults(uses=("ask", "other")), ["en has name, which nothing uses", "en lacks other"])
        self.assertEqual(self.faults(de={"ask": "&Jetzt $1?", "more": ""}), ["de lacks name", "de has more, which en lacks"])

    def test_lost_values_and_access_keys_are_reported(self):
        self.assertEqual(self.faults(de={"ask": "&Jetzt?", "name": "Name"}), ["de: ask has other marks than in English"])
        self.assertEqual(self.faults(de={"ask": "Jetzt $1?", "name": "Name"}), ["de: ask has other marks than in English"])


if __name__ == "__main__":
    unittest.main()
