#!/usr/bin/env python3
"""Measures the service on the simulated reader and prints tables; asserts nothing.

Usage: benchmarks/simulator.py [BUILD]   (default build/release; see run.sh)

The card in the reader takes no time where nothing else is said, so that a read costs what the
service adds to the time that the commands take on the card. The simulators run from temporary
folders, on ports of their own.
"""
import contextlib
import pathlib
import shutil
import statistics
import sys
import tempfile

from measure import (IDLE_SECONDS, ask, compare_servers, load, running, table,
                     time_functions, wait_for)

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = (ROOT / (sys.argv[1:] or ["build/release"])[0]).resolve()
CARD = ROOT / "examples/cards/mustermann"
PORT = 27182
REQUESTS = 1000

# What the other clients do, and the milliseconds that a command takes on the card.
NEIGHBOURS = {
    "nobody else": (None, 0),
    "12 silent connections, opened again as they are closed": (["silent", 12], 0),
    "connections opened as fast as 4 threads can": (["open", 4], 0),
    "12 connections that send a byte a second": (["drip", 12], 0),
    "6 clients that read in a loop, 20 ms a command": (["ask", 6], 20),
}
ATTACK_SECONDS, HEAD_START, ASK_SECONDS, ASK_PAUSE_MS = 12, 3, 8, 20


@contextlib.contextmanager
def simulator(apdu_ms=0):
    """A simulator with a card in its reader. Gives its process and its folder."""
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        program = shutil.copy(BUILD / "kv500-simulator", folder)
        (folder / "config.txt").write_text(f"Port={PORT}\n")
        with running(program, "--card", CARD, "--apdu-ms", str(apdu_ms)) as process:
            wait_for(PORT, "status", b"OK_Card_Presence")
            yield process, folder


def answer_times(action):
    times = sorted(ask(PORT, action)[1] for _ in range(REQUESTS))
    return times, f"{statistics.median(times):.2f} ms / {times[int(0.99 * REQUESTS)]:.2f} ms"


def measure_requests():
    with simulator() as (process, folder):
        compare_servers(BUILD, folder, PORT, process)
        (status, status_text), (read, read_text) = answer_times("status"), answer_times("read")
        table(["what", "figure"],
              [f"`status`, {REQUESTS} requests, median / 99th percentile", status_text],
              [f"`read`, {REQUESTS} requests, median / 99th percentile", read_text],
              ["resident memory after them", f"{process.resident_megabytes():.1f} MB"],
              [f"idle processor time over {IDLE_SECONDS} s, card in the reader",
               f"{process.idle_percentage():.3f} per cent of one core"])
    parts = time_functions(BUILD, CARD)
    whole = 1000 * (statistics.median(read) - statistics.median(status))
    table(["part of a `read`", "microseconds"],
          ["the simulated card with its commands", f"{parts['card']:.1f}"],
          ["decoding, both files", f"{parts['decode']:.1f}"],
          ["the same with zlib", f"{parts['decode_zlib']:.1f} (ratio "
           f"{parts['decode'] / parts['decode_zlib']:.1f})"],
          ["XML, the library's parser", f"{parts['xml']:.1f}"],
          ["JSON from it", f"{parts['xml_to_json'] - parts['xml']:.1f}"],
          ["card to JSON, all of these", f"{parts['read']:.1f}"],
          ["the request's text", f"{parts['parse']:.1f}"],
          ["the answer's text", f"{parts['compose']:.1f}"],
          ["what a `read` takes longer than a `status`, over HTTP", f"{whole:.0f}"])


def measure_neighbours():
    rows = []
    for name, (neighbours, apdu_ms) in NEIGHBOURS.items():
        with simulator(apdu_ms):
            attack = neighbours and load(BUILD, neighbours[0], PORT, neighbours[1], ATTACK_SECONDS,
                                         "/?action=read")
            # Wait until the limits of the clients that came first have passed.
            if attack:
                load(BUILD, "ask", PORT, 1, HEAD_START, "/?action=status", ASK_PAUSE_MS)()
            good = load(BUILD, "ask", PORT, 1, ASK_SECONDS, "/?action=status", ASK_PAUSE_MS)()
            if attack:
                attack()
        rows.append([name, f"{100 * good['served'] / good['tried']:.1f} % of {good['tried']}",
                     f"{good['median_us'] / 1000:.1f} ms / {good['max_us'] / 1000:.1f} ms"])
    table([f"a client that asks for `status`, with a pause of {ASK_PAUSE_MS} ms, beside", "served",
           "median / longest wait"], *rows)


if __name__ == "__main__":
    measure_requests()
    measure_neighbours()
