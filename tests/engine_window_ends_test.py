"""The engine's window, under Wine: started as the add-in does, stopped, and gone on with."""

import asyncio
import time
import unittest

import support

try:
    from aiosmtpd.controller import Controller
except ImportError:
    support.leave_out("there is no aiosmtpd (package python3-aiosmtpd)")


class Slow:
    """Takes its time for each message."""

    pause = 0.25

    def __init__(self):
        self.recipients = []

    async def handle_DATA(self, server, session, envelope):
        await asyncio.sleep(self.pause)
        self.recipients += envelope.rcpt_tos
        return "250 kept"


class EngineWindow(support.JobTest):
    home_name = "Łąki été/Дом"

    def setUp(self):
        super().setUp()
        self.server = Slow()
        port = support.free_port()
        controller = Controller(self.server, hostname="127.0.0.1", port=port)
        controller.start()
        self.addCleanup(controller.stop)
        self.people = ["p{:02}@example.net".format(i) for i in range(60)]
        listed = self.write("list.txt", "\n".join(self.people) + "\n")
        self.add_account(port)
        # The first one by the command line, whose streams lead here: no window, and a job to go on with.
        done = self.expect(0, self.send("--subject", "Rock & Roll", "--list", listed,
                                        "--text", self.write("t.txt", "Hello\n"),
                                        engine=("--limit", "1")))
        self.assertIn("1 sent; report: ", done.stdout)
        [self.session] = self.sessions()

    def begin(self, deed):
        return support.start_windows(support.PROGRAMS / "vespro-engine-window.exe",
                                     support.windows_path(support.PROGRAMS / "Vespro.exe"),
                                     support.windows_path(self.session / "Vespro.cfg"), deed)

    def window(self, deed, begun=None):
        """What it showed at the end, and the engine's exit code."""
        *texts, code = self.end(begun or self.begin(deed)).splitlines()
        return texts, code

    def end(self, process):
        printed, errors = process.communicate(timeout=support.SECONDS)
        self.assertEqual(process.returncode, 0, printed + errors)
        return printed

    def log_off(self):
        begun = self.begin("watch")
        served = len(self.server.recipients)
        deadline = time.monotonic() + support.SECONDS
        while len(self.server.recipients) < served + 3:
            self.assertLess(time.monotonic(), deadline, "no mail went out")
            time.sleep(0.05)
        # As the system does: all windows are asked, then told, then their programs ended.
        self.end(support.start_windows("wineboot", "--end-session"))
        return self.window("watch", begun)

    def finish(self):
        texts, code = self.window("watch")
        self.assertEqual(code, "exit 0", texts)
        for text in ("Rock && Roll", "To: list.txt", "60 sent", "Finished. Everybody was served.",
                     "Show &report", "&Close"):
            self.assertIn(text, texts)
        self.assertNotIn("&Stop", texts)

    def test_stopped_by_its_button_it_shows_so_and_goes_on(self):
        texts, code = self.window("stop")
        self.assertEqual(code, "exit 130", texts)
        self.assertIn("Stopped. Nothing is lost; the job can go on.", texts)
        self.assertIn("Show &report", texts)
        self.assertLess(len(self.server.recipients), len(self.people))
        self.finish()
        self.assertEqual(sorted(self.server.recipients), self.people)

    def test_the_close_button_stops_in_order_and_the_window_goes(self):
        self.assertEqual(self.window("close"), ([], "exit 130"))
        self.assertLess(len(self.server.recipients), len(self.people))
        self.finish()
        self.assertEqual(sorted(self.server.recipients), self.people)

    def test_go_on_does_the_rest_in_the_same_window(self):
        texts, code = self.window("go-on")
        self.assertEqual(code, "exit 0", texts)
        self.assertIn("Finished. Everybody was served.", texts)
        self.assertNotIn("&Go on", texts)
        self.assertEqual(sorted(self.server.recipients), self.people)

    def test_the_end_of_the_session_or_console_stops_in_order(self):
        self.server.pause = 1  # on a slow machine, too, somebody is left for the next one
        for deed in ("log off", "close-console"):
            served = len(self.server.recipients)
            ended = self.log_off() if deed == "log off" else self.window(deed)
            self.assertEqual(ended, ([], "exit 130"), (deed, len(self.server.recipients)))
            self.assertLess(served, len(self.server.recipients), deed)
            self.assertLess(len(self.server.recipients), len(self.people), deed)
            # In order: whoever got it is known to have it, and the report is of now.
            self.assertEqual(sorted(self.addresses("sent")), sorted(self.server.recipients), deed)
            self.assertIn("interrupted, ", (self.session / "report.html").read_text(), deed)
        self.server.pause = Slow.pause
        self.finish()
        self.assertEqual(sorted(self.server.recipients), self.people)

    def test_impatience_leaves_those_in_doubt_unknown(self):
        self.server.pause = 1.5
        texts, code = self.window("at-once")
        self.assertEqual(code, "exit 130", texts)
        unknown = self.addresses("unknown")
        self.assertTrue(unknown, texts)
        self.assertFalse(set(unknown) & set(self.addresses("sent")))

    def test_what_cannot_be_sent_is_said(self):
        (self.session / "Vespro.cfg").write_bytes(b"nonsense")
        texts, code = self.window("watch")
        self.assertEqual(code, "exit 65", texts)
        self.assertIn("The job could not be done.", texts)
        self.assertNotIn("Show &report", texts)


if __name__ == "__main__":
    unittest.main(verbosity=2)
