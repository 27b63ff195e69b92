"""Dialogs used as a person uses them, without a mail client, on a home that the command line made."""

import os
import subprocess
import unittest

import support

WINDOWS = (support.PROGRAMS / "vespro-cli.exe").exists()


class Walk(support.JobTest):
    def walk(self, dialog, steps):
        """(exit code, what the person saw)."""
        program = support.PROGRAMS / ("vespro-forms.exe" if WINDOWS else "vespro-forms")
        runner = [str(support.ROOT / "cmake" / "wine-run")] if WINDOWS else []
        home = "Z:{}".format(self.home) if WINDOWS else str(self.home)
        done = subprocess.run([*runner, str(program), dialog, "--home", home], input="\n".join(steps),
                              capture_output=True, encoding="utf-8", timeout=support.SECONDS)
        return done.returncode, done.stdout.replace("\r\n", "\n")

    def test_a_list_is_chosen(self):
        listed = self.write("members.csv", "Name,E-Mail\r\nAnn,ann@example.org\r\nAnn,ANN@example.org\r\n")
        path = "Z:{}".format(listed) if WINDOWS else str(listed)
        code, seen = self.walk("DlgSelectFile", [
            "click OK", "answer OK",
            "# quoted, since the folder has a blank in its name",
            'type TextSelectedFile "{}"'.format(path),
            "click CmdOk", "look ComboFields", "click CmdFinish", "answer Yes", "look ListShow", "click CmdClose"])
        self.assertEqual(code, 0, seen)
        self.assertIn("  * E-Mail", seen)
        self.assertIn("    ann@example.org", seen)
        self.assertTrue(seen.endswith("closed\n") or "closed\nlog" in seen, seen)
        stored = self.expect(0, self.vespro("settings", "get", "MailList")).stdout.strip()
        self.assertEqual(stored.replace("\\", "/"), path + ",CSV,1,HEADER")
        self.assertEqual(listed.read_bytes(), b"Name,E-Mail\r\nAnn,ann@example.org\r\n")

    def test_what_a_person_can_not_do(self):
        code, seen = self.walk("DlgSelectFile", ["click CmdMergeFile", "jump", "press alt+i", "look", "close"])
        self.assertEqual(code, 1, seen)
        self.assertEqual(seen.count("cannot: "), 2, seen)
        self.assertIn(">[", seen)
        self.assertEqual(self.walk("frmNothing", [])[0], 2)


if __name__ == "__main__":
    unittest.main()
