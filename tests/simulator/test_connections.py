"""Many clients at the same time, also silent ones."""
import threading
import time
import unittest

from simulator import SimulatorTest
from common import CARD, CARDS, NO_READER, STARTED, read_all, read_answer


class Pool(SimulatorTest):
    def test_silent_clients(self):
        """Eight clients may wait for 10 seconds, or 2 after a ninth has been turned away."""
        quiet, crowded = self.start("--unplugged"), self.start("--unplugged")
        started = time.monotonic()
        alone = quiet.connect()
        silent = [crowded.connect() for _ in range(8)]
        for client in (alone, *silent):
            self.addCleanup(client.close)
        with crowded.connect() as ninth:
            self.assertEqual(ninth.recv(1), b"")
        self.assertLess(time.monotonic() - started, 2)

        for client in silent:
            self.assertEqual(read_all(client), b"")
        self.assertGreater(time.monotonic() - started, 2)
        self.assertLess(time.monotonic() - started, 5)
        self.assertEqual(crowded.ask("status"), NO_READER)

        self.assertEqual(read_all(alone), b"")
        self.assertGreater(time.monotonic() - started, 9.5)
        self.assertLess(time.monotonic() - started, 14)
        self.assertEqual(quiet.log() + crowded.log(), [STARTED, STARTED])

    def test_parallel_reads(self):
        """Each of 8 clients gets the whole answer, and their commands never mix on the card."""
        simulator, trace = self.start_traced("--card", CARDS / "mustermann", "--apdu-ms", 2)
        simulator.wait_for_status(CARD)
        simulator.ask("read")
        one_read = trace.read_text()
        answers = []
        threads = [threading.Thread(target=lambda: answers.append(simulator.ask("read")))
                   for _ in range(8)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(answers, 8 * [read_answer("mustermann")])
        self.assertEqual(trace.read_text(), 9 * one_read)


if __name__ == "__main__":
    unittest.main()
