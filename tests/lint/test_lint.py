#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
"""The checks find what they are for: each gets a small tree with one fault planted in it."""

import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

import alone
import tidy

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent))
import check_layers  # noqa: E402  it stands one folder up

LAYERS = HERE.parent / "check_layers.py"
# In two parts: other checkers would take the whole for this file's own lines.
SPDX = "{0} SPDX-" + "FileCopyrightText: 2026 Somebody\n{0} SPDX-" + "License-Identifier: MIT\n"
CPP = SPDX.format("//")
SCRIPT = SPDX.format("#")


class Checks(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        shutil.copy(HERE.parents[1] / ".clang-format", self.root)
        self.plant("activity/store.h", CPP + "#pragma once\n")

    def plant(self, path, text):
        file = self.root / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")

    def verdict(self, *command):
        done = subprocess.run([sys.executable, *map(str, command), str(self.root)],
                              capture_output=True, text=True, check=False)
        return done.returncode, done.stdout

    def finds(self, check, path):
        """True if the check fails and names the file; it must have been content with the rest."""
        planted = (self.root / path).read_text(encoding="utf-8")
        (self.root / path).unlink()
        self.assertEqual(self.verdict(*check)[0], 0, "not content without the fault")
        self.plant(path, planted)
        status, output = self.verdict(*check)
        return status == 1 and path in output

    def test_anIncludeThatPointsUpTheHouseIsFound(self):
        self.plant("activity/bad.cpp", CPP + '#include "tracking/tracking_engine.h"\n')
        self.assertTrue(self.finds([LAYERS], "activity/bad.cpp"))

    def test_aBackendIncludedOutsideTheCompositionRootIsFound(self):
        self.plant("shell/app_menu.cpp", CPP + '#include "backends/desktops/x11/x11_connection.h"\n')
        self.assertTrue(self.finds([LAYERS], "shell/app_menu.cpp"))

    def test_theCompositionRootIncludedByWhatItPutsTogetherIsFound(self):
        self.plant("views/window_view.cpp", CPP + '#include "app/program.h"\n')
        self.assertTrue(self.finds([LAYERS], "views/window_view.cpp"))

    def test_oneDesktopIncludedByAnotherIsFound(self):
        self.plant("backends/desktops/kwin/bad.cpp", CPP + '#include "backends/desktops/gnome/log.h"\n')
        self.assertTrue(self.finds([LAYERS], "backends/desktops/kwin/bad.cpp"))

    def test_aFolderThatIsNotListedIsFound(self):
        self.plant("backends/desktops/acme/acme.cpp", CPP)
        self.assertTrue(self.finds([LAYERS], "backends/desktops/acme/acme.cpp"))

    def test_foldersThatMayKnowEachOtherAreFound(self):
        for allowed in ({"a": {"b"}, "b": {"a"}}, {"a": {"b"}, "b": {"c"}, "c": {"a"}}):
            self.assertEqual({"a", "b"} & check_layers.in_a_circle(allowed), {"a", "b"})
        self.assertEqual(check_layers.in_a_circle({"a": {"b", "c"}, "b": {"c"}, "c": set()}), set())
        self.assertEqual(check_layers.in_a_circle(check_layers.MAY_INCLUDE), set())

    def test_aHeaderThatComesAfterOthersInItsSourceIsFound(self):
        self.plant("activity/store.cpp", CPP + '#include <vector>\n\n#include "activity/store.h"\n')
        self.assertTrue(self.finds([HERE / "lint.py", "own-header"], "activity/store.cpp"))

    def test_aTestThatWaitsForAClockIsFound(self):
        for line in ("QTRY_VERIFY_WITH_TIMEOUT(timer.elapsed() > 2500, 5000);",
                     "QVERIFY(QTest::qWaitFor([&] { return timer.hasExpired(9); }, 90));", "QTest::qSleep(100);",
                     "QTest::qWait(5000);"):
            self.plant("tests/tst_bad.cpp", CPP + f"void f()\n{{\n    {line}\n}}\n")
            self.assertTrue(self.finds([HERE / "lint.py", "waits"], "tests/tst_bad.cpp"), line)

    def test_aStatementThatDoesNotSayWhoseRowsItMeansIsFound(self):
        self.plant("service/database/bad.cpp", CPP + 'auto all = run("delete from runs "\n           "where digest = ?");\n')
        self.plant("service/database/good.cpp", CPP + 'auto some = run("delete from runs "\n            "where user_id = ?");\n'
                   '// all users\nauto all = run("delete from runs");\n')
        self.assertTrue(self.finds([HERE / "lint.py", "owners"], "service/database/bad.cpp"))

    def test_aKeyThatDoesNotBeginWithTheUserIsFound(self):
        self.plant("service/database/bad.cpp", CPP + 'auto make = "create table runs (user_id bigint, digest text, "\n'
                   '            "primary key (digest, user_id))";\n')
        self.assertTrue(self.finds([HERE / "lint.py", "owners"], "service/database/bad.cpp"))

    def test_theCompositionRootMayIncludeTheFactory(self):
        self.plant("app/agent.cpp", CPP + '#include "backends/linux/linux_desktop.h"\n')
        self.assertEqual(self.verdict(LAYERS)[0], 0)

    def test_aBadlyFormattedFileIsFound(self):
        self.plant("activity/bad.cpp", CPP + "int  f( ){return 1;}\n")
        self.assertTrue(self.finds([HERE / "lint.py", "format"], "activity/bad.cpp"))

    def test_aFaultInAScriptWithoutSuffixIsFound(self):
        self.plant("deploy", "#!/usr/bin/env bash\n" + SCRIPT + "rm -rf $1/*\n")
        self.assertTrue(self.finds([HERE / "lint.py", "shell"], "deploy"))

    def test_aSourceWithoutLicenceIsFound(self):
        self.plant("activity/bad.cpp", "int f();\n")
        self.assertTrue(self.finds([HERE / "lint.py", "spdx"], "activity/bad.cpp"))

    def test_aScriptWithoutLicenceIsFound(self):
        self.plant("deploy", "#!/usr/bin/env bash\ntrue\n")
        self.assertTrue(self.finds([HERE / "lint.py", "spdx"], "deploy"))

    def test_pythonThatDoesNotCompileIsFound(self):
        self.plant("scripts/bad.py", SCRIPT + "def f(:\n")
        self.assertTrue(self.finds([HERE / "lint.py", "python"], "scripts/bad.py"))

    def test_aLinkToAFileThatIsNotThereIsFound(self):
        self.plant("docs/bad.md", "See [the store](../activity/stores.h).\n")
        self.assertTrue(self.finds([HERE / "lint.py", "links"], "docs/bad.md"))

    def test_aPictureThatIsNotThereIsFound(self):
        self.plant("docs/bad.md", "[![A window](window.png)](../activity/store.h)\n")
        self.assertTrue(self.finds([HERE / "lint.py", "links"], "docs/bad.md"))

    def test_aLinkToAHeadingThatIsNotThereIsFound(self):
        self.plant("docs/good.md", "# The `store`, and more\n\n```\n# Not a heading\n```\n")
        self.plant("docs/bad.md", "See [the store](good.md#not-a-heading).\n")
        self.assertTrue(self.finds([HERE / "lint.py", "links"], "docs/bad.md"))

    def test_aLinkOutOfTheTreeIsFound(self):
        self.plant("docs/bad.md", "See [elsewhere](../../elsewhere.md).\n\n[name]: ../../..\n")
        self.assertTrue(self.finds([HERE / "lint.py", "links"], "docs/bad.md"))

    def test_linksThatLeadSomewhereAreNotFound(self):
        self.plant("docs/good.md", "# The `store`, and more\n\n## Twice\n\n## Twice\n\n[up](#twice-1) and [name]\n\n"
                   "[name]: other%20page.md\n")
        self.plant("docs/other page.md", "[1](good.md#the-store-and-more) [2](<good.md>)\n"
                   "[3](../activity/store.h \"title\") [4](https://example.org/none) [5](mailto:you@example.org)\n"
                   "`[6](none.md)`\n\n```\n[7](none.md)\n```\n")
        self.assertEqual(self.verdict(HERE / "lint.py", "links"), (0, "links: nothing found in 4 files\n"))

    def test_aFaultInAHeaderIsFoundByTidy(self):
        shutil.copy(HERE.parents[1] / ".clang-tidy", self.root)
        command = tidy.TIDY
        self.plant("activity/store.cpp", CPP + '#include "activity/store.h"\n')
        # From another folder, with the compiler's command line.
        (self.root / "build").mkdir()

        def run():
            return subprocess.run([*command, str(self.root / "activity/store.cpp"), "--", "clang++-19",
                                   "-std=c++20", f"-I{self.root}", "-c", str(self.root / "activity/store.cpp")],
                                  cwd=self.root / "build", capture_output=True, text=True, check=False)

        self.assertEqual(run().returncode, 0)
        self.plant("activity/store.h", CPP + "#pragma once\ntypedef int Number;\n")
        done = run()
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("modernize-use-using", done.stdout)

    def test_aFaultInOneOfTwoFilesThatAreReadAsOneIsFoundByTidy(self):
        shutil.copy(HERE.parents[1] / ".clang-tidy", self.root)
        tree = self.root / "build/tidy"
        for folder in ("passed", "together"):
            (tree / folder).mkdir(parents=True)
        command = f"clang++-19 -std=c++20 -I{self.root} -o out -c "
        commands = {}
        for name in ("first", "second"):
            self.plant(f"app/{name}.cpp", CPP + "int main()\n{\n    return 0;\n}\n")
            file = self.root / f"app/{name}.cpp"
            commands[file] = command + str(file)

        def run():
            (group,) = tidy.groups(commands)
            return tidy.check(self.root, tree, *group)

        self.assertEqual(run(), [])
        self.plant("app/second.cpp", CPP + "typedef int Number;\n")
        (found,) = run()
        self.assertIn("app/second.cpp", found)
        self.assertIn("modernize-use-using", found)

    def test_aNameOfTwoTestsIsFound(self):
        self.plant("tests/a/tst_first.cpp", CPP + "namespace {\nint mine()\n{\n}\n} // namespace\nclass TestFirst {};\n")
        self.plant("tests/a/tst_second.cpp", CPP + "namespace {\nint mine()\n{\n}\n} // namespace\nclass TestSecond {};\n")
        self.plant("tests/b/tst_first.cpp", CPP + "class TestFirst {};\n")
        self.assertEqual(self.verdict(HERE / "lint.py", "names")[0], 0)
        for definition in ("class TestFirst {};\n", "struct TestFirst\n{\n};\n"):
            self.plant("tests/a/tst_second.cpp", CPP + definition)
            self.assertTrue(self.finds([HERE / "lint.py", "names"], "tests/a/tst_second.cpp"), definition)
        self.plant("tests/a/tst_first.cpp", CPP + "bool isHere(int value)\n{\n}\n")
        self.plant("tests/a/tst_second.cpp", CPP + "bool isHere(int value)\n{\n}\n")
        self.assertTrue(self.finds([HERE / "lint.py", "names"], "tests/a/tst_second.cpp"))

    def test_aMissingIncludeIsFoundByCompilingAlone(self):
        shutil.copy(HERE.parents[1] / ".clang-tidy", self.root)
        (self.root / "build/tidy/passed").mkdir(parents=True)
        self.plant("activity/store.cpp", CPP + "std::string name();\n")
        file = self.root / "activity/store.cpp"
        command = f"clang++-19 -std=c++20 -o out -c {file}"
        self.assertIn("activity/store.cpp", alone.findings(self.root, file, command))
        self.plant("activity/store.cpp", CPP + "#include <string>\nstd::string name();\n")
        self.assertEqual(alone.findings(self.root, file, command), "")

    def test_theBuildTreeIsNotOurs(self):
        self.plant("build/generated.cpp", "int  f( ){return 1;}\n")
        self.assertEqual(self.verdict(HERE / "lint.py", "spdx")[0], 0)


if __name__ == "__main__":
    unittest.main()
