"""The unit tests of the Windows build."""
import shutil
import unittest

from wine import BUILD, Windows


class UnitTests(unittest.TestCase):
    def test_all(self):
        windows = Windows()
        folder = windows.drive / "unit tests"
        folder.mkdir()
        shutil.copy2(BUILD / "tests/unit_tests.exe", folder)
        # There is no program gzip on Windows.
        code, output = windows.run(folder / "unit_tests.exe", "--gtest_brief=1",
                                   "--gtest_filter=-Gzip.GivesBackWhatTheGzipProgramPacks",
                                   limit=240)
        self.assertEqual(code, 0, output)
        self.assertRegex(output, r"\[  PASSED  \] \d{2,} tests")


if __name__ == "__main__":
    unittest.main()
