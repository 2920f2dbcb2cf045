#!/usr/bin/env python3
"""Runs the same scans and checks with the Linux probe and with wexo-probe.exe
under Wine, against DNS servers that this script starts on loopback, and
compares the two results case by case: the JSON document (status, message,
channels) and the sensor log, with only response times and DNS query ids
normalised. Fails when a side cannot run (Wine missing included)."""

import argparse
import json
import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile
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


class Servers:
    """named for the zones (and, as root, port 53 of the check's device) and rbldnsd for blacklists."""

    def __init__(self):
        self.work = tempfile.mkdtemp(prefix="wexo-win32-")
        os.chmod(self.work, 0o755)  # rbldnsd drops root before reading its zones
        self.processes = []
        self.port = free_port()
        self.bl_port = free_port()
        self.silent = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)  # a server that never answers
        self.silent.bind(("127.0.0.1", 0))
        self.silent_port = self.silent.getsockname()[1]

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

    def _spawn(self, command, log):
        with open(f"{self.work}/{log}", "w") as out:
            self.processes.append(subprocess.Popen(command, stdout=out, stderr=subprocess.STDOUT))

    def _log(self, log):
        with open(f"{self.work}/{log}") as f:
            return f.read()

    def stop(self):
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
    # The check asks port 53 only. named binds only addresses of an interface
    # (127.0.0.1 alone, which others may use), and with nothing listening the
    # two platforms differ: Linux reports the refusal (status 11), Wine only a
    # timeout (status 12). Neither is compared here.
    yield "ip_reputation_listed", ["scan", "ip_reputation_score_sensor", "--set", "host=192.0.2.10"] + bl + [
        "--set", "blacklist_servers=listed.bl.test\\nclean.bl.test\\nscored.bl.test=127.0.0.[4..6]*5"]
    yield "ip_reputation_clean", ["scan", "ip_reputation_score_sensor", "--set", "host=192.0.2.77"] + bl + [
        "--set", "blacklist_servers=listed.bl.test*3\\nmissing.bl.test"]


TIMING = [
    (re.compile(r";; Query time: \d+ msec"), ";; Query time: N msec"),
    (re.compile(r"(->>HEADER<<- opcode: \w+, status: \w+, id: )\d+"), r"\1N"),
]


def normalise_log(text):
    for pattern, replacement in TIMING:
        text = pattern.sub(replacement, text)
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


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--linux-probe", required=True)
    parser.add_argument("--windows-probe", required=True)
    parser.add_argument("--wine", required=True, help="the wrapper that runs a Windows program under Wine")
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
        for name, command in cases(servers):
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
            if normalise_log(linux[2]) != normalise_log(windows[2]):
                problems.append(f"log:\n--- Linux\n{linux[2]}\n--- Windows\n{windows[2]}")
            if problems:
                failed += 1
                print(f"FAIL {name}: " + "\n".join(problems))
            else:
                passed += 1
                print(f"ok   {name} (Linux {linux[3]:.1f} s, Wine {windows[3]:.1f} s)")
            sys.stdout.flush()
    finally:
        servers.stop()
    print(f"{passed} passed, {failed} failed")
    return 0 if failed == 0 and passed > 0 else 1


if __name__ == "__main__":
    sys.exit(main())
