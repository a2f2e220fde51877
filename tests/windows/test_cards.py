"""Readers and cards: WinSCard, SetupAPI and the smart-card service as the real program calls them."""
import shutil
import time
import unittest

from wine import BUILD, CARDS, Service, Windows, read_answer, wait_until

NO_READER = b'"USB_device_not_found"'
NO_CARD = b'"NO_Card_found"'
CARD = b'"OK_Card_Presence"'
windows = Windows()


class Cards(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        shutil.copy2(BUILD / "tests/windows/smartcard_service.exe", windows.drive)
        windows.do("sc", "create", "SCardSvr", "binPath=", r"C:\smartcard_service.exe",
                   "start=", "demand")
        cls.service = Service(windows)
        cls.service.create()
        cls.service.start()
        cls.service.wait_for(NO_READER)

    @classmethod
    def tearDownClass(cls):
        cls.service.stop()
        wait_until(cls.service.is_gone, "end of the process")

    def setUp(self):
        windows.world("plug")

    def tearDown(self):
        for serial in ("SIM0001", "SIM0002"):
            for product in ("5003", "5004"):
                windows.unplug_usb(product, serial)
        windows.world("unplug")
        self.service.wait_for(NO_READER)

    def insert(self, card):
        windows.world(f"insert Z:{CARDS / card}".replace("/", "\\"))
        self.service.wait_for(CARD)

    def test_reads_as_on_linux(self):
        windows.plug_usb()
        self.service.wait_for(NO_CARD)
        for card in ("mustermann", "sonderzeichen", "familienversichertes-kind"):
            with self.subTest(card):
                self.insert(card)
                self.assertEqual(self.service.ask("read"), read_answer(card))
                windows.world("remove")
                self.service.wait_for(NO_CARD)

    def test_usb_devices(self):
        # The name of a PC/SC reader alone is not enough, nor is a device that is not plugged in.
        windows.plug_usb(linked=0)
        time.sleep(2.5)
        self.assertIn(NO_READER, self.service.ask("status"))
        # While PC/SC has no reader: the moment with one device alone would make it usable.
        windows.world("unplug")
        windows.plug_usb()
        windows.plug_usb("5004", "SIM0002")
        windows.world("plug")
        time.sleep(2.5)
        self.assertIn(NO_READER, self.service.ask("status"), "two devices")
        windows.unplug_usb()
        self.service.wait_for(b'"sim0002"')

    def test_smartcard_service_comes_and_goes(self):
        windows.plug_usb()
        self.service.wait_for(NO_CARD)
        # Windows stops the service with the last reader; ours starts it again.
        windows.world("pcsc stop")
        wait_until(lambda: "Trying to start Smartcard service..." in self.service.log(), "attempt")
        self.service.wait_for(NO_CARD)
        self.assertEqual(windows.service_state("SCardSvr"), "RUNNING")
        # It runs already for the service manager: "net start" fails, and all goes on.
        windows.world("pcsc stop")
        self.service.wait_for(NO_READER)
        windows.world("pcsc start")
        self.service.wait_for(NO_CARD)


if __name__ == "__main__":
    unittest.main()
