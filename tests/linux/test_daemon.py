"""The life of pcscd as the service meets it: absent, stopped, killed, back again."""
import pathlib
import signal
import threading
import time
import unittest

from isolation import run_isolated
from machine import Machine, wait_until


class DaemonTest(unittest.TestCase):
    def setUp(self):
        self.machine = Machine()
        self.addCleanup(self.machine.close)
        self.machine.add_reader()
        self.machine.insert("mustermann")

    def test_stop_and_start(self):
        self.machine.start_daemon()
        self.machine.start_service()
        self.assertTrue(self.machine.reaches("card", 4))
        self.machine.allow_daemon_start()
        for end in [signal.SIGTERM, signal.SIGKILL]:
            with self.subTest(end):
                self.machine.stop_daemon(end)
                # The service starts it again by itself.
                self.assertTrue(wait_until(self.machine.daemon_pids, 4))
                self.assertTrue(self.machine.reaches("card"))
                self.assertEqual(self.machine.answer("read")["status"], "OK")
        self.assertEqual((self.machine.folder / "systemctl.log").read_text(),
                         2 * "--no-ask-password start pcscd.socket\n")
        self.assertEqual(self.machine.log(), ["### Service started! ###",
                                              "Trying to start Smartcard service..."])

    def test_started_by_somebody_else(self):
        self.machine.start_daemon()
        self.machine.start_service()
        self.assertTrue(self.machine.reaches("card", 4))
        self.machine.service.send_signal(signal.SIGSTOP)
        self.machine.stop_daemon()
        self.machine.start_daemon()
        self.machine.service.send_signal(signal.SIGCONT)
        self.assertTrue(self.machine.reaches("none"))
        self.assertTrue(self.machine.reaches("card", 3))
        self.assertEqual(self.machine.log(), ["### Service started! ###"])

    def test_absent_at_the_start(self):
        self.machine.allow_daemon_start()
        self.machine.start_service()
        self.assertTrue(self.machine.reaches("card", 4))
        self.assertEqual(self.machine.log(), ["### Service started! ###",
                                              "Trying to start Smartcard service..."])

    def test_cannot_be_started(self):
        self.machine.start_service()
        self.assertEqual(self.machine.service.wait(timeout=4), 0)
        self.assertEqual(self.machine.log(),
                         ["### Service started! ###", "Trying to start Smartcard service...",
                          "Smartcard service not running!"])

    def test_killed_in_the_middle_of_a_read(self):
        self.machine.remove()
        card = self.machine.make_card("slow", "00B0810000 wait 1500\n")
        self.machine.insert(card)
        self.machine.start_daemon()
        self.machine.start_service()
        self.assertTrue(self.machine.reaches("card", 4))
        answers = []
        reader = threading.Thread(target=lambda: answers.append(self.machine.answer("read")))
        reader.start()
        time.sleep(0.5)
        self.machine.allow_daemon_start()
        (card / "overrides.txt").unlink()
        self.machine.stop_daemon(signal.SIGKILL)
        reader.join(5)
        self.assertEqual([answer["status"] for answer in answers], ["ERROR"])
        self.assertTrue(wait_until(self.machine.daemon_pids, 4))
        self.assertTrue(self.machine.reaches("card"))
        self.assertEqual(self.machine.answer("read")["status"], "OK")

    def test_nothing_leaks_over_many_restarts(self):
        def descriptors():
            return len(list(pathlib.Path(f"/proc/{self.machine.service.pid}/fd").iterdir()))

        self.machine.start_daemon()
        self.machine.start_service()
        self.assertTrue(self.machine.reaches("card", 4))
        self.machine.allow_daemon_start()
        time.sleep(0.5)  # The connections of the requests so far are closed by then.
        before = descriptors()
        for _ in range(3):
            self.machine.stop_daemon(signal.SIGKILL)
            self.assertTrue(wait_until(self.machine.daemon_pids, 4))
            self.assertTrue(self.machine.reaches("card"))
        self.assertTrue(wait_until(lambda: descriptors() == before, 3), (descriptors(), before))


if __name__ == "__main__":
    run_isolated()
