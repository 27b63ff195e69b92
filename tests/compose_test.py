"""What a mail is made of by the finished command: header fields of the author's own, the preview, names and
settings that can't be used."""

import os
import subprocess
import unittest

import support

EML = """Received: from laptop.local (10.0.0.7)
Return-Path: <ann@laptop.local>
From: Ann <ann@example.org>
To: everybody@example.org
Cc: boss@example.org
Bcc: secret@example.org
Reply-To: "Office, the" <office@example.org>
List-Unsubscribe: <mailto:leave@example.org?subject=leave>
List-Id: News <news.example.org>
Precedence: bulk
X-Campaign: =?UTF-8?Q?Fr=C3=BChling?=
X-Originating-IP: [10.0.0.7]
X-Mozilla-Status: 0001
Subject: Hello #NAME
Date: Thu, 1 Jan 2026 00:00:00 +0000
Message-ID: <old@laptop.local>
MIME-Version: 1.0
Content-Type: text/plain; charset=utf-8

Dear #NAME
""".replace("\n", "\r\n")


class Compose(support.JobTest):
    def setUp(self):
        super().setUp()
        self.list = self.write("list.csv", "E-Mail,Name\r\nann@example.org,Ann Lee\r\n\r\nnobody,Nick\r\nbo@example.org,Zo\u00eb\r\n")
        self.text = self.write("t.txt", "Dear #NAME\n")

    def test_header_fields_of_the_author(self):
        catcher = self.catcher()
        done = self.expect(1, self.send(
            "--account", "127.0.0.1:{}".format(catcher.port), "--eml", self.write("m.eml", EML), "--list", self.list,
            "--add-header", "X-For: #NAME", "--add-header", "Precedence: list", "--add-header", "Feedback-ID: 1:news"))
        self.assertIn("leaves out: Received, Return-Path, Cc, Bcc, X-Originating-IP, X-Mozilla-Status", done.stderr)
        messages = {e[3][0]: support.parse(e[0].read_bytes()) for e in catcher.envelopes()}
        for address, name in (("ann@example.org", "Ann Lee"), ("bo@example.org", "Zo\u00eb")):
            message = messages[address]
            self.assertEqual(str(message["X-For"]), name)
            self.assertEqual(str(message["Reply-To"]), '"Office, the" <office@example.org>')
            self.assertEqual(str(message["List-Unsubscribe"]), "<mailto:leave@example.org?subject=leave>")
            self.assertEqual(str(message["X-Campaign"]), "Fr\u00fchling")
            self.assertEqual(message.get_all("Precedence"), ["list"], "what is said now wins")
            self.assertEqual(message.get_all("Feedback-ID"), ["1:news"])
            self.assertEqual(len(message.get_all("List-Id")), 1)
            for field in ("Received", "Return-Path", "Cc", "Bcc", "X-Originating-IP", "X-Mozilla-Status"):
                self.assertIsNone(message[field], field)
            self.assertNotIn("laptop.local", message.as_string())
        # An option that says the same wins over the message.
        self.expect(1, self.send(
            "--account", "127.0.0.1:{}".format(catcher.port), "--eml", self.folder / "m.eml", "--list", self.list,
            "--reply-to", "now@example.org", engine=("--unsubscribe-mailto", "out@example.org")))
        message = support.parse(catcher.envelopes()[-1][0].read_bytes())
        self.assertEqual(message.get_all("Reply-To"), ["now@example.org"])
        self.assertEqual(message.get_all("List-Unsubscribe"), ["<mailto:out@example.org>"])
        for field in ("Bcc: x@example.org", "Subject: other", "no field", "X-A: b\r\nBcc: x@example.org"):
            self.expect(2, self.send("--account", "127.0.0.1:25", "--subject", "S", "--text", self.text,
                                     "--list", self.list, "--add-header", field))

    def preview(self, *arguments, code=0):
        return self.expect(code, self.vespro(
            "preview", "--from", "me@example.org", "--subject", "Für #NAME", "--text", self.text,
            "--html", self.write("h.html", "<p>Für \x1b[2J #NAME</p><img src='cid:l.png'>"),
            "--embed", self.write("l.png", b"\x89PNG"), "--attach", self.write("a.pdf", b"%PDF"),
            "--list", self.list, *arguments))

    def test_a_preview_for_a_person(self):
        previewed = self.preview("--row", "3")
        self.assertIn("addresses from column 1", previewed.stderr)
        shown = previewed.stdout
        self.assertIn("Subject: Für Zoë\n", shown)
        self.assertIn("\n--- text/plain ---\nDear Zoë\n", shown)
        self.assertIn("<p>Für ?[2J Zoë</p>", shown)
        self.assertIn("  image/png 'l.png', 4 bytes, shown in the text\n", shown)
        self.assertIn("  application/pdf 'a.pdf', 4 bytes, attached\n", shown)
        self.assertIn("Subject: =?", self.preview("--raw").stdout)
        self.preview("--out", self.folder / "out.eml")
        message = support.parse((self.folder / "out.eml").read_bytes())
        self.assertEqual(str(message["Subject"]), "Für Ann Lee")
        self.assertIn("row 2 (line 4): not an address", self.preview("--row", "2", code=2).stderr)
        self.preview("--row", "0", code=2)
        self.assertIn("has only 3 rows", self.preview("--row", "4", code=2).stderr)

    def test_fields_for_readers_programs(self):
        shown = self.preview("--no-auto-replies", "--list-id", "Club für alle <news.example.org>",
                             "--", "--unsubscribe-mailto", "out@example.org").stdout
        for line in ("Auto-Submitted: auto-generated", "Precedence: list", "List-Id: Club für alle <news.example.org>",
                     "X-Auto-Response-Suppress: OOF, AutoReply", "List-Unsubscribe: <mailto:out@example.org>"):
            self.assertIn("\n" + line + "\n", shown)
        self.assertIn("list id", self.preview("--list-id", "news", code=2).stderr)
        self.assertIn("--unsubscribe-url", self.preview("--", "--unsubscribe-url", "ftp://x", code=2).stderr)

    def test_what_can_not_be_used(self):
        arguments = ("send", "--no-start", "--account", "127.0.0.1:25", "--subject", "S", "--text", self.text)
        for half in ("x,CSV", "x,CSV,abc", "x,CSV,1", "x,CSV,1,FOO", "x", "x,FOO"):
            self.expect(0, self.vespro("settings", "set", "--force", "MailList", half))
            done = self.expect(65, self.vespro(*arguments, "--from", "me@example.org"))
            self.assertIn("list use", done.stderr, half)
        self.expect(0, self.vespro("settings", "set", "MailList", ""))
        listed = ("--list", self.list)

        homeless = {k: v for k, v in os.environ.items() if not k.startswith("XDG_") and k != "HOME"}
        for more in ({}, {"HOME": "here"}):
            done = subprocess.run([*support.command_line("settings", "list")], capture_output=True, text=True,
                                  cwd=self.folder, env=dict(homeless, **more))
            self.assertEqual(done.returncode, 78, done.stderr)
            self.assertIn("--home", done.stderr)
            self.assertFalse((self.folder / ".local").exists())

    def test_a_locale_of_another_charset(self):
        made = subprocess.run(["localedef", "-i", "de_DE", "-f", "ISO-8859-1", self.folder / "de_DE.ISO-8859-1"],
                              capture_output=True)
        if made.returncode > 1:
            self.skipTest("no such locale can be made here: " + made.stderr.decode())
        # With LOCPATH the C library leaks a few bytes of its own, which the sanitizer would see.
        latin = dict(os.environ, LOCPATH=str(self.folder), LC_ALL="de_DE.ISO-8859-1", ASAN_OPTIONS="detect_leaks=0")
        arguments = [*support.command_line("--home", self.home), "send", "--no-start", "--account", "127.0.0.1:25",
                     "--text", self.text, "--list", self.list, "--from", "me@example.org"]

        def send(*more):
            return subprocess.run([*arguments, *more], env=latin, capture_output=True)

        # What is typed there is in its charset.
        self.assertEqual(send("--subject", b"F\xfcr #NAME", "--name", b"Zo\xeb").returncode, 0)
        [message] = self.home.rglob("Vespro.eml")
        self.assertIn(b'FROM: "Zo\xeb"<me@example.org>', message.read_bytes())
        self.assertEqual(str(support.parse(message.read_bytes())["Subject"]), "Für #NAME")
        # Letters that it lacks: nothing is sent so unasked.
        done = send("--subject", "S", "--name", "\u0141ukasz")
        self.assertEqual(done.returncode, 65, done.stderr)
        self.assertIn(b"C.UTF-8", done.stderr)
        self.assertEqual(len(self.sessions()), 1)
        self.assertEqual(send("--subject", "S", "--name", "\u0141ukasz", "--yes").returncode, 0)

    def test_the_question_for_the_sender(self):
        command = support.command_line("--home", self.home, "send", "--no-start", "--account", "127.0.0.1:25",
                                       "--subject", "S", "--text", self.text, "--list", self.list)
        code, shown = support.on_a_terminal(command, "me", "me@example.org")
        self.assertEqual(code, 0, shown)
        self.assertIn("'me' is no email address", shown)
        self.assertEqual(self.expect(0, self.vespro("settings", "get", "SenderEmail")).stdout, "me@example.org\n")


if __name__ == "__main__":
    unittest.main()
