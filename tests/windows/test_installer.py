"""The installer: silent installation, update, removal, and what it refuses."""
import shutil
import subprocess
import unittest

from wine import BUILD, ROOT, WINE, Service, Windows, wait_until

windows = Windows()
SETUP = BUILD / "setup.exe"


class Installed(Service):
    """The service where the installer puts it."""

    def __init__(self, windows, folder):
        self.windows = windows
        self.folder = windows.drive / folder
        self.program = self.folder / "KV500Service.exe"
        self.port = 5724


def files(folder):
    return sorted(path.name for path in folder.iterdir()) if folder.exists() else []


class Installer(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        subprocess.run(["makensis", "-V1", "-DVERSION=9.8.7", f"-DPROGRAM={BUILD}/KV500Service.exe",
                        f"-DOUTPUT={SETUP}", ROOT / "packaging/windows/setup.nsi"], check=True)

    def install(self, service):
        # The last option reaches to the end of the line: blanks and all, no quotation marks.
        folder = windows.path(service.folder)
        code, output = windows.run(SETUP, "/S", *f"/D={folder}".split(" "), limit=100)
        return code, output

    def uninstall(self, service, *options):
        code, output = windows.run(service.folder / "uninstall.exe", "/S", *options, limit=60)
        self.assertEqual(code, 0, output)
        # It goes on in a copy of itself, as a program can't remove its own file.
        wait_until(lambda: not (service.folder / "uninstall.exe").exists(), "removal")

    def test_install_update_uninstall(self):
        service = Installed(windows, "Program Files/Praxis Süd")
        code, output = self.install(service)
        self.assertEqual(code, 0, output)
        self.assertEqual(files(service.folder),
                         ["KV500Service.exe", "config.txt", "log.txt", "uninstall.exe"])
        self.assertEqual(windows.service_state("KV500Service"), "RUNNING")
        keys = [line.split("=")[0] for line in (service.folder / "config.txt").read_text().splitlines()
                if line and not line.startswith("#")]
        self.assertEqual(keys, ["Port", "AllowOrigin", "CallBrowser", "BrowserCommand", "URL",
                                "AppendCardId"])
        registered = windows.do("reg", "query", r"HKLM\System\CurrentControlSet\Services\KV500Service")
        self.assertRegex(registered, r'ImagePath\s+REG_(EXPAND_)?SZ\s+"C:\\Program Files\\Praxis S.d\\KV500Service.exe"')
        self.assertRegex(registered, r"Start\s+REG_DWORD\s+0x2\b")
        self.assertNotIn("DependOnService", registered)
        programs = windows.do("reg", "query", r"HKLM\Software\Microsoft\Windows\CurrentVersion"
                              r"\Uninstall\KV500Service")
        self.assertRegex(programs, r"DisplayVersion\s+REG_SZ\s+9\.8\.7")

        # An update keeps the settings and the log, and finds the folder by itself.
        service.port = 23456
        service.configure()
        log = service.log()
        code, output = windows.run(SETUP, "/S", limit=100)
        self.assertEqual(code, 0, output)
        service.wait_for(b'"status": "RUNNING"')
        self.assertEqual(service.log(), log * 2)
        link = next(windows.drive.glob("ProgramData/**/KV500 Service Status.url"))
        self.assertIn("URL=http://127.0.0.1:23456/?action=status", link.read_text())

        self.uninstall(service)
        wait_until(service.is_gone, "end of the process")
        self.assertEqual(files(service.folder), ["config.txt", "log.txt"])
        self.assertFalse(link.exists())
        self.assertNotEqual(windows.run("reg", "query", r"HKLM\Software\Microsoft\Windows"
                                        r"\CurrentVersion\Uninstall\KV500Service")[0], 0)
        wait_until(lambda: windows.service_state("KV500Service") is None, "service is deleted")

        # With its settings, and then without a trace.
        code, output = self.install(service)
        self.assertEqual(code, 0, output)
        service.wait_for(b'"status": "RUNNING"')
        self.uninstall(service, "/PURGE")
        wait_until(lambda: not service.folder.exists(), "folder is removed")

    def test_folder_that_cannot_be_written(self):
        service = Installed(windows, "taken")
        (service.folder / "KV500Service.exe.new").mkdir(parents=True)
        self.assertEqual(self.install(service)[0], 2)
        self.assertEqual(files(service.folder), ["KV500Service.exe.new"])
        self.assertIsNone(windows.service_state("KV500Service"))

    def test_program_that_is_held(self):
        """A program that can't be stopped is neither replaced nor registered."""
        service = Installed(windows, "held")
        service.folder.mkdir()
        # In use by somebody else than the service: here a program that waits for its input.
        shutil.copy2(windows.drive / "windows/system32/cmd.exe", service.program)
        before = service.program.read_bytes()
        holder = subprocess.Popen([WINE, service.program], env=windows.environment,
                                  stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        holder.stdout.read(1)
        try:
            self.assertEqual(self.install(service)[0], 2)
            self.assertEqual(files(service.folder), ["KV500Service.exe"])
            self.assertEqual(service.program.read_bytes(), before)
            self.assertIsNone(windows.service_state("KV500Service"))
        finally:
            holder.stdin.close()
            holder.stdout.close()
            holder.wait()


if __name__ == "__main__":
    unittest.main()
