"""The program itself: options, files, commands, and what it does when it can't run."""
import os
import re
import signal
import socket
import time
import unittest

from simulator_driver import (CARD, CARDS, NO_CARD, NO_READER, Port, SimulatorTest, make_card,
                              read_answer)

BAD_BROWSER = "Invalid value for 'CallBrowser' in config.txt!"
BAD_ID = "Invalid value for 'AppendCardId' in config.txt!"
BAD_PORT = "Invalid value for 'Port' in config.txt!"
READING = "Error reading config file:"


class Options(SimulatorTest):
    def refused(self, *options):
        simulator = self.start(*options, wait=False)
        self.assertEqual(simulator.end(), 2)
        self.assertEqual((simulator.events, simulator.answers.qsize()), ([], 0))
        self.assertFalse((simulator.folder / "log.txt").exists(), "nothing was opened")
        simulator.expected_errors = simulator.errors
        return simulator.errors.decode()

    def test_bad_options(self):
        for options, word in [(["--crad", "x"], "--crad"), (["--card"], "--card"),
                              (["--apdu-ms", "5x"], "5x"), (["--apdu-ms", "-1"], "-1"),
                              (["--trace", "/nowhere/trace"], "/nowhere/trace"), (["x"], "'x'"),
                              (["--unplugged", "--card", CARDS / "mustermann"], "--unplugged")]:
            with self.subTest(options):
                self.assertIn(word, self.refused(*options))

    def test_bad_cards(self):
        folder = self.new_folder().path
        make_card(folder / "bad-line", ["# fine", "00B0810000 fail", "00B081000 fail"])
        make_card(folder / "bad-atr", [])
        (folder / "bad-atr" / "ATR").write_text("3B no hex")
        trace = folder / "trace"
        for card, words in [("nowhere", ["nowhere"]), ("bad-line", ["overrides.txt", "3"]),
                            ("bad-atr", ["ATR"])]:
            with self.subTest(card):
                error = self.refused("--card", folder / card, "--trace", trace)
                for word in words:
                    self.assertIn(word, error)
                self.assertFalse(trace.exists(), "nothing was opened")

    def test_help(self):
        simulator = self.start("--help", wait=False)
        self.assertEqual(simulator.end(), 0)
        for word in ("--card", "--unplugged", "--apdu-ms", "--trace", "insert", "pcsc", "usb"):
            self.assertIn(word, "\n".join(simulator.events))


class Settings(SimulatorTest):
    def test_bad_values(self):
        """Each costs a line and a notice; the others hold."""
        simulator = self.start("--unplugged", config=(
            "CallBrowser=maybe\nAppendCardId=\nURL=x\nother=1\n# comment\n"))
        self.assertEqual(simulator.log(), [BAD_BROWSER, BAD_ID])
        self.assertEqual(simulator.events[:2], [f"notice KALVERO  -  KV500 | {text}"
                                                for text in (BAD_BROWSER, BAD_ID)])
        self.assertEqual(simulator.ask("status"), NO_READER)

    def test_default_port(self):
        rows = [
            ("", []),  # No file.
            ("Port=1023\nAllowOrigin=x\n", [BAD_PORT]),
            ("Port=20001\r\nno sign \xe9\r\n",
             [READING, "'=' missing in line 2:", "2: no sign \xe9"]),
            ("Port=20001\nURL=a\nURL=b\n", [READING, "'URL' is set multiple times!"]),
        ]
        for config, lines in rows:
            with self.subTest(config):
                simulator = self.start("--unplugged", port=Port(5724), config_file=config)
                self.assertEqual(simulator.log(), lines)
                notice = "notice KALVERO  -  KV500 | " + "\\n".join(lines)
                self.assertEqual(simulator.events[:-1], [notice] if lines else [])
                self.assertEqual(b"Allow-Origin: x\r\n" in simulator.request("/"),
                                 "AllowOrigin" in config)
                simulator.stop()


class Log(SimulatorTest):
    def test_bytes(self):
        """Lines end in CR LF, and a second start goes on behind the first."""
        folder = self.new_folder()
        time_text = rb"\[\d\d-\d\d-\d{4} \d\d:\d\d:\d\d\] "
        start = time_text + rb"### Service started! ###\r\n"
        line = time_text + rb"Only HTTP GET, HEAD and OPTIONS supported!\r\n\r\n"
        for expected in (start + line, 2 * (start + line)):
            simulator = self.start("--unplugged", folder=folder)
            simulator.request("/", "PUT")
            simulator.stop()
            self.assertRegex((folder.path / "log.txt").read_bytes(), rb"\A" + expected + rb"\Z")

    def test_cannot_be_written(self):
        """A folder in the log's place, and a folder that only others may write."""
        in_its_place, read_only = self.new_folder(), self.new_folder()
        (in_its_place.path / "log.txt").mkdir()
        port = Port()
        (read_only.path / "config.txt").write_text(f"Port={port.number}\n")
        read_only.path.chmod(0o555)
        nobody = 65534 if os.getuid() == 0 else None  # For root no folder is read-only.
        for folder, more in [(in_its_place, {}),
                             (read_only, dict(config_file="", port=port, user=nobody))]:
            simulator = self.start(folder=folder, **more)
            self.assertEqual(simulator.request("/", "PUT"), b"")
            simulator.wait_for_status(NO_CARD)
        self.assertFalse((read_only.path / "log.txt").exists())


class Running(SimulatorTest):
    def test_port_taken(self):
        port = Port()
        with socket.socket() as other:
            other.bind(("127.0.0.1", port.number))
            other.listen()
            started = time.monotonic()
            simulator = self.start(port=port, wait=False)
            self.assertEqual(simulator.end(), 1)
        self.assertGreater(time.monotonic() - started, 0.9, "ten tries")
        self.assertEqual(simulator.log(), ["Could not open port"])
        self.assertIn(b"exit status 1", simulator.errors)
        simulator.expected_errors = simulator.errors

    def test_end_of_input_ends_nothing(self):
        simulator = self.start()
        simulator.process.stdin.close()
        simulator.wait_for_status(NO_CARD)
        simulator.process.send_signal(signal.SIGINT)
        self.assertEqual(simulator.end(), 0)

    def test_side_by_side(self):
        first = self.start("--card", CARDS / "mustermann")
        second = self.start("--card", CARDS / "familienversichertes-kind")
        first.wait_for_status(CARD)
        second.wait_for_status(CARD)
        first.do("unplug")
        first.wait_for_status(NO_READER)
        self.assertEqual(second.ask("read"), read_answer("familienversichertes-kind"))
        self.assertEqual((first.log(), second.log()), ([], []))


class Commands(SimulatorTest):
    def test_answers(self):
        card = CARDS / "mustermann"
        simulator = self.start("--unplugged")
        bad_card = make_card(simulator.folder / "bad", ["00B0810000 fial"])
        rows = [
            ("remove", "error:"), ("unplug", "error:"), (f"insert {card}", "error:"),
            ("plug", "ok"), ("remove", "error:"),
            ("insert", "error:"), ("insert /nowhere", "error:.*/nowhere"),
            (f"insert {bad_card}", "error:.*overrides.txt.*1"),
            (f"insert {card}", "ok"), (f"insert {card}", "error:"),
            ("plug", "ok"), ("unplug", "ok"), ("remove", "ok"), ("remove", "error:"),
            ("unplug", "ok"), ("unplug", "error:"),
            ("pcsc start", "ok"), ("pcsc stop", "ok"), ("pcsc stop", "ok"), ("pcsc start", "ok"),
            ("usb show", "ok"), ("usb hide", "ok"), ("usb hide", "ok"), ("usb show", "ok"),
            ("usb", "error:"), ("pcsc", "error:"), ("pcsc burn", "error:"), ("", "error:"),
            ("QUIT", "error:"), ("insertx", "error:.*insertx"), ("plug 2", "error:"),
            ("pcsc break", "ok"), ("pcsc start", "error:"), ("pcsc break", "ok"),
            ("pcsc stop", "ok"),
        ]
        for line, answer in rows:
            with self.subTest(line):
                given = simulator.command(line)
                self.assertTrue(re.fullmatch(answer if answer == "ok" else answer + ".+", given),
                                given)
        simulator.send("quit")
        self.assertEqual(simulator.end(), 0)
        self.assertEqual(simulator.answers.get(), "ok")


if __name__ == "__main__":
    unittest.main()
