#!/usr/bin/python3
"""Measures the service with the real pcscd and prints tables; asserts nothing. Needs root.

Usage: benchmarks/linux.py [BUILD]   (default build/release; see run.sh)

The reader is the simulated one, as a driver of pcscd, in namespaces of the benchmark's own. What a
read costs is compared with a bare PC/SC program that sends the same commands in the same run.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests/linux"))
os.environ["KV500_BUILD"] = str((ROOT / (sys.argv[1:] or ["build/release"])[0]).resolve())

import isolation  # noqa: E402
import pcsc  # noqa: E402
from machine import BUILD, READER, Machine  # noqa: E402
from common import CARD as CARD_IS_IN, CARDS, Service  # noqa: E402
from measure import IDLE_SECONDS, Process, ask, compare_servers, spread, table  # noqa: E402

PORT = 5724
ROUNDS = 5
REQUESTS = 100  # In each round.
CARD = "mustermann"


def commands_of_a_read(folder):
    """The commands that a read sends to the card, as the simulator records them."""
    folder.mkdir()
    shutil.copy(BUILD / "kv500-simulator", folder)
    trace = folder / "trace"
    process = subprocess.Popen(
        [folder / "kv500-simulator", "--card", CARDS / CARD, "--trace", trace],
        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
    service = Service()
    service.wait_for_status(CARD_IS_IN)
    before = trace.read_text()
    service.ask("read")
    process.terminate()
    process.wait()
    sent = trace.read_text()[len(before):]
    return [bytes.fromhex(command) for command in re.findall("(?m)^> (.*)$", sent)]


def milliseconds(work):
    begin = time.perf_counter()
    work()
    return 1000 * (time.perf_counter() - begin)


def compare_reads(commands):
    """A bare program and `read` and `status` in turn. Gives the medians of each round."""
    other = pcsc.Card(READER)
    works = [lambda: [other.transmit(command) for command in commands],
             lambda: ask(PORT, "read"), lambda: ask(PORT, "status")]
    medians = [[] for _ in works]
    for _ in range(ROUNDS):
        times = [[milliseconds(work) for work in works] for _ in range(REQUESTS)]
        for kind, column in enumerate(zip(*times)):
            medians[kind].append(sorted(column)[REQUESTS // 2])
    other.close()
    return medians


def main():
    machine = Machine()
    commands = commands_of_a_read(machine.base / "simulator")
    machine.switch_on(card=CARD)
    machine.wait_for_status(CARD_IS_IN)

    service, daemon = Process(machine.service.pid), Process(machine.daemon.pid)
    idle = service.idle_percentage(), daemon.idle_percentage()
    bare, read, status = compare_reads(commands)
    added = [whole - part for whole, part in zip(read, bare)]
    table(["with the real pcscd", "figure"],
          [f"the {len(commands)} commands of a read, bare PC/SC program", spread(bare, 3) + " ms"],
          ["`read` over HTTP", spread(read, 3) + " ms"],
          ["added by the service", spread(added, 3) + " ms"],
          ["`status` over HTTP", spread(status, 3) + " ms"],
          ["resident memory of the service", f"{service.resident_megabytes():.1f} MB "
           "(umockdev's library in it included)"],
          [f"idle processor time over {IDLE_SECONDS} s, card in the reader",
           f"service {idle[0]:.3f}, pcscd {idle[1]:.3f} per cent of one core"])
    compare_servers(BUILD, machine.folder, PORT, service)
    machine.close()


if __name__ == "__main__":
    isolation.enter()
    isolation.prepare()
    main()
