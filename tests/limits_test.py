"""The limits of accounts: set, shared by all jobs of a home, kept through a kill, never overstepped."""

import collections
import json
import random
import signal
import subprocess
import time
import unittest

import support

ENGINE = support.PROGRAMS / "vespro-engine"


class Limits(support.JobTest):
    def setUp(self):
        super().setUp()
        self.caught = self.catcher()
        self.add_account(self.caught.port)
        self.server = "127.0.0.1:{}".format(self.caught.port)

    def limit(self, *arguments):
        self.expect(0, self.vespro("limits", "set", self.server, *arguments))

    def used(self):
        rows = json.loads(self.expect(0, self.vespro("limits", "list", "--json")).stdout)
        return sum(used["recipients"] for row in rows for used in row["used"])

    def job(self, name, people):
        """A job that is not started; its recipients' addresses have the name."""
        listed = self.write(name + ".csv", "E-Mail\n" + "".join("{}{:04}@example.org\n".format(name, i)
                                                               for i in range(people)))
        return self.expect(0, self.vespro(
            "send", "--no-start", "--from", "sender@example.org", "--subject", name,
            "--text", self.write(name + ".txt", "Hi\n"), "--list", listed)).stdout.strip()

    def start(self, job, *options):
        return subprocess.Popen([ENGINE, "-s", job, *options], encoding="utf-8",
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)

    def finish(self, engine, code):
        out, err = engine.communicate(timeout=support.SECONDS)
        self.assertEqual(engine.returncode, code, out + err)
        return out + err

    def accepted(self):
        copies = collections.Counter(self.caught.recipients())
        self.assertEqual([a for a in copies if copies[a] > 1], [])
        return sum(copies.values())

    def test_two_jobs_at_once_under_one_quota(self):
        self.limit("--per-day", "100")
        engines = [self.start(self.job(name, 150)) for name in ("ann", "ben")]
        for engine in engines:
            said = self.finish(engine, 75)
            self.assertRegex(said, r"the limit of 100 recipients a day is reached; it goes on (on [0-9-]+ )?at \d\d:\d\d\)")
            self.assertIn(" left; go on with: ", said)
        self.assertEqual((self.accepted(), self.used()), (100, 100))
        # What is left is still there, and still may not go out.
        self.finish(self.start(self.job("cid", 1)), 75)
        self.assertEqual(self.accepted(), 100)
        self.assertRegex(self.expect(0, self.vespro("limits", "list")).stdout, "100 of 100 .*; it goes on ")
        self.limit("--per-day", "101")
        self.finish(self.start(self.sessions_of("cid")), 0)
        self.assertEqual(self.accepted(), 101)

    def sessions_of(self, name):
        return next(path / "Vespro.cfg" for path in self.sessions()
                    if name + ".csv" in (path / "Vespro.cfg").read_text("utf-8"))

    def test_two_jobs_that_are_killed(self):
        self.limit("--per-day", "100")
        jobs = [self.job(name, 150) for name in ("ann", "ben")]
        moments = random.Random(20)
        for kill in range(6):
            engines = [self.start(job, "--rate", "30/s") for job in jobs]
            time.sleep(moments.uniform(0.1, 0.5))
            for engine in engines:
                engine.kill()
                engine.communicate()
        for engine in [self.start(job) for job in jobs]:
            self.finish(engine, 75)
        accepted, used = self.accepted(), self.used()
        print("killed 12 times: {} of 100 accepted".format(accepted))
        self.assertEqual(used, 100)
        # What the killed ones had taken and not sent counts; each takes a sixteenth of what is left.
        self.assertTrue(60 <= accepted <= 100, accepted)

    def test_another_account_takes_over(self):
        other = support.Catcher(self.folder / "other")
        self.addCleanup(other.stop)
        self.add_account(other.port)
        self.limit("--per-day", "30")
        self.finish(self.start(self.job("ann", 150)), 0)
        self.assertEqual((len(self.caught.recipients()), len(other.recipients())), (30, 120))

    def test_waits_when_it_is_told_to(self):
        self.limit("--per-day", "30")
        engine = self.start(self.job("ann", 40), "--wait-for-quota", "--json")
        time.sleep(3)
        self.assertIsNone(engine.poll(), "it did not wait")
        self.assertEqual(self.accepted(), 30)
        # Another program raises the limit: who waits does not see that. A signal ends it.
        engine.send_signal(signal.SIGTERM)
        self.finish(engine, 130)

    def test_rate_and_connections(self):
        self.limit("--rate", "20/s", "--connections", "2")
        self.expect(0, self.vespro("settings", "set", "NumConnect", "5"))
        begun = time.monotonic()
        self.finish(self.start(self.job("ann", 61)), 0)
        self.assertGreater(time.monotonic() - begun, 2.9)
        self.assertLessEqual(len({envelope[1] for envelope in self.caught.envelopes()}), 2)

    def test_damage_is_never_no_limit(self):
        self.limit("--per-day", "100")
        self.finish(self.start(self.job("ann", 10)), 0)
        job = self.job("ben", 10)
        for name in ("Vespro.limits", "Vespro.usage"):
            path = next(self.home.rglob(name))
            whole = path.read_bytes()
            for damage in (b"", whole[:len(whole) // 2], whole.replace(b"1", b"2"), bytes(len(whole))):
                with self.subTest(name, damage=damage):
                    path.write_bytes(damage)
                    self.assertIn(name, self.finish(self.start(job), 65))
                    self.assertIn(name, self.expect(65, self.vespro("limits", "list")).stderr)
                    if name == "Vespro.limits":
                        self.assertIn(name, self.expect(65, self.vespro(
                            "limits", "set", self.server, "--per-day", "5")).stderr)
                    self.assertEqual(path.read_bytes(), damage)
            path.write_bytes(whole)
        self.assertEqual(self.accepted(), 10)
        self.finish(self.start(job), 0)
        self.assertEqual(self.used(), 20)

    def test_a_file_of_its_own(self):
        self.limit("--per-day", "100")
        named = self.write("own limits", "vespro-limits 1\n127.0.0.1 per-day=3\nend\n")
        job = self.job("ann", 10)
        self.finish(self.start(job, "--limits", named), 75)
        self.assertEqual((self.accepted(), self.used()), (3, 0))
        self.assertIn("gone", self.finish(self.start(job, "--limits", self.folder / "gone"), 65))
        self.finish(self.start(job, "--dry-run", self.folder / "dry"), 0)

    def test_what_users_get_wrong(self):
        for named, *arguments in (
                ("no account at mx.example.net", "set", "mx.example.net", "--per-day", "5"),
                ("with the login 'ann'", "set", self.server, "--login", "ann", "--per-day", "5"),
                ("a rate is a number", "set", self.server, "--rate", "0/day"),
                ("not '0'", "set", self.server, "--per-day", "0"),
                ("not 'many'", "set", self.server, "--connections", "many"),
                ("say which limit", "set", self.server),
                ("no port", "set", "127.0.0.1:x", "--per-day", "5"),
                ("no limit is set for " + self.server, "remove", self.server)):
            with self.subTest(arguments):
                self.assertIn(named, self.expect(2, self.vespro("limits", *arguments)).stderr)
        self.assertEqual(list(self.home.rglob("Vespro.limits")), [])
        self.limit("--per-day", "5")
        self.limit("--rate", "2/s")
        self.assertIn(self.server + " per-day=5 rate=2/s\n", next(self.home.rglob("Vespro.limits")).read_text())
        self.expect(0, self.vespro("limits", "remove", self.server))
        self.assertEqual(self.expect(0, self.vespro("limits", "list", "--json")).stdout.strip(), "[]")


if __name__ == "__main__":
    unittest.main()
