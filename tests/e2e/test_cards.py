"""What is read off a card, the commands for it, and cards that misbehave in the middle of it."""
import time
import unittest

from simulator_driver import (CARD, CARDS, NO_CARD, NO_READER, READ_FAILED, SimulatorTest, body,
                              make_card, read_all, read_answer, reader, wait_until)

NO_DATA = body("read", "OK", reader("OK_Card_Presence"), "null")
SELECT_MF = "> 00 A4 00 0C 02 3F 00"
SELECT_HCA = "> 00 A4 04 0C 06 D2 76 00 00 01 02"


class ExampleCards(SimulatorTest):
    def test_read(self):
        simulator = self.start()
        simulator.wait_for_status(NO_CARD)
        rows = [("mustermann", read_answer("mustermann")),
                ("familienversichertes-kind", read_answer("familienversichertes-kind")),
                ("sonderzeichen", read_answer("sonderzeichen")),
                ("bankkarte", NO_DATA),
                ("beschaedigt", READ_FAILED),
                ("mustermann", read_answer("mustermann"))]  # A failure leaves nothing behind.
        for card, expected in rows:
            with self.subTest(card):
                simulator.insert(CARDS / card)
                self.assertEqual(simulator.ask("read"), expected)
                simulator.remove()
        self.assertEqual(simulator.log(), [])

    def test_commands_of_a_read(self):
        folder = self.new_folder()
        trace = folder.path / "trace"
        simulator = self.start("--card", CARDS / "mustermann", "--trace", trace, folder=folder)
        simulator.wait_for_status(CARD)
        time.sleep(0.6)
        self.assertEqual(trace.read_text(), "", "nobody asks the card before a client does")
        simulator.ask("read")
        lines = trace.read_text().splitlines()
        self.assertEqual(lines[0::2], [
            SELECT_MF, "> 00 B0 82 00 0C",
            SELECT_HCA, "> 00 B0 8C 00 19",
            "> 00 B0 82 00 08", "> 00 B0 82 00 00", "> 00 B0 01 00 00",
            SELECT_HCA, "> 00 B0 8C 00 19",
            "> 00 B0 81 00 00", "> 00 B0 01 00 00"])
        lengths = [len(line.split()) - 1 for line in lines[1::2]]
        self.assertEqual(lengths, [2, 14, 2, 27, 10, 258, 258, 2, 27, 258, 258])
        for line in lines[1::2]:
            self.assertRegex(line, "^<( [0-9A-F]{2})* 90 00$")


class Overrides(SimulatorTest):
    def test_in_the_middle_of_a_read(self):
        good = read_answer("mustermann")
        rows = [  # The lines, and the answers of one read after the other.
            (["00B0810000 fail", "00B0810000 wait 0"], [READ_FAILED, good]),
            (["00B0820008 6A82", "00B0820008 wait 0"], [READ_FAILED, good]),
            (["00B0010000 6F00", "00B0010000 wait 0"], [READ_FAILED, good]),
            (["00A4000C023F00 6A82"], [good]),  # The application alone tells a health card.
            (["00A4000C023F00 fail", "00A4040C06D27600000102 fail"], [READ_FAILED]),
            (["00B082000C 6C08", "00B0820008 5A0A8027001122339000"], [READ_FAILED]),
            (["00B082000C 5A0A672800112233445566779000"], [NO_DATA]),
        ]
        simulator = self.start()
        simulator.wait_for_status(NO_CARD)
        for number, (lines, answers) in enumerate(rows):
            with self.subTest(lines):
                simulator.insert(make_card(simulator.folder / f"card{number}", lines))
                self.assertEqual([simulator.ask("read") for _ in answers], answers)
                self.assertEqual(simulator.ask("status"), CARD)
                simulator.remove()

    def test_wait(self):
        simulator = self.start()
        simulator.wait_for_status(NO_CARD)
        simulator.insert(make_card(simulator.folder / "slow", ["00B0820000 wait 700"]))
        started = time.monotonic()
        self.assertEqual(simulator.ask("read"), read_answer("mustermann"))
        self.assertGreater(time.monotonic() - started, 0.7)

    def test_remove(self):
        simulator = self.start()
        simulator.wait_for_status(NO_CARD)
        for command in ("00A4000C023F00", "00B0820000", "00B0010000"):
            with self.subTest(command):
                card = make_card(simulator.folder / command, [command + " remove"])
                simulator.insert(card)
                self.assertEqual(simulator.ask("read"), READ_FAILED)
                simulator.wait_for_status(NO_CARD, 2)
        simulator.insert(CARDS / "mustermann")
        self.assertEqual(simulator.ask("read"), read_answer("mustermann"))


class DuringASlowRead(SimulatorTest):
    def test_something_is_taken_away(self):
        """The read answers that it failed, the state is right within 2 seconds, and with
        everything back in its place the next read works."""
        card = f"insert {CARDS / 'mustermann'}"
        rows = [("remove", NO_CARD, [card]),
                ("unplug", NO_READER, ["plug", card]),
                ("pcsc stop", NO_READER, ["pcsc start"])]
        folder = self.new_folder()
        trace = folder.path / "trace"
        simulator = self.start("--card", CARDS / "mustermann", "--apdu-ms", 60, "--trace", trace,
                               folder=folder)
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
                self.assertEqual(simulator.ask("read"), read_answer("mustermann"))


if __name__ == "__main__":
    unittest.main()
