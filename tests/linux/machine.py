"""A workstation for the tests: the real pcscd with the driver of the simulated reader, a USB bus
made with umockdev, logind's files, a notify socket, and the real service."""
import json
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import tempfile
import time

import gi

gi.require_version("UMockdev", "1.0")
from gi.repository import UMockdev  # noqa: E402

from isolation import GROUP_ID, USER, USER_ID  # noqa: E402

# The rights that systemd leaves to the service.
CAPABILITIES = ["setuid", "setgid", "kill"]
LIMITED = ["setpriv", "--no-new-privs", "--inh-caps=-all",
           "--bounding-set=-all," + ",".join(f"+{name}" for name in CAPABILITIES)]
ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("KV500_BUILD", ROOT / "build/release"))
CARDS = ROOT / "examples/cards"
PORT = 5724
READER = "brenvolt GmbH KV500 00 00"
RECOVERY = 2.0  # Seconds from the end of a trouble to the end of its effects.
ABSENCE = 1.7  # Seconds after which a card that comes back is a new one.

# In the place of systemctl: starts the daemon that the tests otherwise start themselves.
SYSTEMCTL = """#!/bin/sh
echo "$*" >>{folder}/systemctl.log
[ -e {folder}/startable ] || exit 1
unset LD_PRELOAD
rm -f /run/pcscd/pcscd.comm
setsid pcscd --foreground >>{folder}/pcscd.log 2>&1 &
while ! [ -S /run/pcscd/pcscd.comm ]; do sleep 0.02; done
"""


def wait_until(condition, seconds=10.0):
    """Waits for a condition and gives its value, or its last one when the time is over."""
    end = time.monotonic() + seconds
    while True:
        value = condition()
        if value or time.monotonic() > end:
            return value
        time.sleep(0.02)


class Machine:
    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kv500-", dir="/srv"))
        self.folder.chmod(0o755)
        self.bin = self.folder / "bin"
        self.program = self.folder / "service"
        for folder in [self.bin, self.program]:
            folder.mkdir()
        shutil.copy(BUILD / "KV500Service", self.program)
        self.script(self.bin / "systemctl", SYSTEMCTL.format(folder=self.folder))
        self.usb = UMockdev.Testbed.new()
        self.devices = {}
        self.daemon = None
        self.service = None
        self.desktop = None
        self.listen_at(self.folder / "notify")

    def listen_at(self, path):
        """Makes the notify socket, which the service manager otherwise holds."""
        self.notify = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.notify.bind(str(path))
        self.notify.settimeout(10)

    def close(self):
        if self.service and self.service.poll() is None:
            self.service.kill()
            self.service.wait()
        self.stop_daemon()
        self.log_out()
        self.notify.close()
        for path in pathlib.Path("/etc/reader.conf.d").iterdir():
            path.unlink()
        shutil.rmtree(self.folder)

    @staticmethod
    def script(path, text):
        path.write_text(text)
        path.chmod(0o755)

    # Readers and cards.

    def add_reader(self, number=1, usb=True, serial="SIM0001"):
        """Makes a reader, plugged in. The daemon learns of it when it starts."""
        self.reader(number).mkdir()
        pathlib.Path(f"/etc/reader.conf.d/kv500-{number}").write_text(
            f'FRIENDLYNAME "brenvolt GmbH KV500"\nDEVICENAME {self.reader(number)}\n'
            f"LIBPATH {BUILD}/libifdkv500sim.so\n")
        if usb:
            self.show_usb(number, serial)

    def forget_reader(self, number):
        pathlib.Path(f"/etc/reader.conf.d/kv500-{number}").unlink()
        shutil.rmtree(self.reader(number))
        self.hide_usb(number)

    def unplug(self, number=1):
        self.reader(number).rename(self.folder / f"unplugged{number}")
        self.hide_usb(number)

    def plug(self, number=1):
        (self.folder / f"unplugged{number}").rename(self.reader(number))
        self.show_usb(number)

    def show_usb(self, number=1, serial="SIM0001", product="5003"):
        attributes = ["idVendor", "2406", "idProduct", product, "bDeviceClass", "00"]
        if serial is not None:
            attributes += ["serial", serial]
        self.devices[number] = self.usb.add_device(
            "usb", f"1-{number}", None, attributes, ["DEVTYPE", "usb_device"])

    def hide_usb(self, number=1):
        self.usb.remove_device(self.devices.pop(number))

    def reader(self, number=1):
        return self.folder / f"reader{number}"

    def insert(self, card, number=1):
        (self.reader(number) / "card").symlink_to(CARDS / card)

    def remove(self, number=1):
        (self.reader(number) / "card").unlink()

    def make_card(self, name, overrides):
        """A copy of the plain card that misbehaves."""
        card = self.folder / name
        shutil.copytree(CARDS / "mustermann", card)
        (card / "overrides.txt").write_text(overrides)
        return card

    # The daemon.

    def start_daemon(self):
        log = open(self.folder / "pcscd.log", "ab")
        self.daemon = subprocess.Popen(["pcscd", "--foreground"], stdout=log, stderr=log)
        log.close()
        assert wait_until(lambda: pathlib.Path("/run/pcscd/pcscd.comm").exists())

    def allow_daemon_start(self):
        (self.folder / "startable").touch()

    @staticmethod
    def daemon_pids():
        """The running daemons, whoever started them; a process that has ended has no command."""
        pids = []
        for process in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                if (process / "cmdline").read_bytes().startswith(b"pcscd\0"):
                    pids.append(int(process.name))
            except OSError:
                pass
        return pids

    def stop_daemon(self, number=signal.SIGTERM):
        for pid in self.daemon_pids():
            os.kill(pid, number)
        if self.daemon:
            self.daemon.wait()
            self.daemon = None
        assert wait_until(lambda: not self.daemon_pids())

    # Sessions.

    def log_in(self, session="1", user=USER_ID, **changes):
        facts = {"UID": user, "USER": USER, "ACTIVE": 1, "STATE": "active", "REMOTE": 0,
                 "TYPE": "x11", "CLASS": "user", "DISPLAY": ":7", "LEADER": 1} | changes
        pathlib.Path("/run/systemd/sessions", session).write_text(
            "".join(f"{name}={value}\n" for name, value in facts.items()))

    def start_desktop(self, **variables):
        """A program of the user's with a display, as any desktop has it."""
        environment = {"DISPLAY": ":99", "PATH": f"{self.bin}:/usr/bin:/bin",
                       "XDG_SESSION_ID": "1"} | variables
        self.desktop = subprocess.Popen(["/bin/sleep", "600"], env=environment,
                                        user=USER_ID, group=GROUP_ID, extra_groups=[])

    def log_out(self):
        for path in pathlib.Path("/run/systemd/sessions").iterdir():
            path.unlink()
        if self.desktop:
            self.desktop.kill()
            self.desktop.wait()
            self.desktop = None

    # The service.

    def configure(self, **settings):
        (self.program / "config.txt").write_text(
            "".join(f"{name}={value}\n" for name, value in settings.items()))

    def start_service(self, ready=True, notify=True, **options):
        environment = {"PATH": f"{self.bin}:/usr/sbin:/usr/bin:/sbin:/bin", "SERVICE_SECRET": "x",
                       "UMOCKDEV_DIR": self.usb.get_root_dir(),
                       "LD_PRELOAD": "libumockdev-preload.so.0"}
        if notify:
            environment["NOTIFY_SOCKET"] = str(self.folder / "notify")
        limits = [] if "user" in options else LIMITED
        self.service = subprocess.Popen([*limits, self.program / "KV500Service"], env=environment,
                                        **options)
        if ready:
            assert self.notify.recv(100) == b"READY=1"
            assert wait_until(lambda: self.try_ask("status"))

    def stop_service(self, number=signal.SIGTERM):
        """Gives the exit status and the seconds that the end took."""
        begin = time.monotonic()
        self.service.send_signal(number)
        assert self.notify.recv(100) == b"STOPPING=1"
        return self.service.wait(timeout=10), time.monotonic() - begin

    def log(self):
        """The log's texts without their times."""
        lines = (self.program / "log.txt").read_bytes().split(b"\r\n")
        return [line.partition(b"] ")[2].decode() for line in lines if line]

    @staticmethod
    def ask(action):
        """The bytes of the answer to one request."""
        with socket.create_connection(("127.0.0.1", PORT), timeout=20) as connection:
            connection.sendall(f"GET /?action={action} HTTP/1.1\r\n\r\n".encode())
            return b"".join(iter(lambda: connection.recv(65536), b""))

    @classmethod
    def try_ask(cls, action):
        try:
            return cls.ask(action)
        except OSError:
            return b""

    def answer(self, action):
        return json.loads(self.ask(action).partition(b"\r\n\r\n")[2].decode("iso-8859-15"))

    def presence(self):
        """What `status` says: "card", "reader" or "none"."""
        answer = self.try_ask("status")
        if b"OK_Card_Presence" in answer:
            return "card"
        return "reader" if b"NO_Card_found" in answer else "none"

    def reaches(self, presence, seconds=RECOVERY):
        return wait_until(lambda: self.presence() == presence, seconds)
