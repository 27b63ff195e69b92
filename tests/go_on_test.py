"""A job that ended early, and a person without a command line: what the report says, and what the file beside it does."""

import json
import os
import signal
import subprocess
import time
import unittest

import support


class GoOn(support.JobTest):
    home_name = "o'hara's $(touch x) %PATH% \"ü\" & co"

    def setUp(self):
        super().setUp()
        self.server = self.catcher()
        self.make_list(60)
        self.environment = {name: value for name, value in os.environ.items()
                            if name not in ("DISPLAY", "WAYLAND_DISPLAY", "VESPRO_HOME")}

    def make_list(self, length):
        self.people = ["p{:03}@example.org".format(i) for i in range(length)]
        self.listed = self.write("list.txt", "\n".join(self.people) + "\n")

    def cut_off(self):
        """A job that the power goes for after a few messages. The file that goes on with it."""
        command = support.command_line(
            "--home", self.home, "send", "--wait", "--from", "me@example.org", "--subject", "News, and more", "--text",
            self.write("t.txt", "Hello\n"), "--list", self.listed, "--account",
            "127.0.0.1:{}".format(self.server.port), "--", "--rate", "100/s")
        engine = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        arrived = self.server.maildir / "envelopes.tsv"
        while not arrived.exists() or len(self.server.envelopes()) < 5:
            time.sleep(0.01)
        engine.send_signal(signal.SIGKILL)
        engine.wait(support.SECONDS)
        [session] = self.sessions()
        return session / "go-on-sending.sh"

    def listed_reports(self):
        [row] = json.loads(self.expect(0, self.vespro("--json", "reports", "list")).stdout)
        return row

    def test_after_a_power_cut_the_file_goes_on(self):
        script = self.cut_off()
        row = self.listed_reports()
        self.assertEqual((row["finished"], row["go_on"]), (False, str(script)))
        self.assertIn("; not finished", self.expect(0, self.vespro("reports", "list")).stdout)
        page = (script.parent / "report.html").read_text("utf-8")
        self.assertIn("<title>Not finished: News; and more</title>", page.split("\n", 1)[0])
        self.assertLess(page.index("This mailing is not finished."), page.index('class="bar"'))
        self.assertIn("go-on-sending.sh", page)
        self.assertEqual(script.stat().st_mode & 0o777, 0o700)
        done = subprocess.run([script], cwd="/", env=self.environment, stdin=subprocess.DEVNULL, capture_output=True,
                              encoding="utf-8", timeout=support.SECONDS)
        self.assertIn(done.returncode, (0, 1), done.stderr)
        self.assertNotIn("Press Enter", done.stdout)
        unknown = set(self.addresses("unknown"))
        self.assertEqual(set(self.server.recipients()) | unknown, set(self.people))
        self.assertEqual(len(set(self.server.recipients())), len(self.server.recipients()))
        row = self.listed_reports()
        self.assertEqual((row["finished"], row["go_on"], script.exists()), (True, None, False))
        self.assertNotIn("not finished", (script.parent / "report.html").read_text("utf-8").lower())
        self.assertEqual(sorted(self.folder.rglob("x")), [])

    def test_in_a_terminal_it_waits_until_somebody_has_read_it(self):
        script = self.cut_off()
        code, shown = support.on_a_terminal(["/bin/sh", str(script)], "")
        self.assertIn(code, (0, 1), shown)
        self.assertIn("report: ", shown)
        self.assertIn("Press Enter to close this window. ", shown)

    def test_where_there_is_a_screen_a_terminal_is_opened(self):
        script = self.cut_off()
        programs = self.folder / "programs"
        programs.mkdir()
        terminal = self.write("programs/x-terminal-emulator", "#!/bin/sh\nprintf '%s\\n' \"$@\"\nshift\nexec \"$@\"\n")
        terminal.chmod(0o700)
        done = subprocess.run([script], env={**self.environment, "DISPLAY": ":99",
                                             "PATH": "{}:{}".format(programs, os.environ["PATH"])},
                              stdin=subprocess.DEVNULL, capture_output=True, encoding="utf-8", timeout=support.SECONDS)
        self.assertIn(done.returncode, (0, 1), done.stderr)
        self.assertEqual(done.stdout.splitlines()[:4], ["-e", "sh", str(script), "shown"])
        self.assertIn("report: ", done.stdout)

    def test_it_lets_no_second_engine_in(self):
        self.make_list(500)
        script = self.cut_off()
        first = subprocess.Popen([script], env=self.environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                 stderr=subprocess.DEVNULL)
        arrived = len(self.server.envelopes())
        while len(self.server.envelopes()) == arrived:
            time.sleep(0.01)
        second = subprocess.run([script], env=self.environment, stdin=subprocess.DEVNULL, capture_output=True,
                                encoding="utf-8", timeout=support.SECONDS)
        self.assertEqual(second.returncode, 75, second.stderr)
        self.assertIn("another engine is at work", second.stderr)
        self.assertIn(first.wait(support.SECONDS), (0, 1))
        self.assertEqual(len(set(self.server.recipients())), len(self.server.recipients()))


if __name__ == "__main__":
    unittest.main()
