"""Power cuts: the engine is killed at random moments, again and again, and started again."""

import collections
import random
import subprocess
import time
import unittest

import support

CONNECTIONS = 3
WINDOW_MESSAGES = 16  # of one connection


class Killed(support.JobTest):
    def write_list(self, addresses, header="E-Mail,Name"):
        return self.write("list.csv", header + "\n" + "".join(a + ",N\n" for a in addresses))

    def edit(self, addresses, edit, moments):
        """A row is removed, one mended, two are added, the order and the header change."""
        addresses.pop(moments.randrange(len(addresses)))
        addresses[moments.randrange(len(addresses))] = "mended{:03}@example.org".format(edit)
        addresses += ["new{:03}{}@example.org".format(edit, c) for c in "ab"]
        at = moments.randrange(len(addresses))
        addresses[:] = addresses[at:] + addresses[:at]
        self.write_list(addresses, ("Adresse,Vorname", "E-Mail,Name")[edit % 2])

    def kill_again_and_again(self, kills, people, window, *mode, kills_an_edit=None):
        """`window`: how many recipients may be on the wire of one connection."""
        addresses = ["k{:06}@example.org".format(i) for i in range(people)]
        listed = self.write_list(addresses)
        catcher = self.catcher()
        self.add_account(catcher.port)
        self.expect(0, self.vespro("settings", "set", "NumConnect", str(CONNECTIONS)))
        self.expect(0, self.vespro("settings", "set", "BccMode", "20"))
        job = self.expect(0, self.vespro(
            "send", "--no-start", "--from", "sender@example.org", "--subject", "S", *mode,
            "--text", self.write("t.txt", "Hi\n" if "--turbo" in mode else "Hi #NAME\n"), "--list", listed)).stdout.strip()
        command = [str(support.PROGRAMS / "vespro-engine"), "-s", job, "-p", "500", "--quiet"]

        seed = random.randrange(1 << 32)
        moments = random.Random(seed)
        for kill in range(kills):
            # Full speed would be over too soon; the window fills all the same, in bursts.
            engine = subprocess.Popen(command + ["--rate", "{}/s".format(people // 40)],
                                      stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            # The first ones hit it while it begins a fresh job.
            time.sleep(moments.uniform(0.0, 0.02 if kill < 10 else 0.2))
            self.assertIsNone(engine.poll(), "it was over before it could be cut off")
            engine.kill()
            engine.wait()
            if kills_an_edit and kill % kills_an_edit == kills_an_edit - 1:
                self.edit(addresses, kill // kills_an_edit, moments)
        done = subprocess.run(command, capture_output=True, text=True, timeout=support.SECONDS)
        self.assertIn(done.returncode, (0, 1), done.stderr)

        states = {row[0]: row[1] for row in self.report()}
        copies = collections.Counter(catcher.recipients())
        lost = [a for a in addresses if states.get(a) != "unknown" and copies[a] == 0]
        twice = [a for a, count in copies.items() if count > 1]
        unknown = sum(state == "unknown" for state in states.values())
        print("seed {}: killed {} times; {} recipients, {} accepted, {} twice, {} lost, {} unknown".format(
            seed, kills, people, sum(copies.values()), len(twice), len(lost), unknown))
        self.assertEqual(sorted(states), sorted(addresses))
        self.assertLessEqual(set(states.values()), {"sent", "unknown"})
        self.assertEqual((lost, twice), ([], []))
        # What was on the wire when it was cut off, and no more than that: of what arrived, the last
        # messages of their connections.
        self.assertLessEqual(unknown, kills * CONNECTIONS * window)
        self.assertLess(unknown, people // 10)
        arrived = collections.defaultdict(list)
        for _, connection, _, recipients in catcher.envelopes():
            arrived[connection].append(recipients)
        last = {a for messages in arrived.values() for r in messages[-WINDOW_MESSAGES:] for a in r}
        self.assertLessEqual({a for a in addresses if states[a] == "unknown" and copies[a]}, last)
        self.cut_off_the_reports(command, moments)

    def cut_off_the_reports(self, command, moments):
        """A finished job writes nothing but its reports."""
        before, files = self.report(), self.session_files()
        for _ in range(20):
            engine = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            time.sleep(moments.uniform(0.0, 0.2))
            engine.kill()
            engine.wait()
        subprocess.run(command, capture_output=True, timeout=support.SECONDS)
        self.assertEqual(self.report(), before)
        self.assertEqual(self.session_files(), files)

    def session_files(self):
        return sorted(path.name for path in self.sessions()[0].iterdir())

    def test_two_hundred_times_with_a_copy_each(self):
        self.kill_again_and_again(200, 40_000, 16, "--personalised", kills_an_edit=60)

    def test_sixty_times_with_an_edit_after_every_third(self):
        self.kill_again_and_again(60, 4_000, 16, "--personalised", kills_an_edit=3)

    def test_forty_times_with_one_copy_to_many(self):
        self.kill_again_and_again(40, 200_000, 200, "--turbo")


if __name__ == "__main__":
    unittest.main(verbosity=2)
