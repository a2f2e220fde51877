"""Namespaces of the tests' own: mounts, network, processes. Nothing that happens in them reaches a
pcscd, logind or udev of the machine, nor its users and ports."""
import os
import pathlib
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
SKIPPED = 77  # The exit status by which ctest knows a test that was not run.
USER, USER_ID, GROUP_ID, EXTRA_GROUP_ID = "kvuser", 4242, 4242, 4243


def run_isolated():
    """Runs the tests of the calling script in namespaces of their own."""
    enter()
    prepare()
    unittest.main(verbosity=2)


def enter():
    """Starts the calling script once more, in new namespaces; goes on if it is in them."""
    if os.geteuid() != 0:
        print("SKIPPED: what works with the real pcscd needs root")
        sys.exit(SKIPPED)
    if os.environ.get("KV500_ISOLATED") != "yes":
        os.environ["KV500_ISOLATED"] = "yes"
        os.execvp("unshare", ["unshare", "--mount", "--net", "--pid", "--ipc", "--fork",
                              "--kill-child", "--mount-proc", sys.executable, "-B", *sys.argv])


def mount(*arguments):
    subprocess.run(["mount", *arguments], check=True)


def prepare():
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
    # The sources and the build may lie in one of the folders that are emptied: they are held at
    # another place meanwhile.
    mount("--bind", str(ROOT), "/mnt")
    for folder in ["/run", "/etc/reader.conf.d", "/tmp", "/srv"]:
        mount("-t", "tmpfs", "-o", "mode=0755", "tmpfs", folder)
    os.chmod("/tmp", 0o1777)
    ROOT.mkdir(parents=True, exist_ok=True)
    mount("--move", "/mnt", str(ROOT))
    for folder in ["/run/pcscd", "/run/systemd/sessions", "/run/systemd/seats", "/run/lock",
                   f"/run/user/{USER_ID}"]:
        pathlib.Path(folder).mkdir(parents=True)
    os.chown(f"/run/user/{USER_ID}", USER_ID, GROUP_ID)
    os.chmod(f"/run/user/{USER_ID}", 0o700)
    append("/etc/passwd", f"{USER}:x:{USER_ID}:{GROUP_ID}::/srv/home:/bin/sh\n")
    append("/etc/group", f"{USER}:x:{GROUP_ID}:\nkvextra:x:{EXTRA_GROUP_ID}:{USER}\n")
    os.mkdir("/srv/home")
    os.chown("/srv/home", USER_ID, GROUP_ID)


def append(path, text):
    """Adds to a file of the machine, in this mount namespace alone."""
    copy = pathlib.Path("/srv", pathlib.Path(path).name)
    copy.write_text(pathlib.Path(path).read_text() + text)
    mount("--bind", str(copy), path)
