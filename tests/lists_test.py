"""The operations on a list by the finished command: what they say, a full disk, Ctrl-C, a terminal."""

import collections
import json
import os
import pty
import resource
import signal
import subprocess
import time
import unittest

import support


class Lists(support.JobTest):
    def files(self):
        return {path.name: path.read_bytes() for path in self.folder.iterdir() if path.is_file()}

    def run_list(self, code, *arguments, **more):
        return self.expect(code, self.vespro("list", *arguments, **more))

    def test_what_is_said(self):
        listed = self.write("l ü.csv", "Name,Mail\r\nAnn,A@b\r\nBo,c@d\r\nalone\r\nEve,a@B\r\n")
        more = self.write("more.csv", "Cy,e@f")
        unwanted = self.write("unwanted.txt", "c@d\nx@y\n")
        done = self.run_list(0, "merge", listed, more)
        self.assertEqual(done.stderr, "vespro: File Merged into the current distribution file, 1 line\n")
        done = self.run_list(0, "filter", listed, unwanted, "--column", "Mail", "--yes")
        self.assertEqual(done.stdout, "c@d\n")
        self.assertEqual(done.stderr.splitlines(), [
            "vespro: line 4 has no address; the row stays",
            "vespro: a comma in a cell shifts the cells after it, in quotes too; where such rows may go: --shifted-rows",
            "vespro: Found and removed 1 email duplicates",
            "vespro: Filtered out 1 unwanted emails from the current distribution file"])
        self.assertEqual(listed.read_bytes(), b"name,mail\r\nann,a@b\r\nalone\r\ncy,e@f\r\n")
        done = self.run_list(0, "filter", listed, unwanted, "--yes", "--shifted-rows")
        self.assertEqual(done.stderr, "vespro: line 3 has no address; the row stays\nvespro: No unwanted emails found in the current distribution file\n")
        done = self.run_list(0, "filter", listed, self.write("u.txt", "e@f\n"), "--json", "--yes")
        self.assertEqual(json.loads(done.stdout),
                         {"filtered": 1, "removed": ["e@f"], "unmatchable": 0, "duplicates": 0, "duplicate_addresses": [],
                          "without_address": 1, "without_address_lines": [3]})
        done = self.run_list(0, "merge", listed, more, "--json", "--yes")
        self.assertEqual(json.loads(done.stdout), {"file": str(listed), "second": str(more), "lines": 1})
        # Addresses that a terminal would take for commands are shown harmless, whole to a machine.
        odd = self.write("odd.txt", "a\x1b[2J@b\n\xfc@b\nplain@b\n" * 2)
        done = self.run_list(0, "dedupe", odd, "--yes")
        self.assertEqual(done.stdout, "a?[2j@b\n\xfc@b\nplain@b\n")

    def test_a_mistake_changes_nothing(self):
        listed = self.write("list.txt", "A@b\na@b\n")
        self.write("blank.txt", "")
        self.write("several.csv", "Email,Name,Sponsor\na@b,Ann,x@y\n")
        self.write("other.csv", "Email,Name\ne@f,Eve\n")
        self.write("turned.csv", "e@f,Eve,\n")
        self.write("third.csv", "Email,Name,Club\ne@f,Eve,z\n")
        table = [
            (2, "please select a different file", ["merge", listed, listed]),
            (2, "please select a different file", ["filter", listed, self.folder / "." / "list.txt"]),
            (65, "Cannot merge two different file formats", ["merge", listed, self.write("t.csv", "a@b\n")]),
            (66, "gone.txt", ["merge", listed, self.folder / "gone.txt"]),
            # The duplicates stay, too.
            (66, "gone.txt", ["filter", listed, self.folder / "gone.txt"]),
            (2, "--yes", ["filter", listed, self.folder / "t.csv"]),
            (2, "--suppress", ["filter", listed, self.folder / "t.csv", "--no-input"]),
            (65, "--column 1", ["dedupe", self.folder / "several.csv", "--yes"]),
            (65, "1 ('Email'), 3 ('Sponsor')", ["use", self.folder / "several.csv"]),
            (65, "2 columns, the first 3", ["merge", self.folder / "several.csv", self.folder / "other.csv"]),
            (65, "in column 1 of the second table, in column 2 of", ["merge", self.write("n.csv", "Name,Email,\nA,a@b,\n"),
                                                                     self.folder / "turned.csv"]),
            (65, "column 3 is 'Club' in", ["merge", self.folder / "several.csv", self.folder / "third.csv"]),
            (65, "a blank at its end", ["use", self.write("list.txt ", "c@d\n")]),
            (65, "The chosen file is blank", ["filter", self.folder / "blank.txt", listed]),
            (2, "--column", ["filter", listed, self.folder / "t.csv", "--column", "1"]),
            (2, "--yes", ["dedupe", listed]),
        ]
        before = self.files()
        for code, said, arguments in table:
            with self.subTest(arguments=[str(a) for a in arguments]):
                done = self.run_list(code, *arguments)
                self.assertIn(said, done.stderr)
                self.assertEqual(len(done.stderr.splitlines()), 1, done.stderr)
                self.assertEqual(self.files(), before)

    def test_rows_that_commas_have_shifted(self):
        table = ('Name,Street,Mail\r\nAnn,Dyke 1,a@b\r\nBo,"Quay 1, flat 2",c@d\r\nCy,"Quay 3, flat 2",e@f\r\n'
                 'Ann,Dyke 1,A@b\r\n')
        listed = self.write("l.csv", table)
        done = self.run_list(0, "map", listed, "--column", "Mail")
        self.assertIn("2 rows have more cells than the first, from line 3 on", done.stderr)
        named = ["line {} has 'flat 2' in the address's place; the row stays".format(line) for line in (3, 4)]
        code, shown = support.on_a_terminal(support.command_line("list", "dedupe", listed, "--column", "Mail"), "n")
        self.assertEqual((code, listed.read_bytes()), (130, table.encode()), shown)
        self.assertLess(shown.index(named[1]), shown.index("[y/n]"))
        done = self.run_list(0, "dedupe", listed, "--yes", "--column", "Mail")
        self.assertIn(named[0], done.stderr)
        self.assertEqual((done.stdout, listed.read_bytes()), ("a@b\n", table[:-16].encode()))
        unwanted = self.write("u.txt", " flat 2\n")  # the key as the row has it
        self.run_list(0, "filter", listed, unwanted, "--yes", "--column", "Mail")
        self.assertEqual(listed.read_bytes(), table[:-16].lower().encode())
        done = self.run_list(0, "dedupe", listed, "--yes", "--column", "Mail", "--shifted-rows")
        self.assertEqual(done.stdout, "flat 2\n")
        self.assertNotIn(b"cy,", listed.read_bytes())
        done = self.run_list(0, "filter", listed, unwanted, "--yes", "--column", "Mail", "--shifted-rows")
        self.assertEqual(done.stdout, " flat 2\n")

    def test_filtering_says_what_it_would_do(self):
        listed = self.write("l.csv", "Mail,Name\r\nM001@x,Ann\r\nm002@x,Bo\r\nm003@x,Cy\r\nm001@X,Ann\r\n")
        unwanted = self.write("left.txt", "mail\nm001@x\nM002@x\nm003@x \n")
        before = self.files()
        code, shown = support.on_a_terminal(support.command_line("list", "filter", listed, unwanted), "n")
        self.assertEqual(code, 130, shown)
        self.assertIn("2 rows go, duplicates too, and what stays is written in lower case", shown)
        self.assertIn("2 lines of", shown)
        self.assertIn("such as 'M002@x'", shown)
        self.assertIn("--suppress", shown)
        self.assertEqual(self.files(), before)
        code, shown = support.on_a_terminal(support.command_line("list", "filter", listed, unwanted), "y")
        self.assertEqual(code, 0, shown)
        self.assertEqual(listed.read_bytes(), b"mail,name\r\nm002@x,bo\r\nm003@x,cy\r\n", "the header stays")
        # A table of unwanted lines is taken whole, line by line.
        table = self.write("left.csv", "m002@x,bo\nm003@x\n")
        done = self.run_list(0, "filter", listed, table, "--yes")
        self.assertIn("compared whole", done.stderr)
        self.assertEqual(listed.read_bytes(), b"mail,name\r\nm002@x,bo\r\n")

    def test_a_person_is_asked_before_duplicates_go(self):
        listed = self.write("l.csv", "Email,Name,Sponsor\na@b,Ann,x@y\nA@b,Ann,x@z\n,Nick,\n")
        before = self.files()
        command = support.command_line("list", "dedupe", listed)
        code, shown = support.on_a_terminal(command, "1", "n")
        self.assertEqual(code, 130, shown)
        self.assertIn("1 row has the address of an earlier one.", shown)
        self.assertEqual(self.files(), before)
        code, shown = support.on_a_terminal(command, "Email", "y")
        self.assertEqual(code, 0, shown)
        self.assertEqual(listed.read_bytes(), b"Email,Name,Sponsor\r\na@b,Ann,x@y\r\n,Nick,\r\n")

    def test_a_full_disk(self):
        """A limit on the size of files stands for it."""
        content = "".join("a{:05}@example.org\n".format(i % 9000) for i in range(10000))
        listed = self.write("list.txt", content)
        second = self.write("second.txt", "".join("b{:05}@example.org\n".format(i) for i in range(10000)))
        limit_bytes = len(content) + 100_001

        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (limit_bytes, limit_bytes))

        before = self.files()
        done = self.run_list(73, "merge", listed, second, preexec_fn=limit)
        self.assertIn("list.txt", done.stderr)
        merged = listed.read_bytes()
        self.assertTrue(merged.startswith(before["list.txt"] + b"\r\n\r\nb00000@example.org\r\n"))
        self.assertTrue(merged.endswith(b"@example.org\r\n"), merged[-40:])
        self.assertLess(limit_bytes - len(merged), 20, "whole lines stay")

        listed.write_text(content)
        limit_bytes = 50_000
        for arguments in (["dedupe", listed, "--yes"], ["filter", listed, second, "--yes"]):
            done = self.run_list(73, *arguments, preexec_fn=limit)
            self.assertIn("list.txt", done.stderr)
            self.assertEqual(self.files(), before)

    def operations(self):
        """What takes rows out, each on a list of its own: (arguments, list, what is printed, what goes)."""
        rows = ["r{:05}@example.org".format(i % 9000) for i in range(10000)]
        unwanted = self.write("unwanted.txt", "".join(row + "\n" for row in rows[8000:9000]))
        for number, flags in enumerate((["--yes"], ["--yes", "--json"])):
            for verb, others, gone in (("dedupe", [], rows[9000:]), ("filter", [unwanted], rows[8000:9000])):
                listed = self.write("{}{}.txt".format(verb, number), "".join(row + "\n" for row in rows))
                duplicates = rows[9000:] if verb == "filter" else []
                printed = duplicates + gone if "--json" in flags else gone
                yield ["list", verb, listed, *others, *flags], listed, printed, duplicates + gone

    def test_output_that_can_not_be_written_is_kept_beside_the_list(self):
        for arguments, listed, _, gone in self.operations():
            before = listed.read_bytes()
            for sink in ("full", "closed"):
                with self.subTest(arguments=arguments, sink=sink):
                    listed.write_bytes(before)
                    taken = self.folder / (listed.name + ".removed.txt")
                    beside = taken
                    if sink == "closed":
                        taken.write_text("somebody's")
                        beside = self.folder / (listed.name + ".removed-2.txt")
                    read, write = os.pipe()
                    os.close(read)
                    with open("/dev/full" if sink == "full" else write, "wb") as out:
                        done = subprocess.run(support.command_line("--home", self.home, *arguments), stdout=out,
                                              stderr=subprocess.PIPE, text=True, timeout=support.SECONDS)
                    if sink == "full":
                        os.close(write)
                    self.assertEqual(done.returncode, 73, done.stderr)
                    self.assertIn("the removed rows are in '{}'".format(beside), done.stderr)
                    self.assertEqual(beside.read_text().splitlines(), gone)
                    self.assertLess(len(listed.read_bytes().splitlines()), 10000, "the work is done")
                    if sink == "closed":
                        self.assertEqual(taken.read_text(), "somebody's")
                    else:
                        taken.unlink()

    def test_rows_of_a_table_are_kept_as_they_were(self):
        listed = self.write("members.csv", "Name,Mail\nAnn Lee,a@x\nBob,b@x\nANN,A@x\n")
        with open("/dev/full", "wb") as full:
            done = subprocess.run(support.command_line("list", "dedupe", listed, "--column", "Mail", "--yes"), stdout=full,
                                  stderr=subprocess.PIPE, text=True, timeout=support.SECONDS)
        self.assertEqual(done.returncode, 73, done.stderr)
        self.assertEqual(listed.read_bytes(), b"Name,Mail\r\nAnn Lee,a@x\r\nBob,b@x\r\n")
        self.assertEqual((self.folder / "members.csv.removed.csv").read_bytes(), b"Name,Mail\r\nANN,A@x\r\n")

    def test_killed_while_it_prints(self):
        """The list is the old one, or what has gone from it was printed or lies beside it."""
        replaced = 0
        for arguments, listed, going, _ in self.operations():
            before = listed.read_bytes()
            begin = time.monotonic()
            subprocess.run(support.command_line("--home", self.home, *arguments), capture_output=True, check=True)
            whole = time.monotonic() - begin
            for tenth in range(13):
                listed.write_bytes(before)
                beside = self.folder / (listed.name + ".removed.txt")
                beside.unlink(missing_ok=True)
                out = self.write("out", b"")
                with out.open("wb") as stream:
                    process = subprocess.Popen(support.command_line("--home", self.home, *arguments), stdout=stream,
                                               stderr=subprocess.DEVNULL)
                    time.sleep(whole * tenth / 10)
                    process.kill()
                    process.wait()
                replaced += listed.read_bytes() != before
                old, new = (collections.Counter(text.decode().split()) for text in (before, listed.read_bytes()))
                told = out.read_text() + (beside.read_text() if beside.exists() else "")
                lost = [row for row in going if new[row] < old[row] and row not in told]
                self.assertEqual(lost, [], (arguments, tenth))
        self.assertGreater(replaced, 0)

    def test_no_room_for_the_rows_beside_the_list(self):
        """On a disk that is full the list stays as it is."""
        disk = self.folder / "disk"
        disk.mkdir()
        if subprocess.run(["mount", "-t", "tmpfs", "-o", "size=400k", "tmpfs", disk], capture_output=True).returncode:
            self.skipTest("no disk can be mounted here")
        self.addCleanup(subprocess.run, ["umount", disk], check=True)
        # 180 KB; the new one takes 95 KB, and the rows that go as many.
        content = "".join("r{:05}@example.org\n".format(i % 5000) for i in range(10000)).encode()
        listed = disk / "list.txt"
        listed.write_bytes(content)
        (disk / "filler").write_bytes(b"x" * 70_000)
        for flags in ([], ["--json"]):
            with open("/dev/full", "wb") as full:
                done = subprocess.run(
                    support.command_line("--home", self.home, "list", "dedupe", listed, "--yes", *flags), stdout=full,
                    stderr=subprocess.PIPE, text=True, timeout=support.SECONDS)
            self.assertEqual(done.returncode, 73, done.stderr)
            self.assertIn("No space left", done.stderr)
            self.assertEqual(listed.read_bytes(), content)
            self.assertEqual(sorted(path.name for path in disk.iterdir()), ["filler", "list.txt"])

    def test_signals(self):
        """Whenever it comes, the list is the old one or the new one, and only what was not printed lies beside it."""
        content = "".join("user{:07}@example.org\n".format(i * 7919 % 600_000) for i in range(1_000_000))
        new = b"".join(dict.fromkeys(line + b"\r\n" for line in content.encode().splitlines()))
        stopped = 0
        for milliseconds in range(5, 125, 10):
            listed = self.write("list.txt", content)
            process = subprocess.Popen(support.command_line("list", "dedupe", listed, "--yes"),
                                       stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
            time.sleep(milliseconds / 1000)
            # The last one is a terminal that is closed.
            process.send_signal([signal.SIGINT, signal.SIGTERM, signal.SIGHUP][milliseconds // 10 % 3])
            _, said = process.communicate(timeout=support.SECONDS)
            self.assertIn(process.returncode, (0, 130, -signal.SIGINT, -signal.SIGTERM, -signal.SIGHUP), said)
            if process.returncode == 130:
                stopped += 1
                self.assertIn("list.txt' is as it was", said)
            # Before and behind the work the signal ends the program as any other.
            whole = {0: [new], 130: [content.encode()]}.get(process.returncode, [content.encode(), new])
            self.assertTrue(listed.read_bytes() in whole, process.returncode)
            left = self.files()
            beside = left.pop("list.txt.removed.txt", b"")
            self.assertEqual(list(left), ["list.txt"])
            if process.returncode >= 0:
                self.assertEqual(beside, b"")
            elif beside:
                (self.folder / "list.txt.removed.txt").unlink()
        self.assertGreater(stopped, 0, "no signal came in time: nothing was tested")

    def test_a_terminal_sees_a_count_and_is_left_clean(self):
        """The count is shown once work takes long: here since it is held up for a while."""
        listed = self.write("list.txt", "".join("user{}@example.org\n".format(i) for i in range(1_000_000)))
        for attempt in range(1, 12):
            master, slave = pty.openpty()
            process = subprocess.Popen(support.command_line("list", "dedupe", listed, "--yes"),
                                       stdout=subprocess.DEVNULL, stderr=slave)
            os.close(slave)
            time.sleep(0.01 * attempt)
            process.send_signal(signal.SIGSTOP)
            time.sleep(0.6)
            process.send_signal(signal.SIGCONT)
            shown = b""
            try:
                while piece := os.read(master, 4096):
                    shown += piece
            except OSError:  # how a terminal ends
                pass
            os.close(master)
            self.assertEqual(process.wait(support.SECONDS), 0)
            if b" lines" in shown:
                return self.assertRegex(shown, rb"\r[0-9]+ lines\r +\rvespro: No email duplicates found\r\n$")
        self.fail("no count was shown")


if __name__ == "__main__":
    unittest.main(verbosity=2)
