"""Whole answers, byte for byte, and the request handling that only a real connection shows."""
import unittest

from simulator import SimulatorTest  # First: it sets the path to the others.
from common import CARD, CARDS, NO_READER, STARTED, body, header, read_answer

STATUS_WITHOUT_READER = header(NO_READER) + NO_READER
WITHOUT_READER = {  # The other rows of the actions are in the scenarios.
    "status": NO_READER,
    "close": body("close", "NO_DEVICE", "called close command"),
    "read": body("read", "undefined", "USB_device_not_found", "null"),
    "\"q\\": body("\"q\\", "ERROR", "wrong GET parameter"),
}


class Answers(SimulatorTest):
    def test_without_reader(self):
        simulator = self.start("--unplugged")
        for action, expected in WITHOUT_READER.items():
            with self.subTest(action):
                target = f"/?action={action}"
                self.assertEqual(simulator.request(target), header(expected) + expected)
                self.assertEqual(simulator.request(target, "HEAD"), header(expected))

    def test_the_first_read_is_all(self):
        good = b"GET /?action=status HTTP/1.1\r\n"
        unsupported = ["Only HTTP GET, HEAD and OPTIONS supported!", ""]
        rows = [  # What is sent, with pauses; the log if no answer comes.
            ([good, b"NoHeader\r\n"], None),
            ([good + b"a: 1\r\n\0NoHeader\r\n"], None),
            ([good + b"a: " + b"x" * 4990], None),
            ([], unsupported),  # Closed without a byte.
            ([b"\0" + good + b"\r\n"], unsupported),
            ([good[:16], good[16:]], ["Exception: Invalid line in HTTP request /?action=sta!"]),
            ([good + b"a: " + b"x" * 4060 + b"\r\ncut" + b"y" * 999],
             ["Exception: Invalid line in HTTP request c!"]),
        ]
        simulator = self.start("--unplugged")
        log = [STARTED]
        for pieces, lines in rows:
            with self.subTest(b"|".join(pieces)[:60]):
                expected = b"" if lines else STATUS_WITHOUT_READER
                self.assertEqual(simulator.exchange(*pieces), expected)
                log += lines or []
                self.assertEqual(simulator.log(), log)

    def test_the_allowed_origin_goes_out_as_configured(self):
        for origin in (b"https://praxis.example", b""):
            with self.subTest(origin):
                simulator = self.start("--unplugged", config=f"AllowOrigin={origin.decode()}\n")
                self.assertEqual(simulator.request("/?action=status"),
                                 header(NO_READER, origin) + NO_READER)
                self.assertRegex(simulator.request("/?broken%", "OPTIONS"),
                                 rb"\r\nAllow: [^\0]*\r\nAccess-Control-Allow-Origin: %s\r\n" % origin)

    def test_simulators_side_by_side(self):
        first = self.start("--card", CARDS / "mustermann")
        second = self.start("--card", CARDS / "familienversichertes-kind")
        first.wait_for_status(CARD)
        second.wait_for_status(CARD)
        first.unplug()
        first.wait_for_status(NO_READER)
        self.assertEqual(second.ask("read"), read_answer("familienversichertes-kind"))
        self.assertEqual((first.log(), second.log()), ([STARTED], [STARTED]))


if __name__ == "__main__":
    unittest.main()
