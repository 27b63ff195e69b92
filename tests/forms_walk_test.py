"""Dialogs used as a person uses them, without a mail client, on a home that the command line made."""

import concurrent.futures
import contextlib
import json
import resource
import subprocess
import threading
import unittest

import support

WINDOWS = (support.PROGRAMS / "vespro-cli.exe").exists()


class Walk(support.JobTest):
    def walk(self, dialog, steps, **more):
        """(exit code, what the person saw)."""
        program = support.PROGRAMS / ("vespro-forms.exe" if WINDOWS else "vespro-forms")
        runner = [str(support.ROOT / "cmake" / "wine-run")] if WINDOWS else []
        home = "Z:{}".format(self.home) if WINDOWS else str(self.home)
        done = subprocess.run([*runner, str(program), dialog, "--home", home], input="\n".join(steps),
                              capture_output=True, encoding="utf-8", timeout=support.SECONDS, **more)
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

    def data(self, *arguments):
        return json.loads(self.expect(0, self.vespro("--json", *arguments)).stdout)

    def setting(self, name):
        return self.data("settings", "get", name)["value"]

    def test_a_newcomer_sets_everything_up(self):
        code, seen = self.walk("frmOptions", [
            "look TabOptions", "look OptionPersonalisedMode",
            "# one message to many, but addressed to whom?",
            "press alt+t", "focus TextBccTo", "click cmdOK", "answer Yes", 'type TextBccTo " All members "',
            "# a phrase of one's own",
            "click CmdMailMerge", 'type TextMailMerge1 " Kind regards "', "press enter",
            'select TabOptions "Sender Info"',
            'type TextSenderName "The Club"', "type TextSenderEmailAddress club@example.org",
            'select TabOptions "Mail Server"',
            "type TextNumConnection 500", "click cmdOK", "answer OK", "look LabelNumConnection",
            "type TextNumConnection 4",
            "# a server, which is kept whatever becomes of the options",
            "click Accounts", "type TextServer smtp.example.org", "type TextLogin ann", "type TextPassword secret",
            "press enter", "look ListServer", "click CmdClose",
            "click cmdOK"])
        self.assertEqual(code, 0, seen)
        self.assertIn("look OptionPersonalisedMode\nOptionPersonalisedMode: "
                      "'&Personalised Mode (with MailMerge)', checked", seen)
        self.assertIn("'No. of connection(1-50):'", seen)
        self.assertIn("    smtp.example.org\n", seen)
        self.assertNotIn("secret\n", seen.replace("type TextPassword secret\n", ""))
        self.assertIn("closed", seen)
        stored = {name: self.setting(name) for name in (
            "BccMode", "CommonToField", "SenderName", "SenderEmail", "ReplyEmail", "NumConnect")}
        self.assertEqual(stored, {
            "BccMode": "100", "CommonToField": "All members", "SenderName": "The Club",
            "SenderEmail": "club@example.org", "ReplyEmail": "", "NumConnect": "4"})
        self.assertEqual([word["word"] for word in self.data("words", "list")], ["Kind regards", "", ""])
        account, = self.data("accounts", "list")
        self.assertEqual((account["server"], account["port"], account["login"], account["password_stored"]),
                         ("smtp.example.org", "25", "ann", True))

    def test_old_log_files_are_deleted(self):
        for name in ("1/report.html", "2/journal"):
            file = self.home / "session" / name
            file.parent.mkdir(parents=True)
            file.write_text("x")
        code, seen = self.walk("frmOptions", [
            'select TabOptions "Log File"', "press alt+d", "look LabelText", "answer OK", "click cmdCancel"])
        self.assertEqual(code, 0, seen)
        self.assertIn("LabelText: 'Log files deleted'", seen)
        self.assertEqual(list((self.home / "session").iterdir()), [])

    def test_programs_at_once_lose_nothing(self):
        """Two dialogs and two commands change the accounts and the settings of one home, again and again."""
        # Windows of two programs would take the focus from each other, on the one screen that they share.
        screen = threading.Lock() if WINDOWS else contextlib.nullcontext()

        def by_dialog(number):
            with screen:
                return use_dialogs(number)

        def use_dialogs(number):
            added = "dialog{}.example.org".format(number)
            code, seen = self.walk("frmMailSetting", [
                "type TextServer " + added, "click CheckNoAuthLogin", "click CmdAdd", "click CmdClose"])
            self.assertEqual(code, 0, seen)
            code, seen = self.walk("frmMailMerge", ["type TextMailMerge1 word{}".format(number), "press enter"])
            self.assertEqual(code, 0, seen)
            return added

        def by_command(number):
            added = "command{}.example.org".format(number)
            self.expect(0, self.vespro("accounts", "add", added))
            self.expect(0, self.vespro("settings", "set", "SenderName", "name{}".format(number)))
            self.expect(0, self.vespro("settings", "set", "SenderEmail", "{}@example.org".format(number)))
            return added

        times = 2 if WINDOWS else 8
        with concurrent.futures.ThreadPoolExecutor(4) as programs:
            done = [programs.submit(work, number) for number in range(times) for work in (by_dialog, by_command)]
            added = [each.result() for each in done]
        self.assertCountEqual([account["server"] for account in self.data("accounts", "list")], added)
        self.assertRegex(self.setting("CustomWord1"), "^word[0-9]$")
        self.assertRegex(self.setting("SenderName"), "^name[0-9]$")
        self.assertRegex(self.setting("SenderEmail"), "^[0-9]@example.org$")
        self.assertEqual(self.setting("MaxNumConnect"), "50")

    @unittest.skipIf(WINDOWS, "no limit for the size of a file")
    def test_accounts_on_a_full_disk(self):
        self.home.mkdir()
        accounts = self.home / "Vespro.db"
        before = b'"relay.example.net","25","",""\r\n' * 300
        accounts.write_bytes(before)

        def fill():
            resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))

        code, seen = self.walk("frmMailSetting", ["type TextServer last.example.org", "click CheckNoAuthLogin",
                                                  "click CmdAdd", "click CmdClose"],
                               preexec_fn=fill, restore_signals=False)
        self.assertEqual(code, 0, seen)
        self.assertIn("log: The accounts are not saved: cannot write", seen)
        self.assertIn("closed\n", seen)
        self.assertEqual(accounts.read_bytes(), before)
        self.assertEqual([path.name for path in self.home.glob("Vespro.db.*")], ["Vespro.db.lock"])

    def test_settings_and_words_by_command(self):
        """What the dialogs refuse the command refuses with the same words, unless it is forced."""
        for name, value, text in (
                ("NumConnect", "51", "Invalid number of connections configured"),
                ("NumConnect", "none", "Invalid number of connections configured"),
                ("MailList", "nowhere.csv,CSV", "The current distribution file does not exist."),
                ("Report Per Page", "501", "Cannot display more than  500 status per page"),
                ("Report Per Page", "0", "Cannot set value to  0")):
            before = self.setting(name)
            self.assertIn(text, self.expect(2, self.vespro("settings", "set", name, value)).stderr)
            self.assertEqual(self.setting(name), before)
            self.expect(0, self.vespro("settings", "set", "--force", name, " " + value))
            self.assertEqual(self.setting(name), " " + value)
        for value, stored in ((" -2", "-2"), ("3.5 ", "3.5"), ("50", "50")):
            self.expect(0, self.vespro("settings", "set", "NumConnect", value))
            self.assertEqual(self.setting("NumConnect"), stored)

        self.expect(0, self.vespro("words", "set", " Kind regards ", "", "the board"))
        self.assertEqual(self.expect(0, self.vespro("words", "list")).stdout,
                         "1\tKind regards\t#KIND REGARDS\n2\t\t\n3\tthe board\t#THE BOARD\n")
        self.expect(0, self.vespro("words", "set", "Bye"))
        self.assertEqual([word["merge_word"] for word in self.data("words", "list")], ["#BYE", "", ""])
        self.expect(2, self.vespro("words", "set", "a", "b", "c", "d"))


if __name__ == "__main__":
    unittest.main()
