"""The service and the person at the screen: message boxes, and a browser when a card goes in."""
import shutil
import time
import unittest

from wine import BUILD, Service, ServiceTest, Windows, wait_until
from common import NO_CARD
from scenarios import BAD_BROWSER

windows = Windows()
URL = "https://practice.example/#id="


class SessionTest(ServiceTest):
    def setUp(self):
        self.service = Service(windows, f"Program Files/{self._testMethodName}")
        self.addCleanup(self.service.close)
        windows.log_in("0 4", "2 1", "3 0", "7 0")  # The first that a person works in counts.

    def test_a_box_waits_for_its_answer(self):
        unanswered = windows.drive / "kv500-nobody-answers.txt"
        unanswered.touch()
        self.service.switch_on(readers=0, config="CallBrowser=ja", wait=False)
        self.assertEqual(wait_until(windows.boxes, "a box"), [f"3 KALVERO  -  KV500 | {BAD_BROWSER}"])
        time.sleep(1)
        self.assertEqual(self.service.try_ask("status"), b"", "the port is closed")
        unanswered.unlink()
        self.service.wait_for(b"RUNNING")

    def test_a_card_starts_the_browser_in_the_users_environment(self):
        browser = windows.path(shutil.copy2(BUILD / "tests/windows/browser.exe",
                                            self.service.folder / "browser.exe"))
        written = windows.drive / "kv500-browser.txt"
        self.service.switch_on(config=f"CallBrowser=yes\nAppendCardId=yes\nURL={URL}\n"
                                      f"BrowserCommand={browser}")
        self.service.wait_for_status(NO_CARD)
        # The service itself has been started without it.
        windows.import_registry('[HKEY_CURRENT_USER\\Environment]\n"KV500_USER"="Präxis 読"\n')
        for card, number in [("mustermann", "T027618422"), ("bankkarte", "")]:
            self.service.insert(card)
            wait_until(written.exists, "the browser")
            command, *environment = written.read_text("utf-8").splitlines()
            self.assertEqual(command, f'"{browser}" "{URL}{number}"')
            self.assertLessEqual({"KV500_USER=Präxis 読", r"windir=C:\windows"}, set(environment))
            written.unlink()
            self.service.remove()
            self.service.wait_for_status(NO_CARD)
            time.sleep(1.5)  # The next card is a new one.
        # A browser belongs to the user: it outlives the service and holds nothing of it.
        self.service.stop()
        wait_until(self.service.is_gone, "end of the process")
        self.assertEqual(len(windows.processes("browser.exe")), 2)
        self.service.start()
        self.service.wait_for_status(NO_CARD)
        (windows.drive / "kv500-close-browser.txt").touch()
        wait_until(lambda: not windows.processes("browser.exe"), "end of the browsers")


if __name__ == "__main__":
    unittest.main()
