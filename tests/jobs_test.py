"""From a send to a started engine: what is checked and asked first, what is said of an engine that runs on its
own, and how a job is taken up again without mailing anybody twice."""

import collections
import json
import os
import pathlib
import re
import shlex
import signal
import subprocess
import time
import unittest

import support


class Jobs(support.JobTest):
    def setUp(self):
        super().setUp()
        self.people = ["p{}@example.org".format(i) for i in range(200)]
        self.text = self.write("text.txt", "Hello #NAME\n")
        rows = "".join("P,{}\r\n".format(address) for address in self.people)
        self.list = self.write("list.csv", "Name,E-Mail\r\n" + rows + "Nick,nobody\r\n" + "P,p1@example.org\r\n")

    def compose(self, account, *arguments, subject="News", engine=()):
        return ("send", "--from", "me@example.org", "--subject", subject, "--text", self.text, "--list", self.list,
                "--account", account, *arguments, "--", *engine)

    def begin(self, catcher, *engine):
        """A job that runs on its own."""
        return self.expect(0, self.vespro(*self.compose("127.0.0.1:{}".format(catcher.port), engine=engine)))

    def status(self, *session):
        return json.loads(self.expect(0, self.vespro("--json", "status", *session)).stdout)

    def interrupt(self):
        """Ends the only job that runs, in order, as somebody does who stops the engine."""
        found = subprocess.run(["pgrep", "-f", str(self.home)], capture_output=True, text=True).stdout.split()
        for pid in found:
            os.kill(int(pid), signal.SIGINT)
        for _ in range(200):
            rows = self.status()
            if rows and rows[0]["phase"] == "stopped":
                return rows[0]
            time.sleep(0.05)
        self.fail("the engine did not stop")

    def test_the_same_send_again_mails_nobody_twice(self):
        catcher = self.catcher()
        account = "127.0.0.1:{}".format(catcher.port)
        begun = self.begin(catcher, "--rate", "50/s")
        self.assertIn("the first message was accepted", begun.stderr)
        again = self.expect(75, self.vespro(*self.compose(account)))
        self.assertIn("already", again.stderr)
        row = self.interrupt()
        self.assertEqual(row["left"] + row["sent"], len(self.people))
        self.assertGreater(row["sent"], 0)

        refused = self.expect(75, self.vespro("--no-input", *self.compose(account)))
        self.assertIn("{} left".format(row["left"]), refused.stderr)
        self.assertEqual(len(self.sessions()), 1, "no second job")
        [command] = re.findall(r"Go on with it: (.*?);", refused.stderr)
        done = subprocess.run([*shlex.split(command), "--", "--rate", "100000/s"], capture_output=True, text=True,
                              timeout=support.SECONDS)
        self.assertEqual(done.returncode, 1, done.stderr)  # nobody and the duplicate
        self.assertEqual(catcher.recipients(), sorted(self.people))
        # Finished: the same mail may go out once more, if that is what is said.
        self.expect(1, self.vespro(*self.compose(account, "--wait")))
        self.assertEqual(len(catcher.recipients()), 2 * len(self.people))

    def test_yes_goes_on_and_anew_begins_anew(self):
        catcher = self.catcher()
        account = "127.0.0.1:{}".format(catcher.port)
        self.begin(catcher, "--rate", "50/s")
        row = self.interrupt()
        self.expect(75, self.vespro("--yes", *self.compose(account, "--no-start")))
        self.assertEqual((self.status()[0]["left"], len(self.sessions())), (row["left"], 1))
        # Another subject is another mail, and another list's people are others.
        other = self.expect(0, self.vespro(*self.compose(account, "--no-start", subject="Other")))
        self.assertNotEqual(os.path.dirname(other.stdout.strip()), os.path.dirname(row["job"]))
        self.expect(1, self.vespro("--yes", *self.compose(account, "--wait", engine=("--rate", "9999/s"))))
        self.assertEqual(catcher.recipients(), sorted(self.people))
        self.begin(catcher, "--rate", "50/s")
        self.interrupt()
        self.expect(1, self.vespro(*self.compose(account, "--wait", "--anew", engine=("--rate", "9999/s"))))
        self.assertEqual(set(catcher.recipients()), set(self.people))
        self.assertGreater(len(catcher.recipients()), 2 * len(self.people))

    def test_files_that_go_away_let_no_second_engine_in(self):
        """Removed or renamed by a hand, a cleaner or a backup while the engine works."""
        attacks = (("journal.lock",), ("journal",), ("journal", "journal.lock"))
        self.text = self.write("text.txt", "Hello\n")
        for number, names in enumerate(attacks):
            with self.subTest(away=names):
                catcher = support.Catcher(self.folder / "caught{}".format(number))
                self.addCleanup(catcher.stop)
                self.people = ["a{}-{:03}@example.org".format(number, i) for i in range(200)]
                self.list = self.write("list{}.txt".format(number), "".join(p + "\r\n" for p in self.people))
                self.add_account(catcher.port)
                job = self.expect(0, self.vespro(*self.compose(
                    "127.0.0.1:{}".format(catcher.port), "--no-start"))).stdout.strip()
                session, away = pathlib.Path(job).parent, self.folder / "away{}".format(number)
                away.mkdir()
                command = [str(support.PROGRAMS / "vespro-engine"), "-s", job, "--quiet"]
                engine = subprocess.Popen([*command, "--rate", "100/s"], stdout=subprocess.DEVNULL,
                                          stderr=subprocess.PIPE, text=True)
                while "\tO\t" not in self.text_of(session / "journal"):
                    time.sleep(0.01)
                for name in names:
                    (session / name).rename(away / name)
                second = subprocess.run(command, capture_output=True, text=True, timeout=support.SECONDS)
                if "journal" in names and second.returncode == 65:
                    # On a slow machine the first one has found out and ended before the second looks.
                    self.assertIn("is not a journal", second.stderr)
                else:
                    self.assertEqual(second.returncode, 75, second.stderr)
                    self.assertIn("another engine is at work", second.stderr)
                first = engine.communicate(timeout=support.SECONDS)[1]
                if "journal" in names:
                    self.assertEqual(engine.returncode, 75, first)
                    self.assertIn("was moved or removed", first)
                    self.assertEqual(subprocess.run(command, capture_output=True).returncode, 65)
                    (away / "journal").replace(session / "journal")
                    self.assertLess(len(catcher.recipients()), len(self.people))
                    third = subprocess.run(command, capture_output=True, text=True, timeout=support.SECONDS)
                    # The answers to what was on the wire were not waited for.
                    self.assertIn(third.returncode, (0, 1), third.stderr)
                else:
                    self.assertEqual(engine.returncode, 0, first)
                rows = [line.split("\t") for line in self.text_of(session / "report.txt").splitlines()]
                unknown = {row[0] for row in rows if len(row) > 1 and row[1] == "unknown"}
                self.assertLessEqual(len(unknown), 32)
                got = collections.Counter(catcher.recipients())
                self.assertEqual(set(got.values()), {1})
                self.assertEqual(set(got) | unknown, set(self.people))

    @staticmethod
    def text_of(path):
        return path.read_text("utf-8") if path.exists() else ""

    def test_of_sends_at_the_same_time_one_is_the_first(self):
        catcher = self.catcher()
        account = "127.0.0.1:{}".format(catcher.port)
        self.expect(0, self.vespro("accounts", "list"))  # makes the home
        # Nothing to ask about.
        self.list = self.write("good.csv", "Name,E-Mail\r\n" + "".join("P,{}\r\n".format(p) for p in self.people))
        command = support.command_line("--home", self.home, "--no-input", *self.compose(account, "--wait"))
        sends = [subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
                 for _ in range(6)]
        told = [send.communicate(timeout=support.SECONDS)[1] for send in sends]
        # Whoever looks when the first one is done, sends once more, as it would an hour later.
        self.assertEqual(len(catcher.recipients()), len(self.people) * len(self.sessions()), told)
        self.assertLess(len(self.sessions()), 6, told)
        self.assertLessEqual({send.returncode for send in sends}, {0, 75}, told)

    def test_a_list_that_was_moved_is_the_same_one(self):
        catcher = self.catcher()
        account = "127.0.0.1:{}".format(catcher.port)
        self.begin(catcher, "--rate", "50/s")
        sent, old = self.interrupt()["sent"], self.list
        self.list = self.folder / "moved.csv"
        old.rename(self.list)
        gone = self.expect(75, self.vespro("--yes", *self.compose(account, "--wait")))
        self.assertIn("its list was '{}'".format(old), gone.stderr)
        self.assertEqual((len(catcher.recipients()), len(self.sessions())), (sent, 1))
        old.write_bytes(self.list.read_bytes())
        self.expect(1, self.vespro("--yes", *self.compose(account, "--wait", engine=("--rate", "9999/s"))))
        self.assertEqual(catcher.recipients(), sorted(self.people))

    def test_going_on_promises_nothing_untrue(self):
        real, rehearsal = self.catcher(), support.Catcher(self.folder / "rehearsal")
        self.addCleanup(rehearsal.stop)
        account = "127.0.0.1:{}".format(real.port)
        self.begin(real, "--rate", "50/s")
        sent = self.interrupt()["sent"]
        # Through other servers it is another matter, which no --yes decides.
        other = self.expect(75, self.vespro("--yes", *self.compose("127.0.0.1:{}".format(rehearsal.port), "--wait")))
        self.assertIn("but through " + account, other.stderr)
        self.assertEqual((len(real.recipients()), (rehearsal.maildir / "envelopes.tsv").exists()
                          and rehearsal.recipients() or []), (sent, []))
        # What was accepted in the run before is no good news of this one.
        real.stop()
        dead = self.expect(75, self.vespro("--yes", *self.compose(account, engine=("--retry", "1"))))
        self.assertNotIn("accepted", dead.stderr)

    def test_a_begun_job_that_can_not_be_read_stops_the_next_one(self):
        catcher = self.catcher()
        account = "127.0.0.1:{}".format(catcher.port)
        self.begin(catcher, "--rate", "50/s")
        sent = self.interrupt()["sent"]
        [journal] = self.home.rglob("journal")
        journal.write_bytes(b"?\n" + journal.read_bytes().split(b"\n", 3)[3])
        done = self.expect(65, self.vespro("--yes", *self.compose(account, "--wait")))
        self.assertIn("--anew", done.stderr)
        self.assertEqual((len(catcher.recipients()), len(self.sessions())), (sent, 1))

    def test_an_engine_that_can_not_begin_is_told_of_and_leaves_no_job(self):
        catcher = self.catcher()
        account = "127.0.0.1:{}".format(catcher.port)
        for engine, named in ((("--bogus",), "--bogus"), (("--rate", "3"), "a rate is"),
                              (("--ca", "gone.pem"), "gone.pem"), (("--suppress", "gone.txt"), "gone.txt"),
                              (("--account-rate", "other=1/s"), "other")):
            with self.subTest(engine=engine):
                done = self.vespro(*self.compose(account, engine=engine))
                self.assertIn(done.returncode, (2, 66), done.stderr)
                self.assertIn(named, done.stderr)
                self.assertEqual(self.sessions(), [])
        dead = "127.0.0.1:{}".format(support.free_port())
        done = self.expect(75, self.vespro(*self.compose(dead, engine=("--retry", "1"))))
        self.assertIn("200 left; go on with: ", done.stderr)
        self.assertEqual(self.status()[0]["left"], 200)

    def test_a_finished_job_stays_as_it_is(self):
        catcher = self.catcher("--refuse", "p7@")
        self.add_account(catcher.port, login="ann", password="then")
        self.expect(1, self.send("--subject", "s", "--text", self.text, "--list", self.list))
        self.expect(0, self.vespro("--yes", "accounts", "remove", "1"))
        self.add_account(catcher.port, login="ann", password="now")
        [session] = self.sessions()
        files = {path: path.read_bytes() for path in session.iterdir() if path.is_file()}
        time.sleep(1.1)  # another second would be seen in the report
        told = self.expect(1, self.vespro("run", session.name)).stdout
        self.assertIn("finished before", told)
        self.assertRegex(told, r"vespro send --again \S.*{}".format(session.name))
        self.assertEqual({path: path.read_bytes() for path in session.iterdir() if path.is_file()}, files)
        self.assertEqual(len(catcher.recipients()), len(self.people) - 1)

    def test_the_accounts_of_a_job_can_be_chosen(self):
        real, rehearsal = self.catcher(), support.Catcher(self.folder / "rehearsal")
        self.addCleanup(rehearsal.stop)
        self.add_account(real.port)
        self.add_account(rehearsal.port, server="localhost")
        self.expect(78, self.vespro(*self.compose("mail.example.org")))
        self.expect(78, self.vespro(*self.compose("mail.example.org:25")))
        self.expect(1, self.vespro(*self.compose("LOCALHOST", "--wait")))
        self.assertEqual(rehearsal.recipients(), sorted(self.people))
        self.assertFalse((real.maildir / "envelopes.tsv").exists() and real.envelopes())
        self.expect(1, self.vespro(*self.compose("127.0.0.1:{}".format(real.port), "--account", "localhost", "--wait")))
        self.assertEqual(len(real.recipients()) + len(rehearsal.recipients()), 2 * len(self.people))
        self.assertGreater(len(real.recipients()), 0)

    def test_a_person_is_asked_first(self):
        catcher = self.catcher()
        self.expect(0, self.vespro("accounts", "list"))  # makes the home
        command = support.command_line("--home", self.home,
                                       *self.compose("127.0.0.1:{}".format(catcher.port), "--wait"))
        code, shown = support.on_a_terminal(command, "n")
        self.assertEqual(code, 130, shown)
        for line in ("subject   News", "me@example.org", "200 people", "column 2", "1 row without a usable",
                     "1 duplicate", "127.0.0.1:{}, 5 connections".format(catcher.port), "nothing was sent"):
            self.assertIn(line, shown)
        self.assertEqual(self.sessions(), [])
        code, shown = support.on_a_terminal(command, "\x03")
        self.assertEqual((code, self.sessions()), (130, []), shown)
        code, shown = support.on_a_terminal(command, "y")
        self.assertEqual(code, 1, shown)
        self.assertEqual(catcher.recipients(), sorted(self.people))


if __name__ == "__main__":
    unittest.main()
