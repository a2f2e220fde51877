"""The scenarios of all systems with the Windows service: WinSCard, SetupAPI, the service
manager."""
import time
import unittest
from concurrent.futures import ThreadPoolExecutor

from wine import Service, ServiceTest, Windows
from common import CARD, NO_CARD, NO_READER, read_answer
from scenarios import TWO_PASSES, Scenarios

windows = Windows()
windows.log_in("1 0")


class WindowsScenarios(Scenarios, ServiceTest):
    def workstation(self):
        service = Service(windows, f"Program Files/{self._testMethodName}")
        self.addCleanup(service.close)
        return service

    def test_two_devices_with_one_reader_are_none(self):
        service = self.switch_on(readers=0)
        windows.plug_usb()
        windows.plug_usb("5004", "SIM0002")
        self.addCleanup(windows.unplug_usb, "5004", "SIM0002")
        windows.world("plug")
        time.sleep(TWO_PASSES)
        self.assertEqual(service.ask("status"), NO_READER)
        windows.unplug_usb()
        service.wait_for_status(NO_CARD.replace(b"SIM0001", b"SIM0002"))

    def test_a_smartcard_service_that_runs_for_the_service_manager_is_waited_for(self):
        """"net start" fails; everything continues."""
        service = self.switch_on()
        service.wait_for_status(NO_CARD)
        windows.world("pcsc stop")
        service.wait_for_status(NO_READER)
        time.sleep(TWO_PASSES)
        windows.world("pcsc start")
        service.wait_for_status(NO_CARD)

    def test_another_program_resets_the_card_while_a_read_waits(self):
        service = self.switch_on(card="mustermann")
        service.wait_for_status(CARD)
        windows.world("other lock")
        with ThreadPoolExecutor() as pool:
            read = pool.submit(service.ask, "read")
            time.sleep(0.5)
            self.assertFalse(read.done())
            windows.world("other reset", "other unlock")
            self.assertEqual(read.result(), read_answer("mustermann"))


if __name__ == "__main__":
    unittest.main()
