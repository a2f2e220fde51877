#!/usr/bin/env python3
"""Asks a simulator over real sockets for a long time, while cards, reader and smart-card service come
and go, and prints ten points of a table. The exit status is 1 if an answer was wrong.

Half of the requests are for `status`, most of the others for `read`. An answer counts as wrong unless
it is one of those that the service can give, byte for byte. If nothing was moved in the 3 seconds
before it, only one answer is right: that for the card in the reader.
"""
import argparse
import collections
import os
import pathlib
import random
import sys
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path[:0] = [str(ROOT / "tests/simulator"), str(ROOT / "tests")]
from common import (CARD, CLOSED, NO_CARD, NO_DATA, NO_READER, NOTHING_TO_CLOSE,  # noqa: E402
                    NOTHING_TO_READ, READ_FAILED, body, header, read_answer)
from measure import Process, table  # noqa: E402
from simulator import Simulator  # noqa: E402

READABLE = "mustermann", "sonderzeichen", "familienversichertes-kind"
SETTLED = 3  # Seconds after a move.
POINTS = 10
DATA = {name: read_answer(name) for name in READABLE} | {"bankkarte": NO_DATA}
POSSIBLE = {
    "status": {NO_READER, NO_CARD, CARD},
    "read": {body("read", "undefined", "USB_device_not_found", "null"), NOTHING_TO_READ, READ_FAILED,
             *DATA.values()},
    "close": {CLOSED, NOTHING_TO_CLOSE, body("close", "NO_DEVICE", "called close command")},
    "no-action": {body("no-action", "ERROR", "wrong GET parameter")},
}


class Workstation:
    """The simulator, what lies in its reader, and since when."""

    def __init__(self):
        self.simulator = Simulator()
        self.simulator.start("--card", str(ROOT / "examples/cards" / READABLE[0]))
        self.lock = threading.Lock()
        self.card, self.changed, self.moves = READABLE[0], time.monotonic(), 0

    def seen(self):
        with self.lock:
            return self.card, self.changed

    def move(self):
        """One move: another card, the reader out and in, the smart-card service stopped, a reset."""
        card = random.choice(list(DATA))
        commands = random.choice([
            ["remove", f"insert {ROOT / 'examples/cards' / card}"],
            ["unplug", "plug", f"insert {ROOT / 'examples/cards' / card}"],
            ["pcsc stop"], ["usb hide", "usb show"], ["other reset"]])
        with self.lock:
            self.changed = float("inf")
        for command in commands:
            self.simulator.do(command)
        with self.lock:
            self.card = card if len(commands) > 1 and "insert" in commands[-1] else self.card
            self.changed, self.moves = time.monotonic(), self.moves + 1

    def held(self):
        """Memory, handles and threads of the process."""
        process = self.simulator.process.pid
        return (f"{Process(process).resident_megabytes():.1f}",
                *(str(len(os.listdir(f"/proc/{process}/{kind}"))) for kind in ("fd", "task")))


def is_right(action, answer, before, after):
    text = answer.partition(b"\r\n\r\n")[2]
    if answer != header(text) + text:
        return False
    card, changed = after
    if before == after and time.monotonic() - changed > SETTLED:
        return text == {"status": CARD, "read": DATA[card]}.get(action, text)
    return text in POSSIBLE[action]


def client(station, interval, counts, ended):
    while not ended.wait(random.uniform(0, 2 * interval)):
        action = random.choices(list(POSSIBLE), [50, 40, 5, 5])[0]
        before = station.seen()
        settled = time.monotonic() - before[1] > SETTLED
        try:
            answer = station.simulator.request(f"/?action={action}")
        except OSError:
            answer = b""
        after = station.seen() if settled else (None, float("inf"))
        if not answer:
            counts["refused"] += 1
        elif is_right(action, answer, before, after):
            counts["served"] += 1
        else:
            counts["wrong"] += 1
            print(f"Wrong: {action}, {before}, {after}: {answer!r}", file=sys.stderr)


def mover(station, interval, ended):
    while not ended.wait(random.uniform(0, 2 * interval)):
        station.move()


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--minutes", type=float, default=30)
    parser.add_argument("--clients", type=int, default=4, help="at most 8 are served at a time")
    parser.add_argument("--rate", type=float, default=50, help="requests a second of all clients")
    parser.add_argument("--move", type=float, default=6, help="seconds between two moves, on average")
    options = parser.parse_args()
    station, ended = Workstation(), threading.Event()
    counts = [collections.Counter() for _ in range(options.clients)]
    threads = [threading.Thread(target=client, args=(
        station, options.clients / options.rate, count, ended)) for count in counts]
    threads.append(threading.Thread(target=mover, args=(station, options.move, ended)))
    begin = time.monotonic()
    for thread in threads:
        thread.start()
    rows = []
    for point in range(1, POINTS + 1):
        time.sleep(max(0, begin + options.minutes * 60 * point / POINTS - time.monotonic()))
        total = sum(counts, collections.Counter())
        rows.append([f"{(time.monotonic() - begin) / 60:.1f}", *(f"{total[kind]:,}" for kind in (
            "served", "refused", "wrong")), str(station.moves), *station.held()])
        print(*rows[-1], file=sys.stderr, flush=True)
    ended.set()
    for thread in threads:
        thread.join()
    table(["minutes", "served", "refused", "wrong", "moves", "memory, MB", "handles", "threads"],
          *rows)
    print(f"Load of the machine at the end: {' '.join(map(str, os.getloadavg()))}")
    station.simulator.close()
    sys.exit(1 if any(count["wrong"] for count in counts) else 0)


if __name__ == "__main__":
    main()
