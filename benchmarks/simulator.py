#!/usr/bin/env python3
"""Measures the service on the simulated reader and prints figures; asserts nothing.

Usage: benchmarks/simulator.py [SIMULATOR]   (default build/release/kv500-simulator)

A card of --apdu-ms 0 is in the reader, so that a read costs what the service adds to the time that
the commands take on the card. The simulator runs from a temporary folder, on a port of its own.
"""
import pathlib
import shutil
import socket
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
PORT = 27180
IDLE_SECONDS = 30
REQUESTS = 500


def ask(action):
    """One request in a connection of its own; gives the answer and the seconds it took."""
    begin = time.perf_counter()
    with socket.create_connection(("127.0.0.1", PORT), timeout=20) as connection:
        connection.sendall(f"GET /?action={action} HTTP/1.1\r\n\r\n".encode())
        answer = b"".join(iter(lambda: connection.recv(65536), b""))
    return answer, time.perf_counter() - begin


def wait_for_card():
    for _ in range(200):
        try:
            if b"OK_Card_Presence" in ask("status")[0]:
                return
        except OSError:
            pass
        time.sleep(0.05)
    sys.exit("the simulator did not find its card")


def processor_seconds(pid):
    """What all threads have used, by the scheduler's own count in nanoseconds."""
    tasks = pathlib.Path(f"/proc/{pid}/task").glob("*/schedstat")
    return sum(int(task.read_text().split()[0]) for task in tasks) / 1e9


def resident_megabytes(pid):
    status = pathlib.Path(f"/proc/{pid}/status").read_text()
    return int(status.split("VmRSS:")[1].split()[0]) / 1024


def milliseconds(action):
    times = sorted(1000 * ask(action)[1] for _ in range(REQUESTS))
    return (f"median {statistics.median(times):.3f} ms, "
            f"99th percentile {times[int(0.99 * len(times))]:.3f} ms")


def main():
    simulator = pathlib.Path(sys.argv[1] if len(sys.argv) > 1
                             else ROOT / "build/release/kv500-simulator").resolve()
    with tempfile.TemporaryDirectory() as folder:
        program = shutil.copy(simulator, folder)
        pathlib.Path(folder, "config.txt").write_text(f"Port={PORT}\n")
        process = subprocess.Popen(
            [program, "--card", ROOT / "examples/cards/mustermann", "--apdu-ms", "0"],
            stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
        try:
            wait_for_card()
            print(f"status, {REQUESTS} requests: {milliseconds('status')}")
            print(f"read, {REQUESTS} requests: {milliseconds('read')}")
            print(f"resident memory after them: {resident_megabytes(process.pid):.1f} MB")
            before = processor_seconds(process.pid)
            time.sleep(IDLE_SECONDS)
            used = processor_seconds(process.pid) - before
            print(f"idle processor time over {IDLE_SECONDS} s: "
                  f"{100 * used / IDLE_SECONDS:.2f} per cent of one core")
        finally:
            process.terminate()
            process.wait(timeout=10)


if __name__ == "__main__":
    main()
