"""Drives kv500-simulator the way a person does: its standard input and output, its files, HTTP.

The program under test is named by the environment variable KV500_SIMULATOR.
"""
import os
import pathlib
import queue
import random
import re
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import time
import unittest

PROGRAM = pathlib.Path(os.environ["KV500_SIMULATOR"])
CARDS = pathlib.Path(__file__).resolve().parents[2] / "examples" / "cards"
PATIENCE = 15  # Seconds for things that must happen; only a fault uses them up.

HEADER = (b"HTTP/1.1 200 OK\r\n"
          b"Server: KALVERO Server/1.0\r\n"
          b"Access-Control-Allow-Origin: %s\r\n"
          b"Access-Control-Allow-Methods: GET, HEAD, OPTIONS\r\n"
          b"Access-Control-Allow-Headers: X-PINGOTHER, Content-Type\r\n"
          b"Access-Control-Max-Age: 86400\r\n"
          b"Content-Type: application/json; charset=iso-8859-15\r\n"
          b"Content-Length: %d\r\n"
          b"\r\n")


def header(body, origin=b"*"):
    return HEADER % (origin, len(body))


def body(action, status, message, daten=None):
    """The JSON of an answer; `message` is the text of it or a dictionary."""
    if isinstance(message, dict):
        members = ",\n".join(f'"{key}": "{value}"' for key, value in message.items())
        message = "{\n" + members + "\n}"
    else:
        message = f'"{message}"'
    tail = "" if daten is None else f',\n"daten": \n{daten}'
    return (f'{{\n"action": "{action}",\n"status": "{status}",\n"message": {message},\n'
            f'"serv_version": 97{tail}\n}}\n').encode("iso-8859-15")


def reader(card_presence, serial="SIM0001"):
    return {"deviceStatus": "KV500_PRESENT", "ApiVersion": "1.1.8", "SerialNumber": serial,
            "CardPresence": card_presence}


NO_READER = body("status", "RUNNING", "USB_device_not_found")
NO_CARD = body("status", "RUNNING", reader("NO_Card_found"))
CARD = body("status", "RUNNING", reader("OK_Card_Presence"))
READ_FAILED = body("read", "ERROR", reader("OK_Card_Presence"), "null")


def read_answer(card):
    """The body of `read` for an example card, as the folder `expected` has it."""
    text = (pathlib.Path(__file__).parent / "expected" / f"{card}.txt").read_text("utf-8")
    return text.encode("iso-8859-15")


def make_card(folder, overrides, base="mustermann"):
    """A copy of an example card with commands that it answers otherwise."""
    shutil.copytree(CARDS / base, folder)
    (folder / "overrides.txt").write_text("\n".join(overrides) + "\n")
    return folder


class Port:
    """A port that no other test of this machine takes; the name of an abstract socket marks it."""

    def __init__(self, number=None):
        deadline = time.monotonic() + 4 * PATIENCE
        while time.monotonic() < deadline:
            # Below the range from which the system takes the ports of outgoing connections.
            self.number = number or random.randrange(20000, 32000)
            self.mark = socket.socket(socket.AF_UNIX)
            try:
                self.mark.bind(f"\0kv500-port-{self.number}")
                with socket.socket() as probe:
                    probe.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
                    probe.bind(("127.0.0.1", self.number))
                return
            except OSError:
                self.mark.close()
                time.sleep(0.05)
        raise AssertionError(f"port {number or ''} is not free")

    def release(self):
        self.mark.close()


def wait_until(condition, what, limit=PATIENCE):
    deadline = time.monotonic() + limit
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError(f"not within {limit} s: {what}")
        time.sleep(0.02)


class Folder:
    """A temporary folder with the program in it."""

    def __init__(self):
        self.path = pathlib.Path(tempfile.mkdtemp(prefix="kv500-e2e-"))
        self.program = self.path / PROGRAM.name
        try:
            os.link(PROGRAM, self.program)
        except OSError:
            shutil.copy2(PROGRAM, self.program)

    def remove(self):
        self.path.chmod(0o700)
        shutil.rmtree(self.path)


class Simulator:
    """One running simulator."""

    def __init__(self, folder, *options, port=None, config="", config_file=None, user=None):
        """`config` are lines behind that of the port; `config_file` is all of it instead."""
        self.folder, self.port = folder.path, port or Port()
        self.expected_errors = b""
        if config_file is None:
            config_file = f"Port={self.port.number}\n{config}"
        if config_file:
            (self.folder / "config.txt").write_bytes(config_file.encode("latin-1"))
        self.process = subprocess.Popen(
            [folder.program, *map(str, options)], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            stderr=subprocess.PIPE, user=user)
        self.answers, self.events, self.errors = queue.Queue(), [], b""
        self.readers = [threading.Thread(target=target, daemon=True)
                        for target in (self._read_output, self._read_errors)]
        for thread in self.readers:
            thread.start()

    def wait_for_port(self):
        self.wait_for_event(f"listening 127.0.0.1:{self.port.number}")

    def _read_output(self):
        for line in self.process.stdout:
            text = line.decode("latin-1").rstrip("\n")
            if text == "ok" or text.startswith("error:"):
                self.answers.put(text)
            else:
                self.events.append(text)

    def _read_errors(self):
        self.errors = self.process.stderr.read()

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

    def connect(self):
        return socket.create_connection(("127.0.0.1", self.port.number), timeout=2 * PATIENCE)

    def exchange(self, *pieces, pause=0.3):
        """Sends the pieces with pauses between them and gives all that comes back."""
        with self.connect() as client:
            for number, piece in enumerate(pieces):
                time.sleep(pause if number else 0)
                try:
                    client.sendall(piece)
                except ConnectionError:
                    break
            if not pieces:
                client.shutdown(socket.SHUT_WR)
            return read_all(client)

    def request(self, target, method="GET"):
        return self.exchange(f"{method} {target} HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n".encode())

    def ask(self, action):
        """The body of the answer to an action."""
        return self.request(f"/?action={action}").partition(b"\r\n\r\n")[2]

    def wait_for_status(self, expected, limit=PATIENCE):
        wait_until(lambda: self.ask("status") == expected, f"status {expected}", limit)

    def insert(self, card):
        """Puts a card into the reader and waits until the system knows it."""
        self.do(f"insert {card}")
        self.wait_for_status(CARD)

    def remove(self):
        self.do("remove")
        self.wait_for_status(NO_CARD)

    def log(self):
        """The lines of the log without their times, the first line of each start left out."""
        lines = (self.folder / "log.txt").read_bytes().decode("latin-1").split("\r\n")
        texts = [re.sub(r"^\[\d\d-\d\d-\d{4} \d\d:\d\d:\d\d\] ", "", line) for line in lines]
        return [text for text in texts[:-1] if text != "### Service started! ###"]

    def end(self, limit=PATIENCE):
        """Waits for the end and gives the exit status."""
        try:
            status = self.process.wait(limit)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            raise AssertionError(f"did not end within {limit} s") from None
        finally:
            for thread in self.readers:
                thread.join(PATIENCE)
            for pipe in (self.process.stdin, self.process.stdout, self.process.stderr):
                try:
                    pipe.close()
                except OSError:
                    pass
            self.port.release()
        return status

    def stop(self):
        """Ends a simulator that a test has left running and checks what every one must keep to:
        a clean end, and no word on standard error, where sanitizers report too."""
        if self.process.returncode is None:
            self.process.send_signal(signal.SIGTERM)
            status = self.end()
            assert status == 0, f"exit status {status}: {self.errors.decode()}"
        assert self.errors == self.expected_errors, self.errors.decode()


def read_all(client):
    data = b""
    try:
        while piece := client.recv(65536):
            data += piece
    except ConnectionResetError:  # Part of the request was left unread.
        pass
    return data


class SimulatorTest(unittest.TestCase):
    """Starts simulators, for one test or for a class of them, and stops them at its end."""
    maxDiff = None
    longMessage = True

    @classmethod
    def start_shared(cls, *options, **more):
        return cls._start(cls.addClassCleanup, *options, **more)

    def start(self, *options, **more):
        return self._start(self.addCleanup, *options, **more)

    @staticmethod
    def _start(add_cleanup, *options, folder=None, wait=True, **more):
        if folder is None:
            folder = Folder()
            add_cleanup(folder.remove)
        simulator = Simulator(folder, *options, **more)
        add_cleanup(simulator.stop)
        if wait:
            simulator.wait_for_port()
        return simulator

    def new_folder(self):
        folder = Folder()
        self.addCleanup(folder.remove)
        return folder
