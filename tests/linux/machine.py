"""A workstation for the tests: the real pcscd with the driver of the simulated reader, a USB bus
made with umockdev, logind's files, a notify socket, and the real service."""
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

import pcsc  # noqa: E402
from isolation import GROUP_ID, ROOT, USER, USER_ID  # noqa: E402
from common import (CARDS, Service, ServiceTest, build_folder,  # noqa: E402
                    make_card, wait_until)

# The rights that systemd leaves the service.
CAPABILITIES = ["setuid", "setgid", "kill"]
LIMITED = ["setpriv", "--no-new-privs", "--inh-caps=-all",
           "--bounding-set=-all," + ",".join(f"+{name}" for name in CAPABILITIES)]
BUILD = build_folder()
READER = "brenvolt GmbH KV500 00 00"
ABSENCE = 1.7  # Seconds after which a returning card counts as new.
DAEMON_READERS = pathlib.Path("/etc/reader.conf.d")
DAEMON_SOCKET = pathlib.Path("/run/pcscd/pcscd.comm")

# Replaces systemctl: starts the daemon, which the tests otherwise start themselves.
SYSTEMCTL = """#!/bin/sh
echo "$*${{NOTIFY_SOCKET:+ with the notify socket}}" >>{folder}/systemctl.log
[ -e {folder}/startable ] || exit 1
unset LD_PRELOAD
rm -f /run/pcscd/pcscd.comm
setsid pcscd --foreground >>{folder}/pcscd.log 2>&1 &
while ! [ -S /run/pcscd/pcscd.comm ]; do sleep 0.02; done
"""


class Machine(Service):
    recovery = 3

    def __init__(self):
        self.base = pathlib.Path(tempfile.mkdtemp(prefix="kv500-", dir="/srv"))
        self.base.chmod(0o755)
        self.bin = self.base / "bin"
        self.folder = self.base / "service"
        for folder in [self.bin, self.folder]:
            folder.mkdir()
        shutil.copy(BUILD / "KV500Service", self.folder)
        self.script(self.bin / "systemctl", SYSTEMCTL.format(folder=self.base))
        self.usb = UMockdev.Testbed.new()
        self.usb_is_shown = True
        self.devices = {}
        self.readers = 0
        self.daemon = None
        self.service = None
        self.programs = []
        self.listen_at(self.base / "notify")

    def listen_at(self, path):
        """Makes the notify socket that otherwise belongs to the service manager."""
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
        for path in DAEMON_READERS.iterdir():
            path.unlink()
        shutil.rmtree(self.base)

    @staticmethod
    def script(path, text):
        path.write_text(text)
        path.chmod(0o755)

    # Readers and cards.

    def reader(self, number=1):
        return self.base / f"reader{number}"

    @staticmethod
    def daemon_entry(number):
        return DAEMON_READERS / f"kv500-{number}"

    def plug(self):
        self.readers += 1
        number = self.readers
        self.reader(number).mkdir()
        if self.usb_is_shown:
            self.show_usb_device(number)
        if not self.daemon_entry(number).exists():
            self.daemon_entry(number).write_text(
                f'FRIENDLYNAME "brenvolt GmbH KV500"\nDEVICENAME {self.reader(number)}\n'
                f"LIBPATH {BUILD}/libifdkv500sim.so\n")
            self.restart_daemon()

    def unplug(self):
        number = self.readers
        self.readers -= 1
        if self.usb_is_shown:
            self.hide_usb_device(number)
        shutil.rmtree(self.reader(number))
        if number > 1:  # The daemon itself notices when the only one goes.
            self.daemon_entry(number).unlink()
            self.restart_daemon()

    def show_usb_device(self, number=1, serial=None, product="5003"):
        """Shows a device on the bus. With a `serial` of "" the device has none."""
        attributes = ["idVendor", "2406", "idProduct", product, "bDeviceClass", "00"]
        serial = f"SIM{number:04}" if serial is None else serial
        if serial:
            attributes += ["serial", serial]
        self.devices[number] = self.usb.add_device(
            "usb", f"1-{number}", None, attributes, ["DEVTYPE", "usb_device"])

    def hide_usb_device(self, number=1):
        self.usb.remove_device(self.devices.pop(number))

    def hide_usb(self):
        self.usb_is_shown = False
        for number in list(self.devices):
            self.hide_usb_device(number)

    def show_usb(self):
        self.usb_is_shown = True
        for number in range(1, self.readers + 1):
            self.show_usb_device(number)

    def insert(self, card):
        """Inserts an example card, or the card of a folder, into the first reader."""
        (self.reader() / "card").symlink_to(CARDS / card)

    def remove(self):
        (self.reader() / "card").unlink()

    def reset_card(self):
        pcsc.Card(READER).close(pcsc.RESET_CARD)

    def make_card(self, name, *overrides):
        return make_card(self.base / name, overrides)

    # The daemon.

    def start_daemon(self):
        with open(self.base / "pcscd.log", "ab") as log:
            self.daemon = subprocess.Popen(["pcscd", "--foreground"], stdout=log, stderr=log)
        wait_until(DAEMON_SOCKET.exists, "pcscd")

    def restart_daemon(self):
        """Makes the daemon look for its readers, which it does when it starts. The service meets it
        again afterwards."""
        if self.daemon:
            self.service.send_signal(signal.SIGSTOP)
            self.stop_daemon()
            self.start_daemon()
            self.service.send_signal(signal.SIGCONT)

    def allow_daemon_start(self):
        (self.base / "startable").touch()

    @staticmethod
    def daemon_pids():
        """The running daemons, whoever started them. A process that has ended has no command."""
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
        wait_until(lambda: not self.daemon_pids(), "end of pcscd")

    def stop_smartcards(self):
        self.allow_daemon_start()
        self.stop_daemon()

    def break_smartcards(self):
        self.stop_daemon()

    # Sessions.

    def log_in(self, session="1", user=USER_ID, **changes):
        facts = {"UID": user, "USER": USER, "ACTIVE": 1, "STATE": "active", "REMOTE": 0,
                 "TYPE": "x11", "CLASS": "user", "DISPLAY": ":7", "LEADER": 1,
                 "SEAT": "seat0"} | changes
        pathlib.Path("/run/systemd/sessions", session).write_text(
            "".join(f"{name}={value}\n" for name, value in facts.items() if value is not None))

    def start_desktop(self, user=USER_ID, **variables):
        """A user's program with a display, as on any desktop."""
        environment = {"DISPLAY": ":99", "PATH": f"{self.bin}:/usr/bin:/bin",
                       "XDG_SESSION_ID": "1"} | variables
        self.programs.append(subprocess.Popen(["/bin/sleep", "600"], env=environment,
                                              user=user, group=GROUP_ID, extra_groups=[]))

    def log_out(self):
        for path in pathlib.Path("/run/systemd/sessions").iterdir():
            path.unlink()
        while self.programs:
            program = self.programs.pop()
            program.kill()
            program.wait()

    # The service.

    def switch_on(self, readers=1, card=None, config="", wait=True):
        for _ in range(readers):
            self.plug()
        if card:
            self.insert(card)
        self.start_daemon()
        (self.folder / "config.txt").write_text(config)
        self.start_service(ready=wait)

    def configure(self, **settings):
        (self.folder / "config.txt").write_text(
            "".join(f"{name}={value}\n" for name, value in settings.items()))

    def start_service(self, ready=True, rights=LIMITED, **options):
        environment = {"PATH": f"{self.bin}:/usr/sbin:/usr/bin:/sbin:/bin", "SERVICE_SECRET": "x",
                       "UMOCKDEV_DIR": self.usb.get_root_dir(),
                       "LD_PRELOAD": "libumockdev-preload.so.0",
                       "NOTIFY_SOCKET": str(self.base / "notify")}
        rights = [] if "user" in options else rights
        self.service = subprocess.Popen([*rights, self.folder / "KV500Service"], env=environment,
                                        **options)
        if ready:
            assert self.notify.recv(100) == b"READY=1"
            wait_until(lambda: self.try_ask("status"), "the port")

    def stop_service(self, number=signal.SIGTERM):
        """Gives the exit status and the seconds that the end took."""
        begin = time.monotonic()
        self.service.send_signal(number)
        assert self.notify.recv(100) == b"STOPPING=1"
        return self.service.wait(timeout=10), time.monotonic() - begin

    def expect_end(self, status):
        ended = self.service.wait(timeout=15)
        assert ended == status, f"exit status {ended}"

    @staticmethod
    def boxes():
        return None  # Nobody is logged on unless a test logs in.


class MachineTest(ServiceTest):
    def workstation(self):
        machine = Machine()
        self.addCleanup(machine.close)
        return machine
