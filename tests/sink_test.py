"""Whole jobs against Postfix's smtp-sink, a server of another hand: with and without ESMTP, refusing,
and hanging up in the middle."""

import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

import support

SINK = shutil.which("smtp-sink", path=os.environ.get("PATH", "") + ":/usr/sbin")


class Sink(support.JobTest):
    COUNT = 300

    def setUp(self):
        super().setUp()
        # The sink gives up root, so its folder can't be below ours.
        self.dumps = pathlib.Path(tempfile.mkdtemp(prefix="sink-"))
        self.addCleanup(shutil.rmtree, self.dumps)
        self.dumps.chmod(0o777)
        self.port = support.free_port()
        self.addresses_sent = ["s{:03}@example.com".format(i) for i in range(self.COUNT)]

    def start(self, *options):
        user = ["-u", "nobody"] if os.geteuid() == 0 else []
        sink = subprocess.Popen(
            [SINK, *user, "-d", str(self.dumps / "%s."), *options, "127.0.0.1:{}".format(self.port), "50"])
        self.addCleanup(sink.wait)
        self.addCleanup(sink.kill)
        support.wait_for_port(self.port, sink)
        self.add_account(self.port)

    def job(self, *engine):
        listed = self.write("list.csv", "Name,E-Mail\n" + "".join(
            "N{},{}\n".format(i, a) for i, a in enumerate(self.addresses_sent)))
        return self.send("--subject", "For #NAME", "--list", listed,
                         "--text", self.write("t.txt", ".\nDear #NAME,\n..\n.dot\nbye\n"), engine=engine)

    def received(self):
        """{recipient: message} as the sink saw them."""
        got = {}
        for dump in self.dumps.iterdir():
            raw = dump.read_bytes()
            [recipient] = re.findall(rb"^X-Rcpt-Args: <([^>]*)>", raw, re.M)
            address = recipient.decode()
            self.assertNotIn(address, got, "twice")
            got[address] = support.parse(raw.replace(b"\n", b"\r\n"))
        return got

    def check_all_received(self):
        got = self.received()
        self.assertEqual(sorted(got), self.addresses_sent)
        for i, address in enumerate(self.addresses_sent):
            self.assertEqual(got[address]["Subject"], "For N{}".format(i))
            text = got[address].get_content().replace("\r\n", "\n")
            self.assertEqual(text.rstrip("\n"), ".\nDear N{},\n..\n.dot\nbye".format(i))

    def test_takes_all_with_pipelining(self):
        self.start()
        self.expect(0, self.job())
        self.check_all_received()

    def test_takes_all_in_lock_step_without_esmtp(self):
        self.start("-e", "-p")
        self.expect(0, self.job())
        self.check_all_received()

    def test_connection_limit_of_the_client_is_ordinary(self):
        self.start()
        self.expect(0, self.job("--per-connection", "7"))
        self.check_all_received()

    def test_every_recipient_refused(self):
        self.start("-f", "rcpt")
        # With 5.3.0, which is about the mail system (RFC 3463): nobody of the list is to blame.
        self.expect(75, self.job())
        self.assertEqual(self.addresses("refused"), [])
        self.assertEqual(self.received(), {})

    def test_server_that_hangs_up_before_the_answer_leaves_no_false_sent(self):
        self.start("-q", ".")
        self.COUNT = 3
        del self.addresses_sent[3:]
        done = self.job("--retry", "2", "--retry-delay", "0", "--server-backoff", "0.01")
        self.assertIn(done.returncode, (1, 75), done.stderr)
        self.assertEqual(self.addresses("sent"), [])


if __name__ == "__main__":
    if SINK is None:
        support.leave_out("there is no smtp-sink (package postfix)")
    unittest.main(verbosity=2)
