"""Chrome's policy in Debian's Chromium, which reads the same policies: a page of the practice's
origin asks the simulator, with and without the policy."""
import http.server
import pathlib
import queue
import shutil
import subprocess
import tempfile
import threading
import unittest

from isolation import ROOT, mount, run_isolated
from machine import BUILD
from common import skip

POLICIES = pathlib.Path("/etc/chromium/policies/managed")
PAGE = """<body><script>
const ask = async () => {
  const state = await navigator.permissions.query({ name: 'loopback-network' });
  const answer = await Promise.race([
    fetch('http://127.0.0.1:%d/?action=status').then((a) => a.text(), () => 'refused'),
    new Promise((resolve) => setTimeout(resolve, 10000, 'refused')),
  ]);
  return `${state.state} ${answer.includes('RUNNING') ? 'answered' : answer}`;
};
ask().catch(String).then((seen) => fetch('/', { method: 'POST', body: seen }));
</script>"""


class Page(http.server.BaseHTTPRequestHandler):
    service = 0
    seen = queue.Queue()

    def do_GET(self):
        self.send_response(200)
        self.send_header("Content-Type", "text/html")
        self.end_headers()
        self.wfile.write((PAGE % self.service).encode())

    def do_POST(self):
        Page.seen.put(self.rfile.read(int(self.headers["Content-Length"])).decode())
        self.send_response(204)
        self.end_headers()

    def log_message(self, *_):
        pass


class PolicyTest(unittest.TestCase):
    def seen(self, origin, port):
        """What the page tells from a browser that takes the page's server for one on the internet."""
        with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as profile:
            browser = subprocess.Popen(
                ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--no-first-run",
                 f"--user-data-dir={profile}", "--disable-background-networking",
                 f"--ip-address-space-overrides=127.0.0.1:{port}=public", origin],
                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            try:
                return Page.seen.get(timeout=60)
            finally:
                browser.terminate()
                browser.wait(timeout=30)

    def test_chromium(self):
        mount("-t", "tmpfs", "tmpfs", "/etc/chromium")
        POLICIES.mkdir(parents=True)
        folder = pathlib.Path(tempfile.mkdtemp(dir="/srv"))
        shutil.copy(BUILD / "kv500-simulator", folder)
        (folder / "config.txt").write_text("Port=5724\n")
        simulator = subprocess.Popen([folder / "kv500-simulator"], stdin=subprocess.PIPE,
                                     stdout=subprocess.PIPE, text=True)
        self.addCleanup(lambda: simulator.communicate("quit\n"))
        self.assertEqual(simulator.stdout.readline(), "listening 127.0.0.1:5724\n")
        Page.service = 5724
        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Page)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        port = server.server_address[1]
        origin = f"http://127.0.0.1:{port}"
        # A browser without a window answers its own question with no.
        self.assertRegex(self.seen(origin, port), "^(prompt|denied) refused$")
        for other, seen in [("https://other.example", "^(prompt|denied) refused$"), (origin, "^granted answered$")]:
            with self.subTest(other):
                subprocess.run([ROOT / "packaging/policies/make.sh", other, folder], check=True,
                               stdout=subprocess.DEVNULL)
                shutil.copy(folder / "chrome.json", POLICIES / "kv500.json")
                self.assertRegex(self.seen(origin, port), seen)


if __name__ == "__main__":
    if not shutil.which("chromium"):
        skip("chromium is not here")
    run_isolated()
