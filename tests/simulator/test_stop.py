"""Each way to stop, in each state of things: exit status 0 within 2 seconds.

KV500_STOPS sets how often; run it with a thousand before a release.
"""
import concurrent.futures
import contextlib
import itertools
import os
import random
import signal
import threading
import time
import unittest

from simulator import Simulator, SimulatorTest
from common import CARD, CARDS, wait_until

STOPS = int(os.environ.get("KV500_STOPS", "32"))
AT_A_TIME = 4
LIMIT = 2  # Seconds.


def wait_for_port(simulator):
    simulator.wait_for_event("listening")


def idle(simulator):
    wait_for_port(simulator)
    time.sleep(random.uniform(0, 1.5))


def under_load(simulator):
    """Requests before, during and after the reader is found, until the end."""
    wait_for_port(simulator)

    def ask():
        while True:
            try:
                for action in ("status", "read", "close"):
                    simulator.ask(action)
            except OSError:
                return

    for _ in range(3):
        threading.Thread(target=ask, daemon=True).start()
    time.sleep(random.uniform(0, 1.5))


def slow_read(simulator):
    wait_for_port(simulator)
    simulator.wait_for_status(CARD)
    client = simulator.connect()
    client.sendall(b"GET /?action=read HTTP/1.1\r\n\r\n")
    wait_until(lambda: (simulator.folder / "trace").read_text(), "the first command is through")
    client.close()


def at_the_start(simulator):
    time.sleep(random.choice([0, random.uniform(0, 0.05)]))


STATES = {idle: [], under_load: ["--card", CARDS / "mustermann"],
          slow_read: ["--card", CARDS / "mustermann", "--apdu-ms", 400, "--trace", "trace"],
          at_the_start: ["--card", CARDS / "mustermann"]}
WAYS = {"quit": lambda simulator: simulator.send("quit"),
        "SIGINT": lambda simulator: simulator.process.send_signal(signal.SIGINT),
        "SIGTERM": lambda simulator: simulator.process.send_signal(signal.SIGTERM)}


class Stop(SimulatorTest):
    def stop_once(self, state, way):
        """What was wrong, or nothing, and how long each stop took."""
        try:
            with contextlib.closing(Simulator()) as simulator:
                simulator.start(*[simulator.folder / option if option == "trace" else option
                                  for option in STATES[state]], wait=False)
                state(simulator)
                WAYS[way](simulator)
                # The time to load a program is not part of the stop.
                wait_until((simulator.folder / "log.txt").exists, "sign of life")
                started = time.monotonic()
                status = simulator.end(3 * LIMIT)
                took = time.monotonic() - started
                assert status == 0, f"exit status {status}: {simulator.errors.decode()}"
                assert took < LIMIT, f"took {took:.1f} s"
            return None, (took, way, state.__name__)
        except (AssertionError, OSError) as error:
            return f"{way}, {state.__name__}: {error}", None

    def test_stops(self):
        # A signal that comes before the program waits for signals is kept until then.
        signals = {signal.SIGINT, signal.SIGTERM}
        rows = itertools.islice(itertools.cycle(itertools.product(STATES, WAYS)), STOPS)
        with concurrent.futures.ThreadPoolExecutor(
                AT_A_TIME, initializer=signal.pthread_sigmask,
                initargs=(signal.SIG_BLOCK, signals)) as pool:
            results = list(pool.map(lambda row: self.stop_once(*row), rows))
        self.assertEqual([fault for fault, _ in results if fault], [])
        took, way, state = max(what for _, what in results)
        print(f"{len(results)} stops, the longest in {took:.3f} s ({way}, {state})")


if __name__ == "__main__":
    unittest.main()
