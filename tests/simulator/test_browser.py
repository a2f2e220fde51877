"""The browser that is started for a new card."""
import time
import unittest

from simulator import SimulatorTest
from common import CARDS, NO_CARD, STARTED, wait_until

URL = "http://127.0.0.1:9/card?id="

# Writes its arguments and the targets of its descriptors into a new file beside itself.
BROWSER = '''#!/usr/bin/env python3
import os, sys, tempfile
lines = list(sys.argv[1:])
for number in sorted(os.listdir("/proc/self/fd"), key=int):
    try:
        lines.append(number + " " + os.readlink("/proc/self/fd/" + number))
    except FileNotFoundError:
        pass  # That of the list itself.
folder = os.path.dirname(os.path.abspath(__file__))
handle, name = tempfile.mkstemp(dir=folder)
os.write(handle, "\\n".join(lines).encode())
os.rename(name, os.path.join(folder, "browser-%d.ran" % os.getpid()))
'''
NO_DESCRIPTORS = ["0 /dev/null", "1 /dev/null", "2 /dev/null"]


class Browser(SimulatorTest):
    def start_with_browser(self, *options, url=URL, append="yes", command=None):
        simulator = self.workstation()
        script = simulator.folder / "my browser"
        script.write_text(BROWSER)
        script.chmod(0o755)
        self.browser = command or script
        simulator.start(*options, "--trace", simulator.folder / "trace", config=(
            f"CallBrowser=yes\nAppendCardId={append}\nURL={url}\n"
            f"BrowserCommand={self.browser}\n"))
        return simulator

    def runs(self, simulator, count):
        """What each run of the browser has written; there must be `count` runs."""
        def files():
            return list(simulator.folder.glob("*.ran"))
        wait_until(lambda: len(files()) >= count, f"{count} runs of the browser")
        self.assertEqual(simulator.count_events("browser"), count)
        written = [path.read_text().split("\n") for path in files()]
        for path in files():
            path.unlink()
        return written

    def test_once_for_each_new_card(self):
        simulator = self.start_with_browser("--card", CARDS / "mustermann")
        line = f'browser "{self.browser}" "{URL}'
        simulator.wait_for_event(line + 'T027618422"')
        self.assertEqual(self.runs(simulator, 1), [[URL + "T027618422", *NO_DESCRIPTORS]])
        time.sleep(1)
        simulator.ask("close")  # The next poll opens it again; the card is not new.
        time.sleep(0.6)
        simulator.remove()
        time.sleep(0.4)  # One or two polls: the card was only moved.
        self.insert(simulator, "mustermann")
        time.sleep(0.6)
        self.assertEqual(simulator.count_events("browser"), 1)

        for number, (card, card_id) in enumerate([("familienversichertes-kind", "K482100731"),
                                                  ("bankkarte", "")], start=2):
            self.remove(simulator)
            time.sleep(1.8)
            simulator.insert(card)
            simulator.wait_for_event("browser", number)
            self.assertEqual(simulator.events[-1], f'{line}{card_id}"')
        self.assertEqual(simulator.log(), [STARTED])

    def test_settings(self):
        rows = [(dict(url=""), "", []),
                (dict(append="no"), f' "{URL}"', [URL])]
        for settings, arguments, expected in rows:
            with self.subTest(settings):
                simulator = self.start_with_browser("--card", CARDS / "mustermann", **settings)
                simulator.wait_for_event("browser")
                self.assertEqual(simulator.events[-1], f'browser "{self.browser}"{arguments}')
                self.assertEqual(self.runs(simulator, 1), [expected + NO_DESCRIPTORS])
                was_read = bool((simulator.folder / "trace").read_text())
                self.assertEqual(was_read, "append" not in settings)

    def test_program_that_cannot_be_started(self):
        simulator = self.start_with_browser(command="/nowhere/browser")
        simulator.wait_for_status(NO_CARD)
        self.insert(simulator, "mustermann")
        trace = simulator.folder / "trace"
        wait_until(lambda: trace.read_text().count("> 00 B0 01 00 00") == 1, "the id is read")
        read_once = trace.read_text()
        time.sleep(1)
        self.assertEqual(simulator.events[1:], [])
        self.assertEqual(trace.read_text(), read_once, "not tried again")
        self.assertEqual(simulator.log(), [STARTED])


if __name__ == "__main__":
    unittest.main()
