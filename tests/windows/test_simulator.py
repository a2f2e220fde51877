"""The simulator as a Windows program: options, commands and events through pipes."""
import os
import shutil
import subprocess
import unittest

from wine import BUILD, WINE, Service, Windows
from common import CARD, CARDS, PATIENCE, STARTED, read_answer


class Simulator(unittest.TestCase):
    def test_drive_through_pipes(self):
        windows = Windows()
        service = Service(windows, "Übung 読")  # For its folder, config.txt and port.
        shutil.copy2(BUILD / "kv500-simulator.exe", service.folder)
        program = service.folder / "kv500-simulator.exe"
        trace = windows.path(service.folder / "Spur Ü.txt")
        process = subprocess.Popen([*WINE, program, "--trace", trace], env=windows.environment,
                                   stdin=subprocess.PIPE, stdout=subprocess.PIPE)

        def line():
            return process.stdout.readline().decode().rstrip("\r\n")

        def do(command):
            process.stdin.write(command.encode() + b"\r\n")
            process.stdin.flush()
            return line()

        self.assertEqual(line(), f"listening 127.0.0.1:{service.port}")
        card = shutil.copytree(CARDS / "mustermann", service.folder / "Kärtchen")
        self.assertEqual(do("insert " + windows.path(card)), "ok")
        service.wait_for_status(CARD)
        self.assertEqual(service.ask("read"), read_answer("mustermann"))
        self.assertTrue(do("nonsense").startswith("error: "))
        self.assertEqual(do("remove"), "ok")
        self.assertEqual(do("quit"), "ok")
        self.assertEqual(process.wait(PATIENCE), 0)
        process.stdin.close()
        process.stdout.close()
        self.assertEqual(service.log(), [STARTED])
        self.assertIn("Spur Ü.txt", os.listdir(service.folder))
        self.assertEqual(windows.run(program, "--nonsense")[0], 2)


if __name__ == "__main__":
    unittest.main()
