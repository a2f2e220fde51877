"""Readers that come and go."""
import time
import unittest

from simulator_driver import CARD, CARDS, NO_CARD, NO_READER, SimulatorTest, read_answer

ONLY_ONE = "notice KALVERO  -  KV500 | Only one KV500 can be connected!"
TWO_PASSES = 2.3  # Seconds in which the list of readers is surely looked at twice.


class Plugging(SimulatorTest):
    def test_the_only_reader(self):
        """A reader that is gone, card and all, is forgotten; the next one gets its number."""
        simulator = self.start("--unplugged")
        lost = 'Could not connect to card "brenvolt GmbH KV500 0": Error 0x80100009'
        for card, lines in [("mustermann", []), (None, [lost])]:
            self.assertEqual(simulator.ask("status"), NO_READER)
            simulator.do("plug")
            simulator.wait_for_status(NO_CARD)
            if card:
                simulator.insert(CARDS / card)
            simulator.do("unplug")
            simulator.wait_for_status(NO_READER, 2)
            self.assertEqual(simulator.log(), lines)

    def test_second_reader(self):
        simulator = self.start("--card", CARDS / "mustermann")
        simulator.wait_for_status(CARD)
        for pause in (TWO_PASSES, 0):
            simulator.do("plug")
            simulator.wait_for_status(NO_READER)
            time.sleep(pause)
            self.assertEqual(simulator.ask("status"), NO_READER)
            simulator.do("unplug")
            simulator.wait_for_status(CARD)
        self.assertEqual(simulator.ask("read"), read_answer("mustermann"))
        self.assertEqual(simulator.events[1:], [ONLY_ONE], "once, however often it happens")
        simulator.do("pcsc stop")
        simulator.do("plug")
        simulator.wait_for_event(ONLY_ONE, 2)

    def test_usb_bus(self):
        """A reader that PC/SC lists and the bus doesn't show is none, but stays one that it was."""
        simulator = self.start("--unplugged")
        simulator.do("usb hide")
        simulator.do("plug")
        time.sleep(TWO_PASSES)
        self.assertEqual(simulator.ask("status"), NO_READER)
        simulator.do("usb show")
        simulator.wait_for_status(NO_CARD)
        simulator.do("usb hide")
        time.sleep(TWO_PASSES)
        self.assertEqual(simulator.ask("status"), NO_CARD)


if __name__ == "__main__":
    unittest.main()
