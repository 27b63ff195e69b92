"""Encrypted sending with a login, against a server written in Python."""

import base64
import ssl
import subprocess
import time
import unittest

import support

try:
    from aiosmtpd.controller import Controller
    from aiosmtpd.smtp import AuthResult
except ImportError:
    support.leave_out("there is no aiosmtpd (package python3-aiosmtpd)")

LOGIN, PASSWORD = "chöir@example.org", "s3cret, with = & ü"


class Keeper:
    """Keeps what arrives, and how."""

    def __init__(self):
        self.messages = []

    async def handle_DATA(self, server, session, envelope):
        self.messages.append((session.ssl is not None, session.authenticated, envelope.rcpt_tos,
                              envelope.original_content))
        return "250 kept"


class EncryptedServer(support.JobTest):
    def setUp(self):
        super().setUp()
        self.keeper = Keeper()
        self.certificate, self.port = self.serve("DNS:localhost,IP:127.0.0.1")
        self.people = ["p{:02}@example.net".format(i) for i in range(40)]
        self.listed = self.write("list.txt", "\n".join(self.people) + "\n")
        self.text = self.write("t.txt", "Hello\n")

    def serve(self, names, expired=False):
        """A server that is called so by its certificate, and its port."""
        port = support.free_port()
        certificate, key = self.folder / "{}.pem".format(port), self.folder / "key.pem"
        subprocess.run(
            ["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-keyout", key,
             "-out", certificate, "-subj", "/CN=localhost", "-addext", "subjectAltName=" + names],
            check=True, capture_output=True)
        if expired:
            subprocess.run(["openssl", "x509", "-in", certificate, "-signkey", key, "-days", "0",
                            "-out", certificate], check=True, capture_output=True)
            time.sleep(1.1)  # its last second
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(certificate, key)
        server = Controller(
            self.keeper, hostname="127.0.0.1", port=port, tls_context=context,
            require_starttls=True, auth_required=True, authenticator=self.authenticate)
        server.start()
        self.addCleanup(server.stop)
        return certificate, port

    @staticmethod
    def authenticate(server, session, envelope, mechanism, data):
        right = (data.login, data.password) == (LOGIN.encode(), PASSWORD.encode())
        return AuthResult(success=right, handled=False)

    def job(self, password, *engine):
        self.add_account(self.port, "localhost", LOGIN, password)
        return self.send("--subject", "S", "--list", self.listed, "--text", self.text, engine=engine)

    def complaint(self, done, *words):
        """One clear line: it names the server and each of the words, and no secret."""
        [line] = done.stderr.splitlines()
        for word in (*words, "localhost:"):
            self.assertIn(word, line)
        everything = done.stdout + done.stderr + "".join(
            p.read_text("utf-8", "replace") for p in self.home.rglob("*")
            if p.is_file() and p.suffix in (".txt", ".html", ".log") or p.name == "journal")
        self.assertNotIn(PASSWORD, everything)

    def test_everybody_is_served_over_tls_after_the_login(self):
        self.expect(0, self.job(PASSWORD, "--ca", self.certificate))
        self.assertEqual(sorted(a for m in self.keeper.messages for a in m[2]), self.people)
        self.assertTrue(all(tls and authenticated for tls, authenticated, _, _ in self.keeper.messages))
        self.assertEqual(self.addresses("sent"), self.people)

    def test_wrong_password_ends_with_77_and_says_so(self):
        done = self.expect(77, self.job("wrong", "--ca", self.certificate))
        self.complaint(done, "login")
        self.assertEqual(self.keeper.messages, [])

    def test_a_corrected_password_serves_the_job_that_was_begun(self):
        self.expect(77, self.job("wrong", "--ca", self.certificate))
        self.expect(0, self.vespro("accounts", "remove", "1"))
        self.add_account(self.port, "localhost", LOGIN, PASSWORD)
        [session] = self.sessions()
        # The accounts of the home that it lies in, whoever runs it.
        other = support.command_line("--home", self.folder / "other", "run", session)
        self.expect(0, subprocess.run(other, capture_output=True, text=True, timeout=support.SECONDS))
        self.assertEqual(self.addresses("sent"), self.people)
        self.assertEqual((session / "Vespro.cfg").stat().st_mode & 0o777, 0o600)

    def test_a_trace_has_the_dialogue_and_no_secret(self):
        trace = self.folder / "a trace.txt"
        self.expect(0, self.job(PASSWORD, "--ca", self.certificate, "--trace", trace))
        text = trace.read_text("utf-8")
        self.assertEqual(trace.stat().st_mode & 0o777, 0o600)
        for line in ("> EHLO", "> STARTTLS", "> AUTH PLAIN", "> MAIL FROM:<sender@example.org>",
                     "> RCPT TO:<p07@example.net>", "< 250 kept", "> QUIT", "connecting to localhost:{}".format(self.port)):
            self.assertIn(line, text)
        self.assertNotIn("Hello", text)
        plain = "\0{}\0{}".format(LOGIN, PASSWORD).encode()
        for secret in (PASSWORD, base64.b64encode(plain).decode(), base64.b64encode(PASSWORD.encode()).decode(),
                       PASSWORD.encode().hex()):
            self.assertNotIn(secret.rstrip("=").lower(), text.lower())
        # The next run appends; a full disk costs the trace and not the mail.
        [session] = self.sessions()
        self.expect(0, self.vespro("run", session, "--", "--fresh", "--trace", trace, "--trace-data"))
        self.assertTrue(trace.read_text("utf-8").startswith(text))
        self.assertIn("Hello", trace.read_text("utf-8")[len(text):])
        self.expect(0, self.vespro("run", session, "--", "--fresh", "--trace", "/dev/full"))
        self.assertEqual(len(self.keeper.messages), 3 * len(self.people))

    # What a folder's name with a blank is put between in the system's shell.
    QUOTE = '"' if (support.PROGRAMS / "vespro-cli.exe").exists() else "'"

    def test_untrusted_certificate_lets_no_mail_and_no_login_out(self):
        done = self.job(PASSWORD, "--retry", "1", "--server-backoff", "0.01")
        self.assertIn(done.returncode, (1, 75, 78), done.stderr)
        [session] = self.sessions()
        self.complaint(done, "certificate", "issued by 'localhost'", "--ca FILE",
                       " run ", session.name + self.QUOTE + " -- --ca FILE")
        self.assertEqual(self.keeper.messages, [])
        self.expect(0, self.vespro("run", session, "--", "--ca", self.certificate))

    def test_certificates_that_no_trust_mends(self):
        for names, expired, words in (
                ("DNS:mail.example.org,IP:192.0.2.1", False, ("it is for mail.example.org, 192.0.2.1;", "--anew")),
                ("DNS:localhost", True, ("expired on 2", "go on with"))):
            with self.subTest(names=names):
                certificate, self.port = self.serve(names, expired)
                self.expect(0, self.vespro("accounts", "add", "localhost", "--port", str(self.port)))
                done = self.send("--subject", names, "--list", self.listed, "--text", self.text,
                                 engine=("--ca", certificate, "--retry", "1", "--server-backoff", "0.01"))
                self.expect(0, self.vespro("accounts", "remove", "1"))
                self.assertIn(done.returncode, (1, 75, 78), done.stderr)
                self.complaint(done, *words)
                self.assertNotIn("--ca FILE", done.stderr)
        self.assertEqual(self.keeper.messages, [])

    def test_tls_required_refuses_a_clear_server(self):
        clear = support.free_port()
        server = Controller(self.keeper, hostname="127.0.0.1", port=clear)
        server.start()
        self.addCleanup(server.stop)
        self.add_account(clear, "localhost")
        done = self.send("--subject", "S", "--list", self.listed, "--text", self.text,
                         engine=("--tls", "required", "--retry", "1", "--server-backoff", "0.01"))
        self.assertIn(done.returncode, (1, 75, 78), done.stderr)
        self.complaint(done, "TLS")
        self.assertEqual(self.keeper.messages, [])


if __name__ == "__main__":
    unittest.main(verbosity=2)
