"""Readers and cards, as the service sees them through the real pcscd."""
import shutil
import signal
import subprocess
import time
import unittest

import pcsc
from isolation import run_isolated
from machine import ABSENCE, BUILD, CARDS, READER, Machine, wait_until


def simulator_answers(folder, card):
    """What the simulator gives for the same card and requests."""
    folder.mkdir()
    shutil.copy(BUILD / "kv500-simulator", folder)
    process = subprocess.Popen([folder / "kv500-simulator", "--card", CARDS / card],
                               stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
    assert wait_until(lambda: b"OK_Card" in Machine.try_ask("status"))
    answers = {action: Machine.ask(action) for action in ["status", "read", "close"]}
    process.terminate()
    process.wait()
    return answers


class ReaderTest(unittest.TestCase):
    def setUp(self):
        self.machine = Machine()
        self.addCleanup(self.machine.close)

    def start(self, card="mustermann"):
        self.machine.add_reader()
        self.machine.start_daemon()
        if card:
            self.machine.insert(card)
        self.machine.start_service()
        self.assertTrue(self.machine.reaches("card" if card else "reader", 4))

    @staticmethod
    def hold_exclusively():
        try:
            return pcsc.Card(READER, pcsc.SHARE_EXCLUSIVE)
        except pcsc.Error:
            return None

    def test_answers_have_the_bytes_of_the_simulators(self):
        expected = {card: simulator_answers(self.machine.folder / f"simulator-{card}", card)
                    for card in ["mustermann", "sonderzeichen", "bankkarte", "beschaedigt"]}
        self.start(card=None)
        for card, answers in expected.items():
            with self.subTest(card):
                self.machine.insert(card)
                self.assertTrue(self.machine.reaches("card"))
                for action, answer in answers.items():
                    self.assertEqual(self.machine.ask(action), answer)
                self.machine.remove()
                self.assertTrue(self.machine.reaches("reader"))

    def test_card_and_reader_come_and_go(self):
        self.start(card=None)
        for card in ["mustermann", "familienversichertes-kind"]:
            self.machine.insert(card)
            self.assertTrue(self.machine.reaches("card"), card)
            name = card.partition("-")[0].encode()
            self.assertEqual(b"Mustermann" in self.machine.ask("read"), name == b"mustermann")
            self.machine.remove()
            self.assertTrue(self.machine.reaches("reader"), card)
        self.machine.insert("mustermann")
        self.assertTrue(self.machine.reaches("card"))
        # Another card in its place is not taken for the one before.
        self.machine.remove()
        self.machine.insert("familienversichertes-kind")
        self.assertTrue(wait_until(lambda: b"Mustermann" not in self.machine.ask("read"), 3))
        for _ in range(2):
            self.machine.unplug()
            self.assertTrue(self.machine.reaches("none"))
            self.machine.plug()
            self.assertTrue(self.machine.reaches("card"))

    def test_close_leaves_the_card_ready(self):
        self.start()
        self.assertEqual(self.machine.answer("close")["status"], "OK")
        self.assertEqual(self.machine.presence(), "card")

    def test_two_readers_are_one_too_many(self):
        self.machine.add_reader(1)
        self.machine.add_reader(2, serial="SIM0002")
        self.machine.insert("mustermann")
        self.machine.start_daemon()
        self.machine.start_service()
        time.sleep(2)
        self.assertEqual(self.machine.presence(), "none")
        self.machine.stop_daemon()
        self.machine.forget_reader(2)
        self.machine.start_daemon()
        self.assertTrue(self.machine.reaches("card"))

    def test_usb_decides_whether_the_reader_is_usable(self):
        self.machine.add_reader(usb=False)
        self.machine.start_daemon()
        self.machine.insert("mustermann")
        self.machine.start_service()
        time.sleep(2)
        self.assertEqual(self.machine.presence(), "none")
        # Of what is told of a device without a usable serial number its place on the bus is left.
        serials = {"SIM0001": "SIM0001", None: "1-1", 'a"b': "1-1", "x#y": "1-1"}
        for serial, reported in serials.items():
            with self.subTest(serial):
                self.machine.show_usb(serial=serial, product="5004" if serial is None else "5003")
                self.assertTrue(self.machine.reaches("card"))
                self.assertEqual(self.machine.answer("status")["message"]["SerialNumber"], reported)
                self.machine.unplug()
                self.assertTrue(self.machine.reaches("none"))
                (self.machine.folder / "unplugged1").rename(self.machine.reader())

    def test_another_program_holds_the_card(self):
        self.start(card=None)
        # The service would be quicker with a connection of its own, which shuts others out.
        self.machine.service.send_signal(signal.SIGSTOP)
        self.machine.insert("mustermann")
        other = wait_until(self.hold_exclusively, 3)
        self.machine.service.send_signal(signal.SIGCONT)
        self.assertTrue(self.machine.reaches("none"))
        self.assertIn(f'Could not connect to card "{READER}": Error 0x8010000b', self.machine.log())
        other.close()
        self.assertTrue(self.machine.reaches("card"))
        self.assertEqual(self.machine.answer("read")["status"], "OK")

    def test_another_program_resets_the_card(self):
        self.start()
        pcsc.Card(READER).close(pcsc.RESET_CARD)
        self.assertTrue(wait_until(lambda: self.machine.answer("read")["status"] == "OK", 2))

    def test_faults_of_the_card(self):
        # The second command of a read; what the watcher reads on its own does not count here.
        cases = {"fail": ("ERROR", "card"), "wait 700": ("OK", "card"), "remove": ("ERROR", "reader")}
        self.start(card=None)
        for what, (status, presence) in cases.items():
            with self.subTest(what):
                self.machine.insert(
                    self.machine.make_card(what.replace(" ", ""), f"00B0810000 {what}\n"))
                self.assertTrue(self.machine.reaches("card"))
                begin = time.monotonic()
                self.assertEqual(self.machine.answer("read")["status"], status)
                if "wait" in what:
                    self.assertGreater(time.monotonic() - begin, 0.7)
                self.assertTrue(self.machine.reaches(presence))
                self.machine.remove()
                self.assertTrue(self.machine.reaches("reader"))
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
        self.machine.insert(self.machine.make_card("bad", "not hexadecimal\n"))
        time.sleep(1)
        self.assertEqual(self.machine.presence(), "reader")
        log = (self.machine.folder / "pcscd.log").read_text()
        self.assertEqual(log.count("overrides.txt: line 1"), 1)


if __name__ == "__main__":
    run_isolated()
