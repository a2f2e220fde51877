"""kv500-check with the real service, pcscd and a script as service manager."""
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import threading
import time
import unittest

import pcsc
from isolation import GROUP_ID, USER_ID, mount, run_isolated
from common import wait_until
from machine import BUILD, READER, MachineTest

# Replaces "systemctl show": gives the properties of a unit from a file with the unit's name.
SYSTEMCTL = """#!/bin/sh
for unit; do :; done
cat {folder}/$unit 2>/dev/null || echo LoadState=not-found
"""
NOBODY = 65534
LIMIT = 10.0  # Seconds for everything, whatever hangs.


class CheckTest(MachineTest):
    def setUp(self):
        self.machine = self.workstation()
        shutil.copy(BUILD / "kv500-check", self.machine.bin)
        self.machine.script(self.machine.bin / "systemctl",
                            SYSTEMCTL.format(folder=self.machine.base))
        self.machine.configure(AllowOrigin="https://practice.example")
        self.unit("pcscd.socket", ActiveState="active")
        self.unit("pcscd.service", ActiveState="active")
        self.unit("kv500service.service", ActiveState="inactive")
        self.machine.log_in()
        self.machine.start_desktop()

    def unit(self, name, **properties):
        properties = {"LoadState": "loaded", "UnitFileState": "enabled", "User": "",
                      "ExecStart": f"{{ path={self.machine.folder}/KV500Service ; argv[]=x }}",
                      } | properties
        (self.machine.base / name).write_text(
            "".join(f"{key}={value}\n" for key, value in properties.items()))

    def start(self, card="mustermann"):
        self.machine.switch_on(card=card, config="AllowOrigin=https://practice.example\n")
        self.unit("kv500service.service", ActiveState="active", MainPID=self.machine.service.pid)
        wait_until(lambda: (b"OK_Card" if card else b"NO_Card") in self.machine.ask("status"))

    def check(self, *options, **start):
        """Exit status, the levels of the lines by their ids, and the seconds that it took."""
        environment = {"PATH": f"{self.machine.bin}:/usr/bin:/bin", "LANG": "C.UTF-8",
                       "UMOCKDEV_DIR": self.machine.usb.get_root_dir(),
                       "LD_PRELOAD": "libumockdev-preload.so.0"}
        begin = time.monotonic()
        result = subprocess.run([self.machine.bin / "kv500-check", *options], env=environment,
                                capture_output=True, timeout=30, **start)
        self.seconds = time.monotonic() - begin
        self.output = result.stdout.decode()
        found = {}
        for line in self.output.splitlines():
            if line.startswith("["):
                level, _, rest = line.partition("]")
                name, _, text = rest.strip().partition(": ")
                found[name] = found.get(name, "") + level[1:] + " " + text + "\n"
        self.assertLess(self.seconds, LIMIT)
        self.assertNotIn(b"\x1b", result.stdout)
        return result.returncode, found

    def expect(self, rows):
        status, found = self.check()
        for name, text in rows.items():
            self.assertIn(text, found[name], self.output)
        return status

    def test_all_is_well(self):
        self.start()
        status = self.expect({
            "service": "ok installed and running", "settings": "ok ", "access": "ok ",
            "port": "ok the service listens", "answer": "a reader with a card", "log": "ok ",
            "smartcard-service": "ok runs", "readers": f"ok {READER}", "usb": "ok ",
            "card": "ok a card is in, ATR 3B D0 96 FF 81 B1 FE 45 1F 07 2A",
            "session": "ok session 1 of kvuser", "browser-policy": "ok no policy"})
        self.assertEqual(status, 0, self.output)
        self.assertLess(self.seconds, 1)
        self.assertIn(b"Mustermann", self.machine.ask("read"), "nothing was disturbed")
        # An ordinary user gets less information, but no wrong information.
        (self.machine.folder / "log.txt").chmod(0o640)  # As under the unit's umask.
        status, found = self.check(user=USER_ID, group=GROUP_ID, extra_groups=[])
        self.assertIn("ok somebody listens", found["port"], self.output)
        self.assertIn("ok log.txt is there", found["log"], self.output)
        self.assertNotIn("fail", "".join(found[name] for name in found
                                         if name not in ("usb", "readers")), self.output)
        report = self.machine.base / "report"
        self.assertEqual(self.check("--report", report)[0], 0)
        for part in [self.output, "AllowOrigin=https://practice.example\n", "Service started!"]:
            self.assertIn(part, report.read_text())

    def test_nothing_runs(self):
        self.machine.start_daemon()
        self.assertEqual(self.expect({
            "service": "fail installed but stopped", "port": "fail nobody", "answer": "fail no connection",
            "log": "warn", "readers": "fail no reader at all", "usb": "fail no known device"}), 2)
        self.machine.stop_daemon()
        self.unit("pcscd.service", ActiveState="inactive")
        self.expect({"smartcard-service": "ok is ready", "readers": "warn can't be told"})
        self.unit("pcscd.socket", ActiveState="inactive")
        self.expect({"smartcard-service": "fail the smart-card service is stopped"})
        self.unit("kv500service.service", ActiveState="activating", NRestarts=5,
                  ActiveEnterTimestampMonotonic=int(time.monotonic() * 1e6), ExecMainStatus=1)
        self.expect({"service": "fail starts and stops again and again: 5 times"})
        self.assertEqual(self.machine.daemon_pids(), [], "nothing is started")

    def test_cards_and_readers(self):
        self.start(card=None)
        self.expect({"card": "warn no card"})
        self.machine.service.send_signal(signal.SIGSTOP)
        self.machine.insert("mustermann")
        holders = []
        wait_until(lambda: holders.append(self.try_exclusive()) or holders[-1])
        other = holders[-1]
        self.expect({"card": "fail another program holds the card for itself", "answer": "fail"})
        other.close()
        other = pcsc.Card(READER)
        pcsc.call("SCardBeginTransaction", other.handle)
        self.expect({"card": "fail another program has been in a transaction"})
        other.close()
        self.machine.service.send_signal(signal.SIGCONT)
        self.machine.hide_usb()
        self.expect({"readers": "fail brenvolt", "usb": "fail"})
        self.machine.log_in(REMOTE=1)
        self.expect({"session": "warn nobody works at this computer's own screen"})
        mount("-t", "tmpfs", "tmpfs", "/etc/opt")
        policies = pathlib.Path("/etc/opt/chrome/policies/managed")
        policies.mkdir(parents=True)
        self.addCleanup(shutil.rmtree, policies)
        (policies / "x.json").write_text('{"a": {"b": [1, "\\u00e4"]},\n'
                                         '"LoopbackNetworkBlockedForUrls": ["*"]}')
        self.expect({"browser-policy": "fail a policy forbids Chrome"})

    @staticmethod
    def try_exclusive():
        try:
            return pcsc.Card(READER, pcsc.SHARE_EXCLUSIVE)
        except pcsc.Error:
            return None

    def test_a_daemon_that_is_stopped_by_a_signal(self):
        self.start()
        for pid in self.machine.daemon_pids():
            os.kill(pid, signal.SIGSTOP)
        hanging = "fail no answer within 3 s"
        self.expect({"smartcard-service": hanging, "readers": hanging, "card": hanging})
        for pid in self.machine.daemon_pids():
            os.kill(pid, signal.SIGCONT)

    def test_files_that_are_none(self):
        config = self.machine.folder / "config.txt"
        log = self.machine.folder / "log.txt"
        for make, text in [
                (lambda: os.truncate(config, 100_000_000), "fail config.txt has 100000000 bytes"),
                (lambda: os.truncate(config, 1000), "fail the whole of config.txt counts for nothing: line 2"),
                (lambda: os.chown(config, USER_ID, -1) or config.chmod(0o600),
                 "fail config.txt can't be read by the service"),
                (lambda: (config.unlink(), os.mkfifo(config)), "fail config.txt is no ordinary file"),
                (lambda: (config.unlink(), config.mkdir()), "fail config.txt is no ordinary file")]:
            make()
            self.expect({"settings": text})
            self.check("--report", self.machine.base / "report")
        log.write_bytes(b"")
        os.truncate(log, 1_000_000_000)
        with open(log, "ab") as file:
            file.write(b"\r\n[01-01-2026 00:00:00] Could not open port\r\n")
        self.expect({"log": "warn since the last start: the port could not be opened"})
        mount("-t", "tmpfs", "-o", "size=4k", "tmpfs", "/mnt")
        pathlib.Path("/mnt/log.txt").write_bytes(bytes(4096))
        self.assertIn("fail log.txt can't be written: the disk", self.check("--folder", "/mnt")[1]["log"])
        log.unlink()
        os.mkfifo(log)
        self.expect({"log": "fail log.txt"})
        self.assertEqual(self.check("--report", log)[0], 3)

    def test_another_program_on_the_port(self):
        self.machine.start_daemon()
        listener = socket.create_server(("127.0.0.1", 5724))
        self.addCleanup(listener.close)
        self.expect({"port": f"(process {os.getpid()})", "answer": "fail connected, but no whole answer"})

        def talk_for_ever():
            while listener.fileno() >= 0:
                try:
                    with listener.accept()[0] as client:
                        while True:
                            client.sendall(b"\x1b[2J garbage " * 100)
                            time.sleep(0.01)
                except OSError:
                    pass  # The client has given up.
        threading.Thread(target=talk_for_ever, daemon=True).start()
        self.check()  # The service first answers clients that have gone.
        self.expect({"answer": "fail what answers is not the service: ?[2J garbage"})

    def test_the_address_of_a_listener(self):
        mine = f"(process {os.getpid()})"
        for address, only_ipv6, text in [
                ("127.0.0.2", False, "fail nobody listens"), ("0.0.0.0", False, mine),
                ("::ffff:127.0.0.1", False, mine), ("::ffff:0.0.0.0", False, mine),
                ("::", False, "fail another program listens on 127.0.0.1"),
                ("::", True, "fail nobody listens"), ("::", True, "warn another program listens on [::1]"),
                ("::1", False, "warn another program listens on [::1]")]:
            family = socket.AF_INET6 if ":" in address else socket.AF_INET
            with socket.socket(family) as listener, self.subTest(address):
                listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, True)
                if family == socket.AF_INET6:
                    listener.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, only_ipv6)
                listener.bind((address, 5724))
                listener.listen()
                self.expect({"port": text})

    def test_what_this_user_may_not_know(self):
        self.start()
        self.machine.folder.chmod(0o700)
        _, found = self.check(user=NOBODY, group=NOBODY, extra_groups=[])
        for name, text in {
                "session": "ok session 1 of kvuser is active; whether",
                "settings": "warn this user has no right to look into the folder",
                "access": "warn which pages may read the answers is not known",
                "port": "about the default, 5724\nok somebody listens", "answer": "ok ",
                "log": "warn this user has no right"}.items():
            self.assertIn(text, found[name], self.output)

    def test_wait(self):
        self.start()
        self.unit("kv500service.service", ActiveState="inactive")
        threading.Timer(2, self.unit, ["kv500service.service"], {"ActiveState": "active"}).start()
        self.assertEqual(self.check("--wait", "8")[0], 0, self.output)
        self.assertGreater(self.seconds, 1.5)


if __name__ == "__main__":
    run_isolated()
