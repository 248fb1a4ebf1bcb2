#!/usr/bin/env python3
"""The provider out of process, as VSS drives it, under Wine.

One Wine prefix for the whole group: `setup` installs the service and the test-only proxy/stub
DLL, swaps in the service's emulated-host build, starts the native array simulator and
configures its groups with vantor-vss.exe; `lifecycle` then drives the installed service
through `vantor-vss.exe --provider installed` and checks the simulator's state and the
service's own trace; `teardown` ends it all. Usage:

    out_of_process.py --work DIR --bin NAME=PATH ... STEP

Exit status: 0 passed, 1 failed, 77 skipped (no native simulator).
"""
import argparse
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import time
import urllib.request

INITIATOR = "iqn.1991-05.com.microsoft:oop-host"
INSTALL_DIR = r"C:\Program Files\Vantor Storage"
SKIP = 77
# The operations VSS calls; the trace's "Enter"/"Exit" lines of these bound one call.
OPERATIONS = ("AreLunsSupported", "FillInLunInfo", "BeginPrepareSnapshot", "GetTargetLuns", "LocateLuns",
              "OnLunEmpty", "OnLunStateChange", "ResyncLuns", "EndPrepareSnapshots", "PreCommitSnapshots",
              "CommitSnapshots", "PostCommitSnapshots", "PreFinalCommitSnapshots", "PostFinalCommitSnapshots",
              "AbortSnapshots", "OnLoad", "OnUnload")
SCOPE_LINE = re.compile(r"\[(\d+):(\d+)\] \S+\s+CLogger\(\d+\): (Enter|Exit) CVaVssHwProvider::(\w+)")


class Failure(Exception):
    pass


def check(condition, text):
    if not condition:
        raise Failure(text)


def windows_path(path):
    return "Z:" + str(pathlib.Path(path).resolve()).replace("/", "\\")


class Host:
    """The Wine prefix, the simulator and the files the steps share."""

    def __init__(self, work, binaries):
        self.work = pathlib.Path(work).resolve()
        self.bin = binaries
        self.prefix = self.work / "prefix"
        self.host_dir = self.work / "host"
        self.env = dict(os.environ, WINEPREFIX=str(self.prefix), WINEDEBUG="-all",
                        WINEDLLOVERRIDES="mscoree,mshtml=")
        self.wine = shutil.which("wine64") or shutil.which("wine") or "/usr/lib/wine/wine64"
        self.wineserver = shutil.which("wineserver") or "/usr/lib/wine/wineserver"
        state = self.work / "state.json"
        self.state = json.loads(state.read_text()) if state.exists() else {}

    def save(self):
        (self.work / "state.json").write_text(json.dumps(self.state))

    # --- Wine ----------------------------------------------------------------------------------
    def run(self, *args, stdin=None, timeout=180):
        return subprocess.run([self.wine, *args], env=self.env, input=stdin, capture_output=True, text=True,
                              timeout=timeout)

    def server(self, *args):
        # A server started here outlives the call: it must not hold this process's pipes.
        subprocess.run([self.wineserver, *args], env=self.env, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, timeout=120)

    def drive_c(self, windows):
        return self.prefix / "drive_c" / windows[3:].replace("\\", "/")

    # --- the tool ------------------------------------------------------------------------------
    def tool_command(self, *args, host_dir=None):
        return [self.wine, self.bin["vantor-vss"], "--host-dir", windows_path(host_dir or self.host_dir), "--provider",
                "installed", "--json", *args]

    def tool(self, *args, stdin=None, expect=0, host_dir=None):
        done = subprocess.run(self.tool_command(*args, host_dir=host_dir), env=self.env, input=stdin, capture_output=True, text=True,
                              timeout=300)
        return self.report(args, done.returncode, done.stdout, done.stderr, expect)

    @staticmethod
    def report(args, status, stdout, stderr, expect):
        try:
            report = json.loads(stdout)
        except json.JSONDecodeError:
            raise Failure(f"vantor-vss {' '.join(args)} printed no JSON (exit {status}):\n{stdout}\n{stderr}")
        calls = " ".join(f"{c['name']}={c['hr']}" for c in report.get("calls", []))
        print(f"$ vantor-vss --provider installed {' '.join(args)} -> {status}: {calls}", flush=True)
        for note in report.get("notes", []):
            print(f"    {note}")
        check(status == expect, f"vantor-vss {' '.join(args)} exited {status}, expected {expect}")
        return report

    # --- the simulator -------------------------------------------------------------------------
    def http(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.state["control"] + path, data=data, method=method,
                                         headers={"Content-Type": "application/json"})
        with urllib.request.urlopen(request, timeout=10) as answer:
            text = answer.read().decode()
            return json.loads(text) if text else {}

    def groups(self):
        return {g["name"]: g for g in self.http("GET", "/control/state")["groups"]}

    def volumes(self):
        return {v["name"]: v for g in self.groups().values() for v in g["volumes"]}

    def snapshots(self):
        return {s["serial_number"]: s for g in self.groups().values() for s in g.get("snapshots", [])}

    def sessions(self):
        return {s["target_name"] for s in self.http("GET", f"/host/{INITIATOR}/iscsi/sessions")}

    def disks(self):
        """The serial numbers of the disks the host sees."""
        return {d["serial_number"] for d in self.http("GET", f"/host/{INITIATOR}/disks")}

    # --- the service's trace ----------------------------------------------------------------------
    def service_logs(self):
        # Wine starts services with %ProgramData% at C:\users\Public, other programs at C:\ProgramData.
        return [self.drive_c(rf"C:\{base}\Vantor Storage\Logs\VSSTrace.log") for base in ("users\\Public", "ProgramData")]

    def mark(self):
        """Where the service's trace ends now; `since` reads what came after."""
        return {str(p): p.stat().st_size if p.exists() else 0 for p in self.service_logs()}

    def since(self, mark, settle=1.0):
        time.sleep(settle)  # the trace is written by a thread of its own
        text = ""
        for path in self.service_logs():
            if path.exists():
                with open(path, "rb") as log:
                    log.seek(mark.get(str(path), 0))
                    text += log.read().decode(errors="replace")
        return text


def operations(trace):
    """The provider operations in a trace, in order: (process, thread, enter|exit, name)."""
    return [(m.group(1), m.group(2), m.group(3), m.group(4)) for m in SCOPE_LINE.finditer(trace)
            if m.group(4) in OPERATIONS]


def expect_served_by_service(host, trace, names):
    """Every operation named ran in one process, the service's, one at a time: none entered
    while another was running, whichever requestor called it."""
    ops = operations(trace)
    missing = [n for n in names if n not in {name for _, _, kind, name in ops if kind == "Enter"}]
    check(not missing, f"the service's trace shows no {missing}")
    processes = {pid for pid, *_ in ops}
    check(len(processes) == 1, f"provider calls ran in several processes: {processes}")
    running = None
    for _, thread, kind, name in ops:
        if kind == "Enter":
            check(running is None, f"{name} entered on thread {thread} while {running} was running")
            running = (thread, name)
        else:
            check(running == (thread, name), f"{name} left on thread {thread} while {running} was running")
            running = None
    tool_trace = host.host_dir / "logs" / "VSSTrace.log"
    if tool_trace.exists():
        check("Enter CVaVssHwProvider::" not in tool_trace.read_text(errors="replace"),
              "the tool's own process ran provider code")
    return processes.pop()


# --- steps ---------------------------------------------------------------------------------------
def setup(host):
    if not pathlib.Path(host.bin["sim"]).exists():
        print(f"no native simulator at {host.bin['sim']} (build the native preset first): skipped")
        return SKIP
    teardown(host)
    host.state = {}
    host.work.mkdir(parents=True, exist_ok=True)
    host.host_dir.mkdir()
    started = time.time()
    check(host.run("wineboot", "-i", timeout=300).returncode == 0, "wineboot failed")
    # wineboot -i leaves a second services.exe for a while; start from one persistent server.
    host.server("-w")
    host.server("-p")
    # The first program after that brings up Wine's services, which then live as long as the
    # server: like it, they must not inherit a pipe that somebody waits on.
    subprocess.run([host.wine, "wineboot"], env=host.env, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL, timeout=300)

    # As an administrator installs it (with the VSS coordinator double Wine lacks).
    done = subprocess.run(["sh", host.bin["install"], host.bin["msi"], host.bin["coordinator"]], env=host.env,
                          stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=300)
    check(done.returncode == 0, f"installing the package failed: {done.stdout}{done.stderr}")
    # Same sources, emulated storage stack: the installed registration now starts this build.
    installed = host.drive_c(INSTALL_DIR)
    shutil.copy(host.bin["emulated"], installed / "VantorVssProvider.exe")
    done = host.run("regsvr32", "/s", windows_path(host.bin["proxy"]))
    check(done.returncode == 0, f"registering the proxy/stub DLL failed: {done.returncode}")

    scenario = pathlib.Path(__file__).with_name("scenario.json")
    ready = host.work / "ready.json"
    log = open(host.work / "sim.log", "w")
    sim = subprocess.Popen([host.bin["sim"], "--scenario", str(scenario), "--ready-file", str(ready)],
                           stdin=subprocess.DEVNULL, stdout=log, stderr=log, start_new_session=True)
    host.state["sim_pid"] = sim.pid
    host.save()
    deadline = time.time() + 30
    while not ready.exists():
        check(sim.poll() is None and time.time() < deadline, "the simulator did not start")
        time.sleep(0.1)
    info = json.loads(ready.read_text())
    host.state["control"] = info["control_url"]
    host.state["groups"] = {g["name"]: g["address"] for g in info["groups"]}
    host.save()

    endpoint = json.dumps({"initiator": INITIATOR, "control": host.state["control"]})
    (host.host_dir / "host.json").write_text(endpoint)
    (installed / "emulated-host.json").write_text(endpoint)
    passwords = {"group-east": "east-secret", "group-west": "west-secret"}
    for name, password in passwords.items():
        host.tool("config", "add-group", host.state["groups"][name], "--user", "admin", "--password-stdin",
                  stdin=password + "\n")
    # The administrator connected the host to its volumes' targets once.
    for target in sorted({v["target_name"] for v in host.volumes().values()}):
        check(host.http("POST", f"/host/{INITIATOR}/iscsi/login", {"target_name": target}).get("status") == 0,
              f"login to {target} failed")
    print(f"prefix, service, proxy and simulator ready in {time.time() - started:.1f} s")
    return 0


def lifecycle(host):
    """A set's whole life across processes, with a second requestor that comes during its commit."""
    vols = host.volumes()
    sql, vm = vols["sql-data"], vols["vm-disk-1"]
    before = set(host.snapshots())
    mark = host.mark()

    # The set's commit is slow, so the second requestor comes while it runs.
    host.http("POST", "/control/faults", {"group": host.groups()["group-east"]["id"], "op": "bulk_create",
                                          "delay_ms": 3000, "count": 1})
    first = subprocess.Popen(host.tool_command("create", sql["serial_number"], vm["serial_number"]), env=host.env,
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    deadline = time.time() + 120
    while "Enter CVaVssHwProvider::CommitSnapshots" not in host.since(mark, settle=0):
        check(first.poll() is None and time.time() < deadline, "the first requestor never reached its commit")
        time.sleep(0.05)
    check("Exit CVaVssHwProvider::CommitSnapshots" not in host.since(mark, settle=0),
          "the first commit ended before the second requestor started")
    # Another requestor: its own shadow-copy document, the same service.
    other_dir = host.work / "other-requestor"
    other_dir.mkdir(exist_ok=True)
    shutil.copy(host.host_dir / "host.json", other_dir)
    second = host.tool("create", vols["sql-log"]["serial_number"], host_dir=other_dir)
    out, err = first.communicate(timeout=300)
    created = Host.report(("create",), first.returncode, out, err, 0)
    others = {s["snapshot_serial"] for s in second["snapshots"]}
    check(others, "the second requestor's set has no snapshot")
    made = {s["source_serial"]: s["snapshot_serial"] for s in created["snapshots"]}
    check(set(made) == {sql["serial_number"], vm["serial_number"]}, f"the set covers {set(made)}")
    on_array = host.snapshots()
    check(set(on_array) - before - others == set(made.values()),
          "the arrays hold other snapshots than GetTargetLuns named")
    groups_of = {on_array[s]["vol_name"] for s in made.values()}
    check(groups_of == {"sql-data", "vm-disk-1"}, f"snapshots of {groups_of}")
    sql_snap, vm_snap = made[sql["serial_number"]], made[vm["serial_number"]]

    imported = host.tool("import", sql_snap, vm_snap)
    check({i["snapshot_serial"] for i in imported["imported"]} == {sql_snap, vm_snap},
          "the snapshots did not arrive with the identity GetTargetLuns gave")
    # FillInLunInfo rewrote each arrived disk's record in the service (its designators grow), and
    # what came back to this process is the identity GetTargetLuns gave.
    targets = {v["target_lun"]["serial_number"]: v["target_lun"]
               for s in json.loads((host.host_dir / "shadow-copies.json").read_text())["sets"] for v in s["volumes"]}
    filled = {f["lun"]["serial_number"]: f["lun"] for f in imported["filled"]}
    for snap in (sql_snap, vm_snap):
        check(snap in filled, f"FillInLunInfo did not accept the arrived disk of {snap}")
        check(filled[snap]["device_id_descriptor"] == targets[snap]["device_id_descriptor"],
              f"FillInLunInfo across processes returned {filled[snap]['device_id_descriptor']} for {snap}, "
              f"GetTargetLuns gave {targets[snap]['device_id_descriptor']}")
    on_array = host.snapshots()
    check(on_array[sql_snap]["online"] and on_array[vm_snap]["online"], "imported snapshots are not online")
    exposed = {on_array[sql_snap]["target_name"], on_array[vm_snap]["target_name"]}
    check(exposed <= host.sessions(), "the host is not logged in to the imported snapshots")
    check({sql_snap, vm_snap} <= host.disks(), "the imported snapshots are no disks of the host")
    # The sql-data snapshot has a target of its own; vm-disk-1's is its group's, which stays.
    own_target = on_array[sql_snap]["target_name"]

    def expect_gone(what):
        on_array = host.snapshots()
        check(not on_array[sql_snap]["online"] and not on_array[vm_snap]["online"], f"{what} snapshots are online")
        check(own_target not in host.sessions() and not {sql_snap, vm_snap} & host.disks(),
              f"the host still sees the {what} snapshots")

    host.tool("hide", sql_snap, vm_snap)
    expect_gone("hidden")

    # Released as VSS releases a shadow copy on the host that imported it.
    host.tool("import", created["snapshot_set_id"])
    host.tool("delete", created["snapshot_set_id"])
    expect_gone("released")
    listed = host.tool("list")
    check(all(s["snapshot_set_id"] != created["snapshot_set_id"] for s in listed["sets"]),
          "the released set is still in the shadow-copy document")

    trace = host.since(mark)
    service = expect_served_by_service(host, trace, ["AreLunsSupported", "FillInLunInfo", "BeginPrepareSnapshot",
                                                     "EndPrepareSnapshots", "CommitSnapshots", "GetTargetLuns",
                                                     "LocateLuns", "OnLunStateChange", "OnLunEmpty"])
    # The service's process opened the credentials that `config add-group` stored.
    for group in ("group-east", "group-west"):
        address = re.escape(host.state["groups"][group])
        check(re.search(rf"\[{service}:\d+\].*Successfully Retreived Array Credentials for GroupMgmt IP {address}\b",
                        trace), f"the service's process did not read the stored credential of {group}")
    return 0


def teardown(host):
    pid = host.state.get("sim_pid")
    cmdline = pathlib.Path(f"/proc/{pid}/cmdline")
    # Only the simulator this group started: a stale state file's process id may be another's now.
    if pid and cmdline.exists() and b"vantor-array-sim" in cmdline.read_bytes():
        try:
            os.kill(pid, signal.SIGTERM)
        except ProcessLookupError:
            pass
    if host.prefix.exists():
        host.server("-k")
        host.server("-w")
    shutil.rmtree(host.work, ignore_errors=True)
    return 0


STEPS = {"setup": setup, "lifecycle": lifecycle, "teardown": teardown}


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--work", required=True)
    parser.add_argument("--bin", action="append", default=[], help="NAME=PATH")
    parser.add_argument("step", choices=STEPS)
    args = parser.parse_args()
    binaries = dict(b.split("=", 1) for b in args.bin)
    host = Host(args.work, binaries)
    if args.step not in ("setup", "teardown") and "control" not in host.state:
        print("the out-of-process setup did not run: skipped")
        return SKIP
    started = time.time()
    try:
        status = STEPS[args.step](host)
    except Failure as failure:
        print(f"FAILED: {failure}")
        return 1
    print(f"{args.step}: {time.time() - started:.1f} s")
    return status


if __name__ == "__main__":
    sys.exit(main())
