#!/usr/bin/python3
"""Measures the service with the real pcscd and prints figures; asserts nothing. Needs root.

Usage: benchmarks/linux.py [BUILD]   (default build/release)

The reader is the simulated one, as a driver of pcscd, in namespaces of the benchmark's own. What a
read costs is compared with a bare PC/SC program that sends the same commands in the same run.
"""
import os
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests/linux"))
os.environ["KV500_BUILD"] = str((ROOT / (sys.argv[1:] or ["build/release"])[0]).resolve())

import isolation  # noqa: E402
import pcsc  # noqa: E402
from machine import BUILD, CARDS, READER, Machine, wait_until  # noqa: E402

IDLE_SECONDS = 30
REQUESTS = 200
CARD = "mustermann"


def commands_of_a_read(folder):
    """What a read sends to the card, as the simulator writes it down."""
    folder.mkdir()
    shutil.copy(BUILD / "kv500-simulator", folder)
    trace = folder / "trace"
    process = subprocess.Popen(
        [folder / "kv500-simulator", "--card", CARDS / CARD, "--trace", trace],
        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
    wait_until(lambda: b"OK_Card" in Machine.try_ask("status"))
    before = trace.read_text()
    Machine.ask("read")
    process.terminate()
    process.wait()
    sent = trace.read_text()[len(before):]
    return [bytes.fromhex(command) for command in re.findall("(?m)^> (.*)$", sent)]


def processor_seconds(pid):
    """What all threads have used, by the scheduler's own count in nanoseconds."""
    tasks = pathlib.Path(f"/proc/{pid}/task").glob("*/schedstat")
    return sum(int(task.read_text().split()[0]) for task in tasks) / 1e9


def resident_megabytes(pid):
    status = pathlib.Path(f"/proc/{pid}/status").read_text()
    return int(re.search(r"VmRSS:\s*(\d+)", status).group(1)) / 1024


def milliseconds(work):
    begin = time.perf_counter()
    work()
    return 1000 * (time.perf_counter() - begin)


def main():
    machine = Machine()
    commands = commands_of_a_read(machine.folder / "simulator")
    machine.add_reader()
    machine.insert(CARD)
    machine.start_daemon()
    machine.start_service()
    if not machine.reaches("card", 5):
        sys.exit("the service did not find its card")

    other = pcsc.Card(READER)
    bare, reads = [], []
    for _ in range(REQUESTS):
        bare.append(milliseconds(lambda: [other.transmit(command) for command in commands]))
        reads.append(milliseconds(lambda: machine.ask("read")))
    other.close()

    pids = {"service": machine.service.pid, "pcscd": machine.daemon.pid}
    before = {name: processor_seconds(pid) for name, pid in pids.items()}
    time.sleep(IDLE_SECONDS)
    used = {name: 100 * (processor_seconds(pid) - before[name]) / IDLE_SECONDS
            for name, pid in pids.items()}
    print(f"commands of a read: {len(commands)}")
    print(f"bare PC/SC program: median {statistics.median(bare):.3f} ms")
    print(f"read over HTTP:     median {statistics.median(reads):.3f} ms")
    print(f"added by the service: {statistics.median(reads) - statistics.median(bare):.3f} ms")
    print(f"resident memory of the service: {resident_megabytes(machine.service.pid):.1f} MB "
          "(umockdev's library in it included)")
    print(f"idle processor time in {IDLE_SECONDS} s with a card in the reader: service "
          f"{used['service']:.2f} %, pcscd {used['pcscd']:.2f} % of one core")
    machine.close()


if __name__ == "__main__":
    isolation.enter()
    isolation.prepare()
    main()
