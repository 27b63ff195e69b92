#!/usr/bin/python3
"""What our MIME writer writes, read by Python's email package, and the other way round.

usage: mime_independent.py PATH-OF-mime_sample
"""

import base64
import email
import email.message
import email.policy
import pathlib
import random
import subprocess
import sys
import tempfile
import unittest

SAMPLE = sys.argv.pop(1)
PARTY = "\N{PARTY POPPER}"
LONG_WORD = "w" * 900
ODD_TEXT = "x" * 20000 + "\r\n.\r\n..\r\ntrailing \r\ntab\t\r\n \r\nFrom me\r\n--=_0\r\n=3D\r\nend"

SUBJECTS = {
    "plain": "Our news",
    "empty": "",
    "emoji": f"Party {PARTY * 40} tonight",
    "long with blanks": "word " * 200 + "end",
    "one long word": LONG_WORD,
    "looks encoded": "=?utf-8?q?no?= and =?",
    "umlauts": "Größe, Łódź und 日本語 " * 12 + "!",
    "line breaks": "one\r\nBcc: evil@example.org\ntwo\0three",
}
NAMES = ["plain.pdf", "two words.pdf", 'quo"te\\.pdf', "Übersicht 日本.pdf", "ł" * 120 + ".bin", "semi;colon'%41.gif",
         "x" * 200 + ".txt", "=?utf-8?q?no?=.png", f"{PARTY}.jpg", "it's 100% *new*.pdf"]


def flat(text):
    return text.replace("\r\n", "\n").replace("\r", "\n")


def ended(text, message):
    """The text as it is to arrive: where it is the whole message, its last line is ended, unless Base64 says
    to the byte where it ends."""
    text = flat(text)
    whole = not message.is_multipart() and message["Content-Transfer-Encoding"] != "base64"
    return text + "\n" if whole and text and not text.endswith("\n") else text


def defects(message):
    found = []
    for part in message.walk():
        found += part.defects
        for name, value in part.items():
            # The ASCII likeness of a file's name, which stands after the exact one.
            found += [(name, defect) for defect in value.defects
                      if (name, str(defect)) != ("Content-Disposition", "duplicate parameter name; duplicate ignored")]
    return found


class Case(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="mime ")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def file(self, name, data):
        path = self.folder / name
        path.write_bytes(data.encode() if isinstance(data, str) else data)
        return str(path)

    def written(self, subject="", text="", html=None, embed=(), attach=()):
        arguments = [SAMPLE, "write", self.file("subject", subject), self.file("text", text),
                     "-" if html is None else self.file("html", html)]
        for kind, files in (("embed", embed), ("attach", attach)):
            for number, (name, cid, data) in enumerate(files):
                arguments += [kind, self.file(f"{kind}{number}", data), name, cid]
        raw = subprocess.run(arguments, check=True, capture_output=True).stdout
        self.assertNotIn(b"\n", raw.replace(b"\r\n", b""))
        self.assertNotIn(b"\r", raw.replace(b"\r\n", b""))
        self.assertLessEqual(max(map(len, raw.split(b"\r\n"))), 76)
        self.assertTrue(raw.isascii())
        self.assertTrue(raw.endswith(b"\r\n"))
        message = email.message_from_bytes(raw, policy=email.policy.default)
        self.assertEqual(defects(message), [])
        self.assertEqual(message["MIME-Version"], "1.0")
        return message


class WriterTest(Case):
    def test_subjects(self):
        for label, subject in SUBJECTS.items():
            with self.subTest(label):
                message = self.written(subject=subject, text="t")
                wanted = subject.replace("\r", "").replace("\n", "").replace("\0", "")
                self.assertEqual(message["Subject"], wanted)
                self.assertEqual(message.keys(), ["MIME-Version", "Subject", "Content-Type",
                                                  "Content-Transfer-Encoding"])

    def test_texts(self):
        for text in ("", "one line", "a\nb\rc\r\nd", ODD_TEXT, "\N{EURO SIGN} " * 3000, PARTY * 500, ".\r\n.\r\n", "\0\x1b"):
            for html in (None, "<p>" + text):
                with self.subTest(text=text[:20], html=html is not None):
                    message = self.written(text=text, html=html)
                    if html is not None:
                        part = message.get_body(("html",))
                        self.assertEqual(flat(part.get_content()), ended(html, message))
                        self.assertEqual(message.is_multipart(), text != "")
                    if html is None or text:
                        part = message.get_body(("plain",))
                        self.assertEqual(flat(part.get_content()), ended(text, message))
                        self.assertEqual(part.get_content_charset(), "utf-8")

    def test_files(self):
        numbers = random.Random(1)
        files = [(name, "", numbers.randbytes(numbers.choice((0, 1, 56, 57, 58, 400000)))) for name in NAMES]
        message = self.written(subject="files", text="t", attach=files)
        self.assertEqual(message.get_content_type(), "multipart/mixed")
        found = list(message.iter_attachments())
        self.assertEqual([part.get_filename() for part in found], NAMES)
        for part, (name, _, data) in zip(found, files):
            self.assertEqual(part.get_payload(decode=True), data, name)
            self.assertEqual(part.get_content_disposition(), "attachment")
            self.assertEqual(part["Content-Type"].params["name"], name)
            self.assertRegex(str(part), r"filename=[ -~]", name)

    def test_picture_by_content_id(self):
        picture = random.Random(2).randbytes(5000)
        message = self.written(text="t", html='<img src="cid:dot.png">', embed=[("dot.png", "dot.png", picture)],
                               attach=[("a.pdf", "", b"pdf")])
        self.assertEqual([part.get_content_type() for part in message.walk()],
                         ["multipart/mixed", "multipart/alternative", "text/plain", "multipart/related", "text/html",
                          "image/png", "application/pdf"])
        related = message.get_body(("related",))
        self.assertEqual(related["Content-Type"].params["type"], "text/html")
        dot = list(related.iter_attachments())[0]
        self.assertEqual(dot["Content-ID"], "<dot.png>")
        self.assertEqual(dot.get_content_disposition(), "inline")
        self.assertEqual(dot.get_payload(decode=True), picture)
        self.assertEqual([part.get_filename() for part in message.iter_attachments()], ["a.pdf"])


class ReaderTest(Case):
    def read(self, message):
        path = self.file("message", message if isinstance(message, bytes) else message.as_bytes())
        out = subprocess.run([SAMPLE, "read", path], check=True, capture_output=True).stdout.decode()
        subject, *lines = out.split("\n")[:-1]
        return subject, [line.split("\t") for line in lines]

    def test_messages_of_the_other_writer(self):
        for policy in (email.policy.default, email.policy.SMTP):
            for charset, encoding in (("utf-8", "quoted-printable"), ("iso-8859-1", "quoted-printable"),
                                      ("utf-8", "base64"), ("windows-1252", "8bit"), ("koi8-r", "base64")):
                with self.subTest(charset=charset, encoding=encoding, linesep=policy.linesep):
                    text = ("Привет\n" if charset == "koi8-r" else "Grüße, Øre\n") + "long " * 50 + "\n"
                    message = email.message.EmailMessage(policy=policy)
                    message["Subject"] = subject = "Größe und Länge " * 8 + "Ende"
                    message.set_content(text, charset=charset, cte=encoding)
                    message.add_alternative("<b>ü</b>", subtype="html")
                    data = random.Random(3).randbytes(1000)
                    # Our reader decodes encoded words in names, as many programs put them there.
                    names = [name for name in NAMES if not name.startswith("=?")]
                    for name in names:
                        message.add_attachment(data, "application", "x-test", filename=name, cid="<c@d>")
                    got_subject, parts = self.read(message)
                    self.assertEqual(got_subject, subject)
                    plain = [part for part in parts if part[1] == "text/plain"][0]
                    self.assertEqual(flat(base64.b64decode(plain[5]).decode()), text)
                    files = [part for part in parts if part[2] == "attachment"]
                    # A reader of ours gives a name and never a path.
                    self.assertEqual([part[3] for part in files], [name.split("\\")[-1] for name in names])
                    for part in files:
                        self.assertEqual(part[4], "c@d")
                        self.assertEqual(base64.b64decode(part[5]), data)

    def test_a_message_in_a_message_is_one_part(self):
        inner = email.message.EmailMessage()
        inner.set_content("inner")
        outer = email.message.EmailMessage()
        outer.set_content("outer")
        outer.add_attachment(inner)
        _, parts = self.read(outer)
        self.assertEqual([part[1] for part in parts], ["multipart/mixed", "text/plain", "message/rfc822"])
        self.assertEqual(email.message_from_bytes(base64.b64decode(parts[2][5])).get_payload(), "inner\n")


if __name__ == "__main__":
    unittest.main()
