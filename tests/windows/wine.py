"""A separate Windows for a test: a temporary Wine prefix with services, registry, system folder and
the real programs."""
import atexit
import contextlib
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
import common  # noqa: E402
from common import CARDS, PATIENCE, ROOT, Port, ServiceTest, wait_until  # noqa: E402, F401

BUILD = common.build_folder()
LOADER = next((path for path in map(pathlib.Path, ("/usr/lib/wine/wine64", "/usr/bin/wine64"))
               if path.exists()), pathlib.Path("wine64"))
# Every Wine process needs one fixed address. A heap at a random place takes it once in some thousand
# starts, and the program does not start. A container may refuse this; then the rare case remains.
FIXED_PLACES = ["setarch", "--addr-no-randomize"]
WINE = [*FIXED_PLACES, LOADER]
if subprocess.run([*FIXED_PLACES, "true"], stderr=subprocess.DEVNULL, check=False).returncode != 0:
    WINE = [LOADER]
SERVICE = "KV500Service"
SMARTCARDS = "SCardSvr"


class Windows:
    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kv500-windows-"))
        self.drive = self.folder / "prefix" / "drive_c"
        self.environment = {
            **os.environ, "WINEPREFIX": str(self.folder / "prefix"), "WINEARCH": "win64",
            "WINEDEBUG": "-all", "LC_ALL": "C.UTF-8",
            # The simulated cards and sessions instead of Wine's; no offers to install more.
            "WINEDLLOVERRIDES": "winscard,wtsapi32=n;mscoree,mshtml=;winemenubuilder.exe=d"}
        self.environment.pop("DISPLAY", None)
        self.session = None
        atexit.register(self.remove)
        self.run("wineboot", "-i", limit=120)
        self.wineserver("-w")  # Until its services have ended: they would not know new ones.
        for library in ("winscard.dll", "tests/windows/wtsapi32.dll"):
            shutil.copy2(BUILD / library, self.drive / "windows/system32")
        # Wine ends all services together with its last ordinary program. This program keeps
        # running.
        self.session = subprocess.Popen([*WINE, "cmd", "/c", "echo ready& set /p end="],
                                        env=self.environment, cwd=self.drive,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL)
        # It brings up the service manager; only then may others use it.
        assert self.session.stdout.readline().strip() == b"ready"

    def wineserver(self, option):
        beside = LOADER.parent / "wineserver64"
        subprocess.run([beside if beside.exists() else "wineserver", option],
                       env=self.environment, timeout=PATIENCE, check=False)

    def run(self, *command, limit=PATIENCE, cwd=None):
        """Runs a program to its end. Gives exit code and output."""
        program, *arguments = map(str, command)
        if (self.drive / "windows/system32" / f"{program}.exe").exists():
            # Wine takes a second process to look for a program.
            program = rf"C:\windows\system32\{program}.exe"
        with tempfile.TemporaryFile() as output:  # A service that it starts may keep a pipe open.
            process = subprocess.run([*WINE, program, *arguments], env=self.environment,
                                     timeout=limit, cwd=cwd or self.folder, stdin=subprocess.DEVNULL,
                                     stdout=output, stderr=subprocess.STDOUT, check=False)
            output.seek(0)
            return process.returncode, output.read().decode("utf-8", "replace")

    def do(self, *command, limit=PATIENCE):
        code, output = self.run(*command, limit=limit)
        assert code == 0, f"{command}: exit code {code}: {output}"
        return output

    def path(self, path):
        """The Windows path of a file on drive C."""
        return "C:\\" + str(path.relative_to(self.drive)).replace("/", "\\")

    def world(self, *commands):
        """What a person does to readers and cards, in commands of the simulator."""
        with open(self.drive / "kv500-world.txt", "a", encoding="utf-8") as file:
            file.writelines(command + "\n" for command in commands)

    def log_in(self, *sessions):
        """The sessions, each with number and state. In state 0 a person works in it."""
        (self.drive / "kv500-sessions.txt").write_text("".join(f"{one}\n" for one in sessions))

    def boxes(self):
        """The message boxes so far, each with session, title and text."""
        file = self.drive / "kv500-boxes.txt"
        return file.read_text("utf-8").split("\0")[:-1] if file.exists() else []

    def smartcards_on(self):
        """A running smart-card service without readers."""
        shutil.copy2(BUILD / "smartcard_service.exe", self.drive)
        if self.service_state(SMARTCARDS) is None:
            self.do("sc", "create", SMARTCARDS, "binPath=", r"C:\smartcard_service.exe",
                    "start=", "demand")
        self.run("net", "start", SMARTCARDS)
        (self.drive / "kv500-world.txt").write_text("")

    def import_registry(self, text):
        file = self.folder / "import.reg"
        text = "Windows Registry Editor Version 5.00\n\n" + text
        file.write_bytes(b"\xff\xfe" + text.encode("utf-16-le"))
        self.do("regedit", "/S", f"Z:{file}")

    def plug_usb(self, product="5003", serial="SIM0001", linked=1):
        """A device on the USB bus, as the registry of Windows stores it."""
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
        wrong_use = list(self.drive.glob("kv500-wrong-use*.txt"))
        if wrong_use:
            print("wrong use of Windows:", *(file.read_text() for file in wrong_use), flush=True)
            os._exit(1)  # An exception would be too late to make the test fail.
        shutil.rmtree(self.folder, ignore_errors=True)


class Service(common.Service):
    """KV500Service.exe in a program folder of that Windows."""

    recovery = 10  # Wine is slow with services and registry.

    def __init__(self, windows, folder="KV500"):
        self.windows = windows
        self.folder = windows.drive / folder
        self.folder.mkdir(parents=True)
        self.program = self.folder / "KV500Service.exe"
        shutil.copy2(BUILD / "KV500Service.exe", self.program)
        self.mark = Port()
        self.port = self.mark.number
        self.readers = 0
        self.usb_is_shown = True
        self.boxes_before = len(windows.boxes())
        self.configure()

    def configure(self, *lines):
        text = "".join(line + "\r\n" for line in (f"Port={self.port}", *lines))
        (self.folder / "config.txt").write_bytes(text.encode("utf-8"))

    def create(self):
        image = f'"{self.windows.path(self.program)}"'
        self.service_manager("create", "binPath=", image, "start=", "demand")

    def start(self):
        self.service_manager("start")

    def service_manager(self, command, *more):
        """Wine's service manager takes a moment to forget a deleted service of the same name."""
        wait_until(lambda: self.windows.run("sc", command, SERVICE, *more)[0] == 0, command)

    def stop(self):
        return self.windows.run("net", "stop", SERVICE)

    def delete(self):
        self.windows.run("sc", "delete", SERVICE)

    def is_gone(self):
        """When Wine ends a process with several threads, the last of them now and then waits for a lock
        forever: that rest is killed. A service that has not ended has more threads."""
        processes = self.windows.processes("KV500Service.exe")
        for process in processes:
            with contextlib.suppress(OSError):
                if len(os.listdir(f"/proc/{process}/task")) == 1:
                    os.kill(process, signal.SIGKILL)
        return not processes

    def close(self):
        """Ends the service, removes it from this Windows and unplugs the readers."""
        if self.windows.service_state(SERVICE) == "RUNNING":
            self.stop()
        wait_until(self.is_gone, "end of the process")
        self.delete()
        self.hide_usb()
        self.mark.release()

    def ask(self, action):
        """Windows gives the serial number in lower case, as part of a device's path."""
        return super().ask(action).replace(b'"sim', b'"SIM')

    def wait_for(self, text, action="status"):
        wait_until(lambda: text in self.try_ask(action), f"{text} in {action}")

    # The operations for the scenarios.

    def switch_on(self, readers=1, card=None, config="", wait=True):
        self.windows.smartcards_on()
        for _ in range(readers):
            self.plug()
        if card:
            self.insert(card)
        self.configure(*config.splitlines())
        self.create()
        self.start()
        if wait:
            self.wait_for(b'"status": "RUNNING"')

    def plug(self):
        """PC/SC before USB, and back in that order: if there were one of each of two for a moment,
        that reader would be usable."""
        self.readers += 1
        self.windows.world("plug")
        if self.usb_is_shown:
            self.windows.plug_usb(serial=f"SIM{self.readers:04}")

    def unplug(self):
        self.windows.world("unplug")
        if self.usb_is_shown:
            self.windows.unplug_usb(serial=f"SIM{self.readers:04}")
        self.readers -= 1

    def insert(self, card):
        self.windows.world(f"insert Z:{CARDS / card}".replace("/", "\\"))

    def remove(self):
        self.windows.world("remove")

    def reset_card(self):
        self.windows.world("other reset")

    def hide_usb(self):
        self.usb_is_shown = False
        for number in range(1, self.readers + 1):
            self.windows.unplug_usb(serial=f"SIM{number:04}")

    def show_usb(self):
        self.usb_is_shown = True
        for number in range(1, self.readers + 1):
            self.windows.plug_usb(serial=f"SIM{number:04}")

    def stop_smartcards(self):
        self.windows.run("net", "stop", SMARTCARDS)

    def break_smartcards(self):
        self.stop_smartcards()
        (self.windows.drive / "smartcard_service.exe").unlink()

    def expect_end(self, _status):
        wait_until(self.is_gone, "end of the process")  # Wine does not tell its exit code.

    def boxes(self):
        return [box.partition(" | ")[2] for box in self.windows.boxes()[self.boxes_before:]]
