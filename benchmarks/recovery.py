#!/usr/bin/python3
"""Measures how long the real service takes to answer rightly again after a disturbance of the real
pcscd, its reader or its card. Prints a table; asserts that every read gives the card's data.

Usage (root): benchmarks/recovery.py [TIMES]   (default 20 of each kind; about 5 minutes)
"""
import pathlib
import random
import signal
import statistics
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path[:0] = [str(ROOT / "tests" / "linux"), str(ROOT / "tests")]

import isolation  # noqa: E402
from common import CARD as CARD_IS_IN, NO_CARD, NO_READER, read_answer  # noqa: E402
from machine import Machine  # noqa: E402
from measure import table  # noqa: E402

CARD = "mustermann"


def card(machine):
    machine.remove()
    yield NO_CARD
    machine.insert(CARD)


def reader(machine):
    machine.unplug()
    yield NO_READER
    machine.reader().mkdir()
    machine.insert(CARD)
    machine.readers = 1
    machine.show_usb_device()


def daemon_stopped(machine):
    machine.stop_daemon()
    yield


def daemon_killed(machine):
    machine.stop_daemon(signal.SIGKILL)
    yield


def daemon_restarted(machine):
    machine.stop_daemon()
    machine.start_daemon()
    yield


# What happens, and from when on the time counts.
DISTURBANCES = {
    "card out and in, from the moment when it is in": card,
    "reader out and in, from the moment when it is in": reader,
    "pcscd stopped, from its end": daemon_stopped,
    "pcscd killed, from its end": daemon_killed,
    "pcscd started again by somebody else, from its start": daemon_restarted,
}


def seconds_of(machine, disturbance):
    """Seconds until `read` gives the card's data again."""
    time.sleep(random.uniform(0, 1))  # The service looks around once a second.
    steps = disturbance(machine)
    state = next(steps)
    if state is not None:
        machine.wait_for_status(state)
        next(steps, None)
    begin = time.monotonic()
    expected = read_answer(CARD)
    while machine.try_ask("read") != expected:
        if time.monotonic() - begin > 30:
            raise SystemExit(f"no data within 30 s after: {disturbance.__name__}")
        time.sleep(0.01)
    return time.monotonic() - begin


def main():
    times = int((sys.argv[1:] or [20])[0])
    machine = Machine()
    machine.switch_on(card=CARD)
    machine.allow_daemon_start()
    machine.wait_for_status(CARD_IS_IN)
    rows = []
    for name, disturbance in DISTURBANCES.items():
        print(f"{name}: {times} times", file=sys.stderr)
        figures = [seconds_of(machine, disturbance) for _ in range(times)]
        rows.append([name, f"{statistics.median(figures):.2f} s", f"{max(figures):.2f} s"])
    table([f"{times} times each, with the real pcscd", "median", "longest"], *rows)
    machine.close()


if __name__ == "__main__":
    isolation.enter()
    isolation.prepare()
    main()
