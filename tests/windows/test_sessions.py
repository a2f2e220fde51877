"""The service and the person at the screen: message boxes, and a browser when a card goes in."""
import shutil
import time
import unittest

from wine import BUILD, Service, ServiceTest, Windows, wait_until
from common import CARD, NO_CARD
from scenarios import BAD_BROWSER

windows = Windows()
TITLE = "KALVERO  -  KV500"
BROWSER = r"C:\Program Files\Some Browser\browser.exe"
URL = "https://practice.example/#id="


class SessionTest(ServiceTest):
    def setUp(self):
        self.service = Service(windows, f"Program Files/{self._testMethodName}")
        self.addCleanup(self.service.close)
        windows.log_in("0 4", "2 1", "3 0", "7 0")  # The first that a person works in counts.

    def file(self, name):
        path = windows.drive / name
        self.addCleanup(path.unlink, missing_ok=True)
        return path

    def test_a_box_waits_for_its_answer(self):
        unanswered = self.file("kv500-nobody-answers.txt")
        unanswered.touch()
        self.service.switch_on(readers=0, config="CallBrowser=ja", wait=False)
        boxes = wait_until(windows.boxes, "the box")
        self.assertEqual(boxes[-1], f"3 {TITLE} | {BAD_BROWSER}")
        time.sleep(1)
        self.assertEqual(self.service.try_ask("status"), b"", "the port is closed")
        unanswered.unlink()
        self.service.wait_for(b"RUNNING")
        self.assertEqual(self.service.boxes(), [BAD_BROWSER])

    def test_a_start_by_hand_is_explained(self):
        self.assertEqual(windows.run(self.service.program)[0], 1)
        box = windows.boxes()[-1]
        self.assertIn(f"3 KALVERO  -  {windows.path(self.service.program)} | This programm must be", box)
        windows.log_in("0 4", "2 1")
        self.assertEqual(windows.run(self.service.program)[0], 1)
        self.assertEqual(windows.boxes()[-1], box, "nobody works in a session")

    def test_a_card_starts_the_browser_in_the_users_environment(self):
        program = windows.drive / BROWSER[3:].replace("\\", "/")
        program.parent.mkdir()
        shutil.copy2(BUILD / "tests/windows/browser.exe", program)
        written, close = self.file("kv500-browser.txt"), self.file("kv500-close-browser.txt")
        self.service.configure("CallBrowser=yes", "AppendCardId=yes", f"URL={URL}",
                               f"BrowserCommand={BROWSER}")
        windows.smartcards_on()
        self.service.plug()
        self.service.create()
        self.service.start()
        self.service.wait_for_status(NO_CARD)
        # The service itself has been started without it.
        windows.import_registry('[HKEY_CURRENT_USER\\Environment]\n"KV500_USER"="Präxis 読"\n')
        for card, number in [("mustermann", "T027618422"), ("bankkarte", "")]:
            self.service.insert(card)
            self.service.wait_for_status(CARD)
            wait_until(written.exists, "the browser")
            command, priority, *environment = written.read_text("utf-8").splitlines()
            self.assertEqual([command, priority], [f'"{BROWSER}" "{URL}{number}"', "32"])
            self.assertIn("KV500_USER=Präxis 読", environment)
            self.assertIn(r"windir=C:\windows", environment)
            written.unlink()
            self.service.remove()
            self.service.wait_for_status(NO_CARD)
            time.sleep(1.5)  # The next card is a new one.
        # It belongs to the user: it outlives the service and holds nothing of it.
        self.service.stop()
        wait_until(self.service.is_gone, "end of the process")
        self.assertEqual(len(windows.processes("browser.exe")), 2)
        self.service.start()
        self.service.wait_for_status(NO_CARD)
        windows.log_in("0 4")
        self.service.insert("mustermann")
        self.service.wait_for_status(CARD)
        time.sleep(1)
        self.assertFalse(written.exists(), "nobody is there for whom to start it")
        close.touch()
        wait_until(lambda: not windows.processes("browser.exe"), "end of the browsers")


if __name__ == "__main__":
    unittest.main()
