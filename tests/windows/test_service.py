"""The service with a service manager: start, answers, stop, and problems around it."""
import os
import unittest

from wine import Service, ServiceTest, Windows, wait_until
from common import STARTED

windows = Windows()


class InItsFolder(ServiceTest):
    def setUp(self):
        # A separate folder for each test: umlauts, a blank, and letters that no code page has
        # together.
        self.service = Service(windows, f"Prögramme Łódź 読/KV500 {self._testMethodName}")
        self.service.create()
        self.addCleanup(self.service.close)

    def start(self):
        self.service.start()
        self.service.wait_for(b'"status": "RUNNING"')

    def test_start_and_stop(self):
        self.service.configure("AllowOrigin=https://übung.example")
        self.assertEqual(windows.service_state("KV500Service"), "STOPPED")
        self.start()
        self.assertEqual(windows.service_state("KV500Service"), "RUNNING")
        self.assertEqual(self.service.ask("status"),
                         b'{\n"action": "status",\n"status": "RUNNING",\n'
                         b'"message": "USB_device_not_found",\n"serv_version": 97\n}\n')
        # Its exit code tells nothing: the process may have gone before Wine's "net" has its answer.
        self.service.stop()
        wait_until(self.service.is_gone, "end of the process")
        _, state = windows.run("sc", "query", "KV500Service")
        self.assertRegex(state, r"STATE\s*: 1  STOPPED\s+WIN32_EXIT_CODE\s*: 0 ")
        self.assertEqual(self.service.log(), [STARTED])
        # The port is free at once, and the log is continued.
        self.start()
        self.assertEqual(self.service.log(), [STARTED] * 2)

    def test_second_instance_and_start_by_hand(self):
        # Wine has no event log and prints what is written to it.
        self.addCleanup(windows.environment.update, WINEDEBUG=windows.environment["WINEDEBUG"])
        windows.environment["WINEDEBUG"] = "-all,err+eventlog"

        def run(reason):
            code, output = windows.run(self.service.program)
            self.assertEqual((code, reason in output), (1, True), output)

        for sessions, boxes in {("1 1",): 0, ("1 1", "2 0"): 1}.items():
            windows.log_in(*sessions)
            run("This program must be started as service")
            self.assertEqual(len(self.service.boxes()), boxes)
        self.assertRegex(windows.boxes()[0], r"^2 KALVERO  -  C:\\.+\.exe \| This programm must be")
        self.start()
        run("Service already running")
        self.assertEqual(self.service.log(), [STARTED] * 4)
        self.assertIn(b"RUNNING", self.service.ask("status"), "the first one lives on")

    def test_folder_that_cannot_be_written(self):
        # Like a read-only file system, also for root.
        log = self.service.folder / "log.txt"
        log.mkdir()
        self.start()
        self.assertEqual(os.listdir(log), [])
        self.assertIn(b"RUNNING", self.service.ask("status"))


if __name__ == "__main__":
    unittest.main()
