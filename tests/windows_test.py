"""Whole jobs by the Windows programs, under Wine, against servers on this machine."""

import unittest

import support

try:
    from aiosmtpd.controller import Controller
except ImportError:
    support.leave_out("there is no aiosmtpd (package python3-aiosmtpd)")

# Sending with a login over STARTTLS: its tests can run here too, with these programs.
import aiosmtpd_test
import support_verbs_test


class Windows(support.JobTest):
    home_name = "Łąki été/Дом"  # in no single code page


class Encrypted(Windows, aiosmtpd_test.EncryptedServer):
    pass


class Diagnose(Windows, support_verbs_test.Diagnose):
    pass


class Personalised(Windows):
    def test_two_hundred_get_their_own_letter_once(self):
        keeper = aiosmtpd_test.Keeper()
        port = support.free_port()
        server = Controller(keeper, hostname="127.0.0.1", port=port)
        server.start()
        self.addCleanup(server.stop)
        people = {"p{:03}@example.net".format(i): "Zoë Łuk {}".format(i) for i in range(200)}
        rows = ["E-Mail,Name"] + ["{},{}".format(*person) for person in people.items()]
        listed = self.write("łist.csv", "\r\n".join([*rows, "not an address,Nobody", ""]))
        self.add_account(port)
        done = self.send("--subject", "Für #NAME", "--list", listed,
                         "--text", self.write("text ę.txt", "Dear #NAME,\n.\nbye\n"),
                         "--attach", self.write("żółw.bin", bytes(range(256))))
        self.expect(1, done)

        self.assertEqual(len(keeper.messages), 200)
        received = {}
        for _, _, recipients, raw in keeper.messages:
            [address] = recipients
            received[address] = support.parse(raw)
        self.assertEqual(set(received), set(people))
        for address, message in received.items():
            self.assertEqual(message["Subject"], "Für " + people[address])
            self.assertEqual(message.get_body().get_content().splitlines(),
                             ["Dear {},".format(people[address]), ".", "bye"])
            [attached] = message.iter_attachments()
            self.assertEqual(attached.get_filename(), "żółw.bin")
            self.assertEqual(attached.get_content(), bytes(range(256)))
        self.assertEqual(self.addresses("sent"), sorted(people))
        self.assertEqual(len(self.addresses("skipped")), 1)
        [session] = self.sessions()
        self.assertTrue((session / "report.html").exists())

        # Everybody who is served is served: the same job again reaches nobody.
        self.expect(1, self.vespro("run", session / "Vespro.cfg"))
        self.assertEqual(len(keeper.messages), 200)


def load_tests(loader, *_):
    # Under Wine a program takes its time to start: of the shared tests only those in which Windows'
    # own part counts, the certificates.
    return unittest.TestSuite([
        loader.loadTestsFromTestCase(Personalised),
        loader.loadTestsFromTestCase(Diagnose),
        Encrypted("test_everybody_is_served_over_tls_after_the_login"),
        Encrypted("test_untrusted_certificate_lets_no_mail_and_no_login_out")])


if __name__ == "__main__":
    unittest.main(verbosity=2)
