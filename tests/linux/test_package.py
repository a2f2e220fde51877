"""The Debian packages: installed, run, upgraded and removed in a separate root. The root is this
machine's; all changes to it are kept in memory."""
import os
import pathlib
import re
import shutil
import socket
import subprocess
import time
import unittest

from isolation import mount, run_isolated
from machine import BUILD, LIMITED, Machine
from common import CARD, wait_until

PACKAGES = pathlib.Path("/srv/packages")
ROOT = pathlib.Path("/srv/root")
SOURCE = pathlib.Path(__file__).parents[2]
SERVICE = ROOT / "opt/kv500service"
UNIT = "lib/systemd/system/kv500service.service"
ENABLED = ROOT / "etc/systemd/system/multi-user.target.wants/kv500service.service"


def run(*command):
    result = subprocess.run([str(part) for part in command], capture_output=True, text=True)
    assert result.returncode == 0, f"{command}: {result.stdout}{result.stderr}"
    return result.stdout


def in_root(*command):
    return run("chroot", ROOT, *command)


def make_root():
    mount("--make-rprivate", "/")
    for folder in ["changes", "work", "root"]:
        pathlib.Path("/srv", folder).mkdir()
    mount("-t", "overlay", "overlay", "-o",
          "lowerdir=/,upperdir=/srv/changes,workdir=/srv/work", str(ROOT))
    for folder in ["proc", "sys", "dev", "run", "tmp"]:
        mount("--bind", f"/{folder}", str(ROOT / folder))
    # Another package may have left these on the development machine.
    for path in (ROOT / "etc/reader.conf.d").iterdir():
        path.unlink()


class PackageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        os.umask(0o022)
        for folder in [PACKAGES, PACKAGES / "again"]:
            folder.mkdir()
            run("env", "SOURCE_DATE_EPOCH=1700000000", SOURCE / "packaging/linux/make-debs.sh", "1.0.0",
                BUILD, folder)
        make_root()

    def package(self, name):
        found = list(PACKAGES.glob(f"{name}_*.deb"))
        self.assertEqual([re.fullmatch(rf"{name}_[0-9.]+_[a-z0-9]+\.deb", path.name) is not None
                          for path in found], [True])
        return found[0]

    def newer(self, package):
        """The same package with a higher version and a settings file with one more line."""
        tree = PACKAGES / "newer"
        run("dpkg-deb", "-R", package, tree)
        control = tree / "DEBIAN/control"
        control.write_text(re.sub("(?m)^Version: .*", "Version: 9.0", control.read_text()))
        with open(tree / "usr/share/kv500service/config.txt", "a") as settings:
            settings.write("# New.\n")
        run("dpkg-deb", "-b", tree, PACKAGES / "newer.deb")
        return PACKAGES / "newer.deb"

    def install(self, *packages):
        for package in packages:
            shutil.copy(package, ROOT / "tmp")
        names = [f"/tmp/{package.name}" for package in packages]
        in_root("env", "DEBIAN_FRONTEND=noninteractive", "dpkg", "-i", *names)

    def test_lintian_finds_no_errors(self):
        for name in ["kv500service", "kv500-simulator"]:
            found = subprocess.run(["lintian", "--allow-root", self.package(name)],
                                   capture_output=True, text=True).stdout
            self.assertNotRegex(found, "(?m)^E:")

    def test_packed_twice_the_packages_are_the_same(self):
        for path in (PACKAGES / "again").iterdir():
            self.assertEqual(path.read_bytes(), (PACKAGES / path.name).read_bytes(), path.name)

    def test_the_installed_settings_name_every_setting(self):
        header = (SOURCE / "device/settings.h").read_text()
        names = re.findall('"(.*?)"', re.search("settingNames = {(.*?)}", header, re.S).group(1))
        for system in ["linux/service", "windows"]:
            text = (SOURCE / "packaging" / system / "config.txt").read_text()
            self.assertEqual(re.findall("(?m)^#?([A-Za-z]+)=", text), names, system)

    def test_a_restart_for_the_same_reason_waits(self):
        folder = PACKAGES / "restart"
        folder.mkdir()
        Machine.script(folder / "systemctl", "#!/bin/sh\necho $RESTARTS\n")
        port, other = "Could not open port", "Smartcard service not running!"
        mine, bad, twice = "Port=05725\r\n", "Port=99999\n", "Port=5726\nPort=5726\n"
        for restarts, reason, age, config, taken, waits in [
                (0, port, 1, mine, 5725, False), (1, port, 1, mine, 5725, True),
                (1, port, 61, mine, 5725, False), (1, port, 1, mine, 5726, False),
                (1, port, 1, bad, 5724, True), (1, port, 1, twice, 5724, True),
                (1, other, 1, mine, 5726, True), (1, other, 61, mine, 5726, False)]:
            with self.subTest(restarts=restarts, reason=reason, age=age, config=config, taken=taken):
                (folder / "config.txt").write_text(config)
                listener = socket.create_server(("127.0.0.1", taken))
                log = folder / "log.txt"
                log.write_text(f"[01-01-2026 00:00:00] {reason}\r\n")
                os.utime(log, 2 * (time.time() - age,))
                start = subprocess.Popen(
                    [SOURCE / "packaging/linux/service/wait-before-restart", folder],
                    env={"PATH": f"{folder}:/usr/bin:/bin", "RESTARTS": str(restarts)})
                try:
                    self.assertEqual((start.wait(1), waits), (0, False))
                except subprocess.TimeoutExpired:
                    self.assertTrue(waits)
                listener.close()
                if waits and reason == port:
                    self.assertEqual(start.wait(4), 0)
                start.kill()
                start.wait()

    def test_the_unit_leaves_the_rights_that_the_tests_leave(self):
        unit = SOURCE / "packaging/linux/service/kv500service.service"
        rights = re.search("(?m)^CapabilityBoundingSet=(.*)$", unit.read_text()).group(1)
        named = ",".join("+" + right[4:].lower() for right in rights.split())
        self.assertIn(f"--bounding-set=-all,{named}", LIMITED)
        # Fails if the unit is rated 4.0 or worse.
        run("systemd-analyze", "security", "--offline=true", "--threshold=39", unit)

    def test_life(self):
        # A folder in which others could replace the program is refused before anything is unpacked.
        SERVICE.mkdir(parents=True)
        for rights in [0o757, 0o775]:
            os.chown(SERVICE, 0, 1)
            SERVICE.chmod(rights)
            with self.assertRaisesRegex(AssertionError, "Others than root can write"):
                self.install(self.package("kv500service"))
            self.assertEqual(list(SERVICE.iterdir()), [])
        SERVICE.rmdir()
        self.install(self.package("kv500service"), self.package("kv500-simulator"))
        self.assertTrue(ENABLED.is_symlink())
        in_root("man", "-w", "kv500service", "kv500-check", "kv500-simulator")
        self.assertEqual(in_root("kv500-check", "--version"),
                         in_root("/opt/kv500service/kv500-check", "--version"))

        # The driver is off until it is enabled as its manual page tells.
        self.assertEqual(list((ROOT / "etc/reader.conf.d").iterdir()), [])
        in_root("cp", "/usr/share/kv500-simulator/kv500-simulator.conf",
                "/etc/reader.conf.d/kv500-simulator")
        in_root("ln", "-s", "/usr/share/kv500-simulator/cards/mustermann",
                "/var/lib/kv500-simulator/reader/card")
        (SERVICE / "config.txt").write_text("Port=5724\nAllowOrigin=http://mine\n")
        self.runs()

        self.install(self.newer(self.package("kv500service")))
        self.assertIn("http://mine", (SERVICE / "config.txt").read_text())
        self.runs()

        # The driver's entry is removed before the daemon would miss the driver; other entries stay.
        entries = ROOT / "etc/reader.conf.d"
        (entries / "other").write_text("LIBPATH /usr/lib/other.so\n")
        in_root("dpkg", "--unpack", "/tmp/" + self.package("kv500-simulator").name)  # Not configured.
        in_root("dpkg", "-r", "kv500service", "kv500-simulator")
        self.assertEqual([path.name for path in entries.iterdir()], ["other"])
        self.assertEqual(sorted(path.name for path in SERVICE.glob("[!l]*")), ["config.txt"])
        self.assertFalse((ROOT / UNIT).exists())
        (SERVICE / "log.txt-20260101.gz").mkdir()  # logrotate's name with "dateext", and not a file.
        in_root("dpkg", "-P", "kv500service", "kv500-simulator")
        left = [path for place in ["opt", "etc", "usr", "var/lib", "lib/systemd"]
                for path in (ROOT / place).glob("**/*kv500*") if "/var/lib/dpkg/" not in str(path)
                and SOURCE not in [ROOT / str(path).lstrip("/"), *path.parents]]
        self.assertEqual(left, [])

    def test_programs_cannot_be_redirected(self):
        """Full RELRO, also for the driver: a program that runs as root loads it."""
        tree = PACKAGES / "hard"
        for name in ["kv500service", "kv500-simulator"]:
            run("dpkg-deb", "-x", self.package(name), tree)
        programs = [path for path in tree.rglob("*") if path.is_file()
                    and path.read_bytes()[:4] == b"\x7fELF"]
        self.assertGreaterEqual(len(programs), 3)
        for program in programs:
            headers = run("readelf", "--program-headers", "--dynamic", "--wide", program)
            self.assertIn("GNU_RELRO", headers, program)
            self.assertIn("BIND_NOW", headers, program)

    def runs(self):
        """Starts what the unit starts, with the daemon of that root. Meanwhile reads the card and
        rotates the log."""
        program = re.search("(?m)^ExecStart=(.*)$", (ROOT / UNIT).read_text()).group(1)
        machine = Machine()
        machine.show_usb_device()
        self.addCleanup(machine.close)
        daemon = subprocess.Popen(["chroot", ROOT, "pcscd", "--foreground"],
                                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_until(pathlib.Path("/run/pcscd/pcscd.comm").exists, "pcscd")
        # The notify socket is in a folder that the other root does not have.
        machine.notify.close()
        shutil.rmtree("/tmp/notify", ignore_errors=True)
        pathlib.Path("/tmp/notify").mkdir()
        machine.listen_at("/tmp/notify/socket")
        machine.service = subprocess.Popen(
            ["chroot", ROOT, *LIMITED, program],
            env={"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "NOTIFY_SOCKET": "/tmp/notify/socket",
                 "UMOCKDEV_DIR": machine.usb.get_root_dir(),
                 "LD_PRELOAD": "libumockdev-preload.so.0"})
        self.assertEqual(machine.notify.recv(100), b"READY=1")
        machine.wait_for_status(CARD, 5)
        answer = machine.request("/?action=read")
        self.assertIn(b"Mustermann", answer)
        self.assertIn(b"Access-Control-Allow-Origin: http://mine\r\n", answer)

        in_root("logrotate", "--force", "--state", "/tmp/logrotate.state",
                "/etc/logrotate.d/kv500service")
        self.assertEqual((SERVICE / "log.txt").read_bytes(), b"")
        self.assertIn(b"Service started", (SERVICE / "log.txt.1").read_bytes())
        machine.try_ask("x\r\nbad line")
        wait_until(lambda: (SERVICE / "log.txt").stat().st_size > 0, "a line in the log", 2)
        self.assertEqual((SERVICE / "log.txt").read_bytes()[:1], b"[")
        self.assertEqual(machine.stop_service()[0], 0)
        daemon.terminate()
        daemon.wait()
        time.sleep(0.1)


if __name__ == "__main__":
    run_isolated()
