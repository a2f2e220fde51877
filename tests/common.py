"""What the tests on all systems share: cards and answers, waiting, ports, and the service as seen
through its clients and its log."""
import os
import pathlib
import random
import re
import shutil
import socket
import sys
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[1]
CARDS = ROOT / "examples" / "cards"
PATIENCE = 30  # Seconds for things that must happen; only a fault takes that long.
DEFAULT_PORT = 5724
SKIPPED = 77  # The exit status by which ctest knows a test that was not run.

STARTED = "### Service started! ###"
STARTING = "Trying to start Smartcard service..."


def skip(reason):
    """Ends the script because this machine can't run it. ./test.sh lists the reason."""
    print(f"SKIPPED: {reason}", flush=True)
    sys.exit(SKIPPED)


def wait_until(condition, what="a condition", limit=PATIENCE):
    """Waits until a condition is true and gives its value."""
    deadline = time.monotonic() + limit
    while not (value := condition()):
        if time.monotonic() > deadline:
            raise AssertionError(f"not within {limit} s: {what}")
        time.sleep(0.02)
    return value


# Answers.

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
    """The JSON of an answer. `message` is its text or a dictionary."""
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


def read_answer(card):
    """The body of `read` for an example card, from the folder `expected`."""
    text = (ROOT / "tests" / "expected" / f"{card}.txt").read_text("utf-8")
    return text.encode("iso-8859-15")


NO_READER = body("status", "RUNNING", "USB_device_not_found")
NO_CARD = body("status", "RUNNING", reader("NO_Card_found"))
CARD = body("status", "RUNNING", reader("OK_Card_Presence"))
READ_FAILED = body("read", "ERROR", reader("OK_Card_Presence"), "null")
NO_DATA = body("read", "OK", reader("OK_Card_Presence"), "null")
NOTHING_TO_READ = body("read", "OK", "NO_Card_found", "null")
CLOSED = body("close", "OK", "CLOSED")
NOTHING_TO_CLOSE = body("close", "ERROR", "called close command")


def make_card(folder, overrides, base="mustermann"):
    """A copy of an example card with overridden commands."""
    shutil.copytree(CARDS / base, folder)
    (folder / "overrides.txt").write_text("".join(line + "\n" for line in overrides))
    return folder


# Ports and addresses.

class Port:
    """A port that no other test on this machine takes. The name of an abstract socket marks it."""

    def __init__(self):
        # Below the range of ports for outgoing connections.
        for self.number in random.sample(range(20000, 32000), 1000):
            self.mark = socket.socket(socket.AF_UNIX)
            try:
                self.mark.bind(f"\0kv500-port-{self.number}")
                with socket.socket() as probe:
                    probe.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
                    probe.bind(("127.0.0.1", self.number))
                return
            except OSError:
                self.mark.close()
        raise AssertionError("no port is free")

    def release(self):
        self.mark.close()


def other_addresses():
    """The addresses of this machine at which the service must not answer."""
    addresses = ["127.0.0.2"]
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        try:
            probe.connect(("192.0.2.1", 9))  # Sends nothing; it determines the own address.
            addresses.append(probe.getsockname()[0])
        except OSError:
            pass  # A machine without a network.
    return addresses


# The service.

def read_all(client):
    data = b""
    try:
        while piece := client.recv(65536):
            data += piece
    except ConnectionResetError:  # Part of the request was not read.
        pass
    return data


class Service:
    """The service at `port`, with config.txt and log.txt in `folder`."""

    folder = None
    port = DEFAULT_PORT

    def connect(self):
        return socket.create_connection(("127.0.0.1", self.port), timeout=PATIENCE)

    def exchange(self, *pieces, pause=0.3):
        """Sends the pieces with pauses between them. Gives everything that comes back."""
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

    def try_ask(self, action):
        """The same, but empty while nobody answers."""
        try:
            return self.ask(action)
        except OSError:
            return b""

    def wait_for_status(self, expected, limit=PATIENCE):
        wait_until(lambda: self.try_ask("status") == expected, f"status {expected}", limit)

    def log(self):
        """The lines of the log without their times."""
        lines = (self.folder / "log.txt").read_bytes().decode("utf-8", "backslashreplace")
        return [re.sub(r"^\[\d\d-\d\d-\d{4} \d\d:\d\d:\d\d\] ", "", line)
                for line in lines.split("\r\n")[:-1]]


class ServiceTest(unittest.TestCase):
    maxDiff = None
    longMessage = True


def build_folder():
    """The build whose programs are tested: KV500_BUILD, or the release build."""
    return pathlib.Path(os.environ.get("KV500_BUILD", ROOT / "build" / "release"))
