"""Drives kv500-simulator as a person does: standard input and output, files, HTTP."""
import os
import pathlib
import queue
import shutil
import signal
import subprocess
import sys
import tempfile
import threading

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
from common import (CARD, CARDS, NO_CARD, PATIENCE, Port, Service, ServiceTest,  # noqa: E402
                    build_folder, wait_until)

PROGRAM = build_folder() / "kv500-simulator"
NOTICE = "notice KALVERO  -  KV500 | "


class Simulator(Service):
    """A simulator in a temporary folder, with its own port."""

    recovery = 2

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kv500-simulator-"))
        self.program = self.folder / PROGRAM.name
        try:
            os.link(PROGRAM, self.program)
        except OSError:
            shutil.copy2(PROGRAM, self.program)
        self.mark = Port()
        self.port = self.mark.number
        self.process = None
        self.expected_errors = b""

    def start(self, *options, config="", user=None, wait=True):
        """`config` holds the lines after that of the port."""
        (self.folder / "config.txt").write_text(f"Port={self.port}\n{config}")
        self.answers, self.events, self.errors = queue.Queue(), [], b""
        self.process = subprocess.Popen(
            [self.program, *map(str, options)], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            stderr=subprocess.PIPE, user=user)
        self.threads = [threading.Thread(target=target, args=[self.process], daemon=True)
                        for target in (self._read_output, self._read_errors)]
        for thread in self.threads:
            thread.start()
        if wait:
            self.wait_for_event(f"listening 127.0.0.1:{self.port}")

    def _read_output(self, process):
        for line in process.stdout:
            text = line.decode("latin-1").rstrip("\n")
            if text == "ok" or text.startswith("error:"):
                self.answers.put(text)
            else:
                self.events.append(text)

    def _read_errors(self, process):
        self.errors = process.stderr.read()

    def send(self, line):
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()

    def command(self, line):
        self.send(line)
        return self.answers.get(timeout=PATIENCE)

    def do(self, line):
        answer = self.command(line)
        assert answer == "ok", f"{line}: {answer}"

    def count_events(self, start):
        return sum(event.startswith(start) for event in list(self.events))

    def wait_for_event(self, start, count=1):
        def seen():
            assert self.process.poll() is None or self.count_events(start) >= count, \
                f"ended, status {self.process.returncode}: {self.errors.decode()}"
            return self.count_events(start) >= count
        wait_until(seen, f"event '{start}', events so far: {self.events}")

    # The operations for the scenarios.

    def switch_on(self, readers=1, card=None, config="", wait=True):
        options = [] if readers else ["--unplugged"]
        self.start(*options, *(["--card", CARDS / card] if card else []), config=config, wait=wait)

    def plug(self):
        self.do("plug")

    def unplug(self):
        self.do("unplug")

    def insert(self, card):
        """Inserts an example card, or the card of a folder, into the reader."""
        self.do(f"insert {CARDS / card}")

    def remove(self):
        self.do("remove")

    def reset_card(self):
        self.do("other reset")

    def hide_usb(self):
        self.do("usb hide")

    def show_usb(self):
        self.do("usb show")

    def stop_smartcards(self):
        self.do("pcsc stop")

    def break_smartcards(self):
        self.do("pcsc break")

    def boxes(self):
        return [event.removeprefix(NOTICE).replace("\\n", "\n")
                for event in self.events if event.startswith(NOTICE)]

    def expect_end(self, status):
        ended = self.end()
        assert ended == status, f"exit status {ended}: {self.errors.decode()}"
        assert f"(exit status {status})".encode() in self.errors, self.errors.decode()
        self.expected_errors = self.errors

    # The end.

    def end(self, limit=PATIENCE):
        """Waits for the end and gives the exit status."""
        try:
            status = self.process.wait(limit)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            raise AssertionError(f"did not end within {limit} s") from None
        finally:
            for thread in self.threads:
                thread.join(PATIENCE)
            for pipe in (self.process.stdin, self.process.stdout, self.process.stderr):
                try:
                    pipe.close()
                except OSError:
                    pass
        return status

    def stop(self):
        """Ends a simulator that still runs. Checks what holds for every simulator: a clean end, and
        nothing on standard error, where sanitizers report too."""
        if self.process.returncode is None:
            self.process.send_signal(signal.SIGTERM)
            status = self.end()
            assert status == 0, f"exit status {status}: {self.errors.decode()}"
        assert self.errors == self.expected_errors, self.errors.decode()

    def close(self):
        try:
            if self.process:
                self.stop()
        finally:
            self.mark.release()
            self.folder.chmod(0o700)
            shutil.rmtree(self.folder)


class SimulatorTest(ServiceTest):
    """Tests that make simulators; at the end of a test these are stopped and checked."""

    def workstation(self):
        simulator = Simulator()
        self.addCleanup(simulator.close)
        return simulator

    def start(self, *options, **more):
        simulator = self.workstation()
        simulator.start(*options, **more)
        return simulator

    def start_traced(self, *options, **more):
        """One that records all commands. Also gives the file."""
        simulator = self.workstation()
        trace = simulator.folder / "trace"
        simulator.start("--trace", trace, *options, **more)
        return simulator, trace

    @staticmethod
    def insert(simulator, card):
        """Inserts a card into the reader and waits until the system knows it."""
        simulator.insert(card)
        simulator.wait_for_status(CARD)

    @staticmethod
    def remove(simulator):
        simulator.remove()
        simulator.wait_for_status(NO_CARD)
