"""Start and end of the service: systemd's notify protocol, signals, the single instance."""
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import threading
import time

from isolation import GROUP_ID, USER_ID, run_isolated
from machine import MachineTest
from common import CARD, DEFAULT_PORT, STARTED, read_answer, wait_until

REACH = "Started as an ordinary user: the sessions of other users are out of reach"


class LifeTest(MachineTest):
    def setUp(self):
        self.machine = self.workstation()
        self.machine.plug()
        self.machine.insert("mustermann")
        self.machine.start_daemon()

    def test_stop_by_either_signal_and_a_new_start_on_the_same_port(self):
        for number in [signal.SIGTERM, signal.SIGINT]:
            with self.subTest(number):
                self.machine.start_service()
                self.machine.wait_for_status(CARD, 5)
                # Connections in every state: an answered one, and one whose client is silent.
                self.machine.ask("status")
                with self.machine.connect():
                    status, seconds = self.machine.stop_service(number)
                self.assertEqual(status, 0)
                self.assertLess(seconds, 0.5)
        self.assertEqual(self.machine.log(), 2 * [STARTED])

    def test_a_stop_that_comes_before_the_service_is_ready(self):
        """The stop is kept until the service can obey it."""
        # The service inherits the blocked signal, so the signal waits until the service is ready.
        signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGTERM])
        self.addCleanup(signal.pthread_sigmask, signal.SIG_UNBLOCK, [signal.SIGTERM])
        for _ in range(10):
            self.machine.start_service(ready=False)
            self.machine.service.send_signal(signal.SIGTERM)
            self.machine.expect_end(0)
            self.assertEqual([self.machine.notify.recv(100) for _ in range(2)],
                             [b"READY=1", b"STOPPING=1"])

    def test_stop_during_a_read(self):
        self.machine.remove()
        self.machine.insert(self.machine.make_card("slow", "00B0810000 wait 1500"))
        self.machine.start_service()
        self.machine.wait_for_status(CARD, 5)
        answers = []
        reader = threading.Thread(target=lambda: answers.append(self.machine.try_ask("read")))
        reader.start()
        time.sleep(0.5)
        status, seconds = self.machine.stop_service()
        reader.join(5)
        self.assertEqual((status, answers), (0, [b""]))
        self.assertLess(seconds, 0.5)
        self.machine.start_service()
        self.machine.wait_for_status(CARD, 5)
        self.assertEqual(self.machine.ask("read"), read_answer("mustermann"))

    def test_a_second_instance_leaves_the_first_alone(self):
        self.machine.start_service()
        self.assertEqual(self.refusal(), "Service already running")
        self.assertEqual(self.refusal(by_hand=True), "Service already running")
        self.assertEqual(self.machine.log(), 3 * [STARTED])
        self.assertTrue(self.machine.ask("status"))
        # A killed instance leaves nothing that stops the next one.
        self.machine.service.kill()
        self.machine.service.wait()
        self.machine.start_service()

    def refusal(self, by_hand=False):
        """What the journal gets from a start that ends with status 1."""
        notify = {} if by_hand else {"NOTIFY_SOCKET": str(self.machine.base / "notify")}
        result = subprocess.run([self.machine.folder / "KV500Service"], timeout=5, text=True,
                                env=notify, capture_output=True)
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        return result.stderr.removesuffix("\n")

    def test_a_taken_port(self):
        with socket.create_server(("127.0.0.1", DEFAULT_PORT)):
            self.assertEqual(self.refusal(), "Could not open port")
        self.assertEqual(self.machine.notify.recv(100), b"READY=1")
        # The same port at an address on which the service does not listen.
        with socket.create_server(("::1", DEFAULT_PORT), family=socket.AF_INET6):
            self.machine.start_service()

    def test_what_lies_in_the_way_of_the_name(self):
        name = "KV500Service_SingleInstance_0KV500Service"
        lock = pathlib.Path("/run/kv500service", name)
        shutil.rmtree(lock.parent, ignore_errors=True)
        self.addCleanup(shutil.rmtree, lock.parent)
        lock.parent.mkdir()

        def foreign(path):
            path.touch(0o600)
            os.chown(path, USER_ID, GROUP_ID)

        for make in [foreign, pathlib.Path.mkdir, os.mkfifo, lambda path: path.symlink_to("/srv/x"),
                     lambda path: path.touch(0o644)]:
            make(lock)
            first, last = self.refusal().split("\n")
            self.assertIn(str(lock), first)
            self.assertEqual(last, "Could not create mutex")
            lock.rmdir() if lock.is_dir() else lock.unlink()
        lock.parent.chmod(0o777)
        self.assertIn("Could not create mutex", self.refusal())
        lock.parent.chmod(0o755)
        # Any user can take an abstract name.
        with socket.socket(socket.AF_UNIX) as squatter:
            squatter.bind("\0" + name)
            self.machine.start_service()

    def test_a_box_of_a_start_by_hand_does_not_keep_the_service_from_starting(self):
        self.machine.log_in()
        self.machine.script(self.machine.bin / "zenity", "#!/bin/sh\nexec sleep 60\n")
        self.machine.start_desktop()
        path = {"PATH": f"{self.machine.bin}:/usr/bin:/bin"}
        with subprocess.Popen([self.machine.folder / "KV500Service"], env=path,
                              stderr=subprocess.DEVNULL) as by_hand:
            wait_until(lambda: b"sleep 60" in subprocess.run(
                ["ps", "ax"], capture_output=True, check=True).stdout, "the box", 3)
            self.machine.start_service()
            self.assertIsNone(by_hand.poll())
            by_hand.kill()

    def test_a_settings_file_that_cannot_be_read(self):
        settings = self.machine.folder / "config.txt"
        self.machine.configure(AllowOrigin="http://mine")
        # A file of root; and another user's file, without the right to bypass file permissions.
        for mode, owner, words in [(0o600, 0, ""), (0o600, USER_ID, "Permission denied")]:
            with self.subTest(owner):
                os.chmod(settings, mode)
                os.chown(settings, owner, owner)
                with open(self.machine.base / "journal", "w+b") as journal:
                    self.machine.start_service(stderr=journal)
                    read = b"http://mine" in self.machine.request("/?action=status")
                    self.machine.stop_service()
                    journal.seek(0)
                    self.assertEqual((read, words in journal.read().decode()), (not words, True))

    def test_started_by_hand(self):
        result = subprocess.run([self.machine.folder / "KV500Service"], capture_output=True,
                                timeout=5, text=True)
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertEqual(result.stderr.splitlines()[0],
                         "This programm must be started as service!")
        self.assertEqual(self.machine.log(), [STARTED])

    def test_an_ordinary_user_is_told_what_he_does_without(self):
        os.chown(self.machine.folder, USER_ID, GROUP_ID)
        os.chmod(self.machine.base / "notify", 0o777)
        self.machine.start_service(user=USER_ID, group=GROUP_ID, extra_groups=[])
        wait_until(lambda: self.machine.log()[:2] == [STARTED, REACH], "the line of the log")


if __name__ == "__main__":
    run_isolated()
