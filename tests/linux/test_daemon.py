"""The end of pcscd in cases beyond the scenarios: killed, also during a read, and started again by
somebody else."""
import pathlib
import signal
import socket
import threading
import time

from isolation import run_isolated
from machine import DAEMON_SOCKET, MachineTest
from common import CARD, NO_READER, READ_FAILED, STARTED, STARTING, read_answer, wait_until


class DaemonTest(MachineTest):
    def start(self, card="mustermann"):
        machine = self.workstation()
        machine.plug()
        machine.insert(card if card == "mustermann" else machine.make_card("slow", card))
        machine.switch_on(readers=0)
        machine.wait_for_status(CARD, 5)
        return machine

    def test_started_by_somebody_else(self):
        machine = self.start()
        machine.restart_daemon()
        machine.wait_for_status(NO_READER, 3)
        machine.wait_for_status(CARD, 3)
        self.assertEqual(machine.log(), [STARTED])

    def test_killed_in_the_middle_of_a_read(self):
        machine = self.start("00B0810000 wait 1500")
        answers = []
        reader = threading.Thread(target=lambda: answers.append(machine.ask("read")))
        reader.start()
        time.sleep(0.5)
        machine.allow_daemon_start()
        (machine.reader() / "card" / "overrides.txt").unlink()
        machine.stop_daemon(signal.SIGKILL)
        reader.join(5)
        self.assertEqual(answers, [READ_FAILED])
        machine.wait_for_status(CARD, 5)
        self.assertEqual(machine.ask("read"), read_answer("mustermann"))

    def test_killed_in_the_middle_of_the_first_question(self):
        machine = self.workstation()
        machine.allow_daemon_start()
        machine.plug()
        machine.insert("mustermann")
        with socket.socket(socket.AF_UNIX) as dying:
            dying.bind(str(DAEMON_SOCKET))
            dying.listen()
            machine.start_service()
            dying.accept()[0].close()
            DAEMON_SOCKET.unlink()
        machine.wait_for_status(CARD, 5)
        self.assertEqual(machine.log(), [STARTED, STARTING])

    def test_nothing_leaks_over_many_restarts(self):
        def descriptors():
            return len(list(pathlib.Path(f"/proc/{machine.service.pid}/fd").iterdir()))

        machine = self.start()
        machine.allow_daemon_start()
        time.sleep(0.5)  # By then the connections of the earlier requests are closed.
        before = descriptors()
        for _ in range(3):
            machine.stop_daemon(signal.SIGKILL)
            machine.wait_for_status(NO_READER, 3)
            machine.wait_for_status(CARD, 5)
        wait_until(lambda: descriptors() == before, f"{before} descriptors", 3)
        self.assertEqual((machine.base / "systemctl.log").read_text(),
                         3 * "--no-ask-password start pcscd.socket\n")


if __name__ == "__main__":
    run_isolated()
