"""The smart-card service behind the reader stops, starts and breaks."""
import unittest

from simulator_driver import CARD, CARDS, NO_CARD, NO_READER, SimulatorTest, read_answer

STARTING = "Trying to start Smartcard service..."


class SmartcardService(SimulatorTest):
    def test_stopped_and_started(self):
        """The system starts a stopped service itself and finds reader and card again."""
        simulator = self.start("--card", CARDS / "mustermann")
        simulator.wait_for_status(CARD)
        for _ in range(2):
            simulator.do("pcsc stop")
            simulator.wait_for_status(NO_READER, 2)
            simulator.wait_for_status(CARD)
            self.assertEqual(simulator.log(), [STARTING], "once in 5 minutes")
        self.assertEqual(simulator.ask("read"), read_answer("mustermann"))

    def test_stopped_at_the_start(self):
        simulator = self.start()
        simulator.do("pcsc stop")  # Within the second before the service is first asked.
        simulator.wait_for_status(NO_CARD)
        self.assertEqual(simulator.log(), [STARTING])

    def test_broken(self):
        for already_known in (True, False):
            with self.subTest(already_known):
                simulator = self.start()
                if already_known:
                    simulator.wait_for_status(NO_CARD)
                simulator.do("pcsc break")
                self.assertEqual(simulator.end(), 0)
                self.assertEqual(simulator.events[1:], [
                    "notice KALVERO  -  KV500 | The Smartcard service is not running and could not "
                    "be started automatically!\\n\\nPlease contact the support for further "
                    "information and help."])
                # Before that a poll may have met the missing service and said so.
                self.assertEqual(simulator.log()[-2:], [STARTING, "Smartcard service not running!"])
                self.assertIn(b"ended by itself (exit status 0)", simulator.errors)
                simulator.expected_errors = simulator.errors


if __name__ == "__main__":
    unittest.main()
