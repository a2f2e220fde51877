"""A second program at the card, in a loop until it is told to end by SIGTERM.

Usage: other_program.py READER plain|reset|transaction

It selects files and reads; "reset" also resets the card each time, "transaction" keeps each round in
a transaction. Says when it has begun, and at the end how many rounds it did.
"""
import ctypes
import signal
import sys
import time

import pcsc

COMMANDS = [bytes.fromhex(text) for text in (
    "00A4000C022F02", "00B0000008", "00A4040C06D27600000102", "00B0820008", "00A4000C023F00")]
goes_on = True


def end(*_):
    global goes_on
    goes_on = False


signal.signal(signal.SIGTERM, end)
card, manner, rounds = pcsc.Card(sys.argv[1]), sys.argv[2], 0
while goes_on:
    if manner == "transaction":
        card.begin()
    for command in COMMANDS:
        card.transmit(command)
    if manner == "reset":
        card.reset()
    if manner == "transaction":
        card.end()
        time.sleep(0.01)  # Without a pause no other program would get a turn.
    rounds += 1
    if rounds == 1:
        print("at work", flush=True)
print(rounds)
