"""The help: all pages within reach, all links and pictures there, all that the add-in's windows say in it, and the compiled file."""

import html.parser
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
HELP = ROOT / "docs" / "help"
SOURCES = ROOT / "src"
DIALOGS = ROOT / "docs" / "screens" / "dialogs"
EMPTY = {"meta", "link", "img", "br"}

# Where the texts stand that the user of the add-in sees.
MODULES = ["addin", "engine_window", "merge", "recipients", "reports", "send", "settings", "support", "host/start_or_tell.h",
         "base/files.cc", "base/posix/files_posix.cc", "base/win32/files_win32.cc", "win32/win32_desktop.cc",
         "engine/delivery", "engine/smtp", *(f"engine/{file}.cc" for file in ("address", "engine", "journal", "limits_file", "list_source", "usage_book"))]
OPTION = "options of the engine that the add-in does not use"
# Files and texts among them that are not for that user. Each has to be there, or it goes from this list.
NOT_SHOWN = {
    "send/job_file.cc": "the job's keys",
    "settings/file_backend.cc": "the settings file's own comment",
    "settings/settings.h": "what the command line says of settings",
    "engine/smtp/secret_scanner.cc": "escapes",
    "engine/smtp/complaint.cc": "what servers say",
    "engine/delivery/outcome_recorder.cc": "faults of the program's own",
    "engine/delivery/delivery_trace.cc": "what --trace writes",
    "engine/smtp/session_trace.cc": "what --trace writes",
    "warning: the trace is incomplete: ": OPTION,
    "connecting to ": "what --trace writes",
    "support/diagnostic_report.cc": "the report that the user sends",
    "support/windows_facts.cc": "what the system calls itself",
    "Text Files (*.txt, *.text)|*.txt; *.text| Comma Separated Files (*.csv)|*.csv| "
    "All Supported Files (*.txt, *.text, *.csv)|*.txt; *.text; *.csv|": "the system's own dialog shows it",
    "All Files (*.*)|*.*|": "the system's own dialog shows it",
    "--resend-unknown is for the whole list: leave out --limit and --only": OPTION,
    "', which is no account of this job": OPTION,
    "--account-rate names '": OPTION,
    "--password-command names '": OPTION,
    " with a login": OPTION,
    "those who failed are sent to again with: ": "the command line's answer",
    "; --refused adds those who were refused\n": "the command line's answer",
    "the job could not be ended in order": "the command line's answer",
    " messages for ": OPTION,
    " recipients in '": OPTION,
    " rows skipped; nothing was sent\n": OPTION,
    " -- --ca FILE": OPTION,
    "' is neither TEXT nor CSV in the job": "a job that nobody but a program writes",
    "no stage of the set-up": "a fault of the program's own",
    "the greeting": "a part of a server's answer",
    "MAIL FROM": "a part of a server's answer",
    "RCPT TO": "a part of a server's answer",
    "MAIL FROM:<": "what servers are told",
    "RCPT TO:<": "what servers are told",
    "Menu Bar": "how the mail client calls it",
    "nothing was deleted": "the command line's answer",
    "' are split by ": "the command line's answer",
    ", and every row would be a single column: save it again with commas": "the command line's answer",
    "the main window has no Web bar": "the browser is tried then",
    "the clipboard can't be used (Windows error ": "nothing is put in then",
    "there is no picture '": "a fault of the build",
}

STRING = r'"(?:[^"\\\n]|\\.)*"'
TOKEN = re.compile(rf"""//[^\n]*|/\*.*?\*/|\#include[^\n]*|'(?:[^'\\]|\\.)'|(?P<text>{STRING}(?:\s*{STRING})*)""", re.S)
ESCAPES = {"r": "\r", "n": "\n", "t": "\t", "0": "\0"}


def literal(token):
    pieces = (piece[1:-1] for piece in re.findall(STRING, token))
    return re.sub(r"\\(.)", lambda m: ESCAPES.get(m[1], m[1]), "".join(pieces))


def parts_of(text):
    """What of a literal is looked for: each line or piece between markup, without access keys and the ends that meet a name."""
    text = re.sub(r"^[^<>]*\">|<[a-z/][^>]*(?:>|$)", "\n", text.replace("&nbsp;", " "))
    text = re.sub(r"&(?=\S)(&?)", r"\1", text)
    parts = (re.sub(r"[ \t]+", " ", part).strip(" '.,:;") for part in re.split(r"[\r\n]+", text))
    return [part for part in parts if part]


def stands_in(part, text):
    word = re.escape(part)
    return re.search((r"\b" if part[0].isalnum() else "") + word + (r"\b" if part[-1].isalnum() else ""), text) is not None


def is_for_people(text, before):
    """Of a literal and the statement so far: whether a person reads it in a window."""
    if re.search(r"\bLog(Failure)?\($|\bLog(Failure)?\(.", before, re.S):
        return False
    two_words = re.search(r"[A-Za-z]{2,}[,;:.]? +(?:& +)?[A-Za-z]", re.sub(r"<[^>]*>", " ", text))
    caption = re.search(r"&[A-Za-z]", re.sub(r"&nbsp;", "", text))
    control = re.search(r"\{this,\s*\"\w+\",\s*$", before)
    return bool(two_words or caption or control)


def texts_in(source):
    """What a file shows to people: (line, text)."""
    code = source.read_text("utf-8")
    for token in TOKEN.finditer(code):
        if not token["text"]:
            continue
        text = literal(token["text"])
        start = max(code.rfind(mark, 0, token.start()) for mark in ";}") + 1
        if is_for_people(text, code[start:token.start()]):
            yield code.count("\n", 0, token.start()) + 1, text


def sources():
    for module in MODULES:
        path = SOURCES / module
        for file in sorted(path.iterdir()) if path.is_dir() else [path]:
            if file.suffix in (".h", ".cc") and not re.search(r"_test|stories|testing|test_host|test_server|test_job|fake_|scripted_server", file.name):
                yield file


def forms_in(source):
    return re.findall(r'\bForm\(\s*"(\w+)"', source.read_text("utf-8"))


class Page(html.parser.HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.text, self.links, self.pictures, self.ids, self.faults = "", [], [], set(), []
        self.open = []
        self.feed(path.read_text("utf-8"))
        self.close()
        self.faults += [f"{tag} is left open" for tag in self.open]

    def shows(self, form):
        return any(pathlib.PurePosixPath(picture["src"]).stem.split("-")[0] == form for picture in self.pictures)

    def handle_starttag(self, tag, attrs):
        attrs = dict(attrs)
        if tag not in EMPTY:
            self.open.append(tag)
        if "id" in attrs:
            if attrs["id"] in self.ids:
                self.faults.append(f"two have the id {attrs['id']}")
            self.ids.add(attrs["id"])
        if tag in ("a", "link"):
            self.links.append(attrs["href"])
        if tag == "img":
            self.pictures.append(attrs)
        if tag in ("p", "dt", "dd", "li", "td", "th", "h1", "h2", "pre"):
            self.text += "\n"

    def handle_endtag(self, tag):
        if not self.open or self.open.pop() != tag:
            self.faults.append(f"{tag} is closed out of turn at {self.getpos()}")

    def handle_data(self, data):
        self.text += data


class Help(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.pages = {path.name: Page(path) for path in sorted(HELP.glob("*.html"))}

    def text_about(self, source):
        """All pages; of a dialog those that show it, and for what is not on it the messages."""
        own = source.with_suffix(".h"), source.with_suffix(".cc")
        forms = {form for file in own if file.is_file() for form in forms_in(file)}
        pages = [page for name, page in self.pages.items()
                 if not forms or (name == "messages.html" and source.suffix == ".cc") or any(page.shows(form) for form in forms)]
        return re.sub(r"\s+", " ", " ".join(page.text for page in pages))

    def test_pages_are_well_formed_and_within_reach(self):
        for name, page in self.pages.items():
            self.assertEqual([], page.faults, name)
        self.assertEqual(set(self.pages) - {"index.html"},
                         {link for link in self.pages["index.html"].links if link.endswith(".html")})
        for name in set(self.pages) - {"index.html"}:
            self.assertIn("index.html", self.pages[name].links, name)

    def test_links_lead_somewhere(self):
        for name, page in self.pages.items():
            for link in page.links:
                file, _, ident = link.partition("#")
                target = HELP / (file or name)
                self.assertTrue(target.is_file(), f"{name}: {link}")
                if ident:
                    self.assertIn(ident, self.pages[target.name].ids, f"{name}: {link}")

    def test_pictures_are_there_in_their_sizes(self):
        for name, page in self.pages.items():
            for picture in page.pictures:
                head = (HELP / picture["src"]).read_bytes()[:24]
                size = [int.from_bytes(head[at:at + 4], "big") for at in (16, 20)]
                self.assertEqual(size, [int(picture["width"]), int(picture["height"])], f"{name}: {picture['src']}")
                self.assertTrue(picture["alt"].strip(), f"{name}: {picture['src']}")

    def test_every_dialog_is_shown(self):
        shown = {pathlib.PurePosixPath(picture["src"]).stem for page in self.pages.values() for picture in page.pictures}
        forms = {form for source in sources() for form in forms_in(source)}
        self.assertGreater(len(forms), 8)
        # Of the kit's own samples there are pictures as well.
        pictures = {path.stem for path in DIALOGS.glob("*.png")
                    if not path.stem.endswith("-144") and path.stem.split("-")[0] in forms}
        self.assertEqual(set(), (forms | pictures) - shown)

    def test_every_text_of_the_windows_stands_in_it(self):
        missing, count, used = [], 0, set()
        for source in sources():
            name, about = str(source.relative_to(SOURCES)), self.text_about(source)
            for line, text in texts_in(source):
                count += 1
                excuse = {name, text} & NOT_SHOWN.keys()
                used |= excuse
                if not excuse:
                    missing += [f"{name}:{line}: {part}" for part in parts_of(text) if not stands_in(part, about)]
        self.assertEqual([], missing)
        self.assertGreater(count, 150)
        self.assertEqual(set(), NOT_SHOWN.keys() - used)

    def test_the_compiled_help_has_all_of_it(self):
        if not (shutil.which("chmcmd-3.2.2") or shutil.which("chmcmd")):
            self.skipTest("chmcmd is not installed")
        with tempfile.TemporaryDirectory() as folder:
            built = pathlib.Path(folder, "a folder")
            subprocess.run([ROOT / "packaging" / "make-help", built], check=True, stdout=subprocess.DEVNULL)
            chm = built / "vespro.chm"
            # Its maker's own reader, and one of another hand (package libchm-bin), as viewers have it.
            for reader in ([shutil.which("chmls-3.2.2") or "chmls", "extractall", chm], ["extract_chmLib", chm]):
                if shutil.which(reader[0]):
                    with self.subTest(reader[0]):
                        unpacked = pathlib.Path(folder, reader[0].replace("/", "-"))
                        subprocess.run([*reader, unpacked], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
                        self.expect_all_in(unpacked)

    def expect_all_in(self, unpacked):
        contents = (unpacked / "vespro.hhc").read_text("utf-8")
        for name, page in self.pages.items():
            inside = Page(unpacked / name)
            self.assertEqual(page.text, inside.text, name)
            self.assertEqual(page.links, inside.links, name)
            self.assertIn(f'value="{name}"', contents)
            for picture in inside.pictures:
                original = next((ROOT / "docs" / "screens").glob("*/" + pathlib.PurePosixPath(picture["src"]).name))
                self.assertEqual(original.read_bytes(), (unpacked / picture["src"]).read_bytes())
            self.assertEqual(len(page.pictures), len(inside.pictures), name)
        self.assertEqual((HELP / "help.css").read_bytes(), (unpacked / "help.css").read_bytes())


if __name__ == "__main__":
    unittest.main()
