"""The manual pages and the shells' completions name every verb and option that --help names, and
nothing else; and real shells complete with them."""

import os
import pathlib
import pty
import re
import select
import shutil
import subprocess
import time
import unittest

from support import PROGRAMS

SHARE = PROGRAMS / "share"
BASH = SHARE / "bash-completion/completions/vespro"
FISH = SHARE / "fish/vendor_completions.d/vespro.fish"
ZSH = SHARE / "zsh/site-functions"


def help_of(*words):
    return subprocess.run([PROGRAMS / words[0], *words[1:], "--help"], capture_output=True, text=True, check=True).stdout


def options_in(text):
    """The options that a help text declares: "-h,--help" and "--home" at the beginning of a line."""
    options = set()
    for line in re.findall(r"^  (-\S+)", text.split("\nSubcommands:")[0], re.M):
        options.update(line.split(","))
    return options


def verbs_in(text):
    return re.findall(r"^  ([a-z-]+) ", text.partition("\nSubcommands:\n")[2].split("\n\n")[0], re.M)


def walk(words=("vespro",)):
    """Each verb's words and its help text, the program's own first."""
    text = help_of(*words)
    yield words, text
    for verb in verbs_in(text):
        yield from walk((*words, verb))


VERBS = list(walk())
GLOBAL = options_in(VERBS[0][1]) - {"-h", "--help", "--version"}


def expected(words):
    """What may come after these words."""
    text = dict(VERBS)[words]
    return options_in(text) | set(verbs_in(text)) | (GLOBAL if len(words) > 1 else set())


class Terminal:
    """An interactive shell, typed into."""

    def __init__(self, *command):
        self.pid, self.fd = pty.fork()
        if self.pid == 0:
            os.environ.update(TERM="dumb", PS1="$ ", LC_ALL="C.UTF-8", COLUMNS="200")
            os.execvp(command[0], command)
        self.output = ""

    def type(self, text):
        os.write(self.fd, text.encode())

    def wait_for(self, text, seconds=20):
        end = time.monotonic() + seconds
        while text not in self.output and time.monotonic() < end:
            if select.select([self.fd], [], [], 0.1)[0]:
                try:
                    self.output += os.read(self.fd, 4096).decode(errors="replace")
                except OSError:
                    break
        return text in self.output

    def close(self):
        os.close(self.fd)
        os.waitpid(self.pid, 0)


class ManPages(unittest.TestCase):
    def page(self, name):
        done = subprocess.run(
            ["man", "--warnings", "-l", SHARE / f"man/man1/{name}.1"],
            capture_output=True,
            text=True,
            env={**os.environ, "MANWIDTH": "300", "LC_ALL": "C.UTF-8", "MANPAGER": "cat", "MAN_KEEP_FORMATTING": ""},
            check=True,
        )
        self.assertEqual(done.stderr, "")
        return done.stdout

    @unittest.skipUnless(shutil.which("man"), "no man here")
    def test_they_name_every_verb_and_option_in_its_place(self):
        sections = re.split(r"^   (?=vespro )", self.page("vespro"), flags=re.M)
        by_verb = {tuple(s.split(" [")[0].split()): s for s in sections[1:]}
        by_verb[("vespro",)] = sections[0]
        self.assertEqual(set(by_verb), {words for words, _ in VERBS})
        for words, text in VERBS:
            named = set(re.findall(r"^       (-[^\n]*)", by_verb[words], re.M))
            found = {name for line in named for name in re.findall(r"(?:^|, )(--?[a-z][a-z-]*)", line)}
            want = options_in(text) - ({"-h", "--help"} if len(words) > 1 else set())
            self.assertEqual(found, want, words)
            summary = text.split("\n")[0]
            self.assertIn(summary, re.sub(r"\s+", " ", by_verb[words]) if len(words) > 1 else summary)
            for example in re.findall(r"^Example: (.*)", text, re.M):
                self.assertIn(example, by_verb[words], words)

    @unittest.skipUnless(shutil.which("man"), "no man here")
    def test_the_engines_page(self):
        page = self.page("vespro-engine")
        found = {n for line in re.findall(r"^       (-[^\n]*)", page, re.M) for n in re.findall(r"(?:^|, )(--?[a-z][a-z-]*)", line)}
        self.assertEqual(found, options_in(help_of("vespro-engine")))
        for heading in ("NAME", "SYNOPSIS", "EXIT STATUS", "EXAMPLES", "SEE ALSO"):
            self.assertRegex(page, f"(?m)^{heading}$")
        self.assertIn("77 every account refused the login", page)


class Bash(unittest.TestCase):
    def complete(self, *words, function="_vespro"):
        quoted = " ".join("'" + w.replace("'", "'\\''") + "'" for w in words)
        script = f"source '{BASH}'; COMP_WORDS=({quoted}); COMP_CWORD={len(words) - 1}; {function}; printf '%s\\n' \"${{COMPREPLY[@]}}\""
        done = subprocess.run(["bash", "--norc", "-c", script], capture_output=True, text=True, check=True, cwd=SHARE)
        self.assertEqual(done.stderr, "")
        return {line for line in done.stdout.split("\n") if line}

    def test_it_offers_what_help_names(self):
        for words, text in VERBS:
            offered = self.complete(*words, "-")
            want = {w for w in expected(words) if w.startswith("-")}
            self.assertEqual(offered, want, words)
            if verbs_in(text):
                self.assertEqual(self.complete(*words, "") - want, set(verbs_in(text)))
        self.assertEqual(self.complete("vespro-engine", "-", function="_vespro_engine"), options_in(help_of("vespro-engine")))

    def test_values_and_what_is_after_the_dashes(self):
        self.assertEqual(self.complete("vespro", "--home", "list", "send", "--tur"), {"--turbo"})
        self.assertEqual(self.complete("vespro", "send", "--subject", "list", "--tur"), {"--turbo"})
        self.assertEqual(self.complete("vespro", "send", "--text", "man/man1/vespro-"), {"man/man1/vespro-engine.1"})
        self.assertEqual(self.complete("vespro", "list", "use", "man/man1/vespro-"), {"man/man1/vespro-engine.1"})
        self.assertEqual(self.complete("vespro", "--home", "bash"), {"bash-completion"})
        self.assertEqual(self.complete("vespro", "send", "--subject", ""), set())
        self.assertEqual(self.complete("vespro", "send", "--wait", "--", "--rat"), {"--rate"})
        self.assertEqual(self.complete("vespro", "send", "--", "--tls", "=", "re"), {"required"})
        self.assertEqual(self.complete("vespro", "run", "x", "--", "--tls", ""), {"required", "auto", "off"})
        self.assertEqual(self.complete("vespro", "list", "show", "--", "--rat"), set())

    def test_a_real_one(self):
        shell = Terminal("bash", "--norc", "--noprofile", "-i")
        self.addCleanup(shell.close)
        shell.type(f"source '{BASH}'; echo re''ady\n")
        self.assertTrue(shell.wait_for("ready"), shell.output)
        shell.type("vespro send --tur\t")
        self.assertTrue(shell.wait_for("--turbo "), shell.output)
        shell.type("-- --suppr\t")
        self.assertTrue(shell.wait_for("--suppress "), shell.output)


class Others(unittest.TestCase):
    @unittest.skipUnless(shutil.which("fish"), "no fish here")
    def test_fish(self):
        def complete(line):
            command = f"source {FISH}; complete -C '{line}'"
            done = subprocess.run(["fish", "--no-config", "-c", command], capture_output=True, text=True, check=True)
            self.assertEqual(done.stderr, "")
            return {offer.split("\t")[0] for offer in done.stdout.split("\n") if offer}

        for words, text in VERBS:
            offered = complete(" ".join(words) + " --")
            self.assertEqual(offered, {w for w in expected(words) if w.startswith("--")}, words)
            if verbs_in(text):
                self.assertEqual(complete(" ".join(words) + " "), set(verbs_in(text)), words)
        self.assertEqual(complete("vespro send -- --tl"), {"--tls"})
        self.assertEqual(complete("vespro-engine --tls r"), {"required"})

    @unittest.skipUnless(shutil.which("zsh"), "no zsh here")
    def test_zsh(self):
        shell = Terminal("zsh", "-f", "-i")
        self.addCleanup(shell.close)
        shell.type(f"fpath=('{ZSH}' $fpath); autoload -U compinit; compinit -u -D; echo re''ady\n")
        self.assertTrue(shell.wait_for("\nready"), shell.output)
        for typed, wanted in (
            ("vespro sen\t", "vespro send "),
            ("--tur\t", "--turbo "),
            ("-- --supp\t", "--suppress"),
        ):
            shell.type(typed)
            self.assertTrue(shell.wait_for(wanted), shell.output)
        shell.type("\x15vespro list kin\t")
        self.assertTrue(shell.wait_for("list kind "), shell.output)


if __name__ == "__main__":
    unittest.main()
