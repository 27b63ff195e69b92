"""A browser for tests. Ends the script as left out where there is none."""

import json
import shutil
import subprocess
import urllib.error
import urllib.request

import support

if not (shutil.which("chromium") and shutil.which("chromedriver")):
    support.leave_out("there is no Chromium with its driver (packages chromium, chromium-driver)")


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

    def elements(self, selector):
        found = self.call("POST", "/elements", {"using": "css selector", "value": selector})
        return [next(iter(element.values())) for element in found]

    def links(self):
        return self.elements("a")

    def role(self, element):
        """What a screen reader is told that it is."""
        return self.call("GET", "/element/{}/computedrole".format(element))

    def resize(self, width):
        self.call("POST", "/window/rect", {"width": width, "height": 900})

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
