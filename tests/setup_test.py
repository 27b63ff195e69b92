"""The installer for Windows, under Wine: what it puts into the folder and the registry, what it leaves
alone, and that nothing stays of it."""

import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import time
import unittest

import support

try:
    from aiosmtpd.controller import Controller
except ImportError:
    support.leave_out("there is no aiosmtpd (package python3-aiosmtpd)")

import aiosmtpd_test

TREE = support.PROGRAMS
PROCESSOR = os.environ["VESPRO_PROCESSOR"]
OTHER = "x86" if PROCESSOR == "x64" else "x64"
TREES = {PROCESSOR: TREE, OTHER: TREE.parent / ("windows-" + OTHER)}
# Wine's 32-bit system has a runner, and folder, of its own.
RUNNER, PREFIX = ("wine-run", "wine") if PROCESSOR == "x64" else ("wine-run-x86", "wine-x86")
FOLDER = "C:\\Łąki für Дом"  # in no single code page
ADD_IN = r"HKEY_CURRENT_USER\Software\Microsoft\Office\Outlook\Addins\Vespro.Connect"
LISTED = r"HKEY_CURRENT_USER\Software\Microsoft\Windows\CurrentVersion\Uninstall\Vespro"
SETTINGS = r"HKEY_CURRENT_USER\Software\Tandrelix\Vespro2.0Beta"
# Of the machine's part only this: Wine adds screens to the rest.
MACHINE = r"HKLM\Software"
CLASS = r"CLSID\{2776C028-9AA2-4CF7-B449-BFD23F4EE5AD}\InprocServer32"
FAILED, IN_USE, ELSEWHERE = 2, 3, 4

# What other programs of the user have. Windows has the key of 32-bit programs always, and their view with it.
NEIGHBOURS = [
    r"HKCU\Software\Classes\CLSID\{00000000-0000-0000-0000-000000000001}",
    r"HKCU\Software\Classes\Wow6432Node\CLSID\{00000000-0000-0000-0000-000000000001}",
    r"HKCU\Software\Microsoft\Office\Outlook\Addins\Other.Connect",
    r"HKCU\Software\Microsoft\Windows\CurrentVersion\Uninstall\Other",
    r"HKCU\Software\Tandrelix\Other",
]


def make_setup(*arguments):
    done = subprocess.run([support.ROOT / "packaging" / "make-setup", "--target", PROCESSOR, *arguments],
                          check=True, stdout=subprocess.PIPE, encoding="utf-8")
    return pathlib.Path(done.stdout.splitlines()[-1])


def make_older(folder):
    """An installer of an older version, whose programs are a few letters each, with a help."""
    for part in ("x64/Vespro.dll", "x86/Vespro.dll", "Vespro.exe", "vespro-cli.exe", "vespro.chm",
                 "images/ie.ico", "images/text.ico", "images/explorer.ico"):
        (folder / part).parent.mkdir(parents=True, exist_ok=True)
        (folder / part).write_text("old " + part)
    (folder / "src/pictures").mkdir(parents=True)
    shutil.copy(TREE / "src/pictures/vespro.ico", folder / "src/pictures")
    shutil.copy(TREE / "CMakeCache.txt", folder)
    return make_setup("--x64", folder, "--x86", folder, "--out", folder, "--version", "0.0.9")


def installed_settings():
    """The settings that have a first value: the last text of their row."""
    source = (support.ROOT / "src/settings/settings.h").read_text()
    rows = re.findall(r'\{setting::k(\w+),(?:\s*"[^"]*",?)+\s*"([^"]*)"\}', source)
    return {name: '"{}"'.format(value) for name, value in rows if value}


class SetupTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="vespro setup ")
        cls.addClassCleanup(folder.cleanup)
        cls.work = pathlib.Path(folder.name)
        cls.environment = dict(os.environ, WINEPREFIX=str(cls.work / "wine"), LC_ALL="C.UTF-8")
        cls.setup = make_setup("--x64", TREES["x64"], "--x86", TREES["x86"], "--out", cls.work)
        cls.older = make_older(cls.work / "older")
        cls.addClassCleanup(cls.end_server)
        cls.wine("cmd", "/c", "exit", "0")
        # One that stays: a program that starts while the last one ends its server would not get in.
        waiting = subprocess.Popen(cls.command("cmd"), env=cls.environment, stdin=subprocess.PIPE,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        cls.addClassCleanup(waiting.communicate, timeout=support.SECONDS)
        cls.wine("reg", "add", r"HKCU\Software\Classes", "/f")
        cls.drive = cls.work / PREFIX / "drive_c"
        cls.folder = cls.drive / FOLDER[3:]

    @classmethod
    def command(cls, *arguments):
        return [str(part) for part in (support.ROOT / "cmake" / RUNNER, *arguments)]

    @classmethod
    def run_wine(cls, *arguments):
        """The exit code, and what was printed: to a file, since Wine's own services, which the first program
        starts, would keep a pipe open."""
        with tempfile.TemporaryFile() as printed:
            code = subprocess.run(cls.command(*arguments), env=cls.environment, stdin=subprocess.DEVNULL, stdout=printed,
                                  stderr=subprocess.STDOUT, timeout=support.SECONDS).returncode
            printed.seek(0)
            return code, printed.read().decode(errors="replace")

    @classmethod
    def wine(cls, *arguments, code=0):
        ended, printed = cls.run_wine(*arguments)
        if ended != code:
            raise AssertionError("{}: {}, not {}\n{}".format(arguments, ended, code, printed))
        return printed

    @classmethod
    def end_server(cls):
        subprocess.run(["wineserver", "-k"], env=dict(cls.environment, WINEPREFIX=str(cls.work / PREFIX)),
                       timeout=support.SECONDS)

    @classmethod
    def runs(cls, name):
        """Whether a program of that name runs in this test's Windows."""
        own = "WINEPREFIX={}".format(cls.work / "wine").encode()
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                if name in (process / "cmdline").read_bytes() and own in (process / "environ").read_bytes():
                    return True
            except OSError:
                continue  # it has just ended
        return False

    def setUp(self):
        self.before = self.state()
        self.addCleanup(self.clear)

    def clear(self):
        """Whatever a test that failed has left."""
        if (self.folder / "uninstall.exe").exists():
            self.uninstall("/PURGE")
        shutil.rmtree(self.folder, ignore_errors=True)
        for key in (SETTINGS, *NEIGHBOURS):
            self.run_wine("reg", "delete", key, "/f")

    def install(self, setup=None, folder=FOLDER, code=0):
        # The last option has no quotation marks, whatever blanks are in it: words of their own give none.
        return self.wine(setup or self.setup, "/S", *"/D={}".format(folder).split(" "), code=code)

    def uninstall(self, *options):
        """As the list of programs does. It goes on as a copy of itself, which nobody waits for."""
        quiet = self.registry()[LISTED]["QuietUninstallString"]
        self.assertEqual(quiet, r'"\"{}\\uninstall.exe\" /S"'.format(FOLDER.replace("\\", r"\\")))
        self.wine(FOLDER + r"\uninstall.exe", "/S", *options)
        while self.runs(b"~nsu"):
            time.sleep(0.05)

    def registry(self, part="HKCU"):
        """The user's part of it, or another: the values of each key."""
        file = self.work / "export.reg"
        self.wine("reg", "export", part, "Z:{}".format(file), "/y")
        keys = {}
        for line in file.read_text(encoding="utf-16").replace("\\\n", "").splitlines():
            if line.startswith("["):
                values = keys.setdefault(line[1:-1], {})
            elif "=" in line:
                name, _, value = line.partition("=")
                values[name.strip('"')] = value
        return keys

    def files(self, below=None):
        """All of drive C: but the folder for passing files: the copy of the uninstaller waits there for
        Windows' next start."""
        return {path: path.read_bytes() if self.folder in path.parents and path.is_file() else None
                for path in (below or self.drive).rglob("*") if "Temp" not in path.parts}

    def state(self):
        return self.registry(), self.files()

    def expect_state(self, expected):
        """The difference is what a person wants to see, not the two."""
        for now, then in zip(self.state(), expected):
            differing = {str(name): (then.get(name, "absent"), now.get(name, "absent"))
                         for name in now.keys() | then.keys()
                         if now.get(name, "absent") != then.get(name, "absent")}
            self.assertEqual(differing, {})

    def cli(self, *arguments):
        return self.wine(FOLDER + r"\vespro-cli.exe", *arguments)

    def use(self):
        """A user of it: an account, a setting, and a letter that the installed engine sends."""
        keeper = aiosmtpd_test.Keeper()
        server = Controller(keeper, hostname="127.0.0.1", port=support.free_port())
        server.start()
        self.addCleanup(server.stop)
        letter = self.work / "letter.txt"
        letter.write_text("Hello\n")
        people = self.work / "people.txt"
        people.write_text("ann@example.org\n")
        self.cli("accounts", "add", "127.0.0.1", "--port", server.port)
        self.cli("settings", "set", "SenderName", "Zoë")
        self.cli("send", "--wait", "--from", "zoe@example.org", "--subject", "Hi", "--text", "Z:{}".format(letter),
                 "--list", "Z:{}".format(people))
        self.assertEqual([message[2] for message in keeper.messages], [["ann@example.org"]])
        data = {path: content for path, content in self.files(self.folder).items()
                if re.search(r"/session/\d{13}/journal$|/Vespro\.db$", str(path))}
        self.assertEqual(len(data), 2)
        return self.files(next(path.parent for path in data if path.name == "Vespro.db"))

    def test_comes_and_goes_without_a_trace(self):
        machine = self.registry(MACHINE)
        self.install()
        keys = self.registry()
        self.assertEqual(self.cli("--version").strip(), keys[LISTED]["DisplayVersion"].strip('"'))
        self.assertEqual(keys[SETTINGS], installed_settings())
        for part in ("x64/Vespro.dll", "x86/Vespro.dll", "Vespro.exe", "vespro-cli.exe", "vespro.chm", "images/ie.ico"):
            source = TREES.get(part[:3], TREE)
            self.assertEqual((self.folder / part).read_bytes(), (source / part).read_bytes(), part)
        # The DLL would register itself just so.
        self.wine("regsvr32", "/s", "/n", "/i:user", FOLDER + r"\{}\Vespro.dll".format(PROCESSOR))
        self.assertEqual(self.registry(), keys)
        # It is the user's own: nothing is the machine's.
        self.assertEqual(self.registry(MACHINE), machine)
        self.uninstall("/PURGE")
        self.expect_state(self.before)

    def test_leaves_what_belongs_to_others(self):
        for key in NEIGHBOURS:
            self.wine("reg", "add", key, "/v", "Name", "/d", "theirs", "/f")
        self.folder.mkdir()
        for part in ("root/letter.txt", "root/session/mine/letter.txt", "images/cat.png"):
            (self.folder / part).parent.mkdir(parents=True, exist_ok=True)
            (self.folder / part).write_text("theirs")
        before = self.state()
        self.install()
        classes = self.registry()
        for view, dll in (("", PROCESSOR), ("Wow6432Node\\", "x86"))[:2 if PROCESSOR == "x64" else 1]:
            self.assertEqual(classes[r"HKEY_CURRENT_USER\Software\Classes" + "\\" + view + CLASS]["@"],
                             '"{}\\{}\\Vespro.dll"'.format(FOLDER, dll).replace("\\", r"\\"))
        self.uninstall("/PURGE")
        self.expect_state(before)

    def test_upgrades_and_repairs_with_everything_kept(self):
        self.install()
        self.wine("reg", "add", SETTINGS, "/v", "MaxNumConnect", "/d", "7", "/f")
        data = self.use()
        new = self.state()
        self.assertEqual(new[0][SETTINGS]["MaxNumConnect"], '"7"')

        self.install(self.older)
        old = self.state()
        self.assertEqual(old[0][LISTED]["DisplayVersion"], '"0.0.9"')
        self.assertEqual((self.folder / "Vespro.exe").read_text(), "old Vespro.exe")
        self.assertEqual(old[0][SETTINGS], new[0][SETTINGS])
        self.assertLessEqual(data.items(), old[1].items())
        (self.folder / "vespro.chm").unlink()
        self.install()
        self.expect_state(new)

        (self.folder / "x86/Vespro.dll").unlink()
        (self.folder / "Vespro.exe").write_text("damaged")
        self.wine("reg", "add", ADD_IN, "/v", "LoadBehavior", "/t", "REG_DWORD", "/d", "2", "/f")
        self.install()
        self.expect_state(new)

    def test_keeps_the_users_data_unless_asked(self):
        self.install()
        data = self.use()
        settings = self.registry()[SETTINGS]
        self.uninstall()
        keys, files = self.state()
        self.assertEqual(keys, {**self.before[0], SETTINGS.rpartition("\\")[0]: {}, SETTINGS: settings})
        home = next(path.parent for path in data if path.name == "Vespro.db")
        self.assertEqual(files, {**self.before[1], **data, home: None, self.folder: None})
        self.install()
        self.assertIn("127.0.0.1", self.cli("accounts", "list"))
        self.uninstall("/PURGE")
        self.expect_state(self.before)

    def test_refuses_while_outlook_runs(self):
        self.install()
        outlook = subprocess.Popen(self.command(TREE / "outlook-standin.exe"), env=self.environment,
                                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        try:
            # The add-in makes the user's folder as soon as it is connected.
            deadline = time.monotonic() + support.SECONDS
            programs = {"x64", "x86", "images"}
            while not any(path.is_dir() and path.name not in programs for path in self.folder.iterdir()):
                self.assertLess(time.monotonic(), deadline, "the add-in was not loaded")
                time.sleep(0.1)
            before = self.state()
            self.assertIn(PROCESSOR + r"\Vespro.dll is in use. Close Outlook", self.install(self.older, code=IN_USE))
            # In place, so that there is somebody to wait for.
            self.assertIn("is in use", self.wine(FOLDER + r"\uninstall.exe", "/S", "/PURGE",
                                                 *"_?={}".format(FOLDER).split(" "), code=IN_USE))
            self.expect_state(before)
        finally:
            outlook.terminate()
            outlook.wait(support.SECONDS)

    def test_refuses_where_it_can_not_stay(self):
        self.folder.mkdir()
        (self.folder / "images").write_text("a file, not a folder")
        before = self.state()
        self.assertIn("can't be written", self.install(code=FAILED))
        self.expect_state(before)
        (self.folder / "images").unlink()

        self.install()
        before = self.state()
        self.assertIn("is installed in", self.install(folder="C:\\Second", code=ELSEWHERE))
        self.expect_state(before)


if __name__ == "__main__":
    if shutil.which("makensis") is None:
        support.leave_out("there is no makensis (package nsis)")
    if not (TREES[OTHER] / OTHER / "Vespro.dll").exists():
        support.leave_out("there is no build for the other Outlook: " + TREES[OTHER].name)
    unittest.main(verbosity=2)
