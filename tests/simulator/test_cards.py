"""The commands for a card, and cards that fail in the middle of a read."""
import time
import unittest

from simulator import SimulatorTest
from common import (CARD, CARDS, CLOSED, NO_CARD, NO_DATA, NO_READER, READ_FAILED, make_card,
                    read_all, read_answer, wait_until)

SELECT_MF = "> 00 A4 00 0C 02 3F 00"
SELECT_HCA = "> 00 A4 04 0C 06 D2 76 00 00 01 02"
GOOD = read_answer("mustermann")


class Cards(SimulatorTest):
    def test_commands_of_a_read(self):
        simulator, trace = self.start_traced("--card", CARDS / "mustermann")
        simulator.wait_for_status(CARD)
        time.sleep(0.6)
        self.assertEqual(trace.read_text(), "", "nobody asks the card before a client does")
        simulator.ask("read")
        lines = trace.read_text().splitlines()
        self.assertEqual(lines[0::2], [
            SELECT_MF, "> 00 B0 82 00 0C",
            SELECT_HCA, "> 00 B0 8C 00 19",
            "> 00 B0 82 00 08", "> 00 B0 82 00 00", "> 00 B0 01 00 00", "> 00 B0 02 00 00",
            SELECT_HCA, "> 00 B0 8C 00 19",
            "> 00 B0 81 00 00", "> 00 B0 01 00 00"])
        lengths = [len(line.split()) - 1 for line in lines[1::2]]
        self.assertEqual(lengths[:7] + lengths[8:11], [2, 14, 2, 27, 10, 258, 258, 2, 27, 258])
        self.assertLess(max(lengths[7], lengths[11]), 258, "a file ends with its data")
        for line in lines[1::2]:
            self.assertRegex(line, "^<( [0-9A-F]{2})* 90 00$")

    def test_overrides_in_the_middle_of_a_read(self):
        rows = [  # The lines, the answers of consecutive reads, and the state afterwards.
            (["00B0810000 fail", "00B0810000 wait 0"], [READ_FAILED, GOOD], CARD),
            (["00B0820008 6A82", "00B0820008 wait 0"], [READ_FAILED, GOOD], CARD),
            (["00B0010000 6F00", "00B0010000 wait 0"], [READ_FAILED, GOOD], CARD),
            # Only the application shows that it is a health card.
            (["00A4000C023F00 6A82"], [GOOD], CARD),
            (["00A4000C023F00 fail", "00A4040C06D27600000102 fail"], [READ_FAILED], CARD),
            (["00B082000C 6C08", "00B0820008 5A0A8027001122339000"], [READ_FAILED], CARD),
            (["00B082000C 5A0A672800112233445566779000"], [NO_DATA], CARD),
            (["00B0820000 wait 700"], [GOOD], CARD),
            (["00A4000C023F00 remove"], [READ_FAILED], NO_CARD),
            (["00B0820000 remove"], [READ_FAILED], NO_CARD),
            (["00B0010000 remove"], [READ_FAILED], NO_CARD),
        ]
        simulator = self.start()
        simulator.wait_for_status(NO_CARD)
        for number, (lines, answers, state) in enumerate(rows):
            with self.subTest(lines):
                self.insert(simulator, make_card(simulator.folder / f"card{number}", lines))
                started = time.monotonic()
                self.assertEqual([simulator.ask("read") for _ in answers], answers)
                if "wait 700" in lines[0]:
                    self.assertGreater(time.monotonic() - started, 0.7)
                simulator.wait_for_status(state, 2)
                if state == CARD:
                    self.remove(simulator)

    def test_something_is_taken_away_during_a_slow_read(self):
        """The read answers that it failed. The state is right within 2 seconds. When everything is
        back in its place, the next read works."""
        card = f"insert {CARDS / 'mustermann'}"
        rows = [("remove", NO_CARD, [card]),
                ("unplug", NO_READER, ["plug", card]),
                ("pcsc stop", NO_READER, ["pcsc start"])]
        simulator, trace = self.start_traced("--card", CARDS / "mustermann", "--apdu-ms", 60)
        for taken, state, back in rows:
            with self.subTest(taken), simulator.connect() as client:
                simulator.wait_for_status(CARD)
                done = len(trace.read_text())
                client.sendall(b"GET /?action=read HTTP/1.1\r\n\r\n")
                wait_until(lambda: SELECT_HCA in trace.read_text()[done:], "a read is under way")
                simulator.do(taken)
                self.assertTrue(read_all(client).endswith(READ_FAILED))
                simulator.wait_for_status(state, 2)
                for command in back:
                    simulator.do(command)
                simulator.wait_for_status(CARD)
                self.assertEqual(simulator.ask("read"), GOOD)

    def test_another_program_at_the_card(self):
        simulator, trace = self.start_traced("--card", CARDS / "mustermann")
        simulator.wait_for_status(CARD)
        self.assertRegex(simulator.command("other exclusive on"), "error:.+")
        for action, expected in [("status", CARD), ("read", GOOD), ("close", CLOSED)]:
            for command in ("other lock", "other lock", "other reset"):
                simulator.do(command)
            with simulator.connect() as client:
                client.sendall(f"GET /?action={action} HTTP/1.1\r\n\r\n".encode())
                client.settimeout(0.5)
                self.assertRaises(TimeoutError, client.recv, 1)
                client.settimeout(None)
                simulator.do("other unlock")
                self.assertTrue(read_all(client).endswith(expected))
        # When the card goes, the waiting for it ends.
        simulator.do("other lock")
        simulator.do("remove")
        simulator.wait_for_status(NO_CARD)
        simulator.do("other exclusive on")
        simulator.do(f"insert {CARDS / 'mustermann'}")
        simulator.wait_for_status(NO_READER)
        simulator.do("other exclusive off")
        simulator.wait_for_status(CARD)


if __name__ == "__main__":
    unittest.main()
