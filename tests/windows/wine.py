"""A Windows of its own for a test: a Wine prefix that is thrown away, with services, registry and a
system folder, and the real programs in it.

The folder of the built programs is named by the environment variable KV500_WINDOWS_BUILD.
"""
import atexit
import os
import pathlib
import random
import shutil
import socket
import subprocess
import tempfile
import time

BUILD = pathlib.Path(os.environ["KV500_WINDOWS_BUILD"])
ROOT = pathlib.Path(__file__).resolve().parents[2]
CARDS = ROOT / "examples" / "cards"
EXPECTED = ROOT / "tests" / "e2e" / "expected"
WINE = next((path for path in map(pathlib.Path, ("/usr/lib/wine/wine64", "/usr/bin/wine64"))
             if path.exists()), pathlib.Path("wine64"))
PATIENCE = 30  # Seconds for things that must happen; only a fault uses them up.


def wait_until(condition, what, limit=PATIENCE):
    deadline = time.monotonic() + limit
    while not condition():
        if time.monotonic() > deadline:
            raise AssertionError(f"not within {limit} s: {what}")
        time.sleep(0.05)


def free_port():
    # Below the range from which the system takes the ports of outgoing connections.
    while True:
        number = random.randrange(20000, 32000)
        with socket.socket() as probe:
            try:
                probe.bind(("127.0.0.1", number))
                return number
            except OSError:
                continue


def read_answer(card):
    """The body of `read` for an example card: the same bytes as on Linux, but for the serial number
    of the reader, which Windows gives in lower case."""
    text = (EXPECTED / f"{card}.txt").read_text("utf-8").replace("SIM0001", "sim0001")
    return text.encode("iso-8859-15")


class Windows:
    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kv500-windows-"))
        self.drive = self.folder / "prefix" / "drive_c"
        self.environment = {
            **os.environ, "WINEPREFIX": str(self.folder / "prefix"), "WINEARCH": "win64",
            "WINEDEBUG": "-all", "LC_ALL": "C.UTF-8",
            # The simulated smart-card library in place of Wine's; no offers to install more.
            "WINEDLLOVERRIDES": "winscard=n;mscoree,mshtml=;winemenubuilder.exe=d"}
        self.environment.pop("DISPLAY", None)
        self.session = None
        atexit.register(self.remove)
        self.run("wineboot", "-i", limit=120)
        self.wineserver("-w")  # Until its services have ended, which would know of no new ones.
        shutil.copy2(BUILD / "tests/windows/winscard.dll", self.drive / "windows/system32")
        # Wine ends all services with its last ordinary program: this is the one that lasts.
        self.session = subprocess.Popen([WINE, "cmd", "/c", "echo ready& set /p end="],
                                        env=self.environment, cwd=self.drive,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL)
        # Only then may others use the service manager, which is brought up with it.
        assert self.session.stdout.readline().strip() == b"ready"

    def wineserver(self, option):
        beside = WINE.parent / "wineserver64"
        subprocess.run([beside if beside.exists() else "wineserver", option],
                       env=self.environment, timeout=PATIENCE, check=False)

    def run(self, *command, limit=PATIENCE, cwd=None):
        """Runs a program to its end and gives exit code and output."""
        with tempfile.TemporaryFile() as output:  # A service that it starts may keep a pipe open.
            process = subprocess.run([WINE, *map(str, command)], env=self.environment, timeout=limit,
                                     cwd=cwd or self.folder, stdin=subprocess.DEVNULL,
                                     stdout=output, stderr=subprocess.STDOUT, check=False)
            output.seek(0)
            return process.returncode, output.read().decode("utf-8", "replace")

    def do(self, *command, limit=PATIENCE):
        code, output = self.run(*command, limit=limit)
        assert code == 0, f"{command}: exit code {code}: {output}"
        return output

    def path(self, path):
        """The name that a file of the drive C has in Windows."""
        return "C:\\" + str(path.relative_to(self.drive)).replace("/", "\\")

    def world(self, *commands):
        """What a person does to readers and cards; a path becomes that of a card in Windows."""
        with open(self.drive / "kv500-world.txt", "a", encoding="utf-8") as file:
            file.writelines(command + "\n" for command in commands)

    def import_registry(self, text):
        file = self.folder / "import.reg"
        text = "Windows Registry Editor Version 5.00\n\n" + text
        file.write_bytes(b"\xff\xfe" + text.encode("utf-16-le"))
        self.do("regedit", "/S", f"Z:{file}")

    def plug_usb(self, product="5003", serial="SIM0001", linked=1):
        """A device on the USB bus, as Windows keeps it in the registry."""
        usb = f"VID_2406&PID_{product}"
        guid = "{a5dcbf10-6530-11d2-901f-00c04fb951ed}"
        interface = (r"HKEY_LOCAL_MACHINE\System\CurrentControlSet\Control\DeviceClasses"
                     rf"\{guid}\##?#USB#{usb}#{serial}#{guid}")
        self.import_registry(
            rf"[HKEY_LOCAL_MACHINE\System\CurrentControlSet\Enum\USB\{usb}\{serial}]" "\n"
            '"ClassGUID"="{50dd5230-ba8a-11d1-bf5d-0000f805f530}"\n'
            '"Class"="SmartCardReader"\n\n'
            f"[{interface}]\n"
            rf'"DeviceInstance"="USB\\{usb}\\{serial}"' "\n\n"
            f"[{interface}\\#]\n"
            rf'"SymbolicLink"="\\\\?\\usb#{usb.lower()}#{serial}#{guid}"' "\n\n"
            f"[{interface}\\#\\Control]\n"
            f'"Linked"=dword:{linked:08x}\n\n')

    def unplug_usb(self, product="5003", serial="SIM0001"):
        self.plug_usb(product, serial, linked=0)

    def service_state(self, name):
        _, output = self.run("sc", "query", name)
        for line in output.splitlines():
            if line.strip().startswith("STATE"):
                return line.split()[-1]
        return None

    def processes(self, program):
        """The processes of this Windows that run a program of that file name."""
        found = []
        for entry in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                command = (entry / "cmdline").read_bytes().decode("utf-8", "replace")
                mine = f"WINEPREFIX={self.folder}/".encode() in (entry / "environ").read_bytes()
            except OSError:
                continue
            if mine and command.split("\0")[0].strip('"').endswith(program):
                found.append(int(entry.name))
        return found

    def remove(self):
        if self.session is not None:
            self.session.stdin.close()
            self.session.stdout.close()
            self.session.wait(PATIENCE)
            self.session = None
        self.wineserver("-k")
        wrong_use = self.drive / "kv500-wrong-use.txt"
        if wrong_use.exists():
            print("wrong use of the smart-card library:", wrong_use.read_text(), flush=True)
            os._exit(1)  # An exception would be too late to make the test fail.
        shutil.rmtree(self.folder, ignore_errors=True)


class Service:
    """KV500Service.exe in a program folder of that Windows."""

    def __init__(self, windows, folder="KV500"):
        self.windows = windows
        self.folder = windows.drive / folder
        self.folder.mkdir(parents=True)
        self.program = self.folder / "KV500Service.exe"
        shutil.copy2(BUILD / "KV500Service.exe", self.program)
        self.port = free_port()
        self.configure()

    def configure(self, *lines):
        text = "".join(line + "\r\n" for line in (f"Port={self.port}", *lines))
        (self.folder / "config.txt").write_bytes(text.encode("utf-8"))

    def create(self):
        image = f'"{self.windows.path(self.program)}"'
        self.windows.do("sc", "create", "KV500Service", "binPath=", image, "start=", "demand")

    def start(self):
        # Wine's service manager takes a moment to forget a service of the name that was deleted.
        wait_until(lambda: self.windows.run("sc", "start", "KV500Service")[0] == 0, "start")

    def stop(self):
        return self.windows.run("net", "stop", "KV500Service")

    def delete(self):
        self.windows.run("sc", "delete", "KV500Service")

    def is_gone(self):
        return not self.windows.processes("KV500Service.exe")

    def ask(self, action):
        """The body of the answer to an action, None while nobody answers."""
        try:
            with socket.create_connection(("127.0.0.1", self.port), PATIENCE) as client:
                client.sendall(f"GET /?action={action} HTTP/1.1\r\n\r\n".encode())
                data = b""
                while piece := client.recv(65536):
                    data += piece
        except OSError:
            return None
        return data.partition(b"\r\n\r\n")[2]

    def wait_for(self, text, action="status"):
        wait_until(lambda: text in (self.ask(action) or b""), f"{text} in {action}")

    def log(self):
        """The texts of the log, without their times."""
        lines = (self.folder / "log.txt").read_bytes().decode("utf-8").split("\r\n")
        return [line.partition("] ")[2] or line for line in lines[:-1]]
