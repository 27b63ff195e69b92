"""The page that leads to all reports, used in a browser: every link is clicked, wherever the files lie."""

import pathlib
import shutil
import subprocess
import unittest

import support
from browser import Browser

# Names of folders, each with something that ends or redirects a link in a careless page.
FOLDERS = ["plain", "two  words", "it's \"quoted\"", "a<b>c<", "no#1", "100%25 %41 %", "why?because",
           "żółw Дом ☃", "line\nbreak", "tab\there", "R&copy; &amp; &#65;", "back\\slash", "c|d", "[x]{y}^`",
           ";:@&=+$,!*'()", " blanks around "]


class ReportLinks(support.JobTest):
    def setUp(self):
        super().setUp()
        self.browser = Browser(self.folder / "browser")
        self.addCleanup(self.browser.close)

    def install(self, folder):
        """The program with its pictures, somewhere else."""
        folder.mkdir(parents=True)
        shutil.copy(support.PROGRAMS / "vespro", folder)
        shutil.copytree(support.PROGRAMS / "images", folder / "images")
        return folder / "vespro"

    def index(self, name):
        """The index of a home and a program in a folder of that name; so is the only session called."""
        home = self.folder / name / "home"
        session = home / "session" / name
        session.mkdir(parents=True)
        (session / "report.html").write_text("<title>T</title>the page", "utf-8")
        (session / "report.txt").write_text("the text", "utf-8")
        vespro = self.install(self.folder / name / "program")
        done = subprocess.run([vespro, "--home", home, "reports", "view", "--no-input"], capture_output=True,
                              encoding="utf-8", timeout=support.SECONDS)
        self.expect(0, done)
        return home / "index.html"

    def test_every_link_opens_what_it_says(self):
        for name in FOLDERS:
            with self.subTest(folder=name):
                index = self.index(name)
                self.browser.open(index)
                loaded = self.browser.run("[...document.images].map(i => i.complete && i.naturalWidth > 0)")
                self.assertEqual(loaded, [True] * 3)
                shown = []
                for number in range(3):
                    self.browser.open(index)
                    shown.append(self.browser.click(self.browser.links()[number]))
                self.assertEqual(shown[:2], ["the page", "the text"])
                self.assertIn("report.html", shown[2])
                self.assertIn("report.txt", shown[2])


if __name__ == "__main__":
    unittest.main(verbosity=2)
