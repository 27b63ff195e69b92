"""`vespro lint`, and what `vespro send` does with its findings."""

import json
import re
import unittest

import support


class Lint(support.JobTest):
    def setUp(self):
        super().setUp()
        self.listed = self.write("members.csv", "E-Mail,Name\r\nann@example.org,Ann\r\nbob@example.org,Bob\r\n")
        self.text = self.write("news.txt", "Dear #NAME,\n")
        self.html = self.write("news.html", "<p>Dear #NAME,</p><a href='https://example.org/x'>more &amp; more</a>")

    def mail(self, verb, *arguments, subject="News", text=None, listed=None):
        return (verb, "--from", "me@example.org", "--subject", subject, "--text", text or self.text,
                "--list", listed or self.listed, *arguments)

    def ids(self, *arguments):
        """The exit code and each finding's severity, id and first lines."""
        done = self.vespro("--json", *arguments)
        found = json.loads(done.stdout)
        return done.returncode, [(f["severity"], f["id"], f.get("subject"), f.get("lines", []))
                                 for f in found["findings"]]

    def test_the_demo_has_no_error(self):
        script = (support.ROOT / "demo").read_text("utf-8")
        compose = re.search(r'(--subject .*?--list \S+)', script.replace("\\\n", ""), re.S).group(1)
        arguments = [part.strip('"') for part in re.findall(r'"[^"]*"|\S+', compose)]
        done = self.vespro("lint", *arguments, cwd=support.ROOT)
        self.expect(0, done)
        self.assertIn("0 errors", done.stdout)
        self.assertIn("198 rows have a comma inside a cell in quotes", done.stdout)
        self.assertLess(len(done.stdout.splitlines()), 8, done.stdout)

    def test_findings_name_the_row_or_the_word(self):
        listed = self.write("l.csv", "E-Mail,Name\r\nann@example.org,\r\n,Bob\r\nANN@example.org,A\r\n")
        text = self.write("t.txt", "Dear #NAEM, #Name #NAME\n")
        self.assertEqual(self.ids(*self.mail("lint", text=text, listed=listed)), (65, [
            ("error", "unknown-word", "#NAEM", []), ("warning", "small-word", "#Name", []),
            ("warning", "no-address", None, [3]), ("warning", "empty-field", "#NAME", [2]),
            ("note", "duplicate", None, [4])]))
        self.assertEqual(self.ids(*self.mail("lint")), (0, []))
        self.assertEqual(self.ids(*self.mail("lint", "--turbo"))[1], [("error", "turbo-word", "#NAME", [])])
        self.assertEqual(self.sessions(), [])
        left = [path.name for path in self.home.rglob("*") if path.name.startswith("scratch-")]
        self.assertEqual(left, [])

    def test_an_error_stops_a_send_and_has_an_option(self):
        catcher = self.catcher()
        self.add_account(catcher.port)
        text = self.write("t.txt", "Dear #FRIEND,\n")
        for rules in (("--yes",), ("--no-input",), ()):
            stopped = self.expect(65, self.vespro(*rules, *self.mail("send", "--wait", text=text)))
            self.assertIn("'#FRIEND' in the text", stopped.stderr)
            self.assertIn("--allow-unknown-words", stopped.stderr)
        self.assertEqual(self.sessions(), [])
        self.expect(0, self.vespro(*self.mail("send", "--wait", "--allow-unknown-words", text=text)))
        self.assertEqual(len(catcher.recipients()), 2)
        # A dry run is for looking at it.
        self.expect(0, self.vespro(*self.mail("send", "--anew", text=text), "--", "--dry-run", self.folder / "dry"))
        self.assertEqual(len(catcher.recipients()), 2)

    def test_warnings_stop_only_who_may_not_be_asked(self):
        catcher = self.catcher()
        self.add_account(catcher.port)
        mail = self.mail("send", "--wait", subject="")
        stopped = self.expect(65, self.vespro("--no-input", *mail))
        self.assertIn("the mail has no subject", stopped.stderr)
        self.assertEqual(self.sessions(), [])
        self.expect(0, self.vespro("--no-input", "--yes", *mail))
        self.assertEqual(len(catcher.recipients()), 2)
        self.assertEqual(self.ids(*self.mail("lint", subject="")), (0, [("warning", "no-subject", None, [])]))

    def test_a_terminal_shows_them_before_the_one_question(self):
        catcher = self.catcher()
        self.add_account(catcher.port)
        for subject, warned in (("", True), ("News", False)):
            command = support.command_line("--home", self.home, *self.mail("send", "--wait", subject=subject))
            _, shown = support.on_a_terminal(command, "n\n")
            self.assertEqual(shown.count("?"), 1, shown)
            self.assertEqual("no subject" in shown, warned, shown)
            self.assertLess(shown.find("no subject"), shown.find("Send it?"))
        self.assertEqual(catcher.recipients(), [])

    def test_a_table_of_semicolons_is_refused_and_named(self):
        catcher = self.catcher()
        self.add_account(catcher.port)
        for separator, name in ((";", "semicolons"), ("\t", "tabs")):
            listed = self.write("semi.csv", "E-Mail;Name\r\nann@example.org;Ann\r\n".replace(";", separator))
            for command in (("list", "use", listed), ("list", "use", listed, "--column", "E-Mail"),
                            self.mail("send", listed=listed)):
                refused = self.expect(65, self.vespro(*command))
                self.assertIn("are split by " + name, refused.stderr)
            self.assertEqual(self.ids(*self.mail("lint", listed=listed)), (65, [("error", "separator", None, [])]))
            # Who says a column by its number has looked at it.
            self.expect(0, self.vespro("list", "use", listed, "--column", "1"))

    def test_a_text_is_made_of_the_html(self):
        compose = ("--from", "me@example.org", "--subject", "News", "--html", self.html, "--list", self.listed)
        self.assertEqual(self.ids("lint", *compose)[1], [("warning", "no-text", None, [])])
        self.assertEqual(self.ids("lint", "--make-text", *compose), (0, []))
        shown = self.expect(0, self.vespro("preview", "--make-text", *compose)).stdout
        self.assertIn("Dear Ann,\n\nmore & more (https://example.org/x)\n", shown)

    def test_the_sender_is_of_the_accounts_domain(self):
        self.add_account(25, server="smtp.club.example", login="me@club.example", password="p")
        self.assertEqual(self.ids(*self.mail("lint")), (0, [("warning", "from-domain", "me@example.org", [])]))
        self.assertEqual(self.ids(*self.mail("lint", "--account", "127.0.0.1:25")), (0, []))


if __name__ == "__main__":
    unittest.main()
