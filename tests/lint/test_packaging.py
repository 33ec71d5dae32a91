#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""The build reads the property list rightly and refuses damaged ones; packaging.py finds faults.

Usage: test_packaging.py CMAKE FOLDER [unittest options]

FOLDER holds the generated files.
"""

import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
PLIST = ROOT / "resources" / "Info.plist"
CMAKE, GENERATED = sys.argv.pop(1), pathlib.Path(sys.argv.pop(1))


class Case(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.plist = self.folder / "Info.plist"

    def changed(self, old: str, new: str) -> pathlib.Path:
        text = PLIST.read_text(encoding="utf-8")
        self.assertIn(old, text)
        self.plist.write_text(text.replace(old, new), encoding="utf-8")
        return self.plist


class TheBuild(Case):
    def read(self, plist: pathlib.Path):
        command = [CMAKE, f"-DPLIST={plist}", "-P", str(HERE / "print_plist.cmake")]
        return subprocess.run(command, capture_output=True, text=True, check=False)

    def refuses(self, plist: pathlib.Path, reason: str):
        done = self.read(plist)
        said = " ".join(done.stderr.split())  # the text is wrapped
        self.assertNotEqual(done.returncode, 0, said)
        self.assertIn(reason, said)

    def test_takes_every_value(self):
        lines = self.read(PLIST).stderr.splitlines()
        for line in (
            "QUILLSTEP_CFBundleIdentifier=com.velomira.UsageMonitor",
            "QUILLSTEP_CFBundleURLName=com.velomira.UsageMonitor",
            "QUILLSTEP_CFBundleDisplayName=Velomira Usage Monitor",
            "QUILLSTEP_CFBundleExecutable=Quillstep",
            "QUILLSTEP_CFBundleShortVersionString=1.0",
            "QUILLSTEP_LSUIElement=true",
            "QUILLSTEP_URL_SCHEME=velomira",
        ):
            self.assertIn(line, lines)

    def test_refuses_a_missing_file(self):
        self.refuses(self.folder / "none.plist", "is missing")

    def test_refuses_a_missing_key(self):
        self.refuses(self.changed("<key>LSUIElement</key>\n    <true/>", ""), "has no LSUIElement")
        self.refuses(self.changed("<key>CFBundleName</key>", "<key>Other</key>"), "has no CFBundleName")

    def test_refuses_a_key_given_twice(self):
        twice = "<key>CFBundleVersion</key>\n    <string>1</string>"
        self.refuses(self.changed(twice, twice + twice), "has CFBundleVersion more than once")

    def test_refuses_a_value_of_another_type(self):
        self.refuses(self.changed("<true/>", "<string>YES</string>"), "wrong type")
        self.refuses(self.changed("<string>Quillstep</string>", "<string></string>"), "empty or of the wrong type")
        self.refuses(self.changed("<string>Quillstep</string>", "<true/>"), "CFBundleExecutable is empty or")

    def test_refuses_a_file_that_is_not_well_formed(self):
        for old, new in (
            ("</plist>", ""),
            ("</dict>", "</dic>"),
            ("<string>Quillstep</string>", "<string>Quillstep"),
            ("<string>Quillstep</string>", "Quillstep"),
            ("<string>Quillstep</string>", "<string>A &amp; B</string>"),
            ("<string>Quillstep</string>", "<integer>5</integer>"),
            ("<key>CFBundleVersion</key>", ""),
            ('<plist version="1.0">', "<plist>"),
            ("<?xml", "xml"),
        ):
            with self.subTest(old=old, new=new):
                self.refuses(self.changed(old, new), "malformed")

    def test_refuses_an_empty_file(self):
        self.plist.write_text("", encoding="utf-8")
        self.refuses(self.plist, "malformed")


class WebPages(unittest.TestCase):
    """Beside the generated files there are those of somebody who publishes them."""

    def data(self, folder: pathlib.Path) -> str:
        return (folder / "com.velomira.UsageMonitor.metainfo.xml").read_text(encoding="utf-8")

    def test_that_nobody_named_are_not_claimed(self):
        self.assertNotRegex(self.data(GENERATED), "https?:")

    def test_that_somebody_named_are_told(self):
        published = self.data(GENERATED.parent / "published")
        self.assertIn('<url type="homepage">https://example.org</url>', published)
        for picture in ("dashboard", "settings"):
            self.assertIn(f">https://example.org/screenshots/{picture}.png</image>", published)
            self.assertTrue((ROOT / "docs" / "screenshots" / f"{picture}.png").is_file())


class TheCheck(Case):
    def check(self, plist: pathlib.Path = PLIST, folder: pathlib.Path = GENERATED):
        command = [sys.executable, str(HERE / "packaging.py"), str(plist), str(folder)]
        return subprocess.run(command, capture_output=True, text=True, check=False)

    def finds(self, text: str, **changed):
        done = self.check(**changed)
        self.assertEqual(done.returncode, 1, done.stdout + done.stderr)
        self.assertIn(text, done.stdout)

    def generated_with(self, name: str, old: str, new: str) -> pathlib.Path:
        folder = self.folder / "generated"
        shutil.copytree(GENERATED, folder, dirs_exist_ok=True)
        file = folder / name
        text = file.read_text(encoding="utf-8")
        self.assertIn(old, text)
        file.write_text(text.replace(old, new), encoding="utf-8")
        return folder

    def test_finds_another_value_and_type(self):
        self.finds("CFBundleVersion is '2'", plist=self.changed("<string>1</string>", "<string>2</string>"))
        self.finds("CFBundleVersion is 1,", plist=self.changed("<string>1</string>", "<integer>1</integer>"))
        self.finds("LSUIElement is False", plist=self.changed("<true/>", "<false/>"))

    def test_finds_a_missing_and_a_strange_key(self):
        self.finds("CFBundleName is None", plist=self.changed("<key>CFBundleName</key>", "<key>Other</key>"))
        self.finds("Other is", plist=self.changed("<key>CFBundleName</key>", "<key>Other</key>"))

    def test_finds_a_file_that_is_no_property_list(self):
        self.finds("Info.plist", plist=self.changed("</dict>", ""))

    def test_finds_a_faulty_desktop_file(self):
        folder = self.generated_with("com.velomira.UsageMonitor.desktop", "Type=Application", "Type=Program")
        self.finds("desktop-file-validate", folder=folder)

    def test_finds_faulty_application_data(self):
        folder = self.generated_with("com.velomira.UsageMonitor.metainfo.xml", "<id>", "<identity>")
        self.finds("appstreamcli", folder=folder)


if __name__ == "__main__":
    unittest.main()
