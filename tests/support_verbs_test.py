"""What the command line tells those who help, and what it leaves of finished jobs."""

import base64
import os
import secrets
import subprocess
import time
import unittest

import support


class Diagnose(support.JobTest):
    def secret(self):
        """One that is in nothing else, and whose encoding is no part of another text."""
        value = "S" + secrets.token_hex(11)
        self.secrets.append(value)
        return value

    def setUp(self):
        super().setUp()
        self.secrets = []
        self.login, self.password = self.secret(), self.secret()
        self.add_account(25, server="mail.example.org", login=self.login, password=self.password)
        self.expect(0, self.vespro(
            "send", "--no-start", "--from", "a@example.org", "--subject", "S", "--personalised",
            "--text", self.write("text.txt", "hello\n"), "--list", self.write("list.txt", "b@example.org\n"),
            "--", "--password-command", "mail.example.org=echo " + self.secret()))
        self.environment = {**os.environ, "MAIL_PASSWORD": self.secret()}

    def diagnose(self, *arguments):
        done = self.expect(0, self.vespro("diagnose", *arguments, env=self.environment))
        for secret in self.secrets:
            self.assertNotIn(secret, done.stdout + done.stderr)
        return done

    def encoded(self, secret):
        return base64.b64encode(secret.encode()).decode()

    def test_no_secret_is_in_plain_form(self):
        done = self.diagnose()
        self.assertIn('Accounts: "mail.example.org","25","{}","{}"\n'.format(
            self.encoded(self.login), self.encoded(self.password)), done.stdout)
        self.assertIn("can decode them", done.stderr)
        lines = done.stdout.splitlines()
        self.assertRegex(lines[1], r"^Vespro\.exe File Version: \d+\.\d\d\.\d")
        self.assertTrue(any("vespro" in line for line in lines[lines.index("Running Applications: "):]), lines)

        without = self.diagnose("--without-accounts")
        self.assertIn("Accounts: (left out)\n", without.stdout)
        self.assertNotIn("can decode", without.stderr)
        for secret in self.secrets:
            self.assertNotIn(self.encoded(secret), without.stdout)

    def test_it_takes_no_two_seconds(self):
        command = support.command_line("--home", self.home, "diagnose")
        taken = []
        for _ in range(4):  # a busy machine may be slow once or twice
            begin = time.monotonic()
            # No pipes: what Wine starts besides would hold them open for seconds.
            subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
            taken.append(time.monotonic() - begin)
        self.assertLess(min(taken), 2)

    def test_the_mail_is_still_to_be_sent(self):
        mail = self.folder / "diagnostics ü.eml"
        done = self.diagnose("--send", mail)
        self.assertIn("can decode them", done.stderr)
        raw = mail.read_bytes()
        message = support.parse(raw)
        body = message.get_content().replace("\r\n", "\n")
        for secret in self.secrets:
            self.assertNotIn(secret.encode(), raw)
            self.assertNotIn(secret, body)
        self.assertEqual(message["To"], "support@tandrelix.example")
        self.assertEqual(message["X-Unsent"], "1")
        self.assertIsNone(message["From"])
        self.assertTrue(body.startswith("Enter your problem description: " + 10 * "\n" +
                                        "*** Diagnostic Information ***\nVespro Version: "), body[:200])
        self.assertIn("\nRunning Applications: \n", body)


class Reports(support.JobTest):
    def session_of(self, *addresses):
        """A finished job's session."""
        before = set(self.sessions())
        self.send("--personalised", "--subject", "Für alle", "--text", self.write("text.txt", "hello\n"),
                  "--list", self.write("list.txt", "".join(a + "\n" for a in addresses)), "--anew")
        [session] = set(self.sessions()) - before
        self.assertTrue((session / "report.html").exists())
        return session

    def test_the_page_leads_to_all(self):
        none = self.expect(0, self.vespro("reports", "view", "--no-input"))
        self.assertIn("No reports available", none.stderr)
        self.add_account(self.catcher().port)
        sessions = [self.session_of("a@example.org"), self.session_of("b@example.org")]
        path = self.expect(0, self.vespro("reports", "view", "--no-input")).stdout
        self.assertEqual(path.strip().replace("\\", "/").split(":")[-1], str(self.home / "index.html"))
        page = (self.home / "index.html").read_bytes()
        self.assertEqual(page.count(b"\n"), page.count(b"\r\n"))
        self.assertEqual(page.count(b". F&#252;r alle</font>"), 2)
        for session in sessions:
            self.assertEqual(page.count(session.name.encode()), 3)

    def test_purge(self):
        self.add_account(self.catcher().port)
        session = self.session_of("a@example.org")
        self.expect(130, self.vespro("reports", "purge", "--no-input"))
        self.assertTrue((session / "report.html").exists())
        self.expect(0, self.vespro("reports", "purge", "--yes"))
        self.assertFalse((session / "report.html").exists() or (session / "report.txt").exists())
        self.assertTrue((session / "journal").exists())
        self.assertIn(b"No Vespro Delivery Reports", (self.home / "index.html").read_bytes())

        waiting = self.folder / "later.txt"
        waiting.write_text("c@example.org\n")
        self.expect(0, self.vespro("send", "--no-start", "--from", "a@example.org", "--subject", "S",
                                   "--text", self.folder / "text.txt", "--list", waiting, "--personalised"))
        [unsent] = set(self.sessions()) - {session}
        done = self.expect(0, self.vespro("reports", "purge", "--all", "--yes"))
        self.assertEqual([path.name for path in session.iterdir()], ["Vespro.eml"])
        self.assertIn("left Vespro.eml\n", done.stdout)
        self.assertIn("{}: 1 left".format(unsent.name), done.stderr)
        self.assertTrue((unsent / "Vespro.cfg").exists())
        self.expect(66, self.vespro("run", session.name))  # who has the mail is known no more

    def test_entries_per_page(self):
        for number, code in (("20", 0), ("501", 2), ("0", 2), ("abc", 2)):
            self.expect(code, self.vespro("reports", "per-page", number))
        self.assertEqual(self.vespro("settings", "get", "Report Per Page").stdout.strip(), "20")


if __name__ == "__main__":
    unittest.main(verbosity=2)
