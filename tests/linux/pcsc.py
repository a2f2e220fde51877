"""A bare PC/SC program: calls libpcsclite directly, to do what other programs do to a card."""
import ctypes

library = ctypes.CDLL("libpcsclite.so.1")
SHARE_EXCLUSIVE, SHARE_SHARED = 1, 2
LEAVE_CARD, RESET_CARD = 0, 1


class Error(Exception):
    pass


class IoRequest(ctypes.Structure):
    _fields_ = [("protocol", ctypes.c_ulong), ("length", ctypes.c_ulong)]


T1 = IoRequest.in_dll(library, "g_rgSCardT1Pci")


def call(name, *arguments):
    function = getattr(library, name)
    function.restype = ctypes.c_long
    result = function(*arguments)
    if result:
        raise Error(f"{name}: 0x{result & 0xFFFFFFFF:08x}")


class Card:
    """A separate connection to the card in a reader."""

    def __init__(self, reader, share=SHARE_SHARED):
        self.context = ctypes.c_long()
        self.handle = ctypes.c_long()
        protocol = ctypes.c_ulong()
        call("SCardEstablishContext", ctypes.c_ulong(2), None, None, ctypes.byref(self.context))
        call("SCardConnect", self.context, reader.encode(), ctypes.c_ulong(share),
             ctypes.c_ulong(3), ctypes.byref(self.handle), ctypes.byref(protocol))

    def transmit(self, command):
        response = ctypes.create_string_buffer(66000)
        length = ctypes.c_ulong(len(response))
        call("SCardTransmit", self.handle, ctypes.byref(T1), command,
             ctypes.c_ulong(len(command)), None, response, ctypes.byref(length))
        return response.raw[:length.value]

    def begin(self):
        call("SCardBeginTransaction", self.handle)

    def end(self):
        call("SCardEndTransaction", self.handle, ctypes.c_ulong(LEAVE_CARD))

    def reset(self):
        call("SCardReconnect", self.handle, ctypes.c_ulong(SHARE_SHARED), ctypes.c_ulong(3),
             ctypes.c_ulong(RESET_CARD), ctypes.byref(ctypes.c_ulong()))

    def close(self, disposition=LEAVE_CARD):
        call("SCardDisconnect", self.handle, ctypes.c_ulong(disposition))
        call("SCardReleaseContext", self.context)
