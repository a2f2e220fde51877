"""The package for Windows Installer: installation, update, repair, removal and refusals."""
import contextlib
import os
import re
import shutil
import signal
import socket
import struct
import subprocess
import sys
import unittest

if os.geteuid() == 0 and "KV500_OWN_NETWORK" not in os.environ:
    # The package's own settings name a port that others on this machine may use.
    os.environ["KV500_OWN_NETWORK"] = "yes"
    os.execvp("unshare", ["unshare", "--net", "sh", "-c", 'ip link set lo up && exec "$@"', "sh",
                          sys.executable, "-B", *sys.argv])

from wine import BUILD, ROOT, WINE, Service, Windows, wait_until

windows = Windows()
SERVICE_KEY = r"HKLM\System\CurrentControlSet\Services\KV500Service"
PROGRAMS_KEY = r"HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall"
DEFAULT = "Program Files/KV500Service"
SETTINGS = "# Präxis\r\nPort=23456\r\n\r\n#\tPort=1".encode("cp1252")  # No UTF-8, no last line end.
DONE, FAILED = 0, 67  # The last eight bits of 0 and 1603; Wine gives only these.


class Installed(Service):
    """The service where the package installs it."""

    def __init__(self, folder):
        self.windows = windows
        self.folder = windows.drive / folder
        self.program = self.folder / "KV500Service.exe"
        self.port = 5724

    def files(self):
        return sorted(path.name for path in self.folder.iterdir()) if self.folder.exists() else []

    def configure(self):
        self.folder.mkdir(parents=True, exist_ok=True)
        (self.folder / "config.txt").write_bytes(SETTINGS)
        self.port = 23456

    def settings(self):
        return (self.folder / "config.txt").read_bytes()

    def answers(self):
        self.wait_for(b'"status": "RUNNING"')

    def version(self):
        return struct.unpack_from("<HH", self.program.read_bytes(), version_at(self.program) + 8)[::-1]


def version_at(program):
    return program.read_bytes().index(struct.pack("<I", 0xFEEF04BD))  # VS_FIXEDFILEINFO


def make_package(version):
    """The built files as a package of that version, which the program has too."""
    folder = windows.folder / version
    folder.mkdir(exist_ok=True)
    for file in ["KV500Service.exe", "kv500-check.exe", "packaging/windows/actions.dll"]:
        shutil.copy(BUILD / file, folder)
    program = folder / "KV500Service.exe"
    major, minor, patch = map(int, version.split("."))
    with open(program, "r+b") as file:
        file.seek(version_at(program) + 8)
        file.write(struct.pack("<HHHH", minor, major, 0, patch))
    package = folder / "package.msi"
    subprocess.run([ROOT / "packaging/windows/make-msi.sh", version, folder, package], check=True,
                   env={**os.environ, "SOURCE_DATE_EPOCH": "1700000000"})
    return package


def table(name):
    """The rows of a table of the package, by their first field."""
    text = subprocess.run(["msiinfo", "export", OLD, name], capture_output=True, check=True).stdout
    rows = [line.split("\t") for line in text.decode().splitlines()[3:]]
    return {row[0]: row[1:] for row in rows}


OLD, NEW = make_package("1.1.0"), make_package("1.2.0")


class Package(unittest.TestCase):
    maxDiff = None

    def msi(self, action, package, *properties, code=DONE):
        log = windows.drive / "msi.txt"
        log.unlink(missing_ok=True)
        result = windows.run("msiexec", action, f"Z:{package}", "/qn", "/l*v", r"C:\msi.txt",
                             *properties, limit=100)
        text = log.read_text("utf-8", "replace") if log.exists() else ""
        self.assertEqual(result[0], code, result[1] + text)
        return text

    def tearDown(self):
        for package in (NEW, OLD):
            windows.run("msiexec", "/x", f"Z:{package}", "/qn", "PURGE=1", limit=100)
        windows.run("sc", "stop", "KV500Service")
        windows.run("sc", "delete", "KV500Service")
        wait_until(lambda: windows.service_state("KV500Service") is None, "service is deleted")
        # Settings that a removal leaves would be those of the next installation.
        shutil.rmtree(windows.drive / DEFAULT, ignore_errors=True)

    def registered(self):
        """The entries in the list of installed programs."""
        return windows.do("reg", "query", PROGRAMS_KEY, "/s")

    def links(self):
        return [path for path in windows.drive.glob("users/**/Start Menu/**/KV500*") if path.is_file()]

    def test_life(self):
        service = Installed("Program Files/Praxis Süd/KV 500")
        self.msi("/i", OLD, "INSTALLFOLDER=" + windows.path(service.folder))
        self.assertLessEqual({"KV500Service.exe", "config.txt", "log.txt"}, set(service.files()))
        self.assertEqual(windows.service_state("KV500Service"), "RUNNING")
        service.answers()
        keys = [line.split("=")[0] for line in service.settings().decode().splitlines()
                if line and not line.startswith("#")]
        self.assertEqual(keys, ["Port", "AllowOrigin", "AllowHost", "OnlyActiveUser", "CallBrowser",
                                "BrowserCommand", "URL", "AppendCardId"])
        key = windows.do("reg", "query", SERVICE_KEY)
        self.assertRegex(key, r'ImagePath\s+REG_(EXPAND_)?SZ\s+"C:\\Program Files\\Praxis S.d\\KV 500\\KV500Service.exe"')
        self.assertRegex(key, r"Start\s+REG_DWORD\s+0x2\b")
        self.assertRegex(key, r"ObjectName\s+REG_SZ\s+LocalSystem")
        self.assertRegex(windows.do("reg", "query", SERVICE_KEY.replace("KV500Service", r"EventLog\Application\KV500Service")),
                         r"(?i)EventMessageFile\s+REG_SZ\s+C:\\windows\\system32\\EventCreate.exe")
        for name, value in [("DisplayVersion", r"1\.1\.0"), ("Publisher", "The KV500 team"),
                            ("HelpLink", "https://")]:
            self.assertRegex(self.registered(), rf"{name}\s+REG_SZ\s+{value}")

        # An update finds the folder by itself and keeps the settings byte for byte.
        service.configure()
        log = service.log()
        self.msi("/i", NEW)
        service.answers()
        self.assertEqual(service.version(), (1, 2))
        self.assertEqual(service.settings(), SETTINGS)
        self.assertEqual(service.log(), log * 2)
        self.assertEqual(self.registered().count("DisplayName "), 1, self.registered())
        self.assertIn("http://127.0.0.1:23456/?action=status",
                      "".join(path.read_text() for path in self.links() if path.suffix == ".url"))

        # A repair restores the program and leaves the settings unchanged.
        service.stop()
        wait_until(service.is_gone, "end of the process")
        service.program.unlink()
        self.msi("/i", NEW, "REINSTALL=ALL", "REINSTALLMODE=amus")
        self.assertEqual((service.version(), service.settings()), ((1, 2), SETTINGS))

        self.msi("/x", NEW)
        self.assertEqual(service.files(), ["config.txt", "log.txt"])
        self.assertIsNone(windows.service_state("KV500Service"))
        self.assertEqual(self.links(), [])
        self.assertNotIn("KV500", self.registered())

        # Reinstalled, it uses the existing settings. Then it is removed without a trace.
        self.msi("/i", NEW, "INSTALLFOLDER=" + windows.path(service.folder))
        service.answers()
        self.assertEqual(service.settings(), SETTINGS)
        # A downgrade is refused with a message.
        self.assertRegex(self.msi("/i", OLD, code=FAILED), r"LaunchConditions\. Return value [03]")
        service.answers()
        self.assertEqual(service.version(), (1, 2))

        self.msi("/x", NEW, "PURGE=1")
        self.assertFalse(service.folder.exists())

    def test_what_was_stopped_stays_so(self):
        service = Installed(DEFAULT)
        self.msi("/i", OLD)
        service.stop()
        wait_until(service.is_gone, "end of the process")
        key = r"HKEY_LOCAL_MACHINE" + SERVICE_KEY[4:]
        windows.import_registry(f'[{key}]\n"Start"=dword:4\n')
        self.msi("/i", NEW)
        self.assertEqual(service.version(), (1, 2))
        self.assertEqual(windows.service_state("KV500Service"), "STOPPED")

    def test_another_folder(self):
        first, second = Installed(DEFAULT), Installed("Program Files/Other")
        self.msi("/i", OLD)
        first.configure()
        # A second installation of the same version does nothing.
        self.msi("/i", OLD, "INSTALLFOLDER=" + windows.path(second.folder))
        self.assertEqual(second.files(), [])
        second.port = first.port
        self.msi("/i", NEW, "INSTALLFOLDER=" + windows.path(second.folder))
        second.answers()
        self.assertEqual(second.settings(), SETTINGS)
        self.assertEqual(first.files(), ["log.txt"])
        self.assertIn(r"\Other\KV500Service.exe", windows.do("reg", "query", SERVICE_KEY))
        self.msi("/x", NEW)
        self.assertEqual(second.files(), ["config.txt", "log.txt"])
        self.assertIsNone(windows.service_state("KV500Service"))

        # Elsewhere only a folder of its own, whose rights the package sets; settings may be in it.
        third = Installed("KV")
        third.configure()
        for folder in ["C:\\", r"C:\windows"]:
            self.assertIn("holds other files", self.msi("/i", NEW, "INSTALLFOLDER=" + folder, code=FAILED))
        self.msi("/i", NEW, "INSTALLFOLDER=" + windows.path(third.folder))
        third.answers()

    def test_takes_over_the_service_of_the_earlier_setup_program(self):
        old, new = Service(windows, "Programs/KV500 Service"), Installed(DEFAULT)
        self.addCleanup(old.mark.release)
        old.create()
        (old.folder / "uninstall.exe").touch()
        (old.folder / "config.txt").write_bytes(SETTINGS)
        windows.do("reg", "add", PROGRAMS_KEY + r"\KV500Service", "/v", "DisplayName", "/d", "KV500")
        old.start()
        new.port = 23456
        self.msi("/i", OLD)
        new.answers()
        self.assertEqual(new.settings(), SETTINGS)
        self.assertEqual(sorted(path.name for path in old.folder.iterdir()), ["log.txt"])
        self.assertNotIn(r"Uninstall\KV500Service", self.registered())

    def test_rolled_back(self):
        """The installed service continues as before, with its program and its settings."""
        service = Installed(DEFAULT)
        self.msi("/i", OLD)
        before = service.program.read_bytes()
        with self.hold(service.program):
            self.assertIn("is in use by another program", self.msi("/i", NEW, code=FAILED))
        service.answers()
        self.assertEqual(service.program.read_bytes(), before)
        self.msi("/x", OLD, "PURGE=1")

        # A service that is deleted as soon as it stops.
        self.msi("/i", OLD)
        windows.do("sc", "delete", "KV500Service")
        self.assertIn("was deleted, but a program still uses it", self.msi("/i", NEW, code=FAILED))
        service.answers()
        self.msi("/x", OLD, "PURGE=1")

        # A service that ends at once.
        service.configure()
        with socket.socket() as other:
            other.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
            other.bind(("127.0.0.1", service.port))
            other.listen()
            self.assertIn("The service ended as soon as it was started",
                          self.msi("/i", NEW, code=FAILED))
        self.assertEqual(service.settings(), SETTINGS)
        self.assertNotIn("KV500", self.registered())

    @contextlib.contextmanager
    def hold(self, program):
        """Keeps a file open for reading, as a virus scanner does."""
        script = windows.drive / "hold.bat"
        script.write_text(f'ping -n 300 127.0.0.1 < "{windows.path(program)}"\r\n')
        holder = subprocess.Popen([*WINE, "cmd", "/c", r"C:\hold.bat"], env=windows.environment,
                                  stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        wait_until(lambda: windows.processes("ping"), "holder")
        try:
            yield
        finally:
            for process in windows.processes("ping"):
                os.kill(process, signal.SIGKILL)
            holder.wait()

    def test_signed(self):
        folder = windows.folder / "signed"
        folder.mkdir()
        key, certificate = folder / "key.pem", folder / "certificate.pem"
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=Test",
                        "-addext", "extendedKeyUsage=codeSigning", "-keyout", key, "-out", certificate],
                       check=True, capture_output=True)
        sign = folder / "sign"
        # The names of key and certificate are relative to the caller's folder.
        sign.write_text(f'#!/bin/sh\nset -e\nosslsigncode sign -certs {certificate.name} -key {key.name} -in "$1" '
                        '-out "$1.signed" >/dev/null\nmv "$1.signed" "$1"\n')
        sign.chmod(0o755)
        package = folder / "package.msi"
        environment = {**os.environ, "SOURCE_DATE_EPOCH": "1700000000", "KV500_SIGN": str(sign)}
        command = [ROOT / "packaging/windows/make-msi.sh", "1.1.0", windows.folder / "1.1.0", package]
        subprocess.run(command, check=True, env=environment, cwd=folder)
        subprocess.run(["msiextract", "-C", folder, package], check=True, capture_output=True)
        program = next(folder.rglob("KV500Service.exe"))
        for file in [package, program]:
            subprocess.run(["osslsigncode", "verify", "-CAfile", certificate, file], check=True,
                           capture_output=True)
        sign.write_text("#!/bin/sh\nexit 1\n")
        self.assertNotEqual(subprocess.run(command, capture_output=True, env=environment, cwd=folder).returncode, 0)

    def test_packed_twice_the_packages_are_the_same(self):
        before = OLD.read_bytes()
        OLD.unlink()
        self.assertEqual(make_package("1.1.0").read_bytes(), before)

    def test_programs_are_protected(self):
        """Random addresses, no code in data, linked libraries from Windows' own folder alone."""
        for name in ["KV500Service.exe", "kv500-check.exe", "packaging/windows/actions.dll"]:
            program = BUILD / name
            headers = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", program], check=True,
                                     capture_output=True, text=True).stdout
            for word in ["HIGH_ENTROPY_VA", "DYNAMIC_BASE", "NX_COMPAT"]:
                self.assertIn(word, headers, name)
            place = int(re.search("ImageBase\\s+(\\w+)", headers)[1], 16) + int(
                re.search("Entry a (\\w+) 00000070 Load Config", headers)[1], 16)
            dump = subprocess.run(
                ["x86_64-w64-mingw32-objdump", "-s", f"--start-address={place + 0x4E:#x}",
                 f"--stop-address={place + 0x50:#x}", program], check=True, capture_output=True, text=True)
            self.assertRegex(dump.stdout, r"\n [0-9a-f]+ 0008 ", name)

    def test_tables(self):
        """What Wine ignores."""
        self.assertEqual(table("File")["KV500Service.exe"][3], "1.1.0.0")
        self.assertEqual(table("Property")["REBOOT"], ["ReallySuppress"])
        self.assertIn("A newer version", table("LaunchCondition")["NOT WIX_DOWNGRADE_DETECTED"][0])
        self.assertEqual(table("CustomAction")["StartAgain"][0], "3329")  # Rollback, with all rights.
        lock = table("MsiLockPermissionsEx")["Folder"]
        self.assertEqual(lock[:2], ["INSTALLFOLDER", "CreateFolder"])
        self.assertRegex(lock[2], r"^O:BAG:BAD:PAI\(A;OICI;FA;;;SY\)\(A;OICI;FA;;;BA\)\(A;OICI;0x1200a9;;;BU\)$")
        order = {name: int(row[1]) for name, row in table("InstallExecuteSequence").items()}
        self.assertLess(order["CreateFolders"], order["InstallFiles"])
        self.assertLess(order["StartServices"], order["RemoveExistingProducts"])


if __name__ == "__main__":
    unittest.main()
