"""The browser and the message box in a session of logind."""
import json
import os
import pathlib
import re
import signal
import socket
import time

from isolation import EXTRA_GROUP_ID, GROUP_ID, USER, USER_ID, run_isolated
from machine import ABSENCE, MachineTest
from common import CARD, NO_CARD, STARTED, wait_until

# Stands in for any program of the session. It records how it was started, then waits for an answer
# or for the end of the test.
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
while {waits} and os.path.exists("{file}") and not os.path.exists("{file}.answer"):
    time.sleep(0.02)
"""


NOBODY = 65534
BAD_PORT = "Invalid value for 'Port' in config.txt!"


class SessionTest(MachineTest):
    def setUp(self):
        self.machine = self.workstation()
        self.out = self.machine.base / "out"
        self.out.mkdir()
        os.chown(self.out, USER_ID, GROUP_ID)

    def stand_in(self, name, waits=False):
        file = self.out / name
        self.machine.script(self.machine.bin / name, STAND_IN.format(file=file, waits=waits))
        return self.machine.bin / name

    def started(self, name):
        """How a stand-in was started; it must have been started by now or start soon."""
        file = self.out / name
        wait_until(file.exists, name, 4)
        return json.loads(file.read_text())

    def start(self, **options):
        self.machine.plug()
        self.machine.start_daemon()
        self.machine.configure(CallBrowser="yes", AppendCardId="yes",
                               BrowserCommand=self.stand_in("browser"),
                               URL="http://localhost/?a=$HOME&b=%h&id=")
        self.machine.start_service(**options)
        self.machine.wait_for_status(NO_CARD, 5)

    def show_box(self, **options):
        """Starts a service that must show a box, in a session with a desktop."""
        self.machine.log_in()
        self.machine.start_desktop()
        self.machine.configure(Port="12")
        self.machine.start_service(ready=False, **options)

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
        # The environment of a program of the session, completed by what every session has.
        expected = {"DISPLAY": ":99", "LANG": "de_DE.UTF-8", "XDG_SESSION_ID": "1", "USER": USER,
                    "LOGNAME": USER, "HOME": "/srv/home", "SHELL": "/bin/sh",
                    "XDG_RUNTIME_DIR": f"/run/user/{USER_ID}",
                    "PATH": f"{self.machine.bin}:/usr/bin:/bin"}
        found = {name: value for name, value in browser["environment"].items()
                 if name not in ["LC_CTYPE", "PWD", "SHLVL", "_"]}
        self.assertEqual(found, expected)
        wait_until(lambda: not self.zombies(), "end of the zombies", 2)

    def test_without_a_program_of_the_session(self):
        self.machine.log_in(DISPLAY=":3")
        self.machine.start_desktop(XDG_SESSION_ID="8")  # Of another session of the same user.
        self.machine.start_desktop(user=NOBODY)  # It claims this session, but as another user.
        with socket.socket(socket.AF_UNIX) as bus:
            bus.bind(f"/run/user/{USER_ID}/bus")
            self.addCleanup(os.unlink, f"/run/user/{USER_ID}/bus")
            self.start(rights=[])  # Even if it may not look at every process.
            self.machine.insert("bankkarte")
            browser = self.started("browser")
        self.assertEqual(browser["environment"]["DISPLAY"], ":3")
        self.assertEqual(browser["environment"]["DBUS_SESSION_BUS_ADDRESS"],
                         f"unix:path=/run/user/{USER_ID}/bus")
        # This is no health card, so the address has no id.
        self.assertEqual(browser["arguments"], ["http://localhost/?a=$HOME&b=%h&id="])

    def test_whose_session_it_is(self):
        self.start()
        rows = {  # The sessions, and the display of the one that gets the browser.
            "none": ([], None), "remote": ([dict(REMOTE=1)], None),
            "greeter": ([dict(CLASS="greeter")], None),
            "not in front": ([dict(STATE="online")], None),
            "nobody's": ([dict(user=77777)], None),
            "second of two": ([dict(STATE="online"), dict(session="c2", DISPLAY=":2")], ":2"),
            "pseudo terminal": ([dict(SEAT=None)], None),
            "this machine's screen": ([dict(SEAT="seat1"), dict(session="c2", DISPLAY=":2")], ":2"),
            # The one with the lowest number, whatever the order of the list.
            "first of four": ([dict(session=name, DISPLAY=f":{name}") for name in
                               ["c1", "9", "8", "10"]], ":8"),
        }
        for name, (sessions, display) in rows.items():
            with self.subTest(name):
                for session in sessions:
                    self.machine.log_in(**session)
                self.machine.insert("mustermann")
                self.machine.wait_for_status(CARD, 3)
                if display:
                    self.assertEqual(self.started("browser")["environment"]["DISPLAY"], display)
                    (self.out / "browser").unlink()
                else:
                    time.sleep(0.6)
                    self.assertFalse((self.out / "browser").exists())
                self.machine.remove()
                self.machine.wait_for_status(NO_CARD, 3)
                self.machine.log_out()
                time.sleep(ABSENCE)
        self.assertEqual(self.machine.log(), [STARTED])

    def test_the_users_own_service_manager_starts_it(self):
        # The variable's mark is doubled; there is no other way to pass it.
        self.machine.log_in()
        self.machine.start_desktop()
        self.stand_in("systemd-run", waits=True)
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
        # The journal gets the description instead of the address with the id.
        self.assertEqual(arguments[:7],
                         ["--user", "--quiet", "--collect", "--no-block",
                          "--description=Started by the KV500 card reader service",
                          "--property=StandardOutput=null", "--property=StandardError=null"])
        # Only the names: everybody can read arguments, but nobody else may read the values.
        self.assertIn("--setenv=DISPLAY", arguments)
        self.assertEqual([a for a in arguments if a.startswith("--setenv=") and a.count("=") > 1],
                         [])
        self.assertEqual(arguments[arguments.index("--") + 1:],
                         [str(self.machine.bin / "browser"),
                          f"http://localhost/?a=$$HOME&b=%h&id={self.insured_id()}"])
        self.assertEqual(request["user"], 3 * [USER_ID])
        # A manager that does not answer must not block the service.
        process = pathlib.Path(f"/proc/{request['pid']}")
        wait_until(lambda: not process.exists(), "end of the request", 12)

    def test_an_ordinary_user_has_his_own_session(self):
        os.chown(self.machine.folder, USER_ID, GROUP_ID)
        os.chmod(self.machine.base / "notify", 0o777)
        self.machine.log_in(session="0", user=0)
        self.stand_in("zenity", waits=True)
        self.show_box(user=USER_ID, group=GROUP_ID, extra_groups=[])
        self.assertEqual(self.started("zenity")["user"], 3 * [USER_ID])

    def test_a_box_stands_until_it_is_answered(self):
        self.stand_in("zenity", waits=True)
        self.show_box()
        self.assertEqual(self.started("zenity")["arguments"],
                         ["--error", "--no-markup", "--title=KALVERO  -  KV500",
                          f"--text={BAD_PORT}"])
        self.assertEqual(self.machine.try_ask("status"), b"")
        (self.out / "zenity.answer").touch()
        wait_until(lambda: self.machine.try_ask("status"), "the port", 2)
        self.assertEqual(self.machine.log(), [STARTED, BAD_PORT])

    def test_the_text_of_a_box(self):
        self.machine.log_in()
        self.machine.start_desktop()
        (self.machine.folder / "config.txt").write_bytes("a\\nb<i>ü\t".encode() + b"\xfc\n")
        # A zenity that crashes, and a kdialog that can't show anything.
        zenity = self.stand_in("zenity")
        zenity.write_text(zenity.read_text() + "os.kill(os.getpid(), 9)\n")
        self.machine.script(self.machine.bin / "kdialog", "#!/bin/sh\nexit 1\n")
        self.stand_in("xmessage")
        self.machine.start_service(ready=False)
        text = "Error reading config file:\n'=' missing in line 1:\n1: a\\nb<i>ü\ufffd\ufffd"
        self.assertEqual(self.started("xmessage")["arguments"][-1], text)
        # zenity would interpret markup and backslashes.
        zenity = self.started("zenity")["arguments"]
        self.assertIn("--no-markup", zenity)
        self.assertEqual(zenity[-1], "--text=" + text.replace("\\", "\\\\"))

    def test_a_session_that_ends_while_its_box_is_open(self):
        self.stand_in("zenity", waits=True)
        self.show_box()
        pid = self.started("zenity")["pid"]
        self.machine.log_out()
        wait_until(lambda: self.machine.try_ask("status"), "the port", 2)
        self.assertFalse(pathlib.Path(f"/proc/{pid}").exists())

    def test_nothing_that_could_show_a_box(self):
        self.machine.log_in()
        self.machine.start_desktop(PATH=str(self.machine.bin))
        self.machine.configure(Port="12")
        self.machine.start_service()
        self.assertEqual(self.machine.log(), [STARTED, BAD_PORT])
        # The stop still works: the attempts have left no signal blocked or lost.
        self.assertEqual(self.machine.stop_service(signal.SIGTERM)[0], 0)


if __name__ == "__main__":
    run_isolated()
