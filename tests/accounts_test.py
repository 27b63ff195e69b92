"""`vespro accounts test` against servers on this machine that are wrong in one way each."""

import base64
import json

import socket
import ssl
import subprocess
import threading
import unittest

import support

class Server:
    """Knows TLS, one login and one sender; counts what it is told."""

    def __init__(self, certificate=None, password="right", sender="me@club.example"):
        self.certificate, self.password, self.sender = certificate, password, sender
        self.commands = []
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        threading.Thread(target=self.listen, daemon=True).start()

    def listen(self):
        while True:
            try:
                peer, _ = self.listener.accept()
            except OSError:
                return
            threading.Thread(target=self.serve, args=(peer,), daemon=True).start()

    def serve(self, peer):
        try:
            self.talk(peer)
        except OSError:
            pass
        finally:
            peer.close()

    def talk(self, peer, secure=False):
        if not secure:
            peer.sendall(b"220 test ESMTP\r\n")
        for line in peer.makefile("rb"):
            command = line.decode().strip()
            self.commands.append(command)
            verb = command.upper()
            if verb.startswith("EHLO"):
                offers = b"250-STARTTLS\r\n" if self.certificate and not secure else b""
                peer.sendall(b"250-test\r\n250-AUTH PLAIN\r\n" + offers + b"250 SIZE 1000000\r\n")
            elif verb == "STARTTLS":
                peer.sendall(b"220 go on\r\n")
                context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
                context.load_cert_chain(*self.certificate)
                with context.wrap_socket(peer, server_side=True) as secured:
                    return self.talk(secured, True)
            elif not self.answer(peer, command):
                return

    def answer(self, peer, command):
        verb = command.upper()
        if verb.startswith("AUTH PLAIN"):
            right = base64.b64encode(b"\0me\0" + self.password.encode()).decode()
            good = command.split()[-1] == right
            peer.sendall(b"235 in\r\n" if good else b"535 5.7.8 bad credentials, you said " + command.encode() + b"\r\n")
        elif verb.startswith("MAIL"):
            good = command == f"MAIL FROM:<{self.sender}>"
            peer.sendall(b"250 ok\r\n" if good else b"550 5.7.60 not allowed to send as this sender\r\n")
        elif verb == "QUIT":
            peer.sendall(b"221 bye\r\n")
            return False
        else:
            peer.sendall(b"250 ok\r\n")
        return True

class Accounts(support.JobTest):
    def certificate(self, name):
        key, pem = self.folder / f"{name}.key", self.folder / f"{name}.pem"
        subprocess.run(
            ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", "2",
             "-subj", "/CN=test", "-addext", f"subjectAltName={name}", "-keyout", key, "-out", pem],
            check=True, capture_output=True)
        return pem, key

    def try_them(self, code, *arguments):
        return self.expect(code, self.vespro("accounts", "test", "--from", "me@club.example", *arguments)).stdout

    def test_what_is_wrong_is_said(self):
        good, other = self.certificate("IP:127.0.0.1"), self.certificate("DNS:mail.example.org")
        servers = [Server(good), Server(other), Server(good, password="other"), Server(),
                   Server(good, sender="you@club.example")]
        for server in servers:
            self.addCleanup(server.listener.close)
            self.add_account(server.port, login="me", password="right")
        ca = self.folder / "ca.pem"
        ca.write_bytes(good[0].read_bytes() + other[0].read_bytes())
        with_ca = ("--", "--ca", str(ca))

        works = self.try_them(0, "1", *with_ca)
        for line in ("connected", "TLS, with a certificate for 127.0.0.1", "logged in as me",
                     "takes mail from me@club.example", "works; nothing was sent"):
            self.assertIn("\n  " + line, works)
        self.assertEqual(servers[0].commands[-3:], ["MAIL FROM:<me@club.example>", "RSET", "QUIT"])
        self.assertIn("--ca FILE", self.try_them(78, "1"))
        self.assertIn("the certificate is for another server", self.try_them(78, "2", *with_ca))
        refused = self.try_them(77, "3", *with_ca)
        self.assertIn("the login is refused: 535", refused)
        self.assertIn("vespro", refused.split("refused: 535")[1])
        self.assertIn("no TLS; the server is on this machine", self.try_them(0, "4"))
        self.assertIn("does not offer TLS", self.try_them(78, "4", "--", "--tls", "required"))
        self.assertIn("takes no mail from me@club.example: 550 5.7.60", self.try_them(78, "5", *with_ca))

        everything = self.expect(78, self.vespro("--json", "accounts", "test", "--from", "me@club.example", *with_ca))
        rows = [json.loads(line) for line in everything.stdout.splitlines()]
        self.assertEqual([row["works"] for row in rows], [True, False, False, True, False])
        self.assertNotIn("right", everything.stdout + refused)
        self.assertNotIn(base64.b64encode(b"\0me\0right").decode(), everything.stdout + refused)

    def test_what_can_not_be_tried(self):
        self.assertIn("accounts add", self.expect(78, self.vespro("accounts", "test", "--from", "a@b.example")).stderr)
        self.assertIn("--from", self.expect(78, self.vespro("accounts", "test")).stderr)
        with socket.create_server(("127.0.0.1", 0)) as free:
            port = free.getsockname()[1]
        self.add_account(port)
        shown = self.try_them(75)
        self.assertIn("can't be reached", shown)
        self.assertIn("accounts list", self.expect(2, self.vespro("accounts", "test", "7", "--from", "a@b.example")).stderr)
        self.assertIn("--from", self.expect(2, self.vespro("accounts", "test", "--from", "nobody")).stderr)

if __name__ == "__main__":
    unittest.main()
