"""The whole road of a send, from files to received messages, against the catcher."""

import collections
import email.utils
import html
import re
import unittest

import support

ONCE = ("From", "To", "Subject", "Date", "Message-ID", "MIME-Version")


def address_of(line, column):
    fields = line.split(",")
    if len(fields) <= column:
        return ""
    return fields[column].replace('"', "").replace("'", "").lower().strip(" ")


def value_of(field):
    field = field.strip(" ")
    if len(field) >= 2 and field[0] == field[-1] == '"':
        field = field[1:-1]
    return field


class Letters(support.JobTest):
    """Checks that hold for every message that leaves."""

    def check_shape(self, raw):
        self.assertIsNone(re.search(rb"(?<!\r)\n|\r(?!\n)|\0", raw), "a line that does not end in CR LF")
        self.assertLessEqual(max(len(line) for line in raw.split(b"\r\n")), 998)
        message = support.parse(raw)
        for part in message.walk():
            self.assertEqual(part.defects, [], part.get_content_type())
            for name, value in part.items():
                # A plain file name beside the encoded one is meant: for programs that know no RFC 2231.
                defects = [d for d in getattr(value, "defects", ())
                           if name != "Content-Disposition" or "duplicate parameter" not in str(d)]
                self.assertEqual(defects, [], name)
        counts = collections.Counter(name.lower() for name in message.keys())
        for name in ONCE:
            self.assertEqual(counts[name.lower()], 1, name)
        self.assertEqual([n for n in ("bcc", "return-path", "received", "x-mailer") if counts[n]], [])
        self.assertRegex(message["Message-ID"], r"^<[^<>@\s]+@example\.org>$")
        self.assertLess(abs(email.utils.parsedate_to_datetime(message["Date"]).timestamp()
                            - email.utils.time.time()), 600)
        return message

    def check_pictures(self, message):
        """Each picture that the HTML names is a part of the same multipart/related."""
        for part in message.walk():
            if part.get_content_type() != "multipart/related":
                continue
            content = part.get_body(("html",)).get_content()
            named = set(re.findall(r'cid:([^"\'> ]+)', content))
            there = {p["Content-ID"].strip("<>") for p in part.iter_attachments()}
            self.assertTrue(named)
            self.assertEqual(named, there)
            return content
        self.fail("no multipart/related")


class SampleList(Letters):
    def test_everybody_gets_exactly_their_own_letter(self):
        before = {path: path.read_bytes() for path in support.EXAMPLES.iterdir()}
        lines = (support.EXAMPLES / "members.csv").read_text("utf-8").splitlines()[1:]
        first = {}
        for line in lines:
            first.setdefault(address_of(line, 3), line)
        first.pop("")
        self.assertEqual(len(first), 980)

        catcher = self.catcher()
        self.add_account(catcher.port)
        self.vespro_done = self.send(
            "--name", "The Harbour Choir", "--reply-to", "answers@example.org",
            "--subject", "Songs on the quay, #FIRST_NAME – #TOWN?",
            "--text", support.EXAMPLES / "newsletter.txt",
            "--html", support.EXAMPLES / "newsletter.html",
            "--embed", support.EXAMPLES / "banner.png",
            "--attach", support.EXAMPLES / "programme.pdf",
            "--list", support.EXAMPLES / "members.csv")
        self.expect(1, self.vespro_done)

        self.assertEqual(catcher.recipients(), sorted(first))
        self.assertEqual(self.addresses("sent"), sorted(first))
        states = collections.Counter(row[1] for row in self.report())
        self.assertEqual(states, {"sent": 980, "skipped": 20})
        ids = set()
        for file, _, sender, recipients in catcher.envelopes():
            message = self.check_shape(file.read_bytes())
            ids.add(message["Message-ID"])
            self.check_letter(message, sender, recipients, first[recipients[0]])
        self.assertEqual(len(ids), 980)
        self.assertEqual(before, {path: path.read_bytes() for path in support.EXAMPLES.iterdir()})

    def check_letter(self, message, sender, recipients, line):
        number, given, family, _, town, seats = [value_of(f) for f in line.split(",")[:6]]
        self.assertEqual(sender, "sender@example.org")
        self.assertEqual([a.addr_spec for a in message["To"].addresses], recipients)
        self.assertEqual(str(message["From"]), "The Harbour Choir <sender@example.org>")
        self.assertEqual(str(message["Reply-To"]), "answers@example.org")
        self.assertEqual(str(message["Subject"]), "Songs on the quay, {} – {}?".format(given, town))
        text = message.get_body(("plain",)).get_content()
        self.assertTrue(text.startswith("Dear {} {},".format(given, family)), text[:80])
        self.assertIn("from {} we have set aside {} seats".format(town, seats), text)
        self.assertIn("member no. {}.".format(number), text)
        content = self.check_pictures(message)
        self.assertIn("<h1>Dear {} {},</h1>".format(
            html.escape(given), html.escape(family).replace("&#x27;", "&#39;")), content)
        self.assertIn('<b style="color: #AA3311">{}</b>'.format(seats), content)
        self.assertIn("color: #223344;", content)
        [attached] = [p for p in message.iter_attachments() if p.get_filename()]
        self.assertEqual(attached.get_filename(), "programme.pdf")
        self.assertEqual(attached.get_content_type(), "application/pdf")
        self.assertEqual(attached.get_content(), (support.EXAMPLES / "programme.pdf").read_bytes())


class HardValues(Letters):
    """Values and bodies that break careless code; each received text is compared whole."""

    ROWS = [
        # address, NAME, CODE, FEE
        ("a1@example.org", '<b>Tom & "Jerry"</b>', "a=b;c=3D", "10 €"),
        ("a2@example.org", "O'Brien", "#NAME", "=?utf-8?q?x?="),
        ("a3@example.org", "🎻 Zoë 🎶" * 20, "\tx\x01\x7f.", "&amp;"),
        ("a4@example.org", "x" * 5000, "ä" * 5000, "."),
        ("a5@example.org", "", "", ""),
        ("a6@example.org", "Bcc: evil@example.org", "</style><script>", "%s %n \\r\\n"),
    ]
    TEXT = "\n".join([
        "Hello #NAME, your code is #CODE, the fee #FEE.",
        "#NAMES #NAME_ #name #NOFIELD # #",
        ".", "..", ".#FEE", "From here", "=3D", "trailing blanks   ", "",
        "long " * 4000, "é" * 20000, "the end", ""])
    HTML = "\n".join([
        "<html><head><style>b { color: #FEE; background: #CODE }</style></head>",
        '<body bgcolor="#FEE"><p title="#CODE" style="color:#FEE">#NAME</p>',
        "<p>#CODE #FEE</p>", ".", "y" * 20000, "</body></html>", ""])

    def expected(self, template, row):
        for word, value in zip(("NAME", "CODE", "FEE"), row[1:]):
            # A private-use mark keeps a value that looks like a word from being replaced again.
            template = re.sub("#" + word + r"(?![A-Za-z0-9_])",
                              lambda _: value.replace("#", "\ue000"), template)
        return template.replace("\ue000", "#")

    def test_arrive_as_they_are(self):
        rows = "".join(",".join(row) + "\r\n" for row in self.ROWS)
        listed = self.write("list ü.csv", "E-Mail,Name,Code,Fee\r\n" + rows)
        catcher = self.catcher()
        self.add_account(catcher.port)
        self.expect(0, self.send(
            "--allow-unknown-words", "--subject", "#NAME|#CODE|#FEE", "--list", listed,
            "--text", self.write("t.txt", self.TEXT), "--html", self.write("h.html", self.HTML),
            "--attach", self.write("Übersicht final.bin", bytes(range(256)) * 300)))

        envelopes = catcher.envelopes()
        self.assertEqual(catcher.recipients(), [row[0] for row in self.ROWS])
        for file, _, _, recipients in envelopes:
            row = next(r for r in self.ROWS if r[0] == recipients[0])
            with self.subTest(row=row[0]):
                self.check_row(self.check_shape(file.read_bytes()), row)

    def check_row(self, message, row):
        row = [re.sub(r"[\x01\x7f]", "", field) for field in row]  # no letter has use for them
        # White space in a header may be folded.
        subject = re.sub(r"\s", "", self.expected("#NAME|#CODE|#FEE", row))
        self.assertEqual(re.sub(r"\s", "", str(message["Subject"])), subject)
        text = message.get_body(("plain",)).get_content().replace("\r\n", "\n")
        self.assertEqual(text.rstrip("\n"), self.expected(self.TEXT, row).rstrip("\n"))

        content = message.get_body(("html",)).get_content().replace("\r\n", "\n")
        self.assertIn("<style>b { color: #FEE; background: #CODE }</style>", content)
        self.assertIn('<body bgcolor="#FEE">', content)
        title, colour, name, code = re.search(
            r'<p title="([^"]*)" style="([^"]*)">(.*?)</p>\n<p>(.*?)</p>', content, re.S).groups()
        self.assertEqual(colour, "color:#FEE")
        self.assertEqual(html.unescape(title), row[2])
        self.assertEqual((html.unescape(name), html.unescape(code)), (row[1], row[2] + " " + row[3]))
        self.assertIsNone(re.search(r"<(?!/?(html|head|style|body|p|meta)\b)", content))
        [attached] = message.iter_attachments()
        self.assertEqual(attached.get_filename(), "Übersicht final.bin")
        self.assertEqual(attached.get_content(), bytes(range(256)) * 300)


class CustomWords(Letters):
    def test_a_phrase_stands_for_its_capitals(self):
        listed = self.write("list.csv", "E-Mail,Name\r\na@example.org,Ann\r\n")
        catcher = self.catcher()
        for name, value in (("CustomWord1", "Best regards & thanks"), ("CustomWord2", "name"),
                            ("MailList", "{},CSV,0,HEADER".format(listed))):
            self.expect(0, self.vespro("settings", "set", name, value))
        words = self.expect(0, self.vespro("fields")).stdout.split("\n")
        self.assertEqual(words, ["#E-MAIL", "#NAME", "#BEST REGARDS & THANKS", "#NAME", ""])
        body = "#NAME\n#BEST REGARDS & THANKS\n"
        self.expect(0, self.send(
            "--account", "127.0.0.1:{}".format(catcher.port), "--subject", "#BEST REGARDS & THANKS, #NAME",
            "--text", self.write("t.txt", body),
            "--html", self.write("h.html", "<p>#BEST&nbsp;REGARDS &amp; THANKS</p>")))
        message = self.check_shape(catcher.envelopes()[0][0].read_bytes())
        self.assertEqual(str(message["Subject"]), "Best regards & thanks, Ann")
        self.assertEqual(message.get_body(("plain",)).get_content().split(), "Ann Best regards & thanks".split())
        self.assertIn("<p>Best regards &amp; thanks</p>", message.get_body(("html",)).get_content())
        only = self.expect(0, self.vespro("preview", "--from", "me@example.org", "--subject", "#BEST REGARDS & THANKS",
                                          "--text", self.write("t.txt", "#BEST REGARDS & THANKS\n")))
        self.assertEqual(only.stdout.count("Best regards & thanks"), 2, only.stdout)


class Turbo(Letters):
    def test_one_copy_for_many_and_nobody_sees_the_others(self):
        addresses = ["t{:03}@example.net".format(i) for i in range(250)]
        listed = self.write("list.txt", "\ufeff" + "\n".join(addresses + ["T007@EXAMPLE.net ", "", "x"]))
        catcher = self.catcher("--refuse", "t100@")
        self.add_account(catcher.port)
        self.expect(1, self.send("--turbo", "--to", "Friends of the choir <sender@example.org>",
                                 "--subject", "All", "--list", listed,
                                 "--text", self.write("t.txt", "To you all, #NAME\n")))
        addresses.remove("t100@example.net")
        self.assertEqual(catcher.recipients(), addresses)
        self.assertEqual(self.addresses("sent"), addresses)
        self.assertEqual(self.addresses("refused"), ["t100@example.net"])
        self.assertLess(len(catcher.envelopes()), 10)
        for file, _, _, recipients in catcher.envelopes():
            self.assertLessEqual(len(recipients), 100)
            raw = file.read_bytes()
            self.assertNotIn(b"example.net", raw)
            self.assertIn("#NAME", self.check_shape(raw).get_content())
        [failed] = self.home.rglob("failed.csv")
        self.assertIn("t100@example.net", failed.read_text("utf-8"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
