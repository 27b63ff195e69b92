"""Reports on the terminal: which there are, what became of whom, and sending to the rest again."""

import json
import os
import re
import subprocess
import unittest

import support

PNG = (support.EXAMPLES / "banner.png").read_bytes()


class ReportVerbs(support.JobTest):
    def send_to(self, rows, *arguments, name="list.csv", code=1):
        listed = self.write(name, rows)
        self.expect(code, self.send("--subject", "News for #NAME, and more", "--text",
                                    self.write("t.txt", "Dear #NAME,\n#CODE\n"), "--list", listed, "--allow-unknown-words",
                                    *arguments))
        return max(self.sessions(), key=lambda folder: folder.stat().st_mtime_ns)

    def reports(self, *arguments):
        done = self.expect(0, self.vespro("--json", "reports", *arguments))
        return json.loads(done.stdout)

    def test_list_has_the_newest_first_with_its_counts(self):
        self.add_account(self.catcher("--refuse", "gone").port)
        self.assertEqual(self.reports("list"), [])
        first = self.send_to("a@example.org\nA@example.org\n", name="l.txt", code=0)
        second = self.send_to("gone@example.org\nb@example.org\n", name="m.txt")
        # The order is that of the time in the reports, not of the file system or the folders' names.
        text = (second / "report.txt").read_bytes()
        (second / "report.txt").write_bytes(re.sub(rb"Started: \d.*:\d\d ", b"Started: 2001-02-03 04:05:06 ", text))
        rows = self.reports("list")
        self.assertEqual([row["session"] for row in rows], [first.name, second.name])
        self.assertEqual([(row["sent"], row["refused"], row["skipped"], row["recipients"]) for row in rows],
                         [(1, 0, 1, 2), (1, 1, 0, 2)])
        self.assertEqual([row["failed_list"] is None for row in rows], [True, False])
        lines = self.expect(0, self.vespro("reports", "list")).stdout.splitlines()
        self.assertRegex(lines[1], r"^2001-02-03 04:05  {}  1 sent, 1 refused  .*News for #NAME".format(second.name))
        # What is no report, or a damaged one, is told and spoils nothing.
        (first / "report.txt").write_bytes(b"\0\1 nothing of ours")
        done = self.expect(0, self.vespro("reports", "list"))
        self.assertEqual(len(done.stdout.splitlines()), 1)
        self.assertIn("is not a delivery report", done.stderr)

    def test_show_has_the_problems_first_and_everybody(self):
        self.add_account(self.catcher("--refuse", "gone").port)
        session = self.send_to("Mail,Name,Code\nzoë@example.org,Zoë,1\ngone@example.org,Bob,2\n"
                               "nobody,Nick,3\nZOË@example.org,Zoë,4\nc@example.org,Cid,5\n", "--column", "1")
        everybody = self.reports("show")["rows"]
        self.assertEqual([(row["address"], row["state"]) for row in everybody],
                         [row[:2] for row in self.report()])
        shown = self.expect(0, self.vespro("reports", "show", session.name)).stdout
        table = shown[shown.index("ADDRESS"):].splitlines()[1:]
        states = [line.split("  ", 1)[1].split()[0] for line in table]
        self.assertEqual(sorted(states), sorted(row["state"] for row in everybody))
        self.assertEqual(states, sorted(states, key=["refused", "failed", "unknown", "skipped", "sent"].index))
        self.assertEqual(len({line.index(state + " ") for line, state in zip(table, states)}), 1, table)
        for name in (session, session / "report.html"):
            self.assertEqual(self.expect(0, self.vespro("reports", "show", name)).stdout, shown)
        only = self.reports("show", "--state", "refused")["rows"]
        self.assertEqual([row["address"] for row in only], ["gone@example.org"])
        self.expect(66, self.vespro("reports", "show", "no such session"))
        with open(session / "report.txt", "ab") as report:
            report.write(b"torn\tli")
        self.assertIn("damaged", self.expect(65, self.vespro("reports", "show")).stderr)

    def sent_again(self, session):
        """Runs what `reports failed` prints, once the addresses are right."""
        answer = self.reports("failed", session.name)
        path = session / "failed.csv"
        self.assertTrue(os.path.samefile(answer["failed_list"], path))
        path.write_bytes(path.read_bytes().replace(b"gone@", b"back@"))
        lines = self.expect(0, self.vespro("reports", "failed", session)).stdout.splitlines()
        self.assertEqual(lines, [answer["failed_list"], answer["command"]])
        done = subprocess.run(["sh", "-c", lines[1]], capture_output=True, encoding="utf-8", timeout=support.SECONDS)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)

    def test_the_command_sends_the_same_to_those_who_were_not_reached(self):
        cases = (
            ("a table with a header", "l1.csv", "Name,Code,Mail\nAnn,1,a@example.org\nBob,\"2\",gone@example.org\n",
             ("--header",), "Dear Bob,\n2\n"),
            ("a table without one: its first row names the fields", "l2.csv",
             "Name,Code,x@example.org\nBob,2,gone@example.org\n", ("--value",), "Dear Bob,\n2\n"),
            ("addresses alone", "l3.txt", "a@example.org\ngone@example.org\n", (), "Dear #NAME,\n#CODE\n"),
        )
        for name, listed, rows, options, body in cases:
            with self.subTest(name):
                catcher = support.Catcher(self.folder / listed.replace(".", "-"), "--refuse", "gone")
                self.addCleanup(catcher.stop)
                self.expect(0, self.vespro("accounts", "add", "127.0.0.1", "--port", catcher.port))
                session = self.send_to(
                    rows, *options, "--name", "Zoë \"Z\" & Co", "--reply-to", "answers@example.org",
                    "--attach", self.write("a b.bin", bytes(range(256))), "--html",
                    self.write("h.html", '<p>#NAME <img src="cid:p.png"></p>'), "--embed", self.write("p.png", PNG),
                    "--add-header", "Precedence: bulk", name=listed)
                before = catcher.envelopes()
                self.sent_again(session)
                [(file, _, sender, recipients)] = catcher.envelopes()[len(before):]
                self.assertEqual((sender, recipients), ("sender@example.org", ["back@example.org"]))
                again, first = (support.parse(f.read_bytes()) for f in (file, before[0][0]))
                self.assertEqual(again.get_body(("plain",)).get_content().replace("\r\n", "\n"), body)
                for field in ("From", "Reply-To", "Precedence"):
                    self.assertEqual(str(again[field]), str(first[field]), field)
                kinds = [(p.get_content_type(), p.get_filename()) for p in first.walk()]
                self.assertEqual([(p.get_content_type(), p.get_filename()) for p in again.walk()], kinds)
                self.expect(0, self.vespro("--yes", "accounts", "remove", "1"))

    def test_one_copy_to_many_stays_one(self):
        catcher = self.catcher("--refuse", "gone")
        self.add_account(catcher.port)
        session = self.send_to("a@example.org\ngone@example.org\n", "--turbo", "--to", "All <all@example.org>",
                               name="l.txt")
        self.sent_again(session)
        again = support.parse(catcher.envelopes()[-1][0].read_bytes())
        self.assertEqual(str(again["To"]), "All <all@example.org>")
        self.assertEqual(catcher.envelopes()[-1][3], ["back@example.org"])

    def test_the_command_keeps_the_sender_and_the_limits_and_tells_no_password(self):
        self.add_account(self.catcher("--refuse", "gone").port)
        listed = self.write("l.txt", "gone@example.org\n")
        self.expect(1, self.send("--subject", "x", "--text", self.write("t.txt", "x"), "--list", listed,
                                 engine=["--rate", "50/s"]))
        with open(self.sessions()[0] / "engine-options", "a", encoding="utf-8") as options:
            options.write("--password-command\nmail.example.org=echo s3cret\n")
        self.expect(0, self.vespro("settings", "set", "SenderName", "Somebody else"))
        done = self.expect(0, self.vespro("reports", "failed", self.sessions()[0]))
        self.assertNotIn("s3cret", done.stdout + done.stderr)
        self.assertIn("--rate 50/s --password-command SERVER=COMMAND", done.stdout)
        self.assertIn("SERVER=COMMAND", done.stderr)
        self.assertIn("--from sender@example.org --name '' --reply-to ''", done.stdout)

    def test_nobody_to_send_to_again(self):
        self.add_account(self.catcher().port)
        session = self.send_to("a@example.org\n", name="l.txt", code=0)
        done = self.expect(0, self.vespro("reports", "failed", session.name))
        self.assertEqual(done.stdout, "")
        self.assertIn("nobody", done.stderr)


if __name__ == "__main__":
    unittest.main(verbosity=2)
