"""The program itself: options, files, commands, signals."""
import os
import re
import signal
import subprocess
import unittest

from simulator import SimulatorTest
from common import CARDS, NO_CARD, PATIENCE, make_card


class Program(SimulatorTest):
    def test_bad_options(self):
        bad_card = make_card(self.workstation().folder / "bad-line", ["# fine", "00B081000 fail"])
        for options, words in [
                (["--crad", "x"], ["--crad"]), (["--card"], ["--card"]),
                (["--apdu-ms", "5x"], ["5x"]), (["--apdu-ms", "-1"], ["-1"]), (["x"], ["'x'"]),
                (["--trace", "/nowhere/trace"], ["/nowhere/trace"]),
                (["--unplugged", "--card", CARDS / "mustermann"], ["--unplugged"]),
                (["--card", "nowhere", "--trace", "trace"], ["nowhere"]),
                (["--card", bad_card, "--trace", "trace"], ["overrides.txt", "2"])]:
            with self.subTest(options):
                simulator = self.workstation()
                trace = simulator.folder / "trace"
                simulator.start(*[trace if o == "trace" else o for o in options], wait=False)
                self.assertEqual(simulator.end(), 2)
                self.assertEqual((simulator.events, simulator.answers.qsize()), ([], 0))
                for file in (simulator.folder / "log.txt", trace):
                    self.assertFalse(file.exists(), "nothing was opened")
                simulator.expected_errors = simulator.errors
                for word in words:
                    self.assertIn(word, simulator.errors.decode())

    def test_help(self):
        simulator = self.start("--help", wait=False)
        self.assertEqual(simulator.end(), 0)
        for word in ("--card", "--unplugged", "--apdu-ms", "--trace", "insert", "pcsc", "usb"):
            self.assertIn(word, "\n".join(simulator.events))

    def test_bytes_of_the_log(self):
        """Lines end in CR LF, and a second start appends to the log of the first."""
        time_text = rb"\[\d\d-\d\d-\d{4} \d\d:\d\d:\d\d\] "
        start = time_text + rb"### Service started! ###\r\n"
        line = time_text + rb"Only HTTP GET, HEAD and OPTIONS supported!\r\n\r\n"
        simulator = self.workstation()
        for expected in (start + line, 2 * (start + line)):
            simulator.start("--unplugged")
            simulator.request("/", "PUT")
            simulator.stop()
            self.assertRegex((simulator.folder / "log.txt").read_bytes(),
                             rb"\A" + expected + rb"\Z")

    def test_a_log_that_cannot_be_written(self):
        """A folder in place of the log, and a folder that only other users may write."""
        in_its_place, read_only = self.workstation(), self.workstation()
        (in_its_place.folder / "log.txt").mkdir()
        (read_only.folder / "config.txt").touch()
        nobody = 65534 if os.getuid() == 0 else None  # For root no folder is read-only.
        in_its_place.start()
        read_only.folder.chmod(0o555)
        read_only.start(user=nobody)
        for simulator in (in_its_place, read_only):
            self.assertEqual(simulator.request("/", "PUT"), b"")
            simulator.wait_for_status(NO_CARD)
        self.assertFalse((read_only.folder / "log.txt").exists())

    def test_the_ends_of_its_pipes_end_nothing(self):
        simulator = self.workstation()
        (simulator.folder / "config.txt").write_text(f"Port={simulator.port}\n")
        reading, writing = os.pipe()
        os.close(reading)  # Nobody reads the simulator's output.
        with subprocess.Popen([simulator.program], stdin=subprocess.PIPE, stdout=writing) as process:
            os.close(writing)
            process.stdin.close()
            simulator.wait_for_status(NO_CARD)
            process.send_signal(signal.SIGINT)
            self.assertEqual(process.wait(PATIENCE), 0)

    def test_commands(self):
        simulator = self.start("--unplugged")
        card = CARDS / "mustermann"
        bad_card = make_card(simulator.folder / "bad", ["00B0810000 fial"])
        rows = [
            ("remove", "error:"), ("unplug", "error:"), (f"insert {card}", "error:"),
            ("plug", "ok"), ("remove", "error:"), ("other lock", "error:"),
            ("other reset", "error:"), ("other unlock", "ok"), ("other", "error:"),
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
