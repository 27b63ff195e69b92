"""Servers that misbehave, each against the whole program: nobody is lost, nobody gets two copies, and what
the report says is what the server has counted."""

import collections
import itertools
import json
import socket
import ssl
import subprocess
import threading
import unittest

import support


class Server:
    """A scripted server for one behaviour: subclasses change what they need. Counts what it accepted."""
    offers = ("PIPELINING", "8BITMIME", "CHUNKING")
    family, host, port = socket.AF_INET, "127.0.0.1", 0

    def __init__(self):
        self.listener = socket.socket(self.family)
        self.listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.listener.bind((self.host, self.port))
        self.listener.listen(50)
        self.port = self.listener.getsockname()[1]
        self.lock = threading.Lock()
        self.accepted = collections.Counter()
        self.lines, self.connections, self.open = [], 0, 0
        self.thread = threading.Thread(target=self.serve, daemon=True)
        self.thread.start()

    def serve(self):
        while True:
            try:
                connection, _ = self.listener.accept()
                connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            except OSError:
                return
            threading.Thread(target=self.run, args=(connection,), daemon=True).start()

    def run(self, connection):
        with self.lock:
            self.connections += 1
            self.open += 1
            number = self.connections
        try:
            with connection:
                try:
                    self.talk(Talk(self, connection, number))
                finally:
                    connection.shutdown(socket.SHUT_RDWR)
        except (OSError, EOFError):
            pass
        with self.lock:
            self.open -= 1

    def talk(self, talk):
        talk.say(self.greeting(talk))
        recipients = []
        while True:
            line = talk.line()
            verb = line.split(" ")[0].split(":")[0].upper()
            if verb == "EHLO":
                talk.say("\r\n".join(["250-here", *("250-" + offer for offer in self.offers), "250 HELP"]))
            elif verb == "RCPT":
                address = line[line.index("<") + 1:line.index(">")]
                reply = self.on_recipient(talk, address, len(recipients))
                recipients += [address] if reply.startswith("2") else []
                talk.say(reply)
            elif verb in ("DATA", "BDAT"):
                if verb == "BDAT":
                    self.read_chunk(talk, int(line.split(" ")[1]))
                if not recipients:
                    talk.say("554 nobody")
                    continue
                if verb == "DATA":
                    talk.say("354 go")
                    while talk.line() != ".":
                        pass
                self.end(talk, recipients)
                recipients = []
            elif verb == "QUIT":
                return talk.say("221 bye")
            else:
                recipients = [] if verb in ("RSET", "MAIL") else recipients
                talk.say(self.on_other(talk, verb, line))

    def read_chunk(self, talk, size):
        if len(talk.stream.read(size)) < size:
            raise EOFError

    def end(self, talk, recipients):
        with self.lock:
            self.accepted.update(recipients)
        talk.say("250 taken")

    def greeting(self, talk):
        return "220 hello"

    def on_recipient(self, talk, address, already):
        return "250 ok"

    def on_other(self, talk, verb, line):
        return "250 ok"

    def close(self):
        # The thread is gone before its descriptor is: another server's may get the same number, and
        # the thread would answer for that one.
        if self.thread.is_alive():
            self.listener.shutdown(socket.SHUT_RDWR)
            self.thread.join()
        self.listener.close()


class Talk:
    def __init__(self, server, connection, number):
        self.server, self.connection, self.number = server, connection, number
        self.stream = connection.makefile("rb")
        self.replies = 0

    def line(self):
        line = self.stream.readline()
        if not line:
            raise EOFError
        text = line.decode("latin-1").rstrip("\r\n")
        self.server.lines.append(text)
        return text

    def say(self, text):
        self.replies += 1
        self.connection.sendall((text + "\r\n").encode("latin-1"))


class Survive(support.JobTest):
    PEOPLE = ["p{:02}@example.org".format(i) for i in range(20)]

    def run_job(self, server, *engine, host=None, login=None, connections=2, turbo=False, text="Hello\n"):
        """One job to the end; (exit code, {address: state})."""
        self.addCleanup(server.close)
        self.add_account(server.port, host or server.host, login=login, password="not this one")
        self.expect(0, self.vespro("settings", "set", "NumConnect", str(connections)))
        self.expect(0, self.vespro("settings", "set", "BccMode", "10"))
        listed = self.write("list.txt", "\n".join(self.PEOPLE) + "\n")
        self.done = self.send(
            "--subject", "S", "--text", self.write("t.txt", text), "--list", listed,
            "--turbo" if turbo else "--personalised", engine=("--retry-delay", "0.02", "--server-backoff", "0.02", *engine))
        states = {row[0]: row[1] for row in self.report()} if list(self.home.rglob("report.txt")) else {}
        # Always: what the report calls sent was accepted once, and nothing was accepted twice.
        for address in self.PEOPLE:
            self.assertLessEqual(server.accepted[address], 1, address)
            if states.get(address) == "sent":
                self.assertEqual(server.accepted[address], 1, address)
            elif states.get(address) != "unknown":
                self.assertEqual(server.accepted[address], 0, address)
        return self.done.returncode, states

    def assert_all(self, result, state="sent", code=0):
        self.assertEqual(result, (code, dict.fromkeys(self.PEOPLE, state)), self.done.stderr)

    def test_replies_a_byte_at_a_time_and_over_many_lines(self):
        class Drip(Server):
            def on_other(self, talk, verb, line):
                for byte in b"250-a\r\n250-b\r\n250 ":
                    talk.connection.sendall(bytes([byte]))
                return "ok"
        self.assert_all(self.run_job(Drip()))

    def test_garbage_and_endless_lines(self):
        for greeting in ("\x00\xff\xfegarbage", "220 " + "x" * 100_000, "2" * 100_000, "250 too early\r\n220 hello"):
            class Garbage(Server):
                def greeting(self, talk):
                    return greeting
            with self.subTest(greeting[:20]):
                self.setUp()
                code, states = self.run_job(Garbage())
                self.assertIn((code, set(states.values())), [(0, {"sent"}), (75, set())], self.done.stderr)

    def test_silence_at_every_stage(self):
        for stage in ("greeting", "MAIL", "RCPT", "end"):
            class Silent(Server):
                def greeting(self, talk):
                    return self.hold("greeting", "220 hello")

                def on_other(self, talk, verb, line):
                    return self.hold(verb, "250 ok")

                def on_recipient(self, talk, address, already):
                    return self.hold("RCPT", "250 ok")

                def end(self, talk, recipients):
                    super().end(talk, recipients) if stage != "end" else self.hold("end", "")

                def hold(self, here, reply):
                    if here == stage:
                        threading.Event().wait(30)
                    return reply
            with self.subTest(stage):
                self.setUp()
                code, states = self.run_job(Silent(), "--timeout-scale", "0.001", "--retry", "2")
                self.assertIn(code, (1, 75))
                if stage == "end":
                    self.assertEqual(set(states.values()), {"unknown"}, self.done.stderr)

    def test_hang_up_after_every_reply(self):
        for last, chunking in itertools.product(range(1, 14), (False, True)):
            class HangsUp(Server):
                offers = Server.offers[:2 + chunking]

                def talk(self, talk):
                    say = talk.say

                    def limited(text):
                        # The first two connections end after so many replies; later ones live.
                        if talk.number <= 2 and talk.replies >= last:
                            raise EOFError
                        say(text)
                    talk.say = limited
                    super().talk(talk)
            with self.subTest((last, chunking)):
                self.setUp()
                server = HangsUp()
                code, states = self.run_job(server)
                self.assertEqual(set(states), set(self.PEOPLE), self.done.stderr)
                self.assertLessEqual(set(states.values()), {"sent", "unknown"})
                # In a window, what was sent behind the last reply that came may not have been read.
                unread = {a for a in states if chunking and states[a] == "unknown"}
                self.assertEqual(sorted(unread.union(server.accepted)), self.PEOPLE)

    def test_a_deferral_is_told_while_it_lasts_and_afterwards(self):
        """Greylisting: whoever is new is put off once, at RCPT, before an intent was noted."""
        class Grey(Server):
            def on_recipient(self, talk, address, already):
                with self.lock:
                    new = address not in self.seen
                    self.seen.add(address)
                return "450 4.7.1 <{}> greylisted".format(address) if new else "250 ok"

        for turbo in (False, True):
            with self.subTest(turbo=turbo):
                self.setUp()
                server = Grey()
                server.seen = set()
                code, states = self.run_job(server, "--json", "--retry", "3", turbo=turbo)
                self.assertEqual((code, set(states.values())), (0, {"sent"}), self.done.stderr)
                events = [json.loads(line) for line in self.done.stdout.splitlines() if line.startswith("{")]
                deferred = {e["address"]: e for e in events if e["event"] == "deferred"}
                self.assertEqual(sorted(deferred), self.PEOPLE)
                for address, event in deferred.items():
                    self.assertEqual((event["attempts"], event["reply"]),
                                     (1, "450 4.7.1 <{}> greylisted".format(address)))
                for row in self.report():
                    self.assertEqual(row[2], "2")
                    self.assertIn("250 taken (deferred before: 450 4.7.1 <{}> greylisted, ".format(row[0]), row[4])
                [journal] = self.home.rglob("journal")
                puts = [line.split("\t") for line in journal.read_text("utf-8").splitlines() if "\tP\t" in line]
                self.assertEqual(sorted(put[5] for put in puts),
                                 ["450 4.7.1 <{}> greylisted".format(a) for a in self.PEOPLE])

    def test_refused_alike_and_gone_on_with(self):
        """Words that nobody knows, to the first three: the next run comes to them last, and one of them was to blame."""
        class Refuses(Server):
            guilty, first = None, []

            def end(self, talk, recipients):
                if self.guilty is None or recipients[0] == self.guilty:
                    return talk.say("554 5.3.0 not on a Tuesday, " + recipients[0])
                self.first = self.first or recipients
                return super().end(talk, recipients)

        server = Refuses()
        code, states = self.run_job(server, connections=1)
        self.assertEqual(code, 75)
        self.assertNotIn("refused", states.values())
        self.assertIn("not on a Tuesday", self.done.stderr)
        [journal] = self.home.rglob("journal")
        marks = [line.split("\t")[6] for line in journal.read_text("utf-8").splitlines() if "\tP\t" in line]
        self.assertIn("suspected 1", marks)
        server.guilty = self.PEOPLE[0]
        self.expect(1, self.vespro("run", str(journal.parent)))
        states = {row[0]: row[1] for row in self.report()}
        self.assertEqual(states, {**dict.fromkeys(self.PEOPLE, "sent"), server.guilty: "refused"})
        self.assertEqual(set(server.accepted.values()), {1})
        self.assertNotIn(server.first[0], self.PEOPLE[:3])

    def test_half_of_them_refused(self):
        class Half(Server):
            def on_recipient(self, talk, address, already):
                return "550 5.1.1 no such user" if int(address[1:3]) % 2 else "250 ok"
        for turbo in (False, True):
            with self.subTest(turbo=turbo):
                self.setUp()
                code, states = self.run_job(Half(), turbo=turbo)
                self.assertEqual(code, 1)
                for address in self.PEOPLE:
                    self.assertEqual(states[address], "refused" if int(address[1:3]) % 2 else "sent")

    def test_no_room_in_the_middle_of_a_batch(self):
        class Full(Server):
            def on_recipient(self, talk, address, already):
                return "452 4.5.3 too many recipients" if already >= 3 else "250 ok"
        self.assert_all(self.run_job(Full(), turbo=True))

    def test_a_limit_of_connections_and_of_messages(self):
        class Limited(Server):
            def greeting(self, talk):
                if self.open > 2:
                    talk.say("421 4.7.0 too many connections")
                    raise EOFError
                talk.left = 3
                return "220 hello"

            def on_other(self, talk, verb, line):
                talk.left -= verb == "MAIL"
                if talk.left < 0:
                    talk.say("421 4.7.0 too many messages in this connection")
                    raise EOFError
                return "250 ok"
        self.assert_all(self.run_job(Limited(), connections=6))

    def test_a_server_that_waits_for_nobody(self):
        class Impatient(Server):
            def run(self, connection):
                connection.settimeout(0.15)
                super().run(connection)
        server = Impatient()
        self.assert_all(self.run_job(server, "--rate", "4/s"))
        # A connection is opened for a message, not to wait for its turn.
        self.assertLessEqual(server.connections, len(self.PEOPLE) + 5)

    def test_text_behind_starttls(self):
        class Injected(Server):
            offers = ("STARTTLS",)

            def on_other(self, talk, verb, line):
                return "220 go\r\n250 injected" if verb == "STARTTLS" else "250 ok"
        server = Injected()
        code, _ = self.run_job(server)
        self.assertEqual((code, sum(server.accepted.values())), (75, 0), self.done.stderr)
        self.assertFalse([line for line in server.lines if line.startswith("MAIL")])

    def test_no_tls_where_it_is_required(self):
        server = Server()
        code, _ = self.run_job(server, "--tls", "required")
        self.assertEqual((code, sum(server.accepted.values())), (78, 0), self.done.stderr)

    def test_a_name_whose_first_addresses_are_dead(self):
        name = "several.example"
        hosts = self.write("hosts", "127.0.0.1 localhost\n" + "".join(
            "{} {}\n".format(address, name) for address in ("::1", "127.0.0.1", "127.0.0.2")))
        prefix = ("unshare", "--mount", "sh", "-c", 'mount --bind "$0" /etc/hosts && exec "$@"', str(hosts))
        asked = subprocess.run([*prefix, "getent", "ahosts", name], capture_output=True, text=True)
        if asked.returncode != 0:
            self.skipTest("only root may give a name its addresses here: " + asked.stderr)
        found = list(dict.fromkeys(line.split()[0] for line in asked.stdout.splitlines()))
        self.assertEqual(len(found), 3, found)

        class Last(Server):
            host = found[-1]
            family = socket.AF_INET6 if ":" in host else socket.AF_INET
        server = Last()
        self.prefix = prefix
        self.assert_all(self.run_job(server, host=name))

    def test_tls_from_the_first_byte(self):
        made = subprocess.run(
            ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
             "-subj", "/CN=test", "-addext", "subjectAltName=IP:127.0.0.1", "-days", "2",
             "-keyout", "key.pem", "-out", "ca.pem"], cwd=self.folder, capture_output=True, text=True)
        self.assertEqual(made.returncode, 0, made.stderr)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(self.folder / "ca.pem", self.folder / "key.pem")

        class Wrapped(Server):
            port = 465

            def run(self, connection):
                super().run(context.wrap_socket(connection, server_side=True))
        try:
            server = Wrapped()
        except OSError as error:
            self.skipTest("port 465 can't be had here: {}".format(error))
        self.assert_all(self.run_job(server, "--ca", str(self.folder / "ca.pem")))

    def test_refused_in_the_middle_of_the_message(self):
        # More than the system's buffers take, so that the refusal comes while it is written.
        text = "A line of text like many others, and none of them is read.\n" * 250_000
        for rude in (False, True):
            class Early(Server):
                def read_chunk(self, talk, size):
                    talk.stream.read(100_000)
                    talk.say("552 5.3.4 too large")
                    while not rude and talk.stream.read(100_000):
                        pass
                    raise EOFError
            with self.subTest(rude=rude):
                self.setUp()
                server = Early()
                code, states = self.run_job(server, turbo=True, text=text)
                self.assertEqual((code, sum(server.accepted.values())), (1, 0), self.done.stderr)
                self.assertEqual(len(states), len(self.PEOPLE))
                self.assertLessEqual(set(states.values()), {"refused", "failed"} if rude else {"refused"})

    def test_a_message_that_no_account_carries(self):
        text = "A line of text for everybody that all of them have in common.\n" * 1000
        for turbo in (False, True):
            class Small(Server):
                offers = ("PIPELINING", "SIZE 20000")
            with self.subTest(turbo=turbo):
                self.setUp()
                server = Small()
                code, states = self.run_job(server, turbo=turbo, text=text)
                self.assertEqual((code, states), (65, {}), self.done.stderr)
                self.assertFalse([line for line in server.lines if line.startswith("MAIL")])
                self.assertRegex(self.done.stderr, r"127\.0\.0\.1:\d+: the message has at least \d{5} bytes, "
                                                   r"the server takes at most 20000.*--anew")
                self.assertNotIn("go on with", self.done.stderr)

    def test_a_dead_account_is_named(self):
        server = Server()
        self.add_account(support.free_port())
        code, states = self.run_job(server)
        self.assertEqual((code, states), (1, dict.fromkeys(self.PEOPLE, "sent")), self.done.stderr)
        self.assertRegex(self.done.stderr, r"account 127\.0\.0\.1:\d+ did not work: .*refused")

    def test_ipv6(self):
        class Six(Server):
            family, host = socket.AF_INET6, "::1"
        try:
            server = Six()
        except OSError as error:
            self.skipTest("this machine has no IPv6: {}".format(error))
        self.assert_all(self.run_job(server))

    def test_a_token_that_expires_and_stays_secret(self):
        token = "s3cret-token-of-an-hour"

        class Tokens(Server):
            offers = ("AUTH XOAUTH2",)

            def on_other(self, talk, verb, line):
                if verb != "AUTH":
                    return "250 ok"
                # The second login is refused, and repeats what it was given.
                self.logins = getattr(self, "logins", 0) + 1
                return "535 5.7.8 expired " + line if self.logins == 2 else "235 ok"
        server = Tokens()
        command = "127.0.0.1=echo >> '{}' asked; echo Bearer {}".format(
            self.folder / "asked", token[:2] + "''" + token[2:])
        result = self.run_job(server, "--password-command", command, "--per-connection", "5",
                              login="me", connections=1)
        self.assert_all(result)
        self.assertEqual((self.folder / "asked").read_text(), "asked\n" * 2)
        for path in self.home.rglob("*"):
            if path.is_file():
                self.assertNotIn(token.encode(), path.read_bytes(), path)
        self.assertNotIn(token, self.done.stdout + self.done.stderr)

    def test_ceilings_and_links_that_cannot_be_kept_are_refused(self):
        server = Server()
        for option in (("--account-rate", "elsewhere=5/s"), ("--password-command", "127.0.0.1=true"),
                       ("--unsubscribe-url", "https://x.org/{address}")):
            with self.subTest(option[0]):
                self.setUp()
                code, _ = self.run_job(server, *option, turbo=True)
                self.assertEqual((code, sum(server.accepted.values())), (2, 0), self.done.stderr)


if __name__ == "__main__":
    # A server that is cut off leaves its sockets to the collector.
    unittest.main(verbosity=2, warnings="ignore")
