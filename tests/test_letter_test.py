"""`vespro send --test`: one row's letter to somebody else, and nothing to anybody else."""

import json
import unittest

import support


class TestLetter(support.JobTest):
    def setUp(self):
        super().setUp()
        self.caught = self.catcher("--refuse", "gone")
        self.account = "127.0.0.1:{}".format(self.caught.port)
        self.text = self.write("t.txt", "Dear #NAME (#E-MAIL), #LAST\n")

    def try_out(self, address, *arguments, code=0, text=None):
        return self.expect(code, self.vespro(
            "--json", "send", "--from", "me@example.org", "--subject", "For #NAME", "--text", text or self.text,
            "--account", self.account, "--test", address, *arguments))

    def message(self):
        [(file, _, _, recipients)] = self.caught.envelopes()
        return recipients, support.parse(file.read_bytes())

    def test_a_table(self):
        listed = self.write("l.csv", "\ufeffName,E-Mail,Last\nAnn,a@example.org,Lee\nnone,,x\nZoë,z@example.org\n")
        told = json.loads(self.try_out("me@example.net", "--list", listed, "--row", "3").stdout)
        self.assertEqual((told["state"], told["row"], told["line"]), ("sent", 3, 4))
        recipients, message = self.message()
        self.assertEqual(recipients, ["me@example.net"])
        self.assertEqual((str(message["To"]), str(message["Subject"])), ("me@example.net", "For Zoë"))
        self.assertEqual(message.get_content().strip(), "Dear Zoë (z@example.org),")
        self.assertEqual(self.sessions(), [])
        self.assertEqual([path.name for path in self.home.rglob("scratch-*")], [])
        self.assertEqual(json.loads(self.expect(0, self.vespro("--json", "reports", "list")).stdout), [])

    def test_other_lists_and_modes(self):
        # Without a header the first row names the words.
        listed = self.write("v.csv", "a@example.org,name,x\nb@example.org,Bob,y\n")
        self.try_out("me@example.net", "--list", listed, "--column", "1", "--value", "--row", "2")
        self.assertEqual(str(self.message()[1]["Subject"]), "For Bob")
        plain = self.write("p.txt", "a@example.org\nb@example.org\n")
        for mode in ("--turbo", "--personalised"):
            self.try_out("me@example.net", "--list", plain, mode, text=self.write("u.txt", "Hello\n"))
        self.assertEqual({tuple(envelope[3]) for envelope in self.caught.envelopes()}, {("me@example.net",)})

    def test_what_goes_wrong(self):
        listed = self.write("l.csv", "Name,E-Mail,Last\nAnn,a@example.org,Lee\nnone,,x\n")
        refused = json.loads(self.try_out("gone@example.net", "--list", listed, code=1).stdout)
        self.assertEqual(refused["state"], "refused")
        self.assertIn("row 2", self.try_out("me@example.net", "--list", listed, "--row", "2", code=2).stderr)
        self.assertIn("only 2 rows", self.try_out("me@example.net", "--list", listed, "--row", "9", code=2).stderr)
        self.assertIn("address", self.try_out("", "--list", listed, code=2).stderr)
        self.caught.stop()
        done = self.try_out("me@example.net", "--list", listed, code=75)
        self.assertIn("no server can be reached", done.stderr)
        self.assertNotIn("scratch", done.stderr)
        self.assertEqual(self.caught.envelopes(), [])


if __name__ == "__main__":
    unittest.main()
