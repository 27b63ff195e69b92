"""The engine's report in a browser: states chosen by a click, columns of all widths, what a screen reader is told."""

import unittest

import support
from browser import Browser

# What a person sees of the table: the words in the state column of rows that are shown.
SHOWN = """[...document.querySelectorAll("tbody b")].filter(b => b.getClientRects().length > 0).map(b => b.textContent)"""
# Words that are shown on two lines, though there is room for them on one.
BROKEN = """(() => {
  const broken = [], range = document.createRange();
  const walk = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
  for (let node; (node = walk.nextNode());) {
    for (const word of node.data.matchAll(/[A-Za-z0-9]+/g)) {
      if (word[0].length > 16) continue;
      range.setStart(node, word.index);
      range.setEnd(node, word.index + word[0].length);
      if (new Set([...range.getClientRects()].map(r => Math.round(r.top))).size > 1) broken.push(word[0]);
    }
  }
  return broken;
})()"""
OVERFLOW = "document.documentElement.scrollWidth - document.documentElement.clientWidth"


class ReportPage(support.JobTest):
    def setUp(self):
        super().setUp()
        self.browser = Browser(self.folder / "browser")
        self.addCleanup(self.browser.close)

    def report_of(self, people, per_page):
        catcher = self.catcher("--refuse", "gone")
        self.add_account(catcher.port)
        self.expect(0, self.vespro("reports", "per-page", per_page))
        self.expect(1, self.send("--subject", "A rehearsal", "--text", self.write("t.txt", "Hello\n"),
                                 "--list", self.write("list.txt", "\n".join(people) + "\n")))
        return self.sessions()[0]

    def click(self, text):
        links = {self.browser.call("GET", "/element/{}/text".format(e)): e for e in self.browser.links()}
        self.browser.click(links[text])

    def test_a_click_shows_one_state_from_page_to_page(self):
        people = ["gone{}@example.org".format(i) for i in range(5)] + ["nobody"]
        people += ["member{}@example.org".format(i) for i in range(3)]
        self.browser.open(self.report_of(people, 4) / "report.html")
        self.assertEqual(self.browser.run(SHOWN), ["refused"] * 4)
        self.click("1 skipped")
        self.assertEqual(self.browser.run(SHOWN), ["skipped"])
        self.click("All recipients")
        self.assertEqual(self.browser.run(SHOWN), ["refused"] * 4)
        self.click("5 refused")
        self.click("More refused")
        self.assertEqual(self.browser.run(SHOWN), ["refused"])
        self.click("First")
        self.assertEqual(self.browser.run(SHOWN), ["refused"] * 4)
        self.click("Last")
        self.assertEqual(self.browser.run(SHOWN), ["sent"])
        self.click("3 sent")
        self.assertEqual(self.browser.run(SHOWN), ["sent"] * 2)

    def test_every_width_is_readable_and_a_table_to_the_ear(self):
        session = self.report_of([
            "gone@example.org", "member@example.org", "w" * 300, "the caretaker of the hall, who has no address",
            "gone.with.a.long.name.and.more@department.of.the.town.council.example.org",
            "gone" + "x" * 60 + "@" + "y" * 60 + "." + "z" * 60 + ".example.org"], 100)
        for width in (500, 700, 840, 1000, 1400):
            with self.subTest(width=width):
                self.browser.resize(width)
                self.browser.open(session / "report.html")
                self.assertEqual(self.browser.run(BROKEN), [])
                self.assertEqual(self.browser.run(OVERFLOW), 0)
                for selector, role in (("table", "table"), ("caption", "caption"), ("tbody tr", "row"),
                                       ("thead th", "columnheader"), ("tbody th[scope=row]", "rowheader"),
                                       ("tbody td", "cell"), (".bar", "image")):
                    roles = {self.browser.role(element) for element in self.browser.elements(selector)}
                    self.assertEqual(roles, {role}, selector)


if __name__ == "__main__":
    unittest.main(verbosity=2)
