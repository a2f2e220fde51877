"""Readers and cards with the real pcscd, beyond the scenarios: serial numbers, cards with faults,
other programs."""
import gzip
import json
import re
import signal
import struct
import subprocess
import time
import xml.etree.ElementTree

import pcsc
from isolation import run_isolated
from machine import ABSENCE, READER, MachineTest
from common import CARD, CARDS, NO_CARD, NO_READER, READ_FAILED, read_answer, wait_until

GOOD = read_answer("mustermann")


HCA = "00A4040C06D27600000102"


def opensc_tool(*arguments):
    tool = subprocess.run(["opensc-tool", "-r", READER, "-c", "default", *arguments],
                          capture_output=True, text=True, check=True)
    return tool.stdout


def responses(*commands):
    """Data and status word of each command. A line shows bytes as "00 " and again as characters."""
    options = [word for command in commands for word in ("-s", command)]
    return [(b"".join(bytes.fromhex(line[:len(line) // 4 * 3]) for line in lines.split("\n")),
             sw1 + sw2)
            for sw1, sw2, lines in re.findall(
                r"Received \(SW1=0x(..), SW2=0x(..)\):?\n((?:[0-9A-F]{2} .*\n)*)",
                opensc_tool(*options))]


def whole_file(p1):
    """A file of the health care application: block by block, until the card says that it ends."""
    blocks = responses(HCA, f"00B0{p1}0000", *(f"00B0{at:02}0000" for at in range(1, 5)))[1:]
    ends = [status for _, status in blocks]
    assert ends == sorted(ends, reverse=True) and set(ends) == {"9000", "6B00"}, ends
    return b"".join(data for data, _ in blocks)


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
        self.assertIn("3B D0 96 FF 81 B1 FE 45 1F 07 2A", seen)

    def test_another_program_reads_every_health_card(self):
        """By the card standard alone: the ends of the files and what their headers count."""
        self.start(card=None)
        atrs, sexes = set(), set()
        for card in sorted(path.parent for path in CARDS.glob("*/VD.xml")):
            with self.subTest(card.name):
                self.machine.insert(card.name)
                self.machine.wait_for_status(CARD, 3)
                atrs.add(opensc_tool("-a").replace(":", "").strip())
                root, gdo, atr, version, application, status, protected = responses(
                    "00A4000C023F00", "00B0820000", "00B09D0000", "00B0910000", HCA, "00B08C0000",
                    "00B0830000")
                self.assertEqual([root, application, protected],
                                 [(b"", "9000"), (b"", "9000"), (b"", "6982")])
                self.assertEqual([file[0][:2].hex() for file in (gdo, atr, version)],
                                 ["5a0a", "e010", "ef2b"])
                self.assertRegex(status[0], rb"^0\d{14}\x00\x50\x02\x00{3}\x30\x00\x00\x04$")
                vd = whole_file("82")
                begin, end, protected_begin, protected_end = struct.unpack(">4H", vd[:8])
                self.assertEqual([begin, protected_begin, protected_end + 1], [8, end + 1, len(vd)])
                for name, part in {"VD": vd[8:end + 1], "GVD": vd[end + 1:]}.items():
                    self.assertEqual(gzip.decompress(part), (card / f"{name}.xml").read_bytes())
                pd = whole_file("81")
                self.assertEqual(struct.unpack(">H", pd[:2]), (len(pd) - 2,))
                if card.name != "beschaedigt":
                    sexes.add(self.check_person(gzip.decompress(pd[2:]), card / "PD.xml"))
                self.assertEqual(len(pd) % 256 in (1, 2), card.name == "kurzer-rest")
                self.machine.remove()
                self.machine.wait_for_status(NO_CARD, 3)
        self.assertEqual(sexes, set("MWXD"))
        self.assertEqual(atrs, {"3bd096ff81b1fe451f072a", "3bd097ff81b1fe451f072b",
                                "3bd396ff81b1fe451f078081052d"})

    def check_person(self, document, source):
        if source.exists():
            self.assertEqual(document, source.read_bytes())
        insured = xml.etree.ElementTree.fromstring(document)[0]
        space = "{http://ws.gematik.de/fa/vsdm/vsd/v5.2}"
        number = insured.findtext(space + "Versicherten_ID")
        digits = f"{ord(number[0]) - ord('A') + 1:02}{number[1:9]}"
        products = [int(digit) * (1 + at % 2) for at, digit in enumerate(digits)]
        self.assertEqual(sum(map(int, "".join(map(str, products)))) % 10, int(number[9]), number)
        return insured.findtext(f"{space}Person/{space}Geschlecht")

    def test_a_card_that_cannot_be_read_is_no_card(self):
        self.start(card=None)
        self.machine.insert(self.machine.make_card("bad", "not hexadecimal"))
        time.sleep(1)
        self.assertEqual(self.machine.ask("status"), NO_CARD)
        log = (self.machine.base / "pcscd.log").read_text()
        self.assertEqual(log.count("overrides.txt: line 1"), 1)


if __name__ == "__main__":
    run_isolated()
