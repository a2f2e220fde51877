"""The browser and the message box in a session of logind's."""
import json
import os
import pathlib
import re
import signal
import socket
import time
import unittest

from isolation import EXTRA_GROUP_ID, GROUP_ID, USER, USER_ID, run_isolated
from machine import ABSENCE, Machine, wait_until

# Stands for any program of the session: writes down how it was started, then waits to be answered.
STAND_IN = """#!/usr/bin/python3
import json, os, time
facts = dict(arguments=open("/proc/self/cmdline").read().split("\\0")[2:-1], user=os.getresuid(),
             group=os.getresgid(), groups=os.getgroups(), environment=dict(os.environ),
             folder=os.getcwd(), descriptors=[os.readlink(f"/proc/self/fd/{{fd}}") for fd in
             range(64) if os.path.exists(f"/proc/self/fd/{{fd}}")], pid=os.getpid(),
             status=open("/proc/self/status").read())
with open("{file}.new", "w") as file:
    json.dump(facts, file)
os.rename("{file}.new", "{file}")
while {waits} and not os.path.exists("{file}.answer"):
    time.sleep(0.02)
"""


class SessionTest(unittest.TestCase):
    def setUp(self):
        self.machine = Machine()
        self.addCleanup(self.machine.close)
        self.out = self.machine.folder / "out"
        self.out.mkdir()
        os.chown(self.out, USER_ID, GROUP_ID)

    def stand_in(self, name, waits=False):
        file = self.out / name
        self.machine.script(self.machine.bin / name, STAND_IN.format(file=file, waits=waits))
        return self.machine.bin / name

    def started(self, name, seconds=4):
        """How a stand-in was started, or None."""
        file = self.out / name
        return json.loads(file.read_text()) if wait_until(file.exists, seconds) else None

    def start(self, **settings):
        self.machine.add_reader()
        self.machine.start_daemon()
        self.machine.configure(CallBrowser="yes", AppendCardId="yes",
                               BrowserCommand=self.stand_in("browser"),
                               URL="http://localhost/?a=$HOME&b=%h&id=", **settings)
        self.machine.start_service()
        self.assertTrue(self.machine.reaches("reader", 4))

    def insured_id(self):
        answer = self.machine.ask("read").decode("iso-8859-15")
        return re.search('"Versicherten_ID" *: *"([^"]*)"', answer).group(1)

    def zombies(self):
        children = pathlib.Path(f"/proc/{self.machine.service.pid}/task").glob("*/children")
        return [pid for task in children for pid in task.read_text().split()]

    def test_the_browser_is_the_users(self):
        self.machine.log_in()
        self.machine.start_desktop(LANG="de_DE.UTF-8")
        self.start()
        self.machine.insert("mustermann")
        browser = self.started("browser")
        insured = self.insured_id()
        self.assertRegex(insured, "^[A-Z][0-9]{9}$")
        self.assertEqual(browser["arguments"], [f"http://localhost/?a=$HOME&b=%h&id={insured}"])
        self.assertEqual((browser["user"], browser["group"]), (3 * [USER_ID], 3 * [GROUP_ID]))
        self.assertEqual(sorted(browser["groups"]), [GROUP_ID, EXTRA_GROUP_ID])
        self.assertEqual(browser["descriptors"], 3 * ["/dev/null"])
        self.assertEqual(browser["folder"], "/srv/home")
        for line in ["SigBlk:\t0000000000000000", "CapEff:\t0000000000000000"]:
            self.assertIn(line, browser["status"])
        # What a program of the session has, and beneath it what every session has.
        expected = {"DISPLAY": ":99", "LANG": "de_DE.UTF-8", "XDG_SESSION_ID": "1", "USER": USER,
                    "LOGNAME": USER, "HOME": "/srv/home", "SHELL": "/bin/sh",
                    "XDG_RUNTIME_DIR": f"/run/user/{USER_ID}",
                    "PATH": f"{self.machine.bin}:/usr/bin:/bin"}
        found = {name: value for name, value in browser["environment"].items()
                 if name not in ["LC_CTYPE", "PWD", "SHLVL", "_"]}
        self.assertEqual(found, expected)
        self.assertTrue(wait_until(lambda: not self.zombies(), 2))

    def test_without_a_program_of_the_session(self):
        self.machine.log_in(DISPLAY=":3")
        self.machine.start_desktop(XDG_SESSION_ID="8")  # Of another session of the same user.
        with socket.socket(socket.AF_UNIX) as bus:
            bus.bind(f"/run/user/{USER_ID}/bus")
            self.addCleanup(os.unlink, f"/run/user/{USER_ID}/bus")
            self.start()
            self.machine.insert("bankkarte")
            browser = self.started("browser")
        self.assertEqual(browser["environment"]["DISPLAY"], ":3")
        self.assertEqual(browser["environment"]["DBUS_SESSION_BUS_ADDRESS"],
                         f"unix:path=/run/user/{USER_ID}/bus")
        # No health card: the address without an id.
        self.assertEqual(browser["arguments"], ["http://localhost/?a=$HOME&b=%h&id="])

    def test_whose_session_it_is(self):
        self.start()
        cases = {
            "none": [], "remote": [dict(REMOTE=1)], "greeter": [dict(CLASS="greeter")],
            "not in front": [dict(STATE="online")], "nobody's": [dict(user=77777)],
            "second of two": [dict(session="1", STATE="online"), dict(session="c2")],
        }
        for name, sessions in cases.items():
            with self.subTest(name):
                for session in sessions:
                    self.machine.log_in(**session)
                self.machine.insert("mustermann")
                self.assertTrue(self.machine.reaches("card"))
                browser = self.started("browser", 4 if name == "second of two" else 0.6)
                self.assertEqual(browser is not None, name == "second of two")
                self.machine.remove()
                self.assertTrue(self.machine.reaches("reader"))
                self.machine.log_out()
                time.sleep(ABSENCE)
        self.assertEqual(self.machine.log(), ["### Service started! ###"])

    def test_the_users_own_service_manager_starts_it(self):
        # It takes the mark of a variable doubled; there is no other way to give it one.
        self.machine.log_in()
        self.machine.start_desktop()
        self.stand_in("systemd-run")
        sockets = [f"/run/user/{USER_ID}/{name}" for name in ["bus", "systemd/private"]]
        os.mkdir(f"/run/user/{USER_ID}/systemd")
        self.addCleanup(os.rmdir, f"/run/user/{USER_ID}/systemd")
        for path in sockets:
            with socket.socket(socket.AF_UNIX) as end:
                end.bind(path)
            self.addCleanup(os.unlink, path)
        self.start()
        self.machine.insert("mustermann")
        request = self.started("systemd-run")
        arguments = request["arguments"]
        # The description is what the journal gets, instead of the address with the id.
        self.assertEqual(arguments[:7],
                         ["--user", "--quiet", "--collect", "--no-block",
                          "--description=Started by the KV500 card reader service",
                          "--property=StandardOutput=null", "--property=StandardError=null"])
        # By name: arguments can be read by everybody, values are nobody else's business.
        self.assertIn("--setenv=DISPLAY", arguments)
        self.assertEqual([a for a in arguments if a.startswith("--setenv=") and a.count("=") > 1],
                         [])
        self.assertEqual(arguments[arguments.index("--") + 1:],
                         [str(self.machine.bin / "browser"),
                          f"http://localhost/?a=$$HOME&b=%h&id={self.insured_id()}"])
        self.assertEqual(request["user"], 3 * [USER_ID])

    def test_an_ordinary_user_has_his_own_session(self):
        os.chown(self.machine.program, USER_ID, GROUP_ID)
        os.chmod(self.machine.folder / "notify", 0o777)
        self.machine.log_in(session="1", user=0)
        self.machine.log_in(session="2")
        self.machine.configure(Port="x")
        self.machine.start_desktop(XDG_SESSION_ID="2")
        self.stand_in("zenity", waits=True)
        self.machine.start_service(ready=False, user=USER_ID, group=GROUP_ID, extra_groups=[])
        self.assertEqual(self.started("zenity")["user"], 3 * [USER_ID])

    def test_a_box_stands_until_it_is_answered(self):
        self.machine.log_in()
        self.machine.start_desktop()
        self.machine.configure(Port="12")
        self.stand_in("zenity", waits=True)
        self.machine.start_service(ready=False)
        self.assertEqual(self.started("zenity")["arguments"],
                         ["--error", "--no-markup", "--title=KALVERO  -  KV500",
                          "--text=Invalid value for 'Port' in config.txt!"])
        self.assertEqual(self.machine.try_ask("status"), b"")
        (self.out / "zenity.answer").touch()
        self.assertTrue(wait_until(lambda: self.machine.try_ask("status"), 2))
        self.assertEqual(self.machine.log()[1:], ["Invalid value for 'Port' in config.txt!"])

    def test_the_text_of_a_box(self):
        self.machine.log_in()
        self.machine.start_desktop()
        (self.machine.program / "config.txt").write_bytes("a\\nb ü\t".encode() + b"\xfc\n")
        # No zenity here, and a kdialog that can't show anything.
        self.machine.script(self.machine.bin / "kdialog", "#!/bin/sh\nexit 1\n")
        self.stand_in("xmessage")
        self.machine.start_service(ready=False)
        self.assertEqual(self.started("xmessage")["arguments"][-1],
                         "Error reading config file:\n'=' missing in line 1:\n"
                         "1: a\\nb ü\ufffd\ufffd")

    def test_a_session_that_ends_while_its_box_is_open(self):
        self.machine.log_in()
        self.machine.start_desktop()
        self.machine.configure(Port="12")
        self.stand_in("zenity", waits=True)
        self.machine.start_service(ready=False)
        pid = self.started("zenity")["pid"]
        self.machine.log_out()
        self.assertTrue(wait_until(lambda: self.machine.try_ask("status"), 2))
        self.assertFalse(pathlib.Path(f"/proc/{pid}").exists())

    def test_nothing_that_could_show_a_box(self):
        self.machine.log_in()
        self.machine.start_desktop(PATH=str(self.machine.bin))
        self.machine.configure(Port="12")
        self.machine.start_service()
        self.assertEqual(self.machine.log()[1:], ["Invalid value for 'Port' in config.txt!"])
        # The stop still works, with no signal left blocked or lost by what was tried.
        self.assertEqual(self.machine.stop_service(signal.SIGTERM)[0], 0)


if __name__ == "__main__":
    run_isolated()
