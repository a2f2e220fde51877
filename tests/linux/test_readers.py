"""Readers and cards with the real pcscd, beyond the scenarios: serial numbers, cards with faults,
other programs."""
import json
import signal
import subprocess
import time

import pcsc
from isolation import run_isolated
from machine import ABSENCE, READER, MachineTest
from common import CARD, NO_CARD, NO_READER, READ_FAILED, read_answer, wait_until

GOOD = read_answer("mustermann")


class ReaderTest(MachineTest):
    def start(self, card="mustermann"):
        self.machine = self.workstation()
        self.machine.switch_on(card=card)
        self.machine.wait_for_status(CARD if card else NO_CARD, 5)

    @staticmethod
    def hold_exclusively():
        try:
            return pcsc.Card(READER, pcsc.SHARE_EXCLUSIVE)
        except pcsc.Error:
            return None

    def test_serial_numbers(self):
        # For a device without a usable serial number, its place on the bus is reported instead.
        rows = {"A-1": "A-1", "": "1-1", 'a"b': "1-1", "x#y": "1-1", "a\\b": "1-1", "\u00e4": "1-1"}
        machine = self.workstation()
        machine.hide_usb()
        machine.switch_on()
        for serial, reported in rows.items():
            with self.subTest(serial):
                machine.show_usb_device(serial=serial, product="5003" if serial else "5004")
                wait_until(lambda: b"NO_Card_found" in machine.try_ask("status"), "the reader", 3)
                answer = json.loads(machine.ask("status").decode("iso-8859-15"))
                self.assertEqual(answer["message"]["SerialNumber"], reported)
                machine.reader().rename(machine.base / "unplugged")
                machine.hide_usb_device()
                machine.wait_for_status(NO_READER, 3)
                (machine.base / "unplugged").rename(machine.reader())

    def test_another_program_holds_the_card(self):
        self.start(card=None)
        # Otherwise the service would connect first and keep this connection out.
        self.machine.service.send_signal(signal.SIGSTOP)
        self.machine.insert("mustermann")
        other = wait_until(self.hold_exclusively, "a connection of our own", 3)
        self.machine.service.send_signal(signal.SIGCONT)
        self.machine.wait_for_status(NO_READER, 3)
        self.assertIn(f'Could not connect to card "{READER}": Error 0x8010000b', self.machine.log())
        other.close()
        self.machine.wait_for_status(CARD, 3)
        self.assertEqual(self.machine.ask("read"), GOOD)

    def test_another_program_resets_the_card(self):
        self.start()
        pcsc.Card(READER).close(pcsc.RESET_CARD)
        wait_until(lambda: self.machine.ask("read") == GOOD, "a read that works", 2)

    def test_faults_of_the_card(self):
        # The second command of a read. The commands that the watcher sends do not count here.
        rows = {"fail": (READ_FAILED, CARD), "wait 700": (GOOD, CARD),
                "remove": (READ_FAILED, NO_CARD)}
        self.start(card=None)
        for what, (answer, state) in rows.items():
            with self.subTest(what):
                self.machine.insert(self.machine.make_card(what, f"00B0810000 {what}"))
                self.machine.wait_for_status(CARD, 3)
                begin = time.monotonic()
                self.assertEqual(self.machine.ask("read"), answer)
                if "wait" in what:
                    self.assertGreater(time.monotonic() - begin, 0.7)
                self.machine.wait_for_status(state, 3)
                if what == "fail":  # Other programs see a command that failed.
                    other = pcsc.Card(READER)
                    with self.assertRaisesRegex(pcsc.Error, "0x80100016"):
                        other.transmit(bytes.fromhex("00B0810000"))
                    other.close()
                self.machine.remove()
                self.machine.wait_for_status(NO_CARD, 3)
                time.sleep(ABSENCE)

    def test_other_programs_see_reader_and_card(self):
        self.start()
        with subprocess.Popen(["pcsc_scan", "-n"], stdout=subprocess.PIPE, text=True) as scan:
            time.sleep(1.5)
            scan.terminate()
            seen = scan.stdout.read()
        self.assertIn(f"Reader 0: {READER}", seen.replace("\x1b[34m", ""))
        self.assertIn("3B D5 97 FF 81 31 FE 45 80 73 94 21 00 F0", seen)
        tool = subprocess.run(
            ["opensc-tool", "-r", READER, "-c", "default", "-s", "00A4040C06D27600000102",
             "-s", "00B0820004"], capture_output=True, text=True)
        self.assertEqual(tool.stdout.count("SW1=0x90, SW2=0x00"), 2, tool.stdout + tool.stderr)

    def test_a_card_that_cannot_be_read_is_no_card(self):
        self.start(card=None)
        self.machine.insert(self.machine.make_card("bad", "not hexadecimal"))
        time.sleep(1)
        self.assertEqual(self.machine.ask("status"), NO_CARD)
        log = (self.machine.base / "pcscd.log").read_text()
        self.assertEqual(log.count("overrides.txt: line 1"), 1)


if __name__ == "__main__":
    run_isolated()
