"""Every answer over HTTP, and the requests that get none."""
import unittest

from simulator_driver import (CARD, CARDS, NO_CARD, NO_READER, SimulatorTest, body, header,
                              read_answer, reader)

STATUS_WITHOUT_READER = (
    b"HTTP/1.1 200 OK\r\n"
    b"Server: KALVERO Server/1.0\r\n"
    b"Access-Control-Allow-Origin: *\r\n"
    b"Access-Control-Allow-Methods: GET, HEAD, OPTIONS\r\n"
    b"Access-Control-Allow-Headers: X-PINGOTHER, Content-Type\r\n"
    b"Access-Control-Max-Age: 86400\r\n"
    b"Content-Type: application/json; charset=iso-8859-15\r\n"
    b"Content-Length: 99\r\n"
    b"\r\n"
    b'{\n"action": "status",\n"status": "RUNNING",\n"message": "USB_device_not_found",\n'
    b'"serv_version": 97\n}\n')

READ_WITHOUT_READER = (
    b'{\n"action": "read",\n"status": "undefined",\n"message": "USB_device_not_found",\n'
    b'"serv_version": 97,\n"daten": \nnull\n}\n')

OPTIONS = (b"HTTP/1.1 200 OK\r\n"
           b"Server: KALVERO Server/1.0\r\n"
           b"Allow: GET, HEAD, OPTIONS\r\n"
           b"Cache-Control: max-age=0, no-cache, no-store\r\n"
           b"Access-Control-Allow-Origin: %s\r\n"
           b"Access-Control-Allow-Methods: GET, HEAD, OPTIONS\r\n"
           b"Access-Control-Allow-Headers: X-PINGOTHER, Content-Type\r\n"
           b"Access-Control-Max-Age: 86400\r\n"
           b"Content-Length: 0\r\n"
           b"\r\n")

NO_METHOD = ["Only HTTP GET, HEAD and OPTIONS supported!", ""]


def wrong(action="MISSING_GET_PARAM"):
    return body(action, "ERROR", "wrong GET parameter")


class WithoutReader(SimulatorTest):
    @classmethod
    def setUpClass(cls):
        cls.simulator = cls.start_shared("--unplugged")

    def test_whole_answer(self):
        self.assertEqual(self.simulator.request("/?action=status"), STATUS_WITHOUT_READER)

    def test_good_requests(self):
        close = body("close", "NO_DEVICE", "called close command")
        self.assertEqual(len(wrong()), 107)
        rows = [
            ("/?action=status", NO_READER),
            ("/?action=close", close),
            ("/?action=read", READ_WITHOUT_READER),
            ("/?x=1&action=close", close),
            ("/?action=read&action=status", NO_READER),
            ("/?%61ction=status&", NO_READER),
            ("/?action=status&a=%zz", NO_READER),
            ("/", wrong()), ("/?", wrong()), ("*", wrong()), ("/?x=1", wrong()),
            ("/status?action=status", wrong()),
            ("/?action=STATUS", wrong("STATUS")),
            ("/?action=st%61tus", wrong("st%61tus")),
            ("/?action=\"q\\", wrong("\"q\\")),
            ("/?action=", wrong("")),
        ]
        for target, expected in rows:
            with self.subTest(target):
                self.assertEqual(self.simulator.request(target), header(expected) + expected)
                self.assertEqual(self.simulator.request(target, "HEAD"), header(expected))
        self.assertEqual(self.simulator.log(), [])

    def test_options(self):
        for target in ("*", "/?action=status", "/?broken%", "/any/path"):
            with self.subTest(target):
                self.assertEqual(self.simulator.request(target, "OPTIONS"), OPTIONS % b"*")

    def test_requests_without_answer(self):
        rows = [
            ([], NO_METHOD),  # Closed without a byte.
            ([b"\r\n"], NO_METHOD),
            ([b" \t\r\nGET /?action=status HTTP/1.1\r\n\r\n"], NO_METHOD),
            ([b"\0GET /?action=status HTTP/1.1\r\n\r\n"], NO_METHOD),
            ([b"POST /?action=status HTTP/1.1\r\nContent-Length: 0\r\n\r\n"], NO_METHOD),
            ([b"get /?action=status HTTP/1.1\r\n\r\n"], NO_METHOD),
            ([b"GET\r\n\r\n"], ["Exception: Invalid line in HTTP request GET!"]),
            ([b"GET /?action=status \r\n"],
             ["Exception: Invalid line in HTTP request /?action=status!"]),
            ([b"GET /?action=status HTTP/1.1\r\nFoo\r\n\r\n"],
             ["Exception: Invalid line in HTTP request Foo!"]),
            ([b"GET /?x HTTP/1.1\r\n\r\n"], ["Exception: Invalid GET parameter!"]),
            ([b"GET /?a=1&&action=status HTTP/1.1\r\n\r\n"], ["Exception: Invalid GET parameter!"]),
            ([b"GET /?%6=1 HTTP/1.1\r\n\r\n"], ["Exception: Unexpected end of string!"]),
            ([b"GET /?%6g=1 HTTP/1.1\r\n\r\n"], ["Exception: Invalid character!"]),
            # Only the first read counts: what follows a pause, 4096 bytes or a zero byte doesn't.
            ([b"GET /?action=sta", b"tus HTTP/1.1\r\n\r\n"],
             ["Exception: Invalid line in HTTP request /?action=sta!"]),
            ([b"GET /?action=status HTTP/1.1\r\na: " + b"x" * 4060 + b"\r\ncut" + b"y" * 999],
             ["Exception: Invalid line in HTTP request c!"]),
        ]
        for pieces, lines in rows:
            with self.subTest(b"|".join(pieces)[:60]):
                before = self.simulator.log()
                self.assertEqual(self.simulator.exchange(*pieces), b"")
                self.assertEqual(self.simulator.log(), before + lines)

    def test_what_lies_behind_the_first_read_is_not_looked_at(self):
        good = b"GET /?action=status HTTP/1.1\r\n"
        rows = [
            [good + b"\r\nNoHeader\r\n"],
            [good + b"a: 1\r\n\0NoHeader\r\n"],
            [good, b"NoHeader\r\n"],
            [good + b"a: " + b"x" * 4990],
            [good + b"\r\n" + good + b"\r\n"],
        ]
        for pieces in rows:
            with self.subTest(pieces[0][:60]):
                self.assertEqual(self.simulator.exchange(*pieces), STATUS_WITHOUT_READER)


class WithReader(SimulatorTest):
    def test_each_state(self):
        """The rows of the actions for a reader; the card goes in and comes out."""
        simulator = self.start()
        simulator.wait_for_status(NO_CARD)
        closed = body("close", "OK", "CLOSED")
        nothing_to_close = body("close", "ERROR", "called close command")
        self.assertEqual(simulator.ask("close"), nothing_to_close)
        self.assertEqual(simulator.ask("read"), body("read", "OK", "NO_Card_found", "null"))
        simulator.insert(CARDS / "mustermann")
        expected = read_answer("mustermann")
        for action, answer in [("close", closed), ("close", closed), ("status", CARD),
                               ("close", closed), ("read", expected), ("read", expected)]:
            self.assertEqual(simulator.ask(action), answer, action)
        self.assertEqual(simulator.request("/?action=read", "HEAD"), header(expected))
        simulator.remove()
        self.assertEqual(simulator.ask("close"), nothing_to_close)
        self.assertEqual(simulator.log(), [])

    def test_card_that_lay_there_at_the_start(self):
        simulator = self.start("--card", CARDS / "mustermann")
        simulator.wait_for_status(CARD)
        self.assertEqual(simulator.ask("status"),
                         body("status", "RUNNING", reader("OK_Card_Presence", "SIM0001")))


class AllowOrigin(SimulatorTest):
    def test_goes_out_as_configured(self):
        for origin in (b"https://praxis.example", b""):
            with self.subTest(origin):
                simulator = self.start("--unplugged", config=f"AllowOrigin={origin.decode()}\n")
                self.assertEqual(simulator.request("/?action=status"),
                                 header(NO_READER, origin) + NO_READER)
                self.assertEqual(simulator.request("/", "OPTIONS"), OPTIONS % origin)


if __name__ == "__main__":
    unittest.main()
