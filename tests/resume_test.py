"""Power cuts: the engine is killed in the middle, again and again, and started again."""

import collections
import subprocess
import time
import unittest

import support


class Killed(support.JobTest):
    COUNT = 3000

    def test_nobody_gets_a_second_copy_that_was_known_to_be_accepted(self):
        people = ["k{:04}@example.org".format(i) for i in range(self.COUNT)]
        listed = self.write("list.csv", "E-Mail,Name\n" + "".join(p + ",N\n" for p in people))
        catcher = self.catcher()
        self.add_account(catcher.port)
        job = self.expect(0, self.vespro(
            "send", "--no-start", "--from", "sender@example.org", "--subject", "S",
            "--text", self.write("t.txt", "Hi #NAME\n"), "--list", listed)).stdout.strip()
        command = [str(support.PROGRAMS / "vespro-engine"), "-s", job, "-p", "100"]

        kills = 0
        while kills < 4:
            engine = subprocess.Popen(command + ["--rate", "2000/s"], stdout=subprocess.DEVNULL,
                                      stderr=subprocess.DEVNULL)
            time.sleep(0.25)
            if engine.poll() is not None:
                break
            engine.kill()
            engine.wait()
            kills += 1
        self.assertGreater(kills, 0, "it was over before it could be cut off")
        done = subprocess.run(command, capture_output=True, text=True, timeout=support.SECONDS)
        self.assertIn(done.returncode, (0, 1), done.stderr)

        states = {row[0]: row[1] for row in self.report()}
        copies = collections.Counter(catcher.recipients())
        self.assertEqual(sorted(states), people)
        self.assertEqual(set(states.values()) - {"sent", "unknown"}, set())
        self.assertEqual([a for a in people if states[a] == "sent" and copies[a] != 1], [])
        self.assertEqual([a for a in people if copies[a] > 1], [])
        # What was in flight when it was cut off, and no more than that.
        unknown = sum(state == "unknown" for state in states.values())
        print("killed {} times, {} of {} unknown".format(kills, unknown, self.COUNT))
        self.assertLess(unknown, self.COUNT // 10)


if __name__ == "__main__":
    unittest.main(verbosity=2)
