"""The page that leads to all reports, used in a browser: every link is clicked, wherever the files lie."""

import json
import pathlib
import shutil
import subprocess
import unittest
import urllib.error
import urllib.request

import support

if not (shutil.which("chromium") and shutil.which("chromedriver")):
    support.leave_out("there is no Chromium with its driver (packages chromium, chromium-driver)")

# Names of folders, each with something that ends or redirects a link in a careless page.
FOLDERS = ["plain", "two  words", "it's \"quoted\"", "a<b>c<", "no#1", "100%25 %41 %", "why?because",
           "żółw Дом ☃", "line\nbreak", "tab\there", "R&copy; &amp; &#65;", "back\\slash", "c|d", "[x]{y}^`",
           ";:@&=+$,!*'()", " blanks around "]


class Browser:
    """Chromium by the WebDriver protocol."""

    def __init__(self, folder):
        port = support.free_port()
        self.driver = subprocess.Popen(["chromedriver", "--port={}".format(port)],
                                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        support.wait_for_port(port, self.driver)
        self.base = "http://127.0.0.1:{}/session".format(port)
        options = {"args": ["--headless=new", "--no-sandbox", "--disable-gpu", "--user-data-dir={}".format(folder)]}
        session = self.call("POST", "", {"capabilities": {"alwaysMatch": {"goog:chromeOptions": options}}})
        self.base += "/" + session["sessionId"]

    def call(self, method, path, content=None):
        data = json.dumps(content).encode() if content is not None else None
        request = urllib.request.Request(self.base + path, data, {"Content-Type": "application/json"}, method=method)
        try:
            with urllib.request.urlopen(request, timeout=60) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise AssertionError(json.load(error)["value"]["message"]) from error

    def run(self, script):
        return self.call("POST", "/execute/sync", {"script": "return " + script, "args": []})

    def open(self, path):
        self.call("POST", "/url", {"url": path.as_uri()})

    def links(self):
        found = self.call("POST", "/elements", {"using": "css selector", "value": "a"})
        return [next(iter(element.values())) for element in found]

    def click(self, element):
        """The text of what is shown then; in a new window, which is closed again, or in this one."""
        first = self.call("GET", "/window")
        self.call("POST", "/element/{}/click".format(element), {})
        windows = self.call("GET", "/window/handles")
        others = [window for window in windows if window != first]
        if others:
            self.call("POST", "/window", {"handle": others[0]})
        text = self.run("document.body.innerText")
        if others:
            self.call("DELETE", "/window")
            self.call("POST", "/window", {"handle": first})
        return text

    def close(self):
        try:
            self.call("DELETE", "")
        finally:
            self.driver.terminate()
            self.driver.wait(support.SECONDS)


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
