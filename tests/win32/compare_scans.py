#!/usr/bin/env python3
"""Runs the same scans and checks with the Linux probe and with wexo-probe.exe
under Wine, against DNS servers that this script starts on loopback, and
compares the two results case by case: the JSON document (status, message,
channels) and the sensor log, with only response times and DNS query ids
normalised, and one line that Wine alone gets wrong (WINE_ONLY). Fails when a
side cannot run (Wine missing included)."""

import argparse
import concurrent.futures
import json
import os
import random
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time

ZONE = """$TTL 300
@       IN SOA ns1.win32.test. hostmaster.win32.test. 1 7200 900 1209600 60
        IN NS  ns1.win32.test.
        IN MX  10 mail.win32.test.
        IN TXT "v=spf1 -all" "win32 zone"
ns1     IN A   127.0.0.1
www     IN A   10.0.0.10
www     IN AAAA 2001:db8::10
mail    IN A   10.0.0.25
alias   IN CNAME www.win32.test.
"""
ROOT_ZONE = """$TTL 300
@       IN SOA a.root.test. hostmaster.win32.test. 1 7200 900 1209600 60
        IN NS  a.root.test.
a.root.test. IN A 127.0.0.1
"""


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def wait_for_answer(port, name, deadline_s=20.0):
    """True once the server on port answers an A question for name over UDP."""
    query = (b"\x12\x34\x01\x00\x00\x01\x00\x00\x00\x00\x00\x00" +
             b"".join(bytes([len(p)]) + p.encode() for p in name.split(".")) + b"\x00\x00\x01\x00\x01")
    end = time.monotonic() + deadline_s
    while time.monotonic() < end:
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
            s.settimeout(0.5)
            try:
                s.sendto(query, ("127.0.0.1", port))
                if s.recv(512)[:2] == b"\x12\x34":
                    return True
            except OSError:
                time.sleep(0.2)
    return False


class Relay:
    """Passes each UDP datagram that reaches its socket to a server on another
    port and the server's answer back."""

    def __init__(self, sock, upstream):
        self.socket = sock
        self.upstream = upstream
        self.socket.settimeout(0.2)
        self.stopping = threading.Event()
        self.thread = threading.Thread(target=self._serve, daemon=True)
        self.thread.start()

    def _serve(self):
        while not self.stopping.is_set():
            try:
                question, client = self.socket.recvfrom(65535)
            except socket.timeout:
                continue
            except OSError:
                return
            with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as upstream:
                upstream.settimeout(2.0)
                try:
                    upstream.sendto(question, self.upstream)
                    self.socket.sendto(upstream.recv(65535), client)
                except OSError:
                    pass  # the client's own timeout tells

    def stop(self):
        self.stopping.set()
        self.thread.join()


class CheckDevices:
    """Port 53 of four loopback addresses 127.96.N.1-4, the devices of the
    check, which asks port 53 only: one relays to named (an answer), one to
    rbldnsd (a refusal: the root zone is none of its zones), one never answers
    and on the fourth nothing listens. named and rbldnsd cannot serve them
    directly: named binds interface addresses only (127.0.0.1, which others
    use too). N is a block chosen at random whose first three addresses are
    free, so that runs in other work trees on this machine take other blocks
    (holding .1 keeps .4 free of them). No sockets when this user may not bind
    port 53."""

    def __init__(self):
        self.sockets = None
        self.relays = []
        for block in random.sample(range(256), 256):
            addresses = [f"127.96.{block}.{host}" for host in (1, 2, 3, 4)]
            sockets = []
            try:
                for address in addresses[:3]:
                    sockets.append(socket.socket(socket.AF_INET, socket.SOCK_DGRAM))
                    sockets[-1].bind((address, 53))
            except PermissionError:
                for s in sockets:
                    s.close()
                return
            except OSError:
                for s in sockets:
                    s.close()
                continue
            self.sockets = sockets
            self.answers, self.refuses, self.silent, self.nobody = addresses
            return
        raise RuntimeError("no free block of addresses 127.96.N.1-3 on port 53")

    def start(self, named, rbldnsd):
        if self.sockets:
            self.relays = [Relay(self.sockets[0], named), Relay(self.sockets[1], rbldnsd)]

    def stop(self):
        for relay in self.relays:
            relay.stop()
        for s in self.sockets or []:
            s.close()


class Servers:
    """named for the zones, rbldnsd for blacklists and, when this user may
    bind port 53, the check's devices."""

    def __init__(self):
        self.work = tempfile.mkdtemp(prefix="wexo-win32-")
        os.chmod(self.work, 0o755)  # rbldnsd drops root before reading its zones
        self.processes = []
        self.port = free_port()
        self.bl_port = free_port()
        self.silent = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)  # a server that never answers
        self.silent.bind(("127.0.0.1", 0))
        self.silent_port = self.silent.getsockname()[1]
        self.check = CheckDevices()
        self.with_check = self.check.sockets is not None

    def start(self):
        w = self.work
        with open(f"{w}/win32.test.zone", "w") as f:
            f.write(ZONE)
        with open(f"{w}/root.zone", "w") as f:
            f.write(ROOT_ZONE)
        with open(f"{w}/named.conf", "w") as f:
            f.write(f'options {{ directory "{w}"; listen-on port {self.port} {{ 127.0.0.1; }};\n'
                    f'listen-on-v6 {{ none; }}; pid-file none; session-keyfile "{w}/session.key";\n'
                    f'managed-keys-directory "{w}"; recursion no; dnssec-validation no; }};\n'
                    'controls { };\n'
                    f'zone "win32.test" {{ type primary; file "{w}/win32.test.zone"; }};\n'
                    f'zone "." {{ type primary; file "{w}/root.zone"; }};\n')
        self._spawn(["/usr/sbin/named", "-g", "-4", "-n", "1", "-c", f"{w}/named.conf"], "named.log")
        for name, lines in (("test-entry", ":127.0.0.2:Test entry\n127.0.0.2\n"),
                            ("listed", ":127.0.0.2:Listed\n192.0.2.10\n"),
                            ("scored", ":127.0.0.5:Spam source\n192.0.2.10\n")):
            with open(f"{w}/{name}", "w") as f:
                f.write(lines)
            os.chmod(f"{w}/{name}", 0o644)
        self._spawn(["rbldnsd", "-n", "-b", f"127.0.0.1/{self.bl_port}", "-w", w,
                     "listed.bl.test:ip4set:test-entry,listed", "clean.bl.test:ip4set:test-entry",
                     "scored.bl.test:ip4set:test-entry,scored"], "rbldnsd.log")
        if not wait_for_answer(self.port, "www.win32.test"):
            raise RuntimeError("named did not answer:\n" + self._log("named.log"))
        if not wait_for_answer(self.bl_port, "2.0.0.127.listed.bl.test"):
            raise RuntimeError("rbldnsd did not answer:\n" + self._log("rbldnsd.log"))
        self.check.start(("127.0.0.1", self.port), ("127.0.0.1", self.bl_port))

    def _spawn(self, command, log):
        with open(f"{self.work}/{log}", "w") as out:
            self.processes.append(subprocess.Popen(command, stdout=out, stderr=subprocess.STDOUT))

    def _log(self, log):
        with open(f"{self.work}/{log}") as f:
            return f.read()

    def stop(self):
        self.check.stop()
        for process in self.processes:
            process.terminate()
        for process in self.processes:
            try:
                process.wait(timeout=10)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
        self.silent.close()
        shutil.rmtree(self.work, ignore_errors=True)


def cases(s):
    dns = ["--set", "host=127.0.0.1", "--set", f"port={s.port}", "--set", "timeout=5"]
    bl = ["--set", "dns_resolver=custom", "--set", "custom_resolver=127.0.0.1",
          "--set", f"custom_resolver_port={s.bl_port}", "--set", "timeout=5"]
    v2 = ["scan", "dns_v2"]
    yield "dns_v2_a_records", v2 + dns + ["--set", "domain=www.win32.test"]
    yield "dns_v2_any", v2 + dns + ["--set", "domain=win32.test", "--set", "record_type=ANY"]
    yield "dns_v2_mx_txt_cname", v2 + dns + ["--set", "domain=win32.test", "--set", "record_type=MX"]
    yield "dns_v2_txt", v2 + dns + ["--set", "domain=win32.test", "--set", "record_type=TXT"]
    yield "dns_v2_cname", v2 + dns + ["--set", "domain=alias.win32.test", "--set", "record_type=CNAME"]
    yield "dns_v2_filter", v2 + dns + ["--set", "domain=www.win32.test", "--set", "apply_filter=enabled",
                                       "--set", "filter=10.*.10"]
    yield "dns_v2_nodata", v2 + dns + ["--set", "domain=mail.win32.test", "--set", "record_type=AAAA"]
    yield "dns_v2_nxdomain", v2 + dns + ["--set", "domain=nothing.win32.test"]
    yield "dns_v2_server_by_name", ["scan", "dns_v2", "--set", "host=localhost", "--set", f"port={s.port}",
                                    "--set", "timeout=5", "--set", "domain=www.win32.test"]
    yield "dns_v2_timeout", ["scan", "dns_v2", "--set", "host=127.0.0.1", "--set", f"port={s.silent_port}",
                             "--set", "timeout=1", "--set", "query_timeout=1", "--set", "domain=www.win32.test"]
    yield "dns_v2_german", v2 + dns + ["--set", "domain=www.win32.test", "--lang", "German"]
    if s.with_check:
        # The check's hold is fixed (10 s) whatever the timeout setting says.
        c = s.check
        for name, device in (("answers", c.answers), ("refuses", c.refuses), ("silent", c.silent),
                             ("nobody_listens", c.nobody)):
            yield f"dns_check_{name}", ["check", "dns_check", "--set", f"host={device}"]
    yield "ip_reputation_listed", ["scan", "ip_reputation_score_sensor", "--set", "host=192.0.2.10"] + bl + [
        "--set", "blacklist_servers=listed.bl.test\\nclean.bl.test\\nscored.bl.test=127.0.0.[4..6]*5"]
    yield "ip_reputation_clean", ["scan", "ip_reputation_score_sensor", "--set", "host=192.0.2.77"] + bl + [
        "--set", "blacklist_servers=listed.bl.test*3\\nmissing.bl.test"]


TIMING = [
    (re.compile(r";; Query time: \d+ msec"), ";; Query time: N msec"),
    (re.compile(r"(->>HEADER<<- opcode: \w+, status: \w+, id: )\d+"), r"\1N"),
]


# Wine loses the ICMP "port unreachable" that answers a UDP question to a
# closed port: its server takes the socket's pending error as a hang-up, which
# c-ares' receive poll does not ask for, and no later receive reports it, so
# the query runs into its timeout. Linux reports the refusal at once
# (ECONNREFUSED), and so does Windows (WSAECONNRESET on the next receive of a
# UDP socket, which c-ares treats as every receive error: ECONNREFUSED). This
# one line of this one case is therefore Wine's doing, and only it is mapped
# to what Linux and Windows report.
WINE_ONLY = {
    "dns_check_nobody_listens": ("DNS check failed: Error 12 occurred: Timeout while contacting DNS servers.",
                                 "DNS check failed: Error 11 occurred: Could not contact DNS servers."),
}


def normalise_log(text, case=None):
    for pattern, replacement in TIMING:
        text = pattern.sub(replacement, text)
    if case in WINE_ONLY:
        text = text.replace(*WINE_ONLY[case])
    return text.replace("\r\n", "\n")


def normalise_document(text):
    document = json.loads(text)
    for channel in document.get("channels", []):
        if channel.get("unit") == "ms":
            channel["value"] = "N"
            channel["display"] = "N ms"
    return document


def run(command, timeout):
    """Exit code, stdout, stderr and seconds taken. The output goes through files, not pipes:
    Wine may start a service process on demand that inherits them and outlives the program."""
    started = time.monotonic()
    with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:
        code = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=out, stderr=err, timeout=timeout).returncode
        out.seek(0)
        err.seek(0)
        return code, out.read().decode("utf-8", "replace"), err.read().decode("utf-8", "replace"), \
            time.monotonic() - started


def compare(name, command, args):
    """Runs one case on both sides; returns whether they agree and the line(s) to print."""
    options = command + ["--format", "json", "--verbose"]
    linux = run([args.linux_probe] + options, 60)
    windows = run([args.wine, args.windows_probe] + options, 240)
    problems = []
    if linux[0] != windows[0]:
        problems.append(f"exit code: Linux {linux[0]}, Windows {windows[0]}")
    try:
        if normalise_document(linux[1]) != normalise_document(windows[1]):
            problems.append(f"result:\n--- Linux\n{linux[1]}\n--- Windows\n{windows[1]}")
    except json.JSONDecodeError as e:
        problems.append(f"not a JSON result ({e}):\n--- Linux\n{linux[1]}\n--- Windows\n{windows[1]}")
    if normalise_log(linux[2]) != normalise_log(windows[2], name):
        problems.append(f"log:\n--- Linux\n{linux[2]}\n--- Windows\n{windows[2]}")
    if problems:
        return False, f"FAIL {name}: " + "\n".join(problems)
    return True, f"ok   {name} (Linux {linux[3]:.1f} s, Wine {windows[3]:.1f} s)"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--linux-probe", required=True)
    parser.add_argument("--windows-probe", required=True)
    parser.add_argument("--wine", required=True, help="the wrapper that runs a Windows program under Wine")
    parser.add_argument("--jobs", type=int, default=2, help="cases run at the same time")
    parser.add_argument("--only", default="", help="runs only the cases whose name matches this expression")
    args = parser.parse_args()
    for path in (args.linux_probe, args.windows_probe, args.wine):
        if not os.access(path, os.X_OK if path != args.windows_probe else os.R_OK):
            print(f"cannot run {path}", file=sys.stderr)
            return 1
    if shutil.which("wine") is None:
        print("Wine is not installed (scripts/setup installs it)", file=sys.stderr)
        return 1

    servers = Servers()
    passed = failed = 0
    try:
        servers.start()
        if not servers.with_check:
            print("skip dns_check cases: this user may not bind port 53, the only port the check asks")
        selected = [(n, c) for n, c in cases(servers) if re.search(args.only, n)]
        # The cases share only servers that answer every question alike, so
        # they may run side by side; much of a case is waiting (Wine's start, timeouts).
        with concurrent.futures.ThreadPoolExecutor(max_workers=max(1, args.jobs)) as pool:
            for ok, text in pool.map(lambda case: compare(*case, args), selected):
                passed, failed = passed + ok, failed + (not ok)
                print(text)
                sys.stdout.flush()
    finally:
        servers.stop()
    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 and passed > 0 else 1


if __name__ == "__main__":
    sys.exit(main())
