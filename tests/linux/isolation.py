"""Separate namespaces for the tests: mounts, network, processes. Nothing in them reaches the
machine's pcscd, logind or udev, nor its users and ports."""
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
from common import ROOT, skip  # noqa: E402

USER, USER_ID, GROUP_ID, EXTRA_GROUP_ID = "kvuser", 4242, 4242, 4243
OWN_ADDRESS = "192.0.2.7"
OWN_ROOT = "kv500-root-"  # The folders on which the root is mounted begin so.
UNSHARE = ["unshare", "--mount", "--net", "--pid", "--ipc", "--fork", "--kill-child",
           "--mount-proc"]


def run_isolated():
    """Runs the tests of the calling script in separate namespaces."""
    enter()
    prepare()
    unittest.main(verbosity=2)


def enter():
    """Starts the calling script again in new namespaces. If it is already in them, goes on."""
    if os.environ.get("KV500_ISOLATED") == "yes":
        return
    os.environ["KV500_ISOLATED"] = "yes"
    if os.geteuid() != 0:
        skip("what works with the real pcscd needs root")
    script = [sys.executable, "-B", str(pathlib.Path(sys.argv[0]).resolve()), *sys.argv[1:]]
    trial = try_to_unshare([])
    if trial.returncode == 0:
        os.execvp("unshare", [*UNSHARE, *script])
    if "root filesystem propagation" not in trial.stderr:
        skip(f"no namespaces of its own on this machine: {trial.stderr.strip()}")
    sys.exit(run_below_own_mount(script))


def try_to_unshare(way):
    return subprocess.run([*way, *UNSHARE, "true"], capture_output=True, text=True,
                          env={**os.environ, "LC_ALL": "C"})


def run_below_own_mount(script):
    """Runs the script in a root that is no mount point, such as that of a plain chroot: it is
    mounted on one of its own folders, which makes it one. Gives the exit status."""
    root = tempfile.mkdtemp(prefix=OWN_ROOT)
    try:
        mount("--bind", "/", root)
        mount("--make-private", root)
        for point in other_mounts():
            subprocess.run(["mount", "--bind", point, root + point], capture_output=True)
        trial = try_to_unshare(["chroot", root])
        if trial.returncode != 0:
            skip(f"no namespaces of its own in this root: {trial.stderr.strip()}")
        return subprocess.run(["chroot", root, *UNSHARE, *script]).returncode
    except subprocess.CalledProcessError as error:
        skip(f"a root that is no mount point, and no right to mount: {error}")
    finally:
        subprocess.run(["umount", "--recursive", "--lazy", root], capture_output=True)
        os.rmdir(root)


def other_mounts():
    """The mounts below the root, without those of the tests that run in parallel."""
    points = [line.split()[1] for line in pathlib.Path("/proc/self/mounts").read_text().splitlines()]
    return [point for point in points if point != "/" and OWN_ROOT not in point]


def mount(*arguments):
    subprocess.run(["mount", *arguments], check=True)


def prepare():
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
    subprocess.run(["ip", "address", "add", OWN_ADDRESS, "dev", "lo"], check=True)
    # The sources and the build may be in one of the folders that are emptied. Meanwhile they stay
    # reachable at another place.
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
    """Appends to a file of the machine, but only in this mount namespace."""
    copy = pathlib.Path("/srv", pathlib.Path(path).name)
    copy.write_text(pathlib.Path(path).read_text() + text)
    mount("--bind", str(copy), path)
