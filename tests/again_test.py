"""A job's message once more, to those whom it did not reach: the right people, each with the values of their own
row, and nobody twice."""

import collections
import json
import pathlib
import random
import signal
import subprocess
import time
import unittest

import support

try:
    from aiosmtpd.controller import Controller
except ImportError:
    support.leave_out("there is no aiosmtpd (package python3-aiosmtpd)")

NAMES = ("Ann", "\"Bob B\"", "O'Brien", "Zoë & Co", "", " Cid ", "\"\"", "<b>D</b>")
ANSWERS = {"refuse": "550 5.1.1 nobody of that name", "fail": "450 4.2.0 later"}


class Server:
    """Does with each person what `plan` says, and tells a process to stop after so many messages."""

    def __init__(self):
        self.plan, self.got, self.stop_after, self.process = {}, [], None, None
        self.signal = signal.SIGINT

    async def handle_RCPT(self, server, session, envelope, address, options):
        answer = ANSWERS.get(self.plan.get(address))
        if answer is None:
            envelope.rcpt_tos.append(address)
        return answer or "250 ok"

    async def handle_DATA(self, server, session, envelope):
        self.got.append((envelope.rcpt_tos, envelope.original_content))
        if len(self.got) == self.stop_after:
            self.process.send_signal(self.signal)
        if any(self.plan.get(address) == "lose" for address in envelope.rcpt_tos):
            server.transport.abort()
        return "250 kept"


class Again(support.JobTest):
    def setUp(self):
        super().setUp()
        self.server = Server()
        port = support.free_port()
        controller = Controller(self.server, hostname="127.0.0.1", port=port)
        controller.start()
        self.addCleanup(controller.stop)
        self.account = "127.0.0.1:{}".format(port)
        self.expect(0, self.vespro("settings", "set", "DefaultBccMode", "3"))

    def run_engine(self, *arguments, stop_after=None):
        """Runs a send to its end, or stops it; (the session, what arrived meanwhile)."""
        before, self.server.got, self.server.stop_after = set(self.sessions()), [], stop_after
        self.server.process = subprocess.Popen(
            support.command_line("--home", self.home, "--yes", "send", "--wait", *arguments),
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, encoding="utf-8")
        told = self.server.process.communicate(timeout=support.SECONDS)
        self.assertIn(self.server.process.returncode, (0, 1, 130, -signal.SIGKILL), told)
        new = set(self.sessions()) - before
        self.assertLessEqual(len(new), 1)
        return (new.pop() if new else None), self.server.got

    def states(self, session):
        rows = [line.split("\t") for line in (session / "report.txt").read_text("utf-8").splitlines()]
        return {row[0]: row[1] for row in rows if len(row) > 2 and row[1] in support.STATES}

    def make_list(self, chance, kind, name):
        """A list, its options, the letter, and what the letter says to whom."""
        people = ["P{}@example.org".format(i) for i in range(chance.randint(8, 24))]
        rows = [[chance.choice(NAMES), "C{}".format(i), address] for i, address in enumerate(people)]
        if kind == "text":
            return people, self.write(name + ".txt", "\n".join(people)), (), "Hello #NAME", lambda row: "Hello #NAME", rows
        header = kind == "header"
        if not header:
            rows[0][0] = "Zoe"  # whose name is what the field is called by
        order = chance.sample(range(3), 3)
        lines = [",".join(row[i] for i in order) for row in ([["Name", "Code", "Mail"]] if header else []) + rows]
        listed = self.write(name + ".csv", ("\ufeff" if chance.random() < 0.5 else "") + "\r\n".join(lines) + "\r\n")
        options = ("--column", order.index(2) + 1, "--header" if header else "--value")
        words = ("#NAME", "#CODE") if header else ("#ZOE", "#C0")
        return people, listed, options, "{} has {}!".format(*words), self.greeting, rows

    @staticmethod
    def greeting(row):
        value = row[0].strip(" ")
        return "{} has {}!".format(value[1:-1] if len(value) > 1 and value[0] == value[-1] == '"' else value, row[1])

    def one_round(self, seed, kind):
        chance = random.Random(seed)
        people, listed, options, letter, greeting, rows = self.make_list(chance, kind, seed)
        people = [address.lower() for address in people]
        expected = {row[2].lower(): greeting(row) for row in rows}
        turbo, session = chance.random() < 0.25, None
        for stage in range(4):
            wanted = chance.choice(((), ("--refused",), ("--unknown",), ("--refused", "--unknown")))
            last = stage == 3
            self.server.plan = {p: "take" if last else chance.choice(("take", "take", "refuse", "fail", "lose"))
                                for p in people}
            stop_after = None if last or chance.random() < 0.3 else chance.randint(1, len(people))
            if session is None:
                command = ("--from", "me@example.org", "--subject", "To " + letter, "--text",
                           self.write("t.txt", letter + "\n"), "--list", listed, *options, "--account", self.account,
                           "--turbo" if turbo else "--personalised", "--allow-unknown-words", "--", "--retry", "1")
                known, may = {}, set(people)
            else:
                command, known = ("--again", session.name, *wanted), self.states(session)
                not_to = {"sent", "skipped", "refused", "unknown"} - {option[2:] for option in wanted}
                may = {p for p in may if known.get(p) not in not_to}
            new, got = self.run_engine(*command, stop_after=stop_after)
            arrived = collections.Counter(p for recipients, _ in got for p in recipients)
            self.assertLessEqual(set(arrived), may, (seed, stage, known))
            self.assertEqual(set(arrived.values()) - {1}, set(), (seed, stage))
            for recipients, raw in got if not turbo else ():
                message = support.parse(raw)
                self.assertEqual(message.get_content().strip("\r\n"), expected[recipients[0]])
                self.assertEqual(str(message["Subject"]).split(), "To {}".format(expected[recipients[0]]).split())
            if new is None:
                self.assertEqual(may, set(), (seed, stage))
                break
            if session is not None:
                # What the first job had left is the new one's, also if that was stopped.
                old = self.states(session)
                self.assertLessEqual({old.get(p) for p in may}, {"skipped"}, (seed, stage, old))
                done = self.vespro("run", session.name)
                self.assertIn("finished before", done.stdout)
                self.assertEqual(len(self.server.got), len(got))
            if last:
                self.assertEqual({p for p in may if self.states(new)[p] == "sent"}, may, seed)
            session = new

    def test_whom_it_did_not_reach_and_nobody_twice(self):
        for seed in range(6):
            for kind in ("header", "value", "text"):
                with self.subTest(seed=seed, kind=kind):
                    self.one_round("{} {}".format(seed, kind), kind)

    def test_after_a_kill_whoever_is_in_doubt_is_left_alone(self):
        people = ["p{}@example.org".format(i) for i in range(60)]
        self.server.signal = signal.SIGKILL
        first, got = self.run_engine("--from", "me@example.org", "--subject", "s", "--text", self.write("t.txt", "t"),
                                     "--list", self.write("l.txt", "\n".join(people)), "--account", self.account,
                                     stop_after=30)
        time.sleep(0.5)  # what was on the wire arrives
        copies = [p for recipients, _ in got for p in recipients]
        # Two at the same time: only one of them gets the people.
        command = support.command_line("--home", self.home, "--no-input", "send", "--again", first, "--wait")
        sends = [subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, encoding="utf-8")
                 for _ in range(2)]
        told = [send.communicate(timeout=support.SECONDS) for send in sends]
        copies += [p for recipients, _ in got[len(copies):] for p in recipients]
        self.assertEqual(set(collections.Counter(copies).values()), {1}, told)
        left_alone = {p for p, state in self.states(first).items() if state == "unknown"}
        self.assertEqual(set(copies) | left_alone, set(people), told)
        self.assertEqual(len(self.sessions()), 2, told)
        self.assertIn("--unknown adds them", told[0][1] + told[1][1])

    def test_what_it_says_and_asks_first(self):
        people = ["p{}@example.org".format(i) for i in range(8)]
        self.server.plan = {people[1]: "fail", people[2]: "refuse", people[3]: "lose"}
        first, _ = self.run_engine("--from", "me@example.org", "--subject", "s", "--text", self.write("t.txt", "t"),
                                   "--list", self.write("l.txt", "\n".join(people)), "--account", self.account,
                                   "--", "--retry", "1", "--rate", "1000/s")
        self.server.plan, command = {}, ("send", "--again", first.name, "--wait")
        code, shown = support.on_a_terminal(support.command_line("--home", self.home, *command), "n")
        self.assertEqual(code, 130, shown)
        for line in ("goes again to 1 person: 1 failed; not to 1 refused (--refused adds them), 1 unknown",
                     "through   " + self.account, "Send it?", "nothing was sent"):
            self.assertIn(line, shown)
        self.assertEqual(self.sessions(), [first])
        for wrong in (("--limit", "1"), ("--only", people[1]), ("--dry-run", self.folder / "dry")):
            self.expect(2, self.vespro(*command, "--", *wrong))
        for wrong in (("--list", "x.csv"), ("--subject", "x"), ("--anew",)):
            self.expect(2, self.vespro(*command, *wrong))
        self.expect(2, self.vespro("send", "--refused"))
        done = self.expect(0, self.vespro("--json", "send", "--again", first, "--no-start", "--refused"))
        job = pathlib.Path(json.loads(done.stdout)["job"])
        self.assertEqual((job.parent / "list.txt").read_text("utf-8"), people[1] + "\n" + people[2] + "\n")
        # The options that it was begun with are those of the new one.
        self.assertIn("1000/s", (job.parent / "engine-options").read_text("utf-8"))
        again = self.expect(0, self.vespro("--json", *command))
        self.assertEqual(json.loads(again.stdout), {"job": None, "people": 0})
        self.expect(66, self.vespro("send", "--again", job))  # not begun


if __name__ == "__main__":
    unittest.main()
