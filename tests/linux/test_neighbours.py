"""Bad neighbours: other programs at the card, other users on the machine.

With KV500_THOROUGH=1 the card is read 5,000 times and held for 20 seconds, else less.
"""
import concurrent.futures
import os
import pathlib
import subprocess
import sys
import time

import pcsc
from isolation import GROUP_ID, USER_ID, run_isolated
from machine import READER, MachineTest
from common import CARD, CLOSED, READ_FAILED, STARTED, read_answer, wait_until

THOROUGH = os.environ.get("KV500_THOROUGH") == "1"
READS, SECONDS = (5000, 20) if THOROUGH else (1000, 3)
OTHER_USER = 4343
GOOD = read_answer("mustermann")
# Asks as the user that runs it, over IPv4 and over an IPv6 socket with an IPv4 address.
CLIENT = """
import socket
for family, host in [(socket.AF_INET, "127.0.0.1"), (socket.AF_INET6, "::ffff:127.0.0.1")]:
    with socket.socket(family) as client:
        client.connect((host, 5724))
        client.sendall(b"GET /?action=status HTTP/1.1\\r\\n\\r\\n")
        print(client.recv(1000)[:15])
"""


class NeighboursTest(MachineTest):
    def setUp(self):
        self.machine = self.workstation()
        self.machine.plug()
        self.machine.insert("mustermann")
        self.machine.start_daemon()
        self.browser = self.machine.base / "out"
        self.browser.mkdir()
        self.browser.chmod(0o777)

    def start(self, **settings):
        self.machine.log_in()
        self.machine.script(self.machine.bin / "browser", f"#!/bin/sh\nmktemp -p {self.browser}\n")
        self.machine.configure(CallBrowser="yes", BrowserCommand=self.machine.bin / "browser",
                               **settings)
        self.machine.start_service()
        self.machine.wait_for_status(CARD, 5)
        wait_until(self.browser_starts, "the browser", 3)

    def browser_starts(self):
        return len(list(self.browser.iterdir()))

    def test_another_program_at_work_with_the_card(self):
        self.start()
        script = pathlib.Path(__file__).parent / "other_program.py"
        for manner in ["plain", "reset", "transaction"]:
            with self.subTest(manner), subprocess.Popen(
                    [sys.executable, "-B", script, READER, manner],
                    stdout=subprocess.PIPE) as other:
                self.assertEqual(other.stdout.readline(), b"at work\n")
                with concurrent.futures.ThreadPoolExecutor(4) as clients:
                    answers = list(clients.map(lambda _: self.machine.ask("read"), range(READS)))
                other.terminate()
                rounds = int(other.stdout.read())
                failed = answers.count(READ_FAILED)
                print(f"{manner}: {len(answers)} reads, {failed} failed, {rounds} rounds")
                self.assertGreater(rounds, 1)
                self.assertEqual(answers.count(GOOD) + failed, READS)
                if manner == "transaction":
                    self.assertEqual(failed, 0)
        self.assertEqual(self.browser_starts(), 1)
        self.assertEqual(self.machine.log(), [STARTED])

    def test_a_card_that_another_program_holds_for_long(self):
        self.start()
        expected = {"status": CARD, "read": GOOD, "close": CLOSED}
        other = pcsc.Card(READER)
        other.begin()
        begin = time.monotonic()
        with concurrent.futures.ThreadPoolExecutor(3) as clients:
            answers = {action: clients.submit(self.machine.ask, action) for action in expected}
            time.sleep(SECONDS)
            self.assertFalse(any(answer.done() for answer in answers.values()))
            other.end()
            for action, answer in answers.items():
                self.assertEqual(answer.result(2), expected[action])
        self.assertLess(time.monotonic() - begin, SECONDS + 1)
        self.assertEqual(self.machine.ask("read"), GOOD)
        self.assertEqual(self.browser_starts(), 1)
        self.assertEqual(self.machine.log(), [STARTED])
        other.begin()
        time.sleep(0.5)
        status, seconds = self.machine.stop_service()
        self.assertEqual(status, 0)
        self.assertLess(seconds, 0.5)
        other.close()

    def answered(self, user):
        """Whether a program of that user gets an answer, over either kind of socket."""
        output = subprocess.run([sys.executable, "-c", CLIENT], user=user, group=GROUP_ID,
                                extra_groups=[], capture_output=True, text=True).stdout
        return [line == "b'HTTP/1.1 200 OK'" for line in output.split("\n")[:-1]]

    def test_only_the_user_of_the_active_session(self):
        self.start(OnlyActiveUser="yes")
        for user, answered in [(USER_ID, True), (0, True), (OTHER_USER, False)]:
            self.assertEqual(self.answered(user), 2 * [answered], user)
        self.machine.log_out()
        self.assertEqual(self.answered(USER_ID), 2 * [False])
        self.assertEqual(self.machine.log(), [STARTED] + 4 * ["User not allowed!"])


if __name__ == "__main__":
    run_isolated()
