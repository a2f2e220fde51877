"""What the service does on every system: one list, for the simulator, for Linux' smart-card daemon
and for Windows.

A class of tests puts `Scenarios` before ServiceTest and has an operation `workstation()`, which
gives a new Service that is not running yet and that besides has:

  switch_on(readers=1, card=None, config="", wait=True)
                      starts the service, with that many readers and a card in the first one; `wait`
                      is for the port
  plug(), unplug()    one more reader; the newest is taken away with its card
  insert(card), remove()
  reset_card()        another program resets the card
  hide_usb(), show_usb()
                      whether the USB bus shows the readers that PC/SC lists
  stop_smartcards(), break_smartcards()
                      the smart-card service stops, for good or until somebody starts it
  expect_end(status)  waits for the end that the service finds by itself
  recovery            the seconds from an event to the end of its effects
  boxes()             the texts of the message boxes so far, None where nobody is logged on
"""
import socket
import time

from common import (CARD, CLOSED, NO_CARD, NO_DATA, NO_READER, NOTHING_TO_CLOSE, NOTHING_TO_READ,
                    READ_FAILED, STARTED, STARTING, other_addresses, read_answer, wait_until)

TWO_PASSES = 2.3  # Seconds; the list of readers is read at least twice.
EXAMPLES = {"mustermann": read_answer("mustermann"), "sonderzeichen": read_answer("sonderzeichen"),
            "familienversichertes-kind": read_answer("familienversichertes-kind"),
            "ein-name": read_answer("ein-name"), "bankkarte": NO_DATA,
            "beschaedigt": READ_FAILED, "kurzer-rest": READ_FAILED}
BAD_BROWSER = "Invalid value for 'CallBrowser' in config.txt!"
BAD_ID = "Invalid value for 'AppendCardId' in config.txt!"
ONLY_ONE = "Only one KV500 can be connected!"
NO_SERVICE = ("The Smartcard service is not running and could not be started automatically!\n\n"
              "Please contact the support for further information and help.")


class Scenarios:
    def switch_on(self, **more):
        workstation = self.workstation()
        workstation.switch_on(**more)
        return workstation

    def sees(self, workstation, state):
        workstation.wait_for_status(state, workstation.recovery)

    def check_boxes(self, workstation, *texts):
        self.assertIn(workstation.boxes(), (list(texts), None))

    def test_example_cards(self):
        w = self.switch_on()
        w.wait_for_status(NO_CARD)
        # A failure does not affect the next card.
        for card, answer in [*EXAMPLES.items(), ("mustermann", EXAMPLES["mustermann"])]:
            with self.subTest(card):
                w.insert(card)
                self.sees(w, CARD)
                for action, expected in [("read", answer), ("close", CLOSED), ("close", CLOSED),
                                         ("status", CARD), ("read", answer)]:
                    self.assertEqual(w.ask(action), expected, action)
                w.remove()
                self.sees(w, NO_CARD)
                self.assertEqual(w.ask("close"), NOTHING_TO_CLOSE)
                self.assertEqual(w.ask("read"), NOTHING_TO_READ)
        self.assertEqual(w.log(), [STARTED])

    def test_readers_and_cards_come_and_go(self):
        w = self.switch_on(readers=0)
        self.assertEqual(w.ask("status"), NO_READER)
        for card in ("mustermann", "familienversichertes-kind"):
            w.plug()
            self.sees(w, NO_CARD)
            w.insert(card)
            self.sees(w, CARD)
            self.assertEqual(w.ask("read"), EXAMPLES[card])
            # Another card in its place is not taken for the earlier card.
            w.remove()
            w.insert("sonderzeichen")
            wait_until(lambda: w.ask("read") == EXAMPLES["sonderzeichen"], "the other card")
            w.unplug()
            self.sees(w, NO_READER)

    def test_another_program_resets_the_card(self):
        w = self.switch_on(card="mustermann")
        w.wait_for_status(CARD)
        for action, answer in [("read", EXAMPLES["mustermann"]), ("status", CARD), ("close", CLOSED)]:
            w.reset_card()
            self.assertEqual(w.ask(action), answer)
        self.assertEqual(w.log(), [STARTED])

    def test_two_readers_are_one_too_many(self):
        w = self.switch_on(card="mustermann")
        w.wait_for_status(CARD)
        for pause in (TWO_PASSES, 0):
            w.plug()
            self.sees(w, NO_READER)
            time.sleep(pause)
            self.assertEqual(w.ask("status"), NO_READER)
            w.unplug()
            self.sees(w, CARD)
        self.assertEqual(w.ask("read"), EXAMPLES["mustermann"])
        self.check_boxes(w, ONLY_ONE)  # Once, however often it happens.

    def test_usb_decides_whether_a_reader_is_usable(self):
        w = self.switch_on(readers=0)
        w.hide_usb()
        w.plug()
        time.sleep(TWO_PASSES)
        self.assertEqual(w.ask("status"), NO_READER)
        w.show_usb()
        self.sees(w, NO_CARD)
        w.hide_usb()  # It keeps the reader that it has.
        time.sleep(TWO_PASSES)
        self.assertEqual(w.ask("status"), NO_CARD)

    def test_a_smartcard_service_that_stops_is_started(self):
        w = self.switch_on(card="mustermann")
        w.wait_for_status(CARD)
        for _ in range(2):
            w.stop_smartcards()
            self.sees(w, NO_READER)
            w.wait_for_status(CARD)
        self.assertEqual(w.ask("read"), EXAMPLES["mustermann"])
        self.assertEqual(w.log(), [STARTED, STARTING], "once in 5 minutes")

    def test_a_smartcard_service_that_does_not_run_at_the_start_is_started(self):
        w = self.switch_on()
        w.stop_smartcards()  # Within the second before the service first asks it.
        w.wait_for_status(NO_CARD)
        self.assertEqual(w.log(), [STARTED, STARTING])

    def test_a_smartcard_service_that_breaks_is_the_end(self):
        w = self.switch_on()
        w.wait_for_status(NO_CARD)
        self.breaks(w)

    def test_a_smartcard_service_that_is_broken_at_the_start_is_the_end(self):
        self.breaks(self.switch_on())

    def breaks(self, w):
        w.break_smartcards()
        w.expect_end(0)
        # A request before that may have met the missing service and logged it.
        self.assertEqual(w.log()[-2:], [STARTING, "Smartcard service not running!"])
        self.check_boxes(w, NO_SERVICE)

    def test_a_port_that_is_taken_is_the_end(self):
        w = self.workstation()
        with socket.create_server(("127.0.0.1", w.port)):
            began = time.monotonic()
            w.switch_on(wait=False)
            w.expect_end(1)
        self.assertGreater(time.monotonic() - began, 0.9, "ten tries")
        self.assertEqual(w.log(), [STARTED, "Could not open port"])

    def test_bad_settings_are_told_and_the_others_hold(self):
        w = self.switch_on(readers=0, config="CallBrowser=ja\nAppendCardId=\nAllowOrigin=x\n")
        self.assertIn(b"\r\nAccess-Control-Allow-Origin: x\r\n", w.request("/?action=status"))
        self.assertEqual(w.log(), [STARTED, BAD_BROWSER, BAD_ID])
        self.check_boxes(w, BAD_BROWSER, BAD_ID)

    def test_only_this_machine_can_connect(self):
        w = self.switch_on(readers=0)
        for address in other_addresses():
            with self.subTest(address), self.assertRaises(ConnectionRefusedError):
                socket.create_connection((address, w.port), 5).close()
