"""Readers and cards: WinSCard, SetupAPI and the smart-card service as the real program calls them."""
import shutil
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
        for card in ("mustermann", "sonderzeichen", "bankkarte"):
            with self.subTest(card):
                self.insert(card)
                self.assertEqual(self.service.ask("read"), read_answer(card))
                windows.world("remove")
                self.service.wait_for(NO_CARD)

    def test_usb_devices(self):
        self.assertIn(NO_READER, self.service.ask("status"))
        windows.plug_usb("5004", "SIM0002")
        self.service.wait_for(b'"SIM0002"')


if __name__ == "__main__":
    unittest.main()
