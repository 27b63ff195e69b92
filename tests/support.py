"""What the tests of whole jobs share: the programs, a home of their own, a catcher, the report."""

import email
import email.policy
import os
import pathlib
import pty
import re
import select
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
EXAMPLES = ROOT / "examples"
PROGRAMS = pathlib.Path(os.environ.get("VESPRO_PROGRAMS", ROOT / "build" / "release"))
STATES = ("sent", "refused", "failed", "skipped", "unknown")
SECONDS = 120  # for one program; far more than it needs, so that only a hang trips it


def command_line(*arguments):
    """The command with its arguments. In a build for Windows Wine runs it, and has our root as Z:."""
    windows = PROGRAMS / "vespro-cli.exe"
    if not windows.exists():
        return [str(part) for part in (PROGRAMS / "vespro", *arguments)]
    named = ["Z:{}".format(a) if isinstance(a, pathlib.PurePath) else str(a) for a in arguments]
    return [str(ROOT / "cmake" / "wine-run"), str(windows), *named]


def windows_path(path):
    return "Z:{}".format(path)


def start_windows(program, *arguments):
    """Starts a program for Windows with these arguments as they are."""
    return subprocess.Popen([str(ROOT / "cmake" / "wine-run"), str(program), *arguments], encoding="utf-8",
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE)


class JobTest(unittest.TestCase):
    """A test with a home and a folder of its own; everything it starts ends with it."""

    prefix = ()  # what the command is run by
    home_name = "home"

    def setUp(self):
        # A blank and an umlaut, since users' folders have them.
        self._folder = tempfile.TemporaryDirectory(prefix="vespro tést ")
        self.addCleanup(self._folder.cleanup)
        self.folder = pathlib.Path(self._folder.name)
        self.home = self.folder / self.home_name

    def write(self, name, content):
        path = self.folder / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode("utf-8"))
        return path

    def vespro(self, *arguments, stdin="", **more):
        """Runs the command in this test's home."""
        return subprocess.run(
            [*self.prefix, *command_line("--home", self.home, *arguments)], input=stdin, capture_output=True,
            encoding="utf-8", errors="surrogateescape", timeout=SECONDS, **more)

    def expect(self, code, done):
        self.assertEqual(
            done.returncode, code, "{}\n{}\n{}".format(done.args, done.stdout, done.stderr))
        return done

    def add_account(self, port, server="127.0.0.1", login=None, password=""):
        arguments = ["accounts", "add", server, "--port", port]
        if login is not None:
            arguments += ["--login", login, "--password-stdin"]
        return self.expect(0, self.vespro(*arguments, stdin=password + "\n"))

    def send(self, *arguments, engine=(), **more):
        """The least that `vespro send --wait` takes, then what the test adds."""
        return self.vespro(
            "send", "--wait", "--from", "sender@example.org", *arguments, "--", *engine, **more)

    def catcher(self, *arguments):
        catcher = Catcher(self.folder / "caught", *arguments)
        self.addCleanup(catcher.stop)
        return catcher

    def sessions(self):
        return sorted(path.parent for path in self.home.rglob("Vespro.cfg"))

    def report(self):
        """The rows of the only session's report.txt: (address, state, attempts, server, reply)."""
        reports = list(self.home.rglob("report.txt"))
        self.assertEqual(len(reports), 1, reports)
        lines = reports[0].read_text("utf-8").splitlines()
        rows = [tuple(line.split("\t")) for line in lines]
        return [row for row in rows if len(row) >= 4 and row[1] in STATES]

    def addresses(self, state):
        return sorted(row[0] for row in self.report() if row[1] == state)


class Catcher:
    """`vespro catch`, on a free port unless the arguments name one."""

    def __init__(self, maildir, *arguments):
        self.maildir = maildir
        if "--port" not in arguments:
            arguments += ("--port", "0")
        command = command_line("catch", "--maildir", maildir, *arguments)
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        line = self.process.stdout.readline().decode()
        self.port = int(re.fullmatch(r"listening on .*:(\d+)\n", line).group(1))

    def stop(self):
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            self.process.wait(SECONDS)
        self.process.stdout.close()

    def envelopes(self):
        """(file, connection, sender, [recipients]) of every message, in the order of arrival."""
        lines = (self.maildir / "envelopes.tsv").read_text("utf-8").splitlines()
        columns = [line.split("\t") for line in lines]
        return [(self.maildir / "new" / c[0], int(c[1]), c[2], c[3:]) for c in columns]

    def recipients(self):
        return sorted(address for envelope in self.envelopes() for address in envelope[3])


def on_a_terminal(command, *answers):
    """Runs it with a terminal in front; (exit code, all that was shown). An answer is typed at each prompt."""
    pid, terminal = pty.fork()
    if pid == 0:
        os.execv(command[0], command)
    answers = list(answers)
    shown, read_until, until = b"", 0, time.monotonic() + SECONDS
    while time.monotonic() < until:
        if not select.select([terminal], [], [], 1)[0]:
            continue
        try:
            got = os.read(terminal, 4096)
        except OSError:  # how a terminal ends
            break
        if not got:
            break
        shown += got
        if answers and re.search(rb"(\[y/n\]|\?|>|window\.) $", shown[read_until:]):
            os.write(terminal, answers.pop(0).encode() + b"\n")
            read_until = len(shown)
    else:
        os.kill(pid, signal.SIGKILL)
    os.close(terminal)
    return os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]), shown.decode("utf-8", "replace")


def parse(raw):
    return email.message_from_bytes(raw, policy=email.policy.default)


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_for_port(port, process, attempts=200):
    import time
    for _ in range(attempts):
        if process.poll() is not None:
            raise AssertionError("the server ended with {}".format(process.returncode))
        try:
            socket.create_connection(("127.0.0.1", port), 1).close()
            return
        except OSError:
            time.sleep(0.05)
    raise AssertionError("the server does not listen on {}".format(port))


def leave_out(reason):
    """Ends the whole script as skipped."""
    print("left out:", reason)
    sys.exit(77)
