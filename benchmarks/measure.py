"""What the benchmarks share: load, servers to compare with, a process' use of the machine, tables."""
import contextlib
import json
import pathlib
import socket
import statistics
import subprocess
import time

ROUNDS = 5
CLIENTS = (1, 4, 8)
LOAD_SECONDS = 1
IDLE_SECONDS = 20
NGINX_PORT, BARE_PORT = 27180, 27181

NGINX = """
{user}
daemon off;
worker_processes 2;
pid {folder}/nginx.pid;
error_log {folder}/nginx.log;
events {{ }}
http {{
  access_log off;
  keepalive_timeout 0;
  default_type application/json;
  client_body_temp_path {folder}/body;
  proxy_temp_path {folder}/proxy;
  fastcgi_temp_path {folder}/fastcgi;
  uwsgi_temp_path {folder}/uwsgi;
  scgi_temp_path {folder}/scgi;
  server {{
    listen 127.0.0.1:{port};
    location / {{ return 200 "{answer}"; }}
  }}
}}
"""


class Process:
    """A running process with its children, as the kernel counts what they use."""

    def __init__(self, pid):
        self.pid = pid

    def _tasks(self):
        pids, found = [self.pid], []
        while pids:
            process = pathlib.Path(f"/proc/{pids.pop()}/task")
            for task in process.iterdir():
                found.append(task)
                pids += map(int, (task / "children").read_text().split())
        return found

    def processor_seconds(self):
        return sum(int((task / "schedstat").read_text().split()[0]) for task in self._tasks()) / 1e9

    def context_switches(self):
        lines = [line for task in self._tasks()
                 for line in (task / "status").read_text().splitlines()]
        return sum(int(line.split()[1]) for line in lines if "ctxt_switches" in line)

    def resident_megabytes(self):
        status = pathlib.Path(f"/proc/{self.pid}/status").read_text()
        return int(status.split("VmRSS:")[1].split()[0]) / 1024

    def idle_percentage(self):
        before = self.processor_seconds()
        time.sleep(IDLE_SECONDS)
        return 100 * (self.processor_seconds() - before) / IDLE_SECONDS


def ask(port, action):
    """One request in its own connection. Gives the answer and the milliseconds that it took."""
    begin = time.perf_counter()
    with socket.create_connection(("127.0.0.1", port), timeout=20) as connection:
        connection.sendall(f"GET /?action={action} HTTP/1.1\r\n\r\n".encode())
        answer = b"".join(iter(lambda: connection.recv(65536), b""))
    return answer, 1000 * (time.perf_counter() - begin)


def wait_for(port, action="", expected=b""):
    """Waits until the server's answer contains the expected bytes."""
    for _ in range(200):
        with contextlib.suppress(OSError):
            if expected in (answer := ask(port, action)[0]) and answer:
                return
        time.sleep(0.05)
    raise SystemExit(f"no answer with {expected} at port {port}")


@contextlib.contextmanager
def running(*command, **options):
    """A program that ends with the block."""
    process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, **options)
    try:
        yield Process(process.pid)
    finally:
        process.terminate()
        process.communicate(timeout=10)


def load(build, kind, port, clients, seconds, *more):
    """Starts clients (see load.cc). Returns a function that gives their figures at their end."""
    process = subprocess.Popen(
        [build / "benchmarks/load", kind, *map(str, (port, clients, seconds, *more))],
        stdout=subprocess.PIPE)
    return lambda: json.loads(process.communicate()[0])


def spread(values, digits=0):
    """The median, and the lowest and highest value."""
    texts = [f"{value:,.{digits}f}" for value in (statistics.median(values), min(values), max(values))]
    return f"{texts[0]} ({texts[1]} to {texts[2]})"


def table(*rows):
    """Prints a Markdown table; the first row is its header."""
    print()
    for number, row in enumerate(rows):
        print("| " + " | ".join(row) + " |")
        if number == 0:
            print("|" + "---|" * len(row))
    print(flush=True)


def compare_servers(build, folder, port, process):
    """Requests to the service, nginx and a bare loop, in turn, ROUNDS times. The service is asked
    for `status`, and for nothing ("/"), which it answers without checking the reader."""
    length = len(ask(port, "status")[0].partition(b"\r\n\r\n")[2])
    configuration = folder / "nginx.conf"
    configuration.write_text(NGINX.format(
        user="user root;", folder=folder, port=NGINX_PORT, answer="x" * length))
    rates, switches, lost = {}, {}, 0
    with running("nginx", "-c", configuration, "-e", folder / "nginx.log") as nginx, \
            running(build / "benchmarks/bare_server", str(BARE_PORT), str(length)) as bare:
        wait_for(NGINX_PORT)
        wait_for(BARE_PORT)
        servers = {"status": (port, process, "/?action=status"), "nothing": (port, process, "/"),
                   "nginx": (NGINX_PORT, nginx, "/"), "bare": (BARE_PORT, bare, "/")}
        for clients in ROUNDS * CLIENTS:
            for name, (server_port, server, target) in servers.items():
                before = server.context_switches()
                figures = load(build, "ask", server_port, clients, LOAD_SECONDS, target)()
                made = server.context_switches() - before
                rates.setdefault((name, clients), []).append(figures["rate"])
                switches.setdefault((name, clients), []).append(made / max(1, figures["served"]))
                lost += figures["tried"] - figures["served"] if server is process else 0

    def ratio(clients):
        status, nginx = (statistics.median(rates[name, clients]) for name in ("status", "nginx"))
        return f"{status / nginx:.2f}"

    table(["requests in a loop", "`status`", "`/`, without the reader", "nginx", "bare loop",
           "`status` / nginx"],
          *([f"{clients} at a time: requests a second",
             *(spread(rates[name, clients]) for name in servers), ratio(clients)]
            for clients in CLIENTS),
          *([f"{clients} at a time: context switches a request",
             *(spread(switches[name, clients], 1) for name in servers), ""] for clients in CLIENTS))
    print(f"Of all requests to the service {lost} were turned away.")


def time_functions(build, card):
    """The medians of the pure functions' times in microseconds, by name (see functions.cc)."""
    output = subprocess.run(
        [build / "benchmarks/functions", card, "--benchmark_format=json", "--benchmark_min_time=0.1",
         "--benchmark_repetitions=7", "--benchmark_report_aggregates_only=true"],
        check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
    return {entry["run_name"]: entry["cpu_time"] / 1000
            for entry in json.loads(output)["benchmarks"] if entry["aggregate_name"] == "median"}
