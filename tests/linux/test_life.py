"""Start and end of the service: systemd's notify protocol, signals, the one instance, the port."""
import os
import signal
import socket
import subprocess
import threading
import time
import unittest

from isolation import GROUP_ID, USER_ID, run_isolated
from machine import PORT, Machine, wait_until

STARTED = "### Service started! ###"
REACH = "Started as an ordinary user: the sessions of other users are out of reach"


class LifeTest(unittest.TestCase):
    def setUp(self):
        self.machine = Machine()
        self.addCleanup(self.machine.close)
        self.machine.add_reader()
        self.machine.insert("mustermann")
        self.machine.start_daemon()

    def test_stop_by_either_signal_and_a_new_start_on_the_same_port(self):
        for number in [signal.SIGTERM, signal.SIGINT]:
            with self.subTest(number):
                self.machine.start_service()
                self.assertTrue(self.machine.reaches("card", 4))
                # Connections in every state: answered and waiting for one that says nothing.
                self.machine.ask("status")
                with socket.create_connection(("127.0.0.1", PORT)):
                    status, seconds = self.machine.stop_service(number)
                self.assertEqual(status, 0)
                self.assertLess(seconds, 0.5)
        self.assertEqual(self.machine.log(), 2 * [STARTED])

    def test_stop_during_a_read(self):
        self.machine.remove()
        self.machine.insert(self.machine.make_card("slow", "00B0810000 wait 1500\n"))
        self.machine.start_service()
        self.assertTrue(self.machine.reaches("card", 4))
        answers = []
        reader = threading.Thread(target=lambda: answers.append(self.machine.try_ask("read")))
        reader.start()
        time.sleep(0.5)
        status, seconds = self.machine.stop_service()
        reader.join(5)
        self.assertEqual((status, answers), (0, [b""]))
        self.assertLess(seconds, 0.5)
        self.machine.start_service()
        self.assertTrue(self.machine.reaches("card", 5))
        self.assertEqual(self.machine.answer("read")["status"], "OK")

    def test_a_second_instance_leaves_the_first_alone(self):
        self.machine.start_service()
        second = subprocess.run([self.machine.program / "KV500Service"], timeout=5,
                                env={"NOTIFY_SOCKET": str(self.machine.folder / "notify")})
        self.assertEqual(second.returncode, 1)
        self.assertEqual(self.machine.log(), 2 * [STARTED])
        self.assertTrue(self.machine.try_ask("status"))
        # A killed instance leaves nothing behind that stops the next one.
        self.machine.service.kill()
        self.machine.service.wait()
        self.machine.start_service()

    def test_a_taken_port(self):
        with socket.create_server(("127.0.0.1", PORT)):
            self.machine.start_service(ready=False)
            self.assertNotEqual(self.machine.service.wait(timeout=15), 0)
        self.assertIn("Could not open port", self.machine.log()[-1])
        self.assertEqual(self.machine.notify.recv(100), b"READY=1")
        self.machine.start_service()

    def test_started_by_hand(self):
        result = subprocess.run([self.machine.program / "KV500Service"], capture_output=True,
                                timeout=5, text=True)
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertEqual(result.stderr.splitlines()[0],
                         "This programm must be started as service!")
        self.assertEqual(self.machine.log(), [STARTED])

    def test_an_ordinary_user_is_told_what_he_does_without(self):
        os.chown(self.machine.program, USER_ID, GROUP_ID)
        os.chmod(self.machine.folder / "notify", 0o777)
        self.machine.start_service(user=USER_ID, group=GROUP_ID, extra_groups=[])
        self.assertTrue(wait_until(lambda: REACH in self.machine.log()))
        self.assertEqual(self.machine.log()[:2], [STARTED, REACH])


if __name__ == "__main__":
    run_isolated()
