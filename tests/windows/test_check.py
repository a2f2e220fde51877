"""kv500-check with the service, and with Wine's service manager, registry and ports."""
import json
import shutil
import socket
import unittest

from wine import BUILD, Service, ServiceTest, Windows, wait_until

windows = Windows()


class CheckTest(ServiceTest):
    def setUp(self):
        self.service = Service(windows, f"Prüfung 読/KV500 {self._testMethodName}")
        self.addCleanup(self.service.close)
        shutil.copy2(BUILD / "kv500-check.exe", self.service.folder)

    def expect(self, rows, *options):
        """Levels and texts by their ids. Gives the exit code."""
        code, output = windows.run(self.service.folder / "kv500-check.exe", "--json", "--language",
                                   "en", *options)
        found = {}
        for finding in json.loads(output):
            found.setdefault(finding["id"], "")
            found[finding["id"]] += f"{finding['level']} {finding['text']}\n"
        for name, text in rows.items():
            self.assertIn(text, found[name], output)
        return code

    def test_before_and_behind_the_start(self):
        self.assertLess((BUILD / "kv500-check.exe").stat().st_size, 1_500_000)
        self.assertEqual(self.expect({
            "service": "fail the service KV500Service is not installed", "port": "fail nobody listens",
            "answer": "fail no connection", "log": "warn no log.txt"}), 2)
        self.service.switch_on(card="mustermann", config="AllowOrigin=https://practice.example")
        self.service.wait_for(b'"OK_Card_Presence"')
        windows.log_in("1 0")
        self.expect({
            "service": "ok installed and running", "settings": f"ok config.txt is read: Port={self.service.port}",
            # Wine does not tell which program has a port.
            "access": "ok pages of https://practice.example", "port": "ok somebody listens",
            "answer": "a reader with a card", "log": "ok ", "smartcard-service": "ok runs",
            "readers": "ok brenvolt GmbH KV500 0", "usb": "ok one known device",
            "card": "ok a card is in, ATR 3B D0 96 FF", "browser-policy": "ok no policy",
            "session": "ok session 1 of ? is active"})  # Nor does it tell whose session it is.
        self.service.hide_usb()
        self.service.remove()
        self.expect({"readers": "no USB device of that kind", "usb": "fail no known", "card": "warn no card"})
        self.service.stop_smartcards()
        self.expect({"smartcard-service": "fail the smart-card service is stopped"})
        self.service.stop()
        wait_until(self.service.is_gone, "end of the process")
        self.expect({"service": "fail installed but stopped", "port": "fail nobody"})

    def test_port_settings_and_policies(self):
        self.service.configure("AllowOrgin=x", r"BrowserCommand=C:\no program.exe")
        windows.import_registry(
            "[HKEY_LOCAL_MACHINE\\Software\\Policies\\Microsoft\\Edge\\LoopbackNetworkBlockedForUrls]\n"
            '"1"="*"\n')
        with socket.create_server(("127.0.0.1", self.service.port)):
            report = windows.path(self.service.folder / "Bericht Ü.txt")
            self.assertEqual(self.expect({
                "settings": r'BrowserCommand: "C:\no program.exe" is no program',
                "answer": "fail connected, but no whole answer within 3 s",
                "browser-policy": "fail a policy forbids Edge"}, "--report", report), 2)
        self.assertIn("AllowOrgin=x", (self.service.folder / "Bericht Ü.txt").read_text("utf-8"))
        self.service.configure(r"BrowserCommand=C:\windows\notepad.exe")
        self.expect({"settings": "ok "})
        code, output = windows.run(self.service.folder / "kv500-check.exe", "--x")
        self.assertEqual((code, "--x" in output), (3, True), output)


if __name__ == "__main__":
    unittest.main()
