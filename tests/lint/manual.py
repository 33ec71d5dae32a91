#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""The manual pages are well formed, and the pages and the completions of the shell know every option.

Usage: manual.py ROOT PAGES [unittest options]

PAGES is the folder with the generated pages. What options there are is read from the sources; the installation test asks
the programs.
"""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

ROOT, PAGES = pathlib.Path(sys.argv.pop(1)).resolve(), pathlib.Path(sys.argv.pop(1)).resolve()
COMPLETIONS = ROOT / "packaging" / "completions"
NAMES = ("Quillstep.1", "velomira-browser-host.1", "velomira-service.8")

# In a page for completeness; nobody types them.
UNCOMPLETED = {"--gapplication-service"}


def options_of_quillstep() -> set:
    """Those that the parser is told of, also the hidden ones, and its own."""
    text = (ROOT / "app" / "command_line.cpp").read_text(encoding="utf-8")
    declared = re.findall(r'QCommandLineOption \w+\{?\(?\s*QStringLiteral\("([a-z-]+)"\)', text)
    return {f"--{name}" for name in declared} | {"--help", "--help-all", "--version"}


def options_of_service() -> set:
    text = (ROOT / "service" / "command_line.cpp").read_text(encoding="utf-8")
    rows = re.findall(r'^    \{\.name = "([a-z-]+)", ', text, re.MULTILINE)
    return {f"--{name}" for name in rows} | {"--config", "--help", "--version"}


def options_in_help(text: str) -> set:
    return set(re.findall(r"(?<![\w-])--[a-z][a-z-]+", text))


def options_in_page(text: str) -> set:
    """What is an item of a list of options: .It Fl h , Fl -help"""
    items = [line for line in text.splitlines() if line.startswith(".It Fl ")]
    return {f"-{name}" for line in items for name in re.findall(r"Fl (-[a-z-]+)", line)}


def complaints(page: pathlib.Path) -> str:
    """What mandoc and man have to say about the form of a page; nothing when it is well formed."""
    checks = (
        ["mandoc", "-T", "lint", "-W", "warning", str(page)],
        ["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", str(page)],
    )
    environment = {"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8", "MANROFFSEQ": "", "MANWIDTH": "80"}
    said = ""
    for command in checks:
        done = subprocess.run(command, capture_output=True, text=True, check=False, env=environment)
        said += done.stderr if command[0] == "man" else done.stdout + done.stderr
        if done.returncode and not said:
            said = f"{command[0]} ended with {done.returncode}"
    return said


def completed(command: str, *words: str, folder: str = "/") -> list:
    """What bash offers for the last of the words of a line; it is split as Readline would split it."""
    script = (
        'source "$1"; command=$2; shift 2; COMP_WORDS=("$command" "$@"); COMP_CWORD=$#; '
        "function_name=$(complete -p -- \"$command\" | sed -E 's/.* -F ([^ ]+) .*/\\1/'); "
        '"$function_name" "$command" "${!#}" "${COMP_WORDS[COMP_CWORD-1]}"; printf "%s\\n" "${COMPREPLY[@]}"'
    )
    done = subprocess.run(
        ["bash", "--norc", "-c", script, "bash", str(COMPLETIONS / f"{command}.sh"), command, *words],
        capture_output=True, text=True, check=False, cwd=folder,
    )
    if done.returncode or done.stderr:
        raise AssertionError(done.stderr or f"bash ended with {done.returncode}")
    return sorted(line for line in done.stdout.splitlines() if line)


class ThePages(unittest.TestCase):
    def test_are_well_formed(self):
        for name in NAMES:
            with self.subTest(name):
                self.assertEqual(complaints(PAGES / name), "")

    def test_with_a_fault_are_complained_of(self):
        for fault in (".Bl -tag\n", ".Strange macro\n", ".It Fl x\n"):
            with self.subTest(fault), tempfile.TemporaryDirectory() as folder:
                page = pathlib.Path(folder) / NAMES[0]
                page.write_text((PAGES / NAMES[0]).read_text(encoding="utf-8") + fault, encoding="utf-8")
                self.assertNotEqual(complaints(page), "")

    def test_have_every_section(self):
        needed = {"NAME", "SYNOPSIS", "DESCRIPTION", "SIGNALS", "BUS NAMES", "ENVIRONMENT", "FILES", "EXIT STATUS", "SEE ALSO"}
        for name in NAMES:
            with self.subTest(name):
                text = (PAGES / name).read_text(encoding="utf-8")
                self.assertEqual(needed - set(re.findall(r"^\.Sh (.+)$", text, re.MULTILINE)), set())

    def test_name_the_version(self):
        version = re.search(r"VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text(encoding="utf-8").split("project(")[1])[1]
        for name in NAMES:
            self.assertIn(f'.Os "Velomira Usage Monitor {version}"', (PAGES / name).read_text(encoding="utf-8"))


class Options(unittest.TestCase):
    def test_of_quillstep_are_in_its_page(self):
        self.assertGreater(len(options_of_quillstep()), 9)
        page = (PAGES / "Quillstep.1").read_text(encoding="utf-8")
        self.assertEqual(options_in_page(page), options_of_quillstep())

    def test_of_the_service_are_in_its_page(self):
        self.assertGreater(len(options_of_service()), 25)
        page = (PAGES / "velomira-service.8").read_text(encoding="utf-8")
        self.assertEqual(options_in_page(page), options_of_service())

    def test_are_completed(self):
        told = set(completed("Quillstep", "--")) | set(completed("Quillstep", "--install-browser-support", "--"))
        self.assertEqual(told, options_of_quillstep() - UNCOMPLETED)
        self.assertEqual(set(completed("velomira-service", "--")), options_of_service())

    def test_of_the_service_are_in_its_help(self):
        text = (ROOT / "service" / "command_line.cpp").read_text(encoding="utf-8")
        self.assertEqual(options_in_help(text[text.index('R"('):]), options_of_service())


class TheCompletion(unittest.TestCase):
    def test_of_the_beginning_of_an_option(self):
        self.assertEqual(completed("Quillstep", "--si"), ["--sign-in", "--sign-out"])
        self.assertEqual(completed("velomira-service", "--po"), ["--port"])

    def test_of_addresses(self):
        addresses = ["velomira://dashboard", "velomira://login"]
        self.assertEqual(completed("Quillstep", ""), addresses)
        self.assertEqual(completed("Quillstep", "velo"), addresses)
        # Readline splits at the colon.
        self.assertEqual(completed("Quillstep", "velomira", ":"), ["//dashboard", "//login"])
        self.assertEqual(completed("Quillstep", "velomira", ":", "//d"), ["//dashboard"])

    def test_of_actions(self):
        scenes = (ROOT / "packaging" / "com.velomira.UsageMonitor.desktop.in").read_text(encoding="utf-8")
        actions = re.search(r"^Actions=(.*);$", scenes, re.MULTILINE)[1].split(";")
        self.assertEqual(completed("Quillstep", "--action", ""), sorted(actions))
        self.assertEqual(completed("Quillstep", "--action", "s"), ["settings"])

    def test_of_what_nobody_can_know_is_empty(self):
        self.assertEqual(completed("Quillstep", "--sign-in", ""), [])
        self.assertEqual(completed("velomira-service", "--add-user", ""), [])

    def test_of_the_database_is_a_file(self):
        with tempfile.TemporaryDirectory() as folder:
            for name in ("data.sqlite", "other"):
                (pathlib.Path(folder) / name).touch()
            self.assertEqual(completed("velomira-service", "--database", "da", folder=folder), ["data.sqlite"])
            self.assertEqual(completed("velomira-service", "--database", "=", folder=folder), ["data.sqlite", "other"])
            self.assertEqual(completed("velomira-service", "--database", "=", "o", folder=folder), ["other"])

    def test_of_values(self):
        self.assertEqual(completed("velomira-service", "--port", ""), ["8787"])
        self.assertEqual(completed("velomira-service", "--address", "1"), ["127.0.0.1"])
        self.assertEqual(completed("velomira-service", "--scope", ""), ["manage", "read", "upload"])
        self.assertEqual(completed("velomira-service", "--log", "=", "j"), ["json"])


if __name__ == "__main__":
    unittest.main()
