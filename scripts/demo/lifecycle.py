#!/usr/bin/env python3
"""The demo: one shadow copy's whole road through vantor-vss against the array simulator.

Starts vantor-array-sim with two groups (one also backing a virtual machine's three disks, one
volume collection), writes an emulated Windows host, and runs: a shadow copy over volumes of
both groups, import and hide of its snapshots, an in-place restore that brings back data written
after the snapshot, a shadow copy of one virtual disk that snapshots the disk's whole volume
collection, a transportable shadow copy made on this host and imported, then released, on a
second host, an aborted set that leaves no snapshot behind, and an array whose certificate was
replaced getting no request until it is trusted again. Exits non-zero when any step does not do
what it should.
"""
import argparse
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
import urllib.request

INITIATOR = "iqn.1991-05.com.microsoft:demo-host"
INITIATOR_B = "iqn.1991-05.com.microsoft:demo-host-b"
PASSWORDS = {"group-east": "east-secret", "group-west": "west-secret"}


def step(text):
    print(f"\n=== {text}", flush=True)


# What the package leaves in an installed host's registry: the COM class served by the service,
# the service (started on demand by COM) and the provider's registration with VSS. doctor
# checks these.
INSTALLED_PROVIDER = (
    "\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\CLSID\\{08B1DE05-DA78-4895-BAC0-E576ED483FFA}\\LocalServer32]\n"
    "@=\"C:\\\\Program Files\\\\Vantor Storage\\\\VantorVssProvider.exe\"\n"
    "\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Classes\\AppID\\{250271C3-D460-4BC9-B015-3EBC3C0DA2C4}]\n"
    "\"LocalService\"=\"Vantor VSS Hardware Provider\"\n"
    "\n[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\VSS\\Providers\\{5253d47a-55bb-4b3a-928d-5f4baec6fbf4}]\n"
    "\"Type\"=dword:00000003\n"
    "\n[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Services\\Vantor VSS Hardware Provider]\n"
    "\"ImagePath\"=\"C:\\\\Program Files\\\\Vantor Storage\\\\VantorVssProvider.exe\"\n"
    "\"Start\"=dword:00000003\n")


class Demo:
    def __init__(self, vss_command, sim: pathlib.Path, work: pathlib.Path):
        self.vss_command = vss_command
        self.sim = sim
        self.work = work
        self.host = work / "host"
        self.host.mkdir(parents=True)
        self.host_b = work / "host-b"
        self.host_b.mkdir(parents=True)
        self.sim_proc = None
        self.control = None

    # --- the simulator ---------------------------------------------------------------------
    def start_simulator(self):
        ready = self.work / "ready.json"
        scenario = pathlib.Path(__file__).with_name("scenario.json")
        self.sim_proc = subprocess.Popen([str(self.sim), "--scenario", str(scenario), "--ready-file", str(ready)],
                                         stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        deadline = time.time() + 30
        while not ready.exists():
            if self.sim_proc.poll() is not None or time.time() > deadline:
                raise RuntimeError("the simulator did not start: " + self.sim_proc.stderr.read().decode())
            time.sleep(0.1)
        self.ready = json.loads(ready.read_text())
        self.control = self.ready["control_url"]
        for g in self.ready["groups"]:
            print(f"group {g['name']} at {g['address']}")

    def stop_simulator(self):
        if self.sim_proc and self.sim_proc.poll() is None:
            self.sim_proc.send_signal(signal.SIGTERM)
            self.sim_proc.wait(timeout=10)

    def http(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        req = urllib.request.Request(self.control + path, data=data, method=method,
                                     headers={"Content-Type": "application/json"})
        with urllib.request.urlopen(req, timeout=10) as answer:
            text = answer.read().decode()
            return json.loads(text) if text else {}

    def state(self):
        return self.http("GET", "/control/state")

    def volumes(self):
        return [v for g in self.state()["groups"] for v in g["volumes"]]

    def snapshots(self):
        return [s for g in self.state()["groups"] for s in g.get("snapshots", [])]

    # --- the host and the tool ---------------------------------------------------------------
    def disk_serials(self, initiator):
        return [d["serial_number"] for d in self.http("GET", f"/host/{initiator}/disks")]

    def vantor_vss(self, *args, stdin=None, expect=0, host=None):
        host = host or self.host
        cmd = [*self.vss_command, "--host-dir", str(host), "--json", *args]
        where = "" if host == self.host else f"[{host.name}] "
        print(f"$ {where}vantor-vss " + " ".join(args), flush=True)
        done = subprocess.run(cmd, input=stdin, capture_output=True, text=True, timeout=300)
        try:
            report = json.loads(done.stdout)
        except json.JSONDecodeError:
            raise RuntimeError(f"vantor-vss printed no JSON:\n{done.stdout}\n{done.stderr}")
        for call in report.get("calls", []):
            answer = "" if "supported" not in call else ("  supported" if call["supported"] else "  not supported")
            print(f"  {call['name']:<26} {call['hr']}  {call['ms']:8.1f} ms  {call.get('lun', '')}{answer}")
        for note in report.get("notes", []):
            print(f"  {note}")
        if done.returncode != expect:
            raise RuntimeError(f"vantor-vss {' '.join(args)} exited {done.returncode}, expected {expect}")
        return report

    def write_host(self, host, initiator, groups):
        (host / "host.json").write_text(json.dumps({"initiator": initiator, "control": self.control}))
        (host / "registry.reg").write_text(
            "Windows Registry Editor Version 5.00\n\n"
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Vantor Storage\\Configuration]\n" + INSTALLED_PROVIDER +
            # The computer's name: the owner every snapshot made on this host names.
            "\n[HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ComputerName]\n"
            f"\"ComputerName\"=\"{host.name.upper()}\"\n")
        for g in self.ready["groups"]:
            if g["name"] in groups:
                self.vantor_vss("config", "add-group", g["address"], "--user", "admin", "--password-stdin",
                                stdin=PASSWORDS[g["name"]] + "\n", host=host)

    def log_in(self, initiator):
        # The administrator connected the host to its volumes' targets once; the virtual
        # machine's disks come through the hypervisor instead.
        for target in sorted({v["target_name"] for v in self.volumes() if "virtual_disk_serial" not in v}):
            answer = self.http("POST", f"/host/{initiator}/iscsi/login", {"target_name": target})
            if answer.get("status") != 0:
                raise RuntimeError(f"login to {target} failed: {answer}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build_dir", nargs="?", default="build/native", help="the native build tree")
    parser.add_argument("--windows-exe", help="run this vantor-vss.exe under Wine instead of the native tool")
    parser.add_argument("--sim", help="the vantor-array-sim executable (default: the build tree's)")
    args = parser.parse_args()
    build_dir = pathlib.Path(args.build_dir).resolve()
    sim = pathlib.Path(args.sim).resolve() if args.sim else build_dir / "tools/array-sim/vantor-array-sim"
    if not sim.exists():
        print(f"the array simulator {sim} is not built", file=sys.stderr)
        sys.exit(77)
    with tempfile.TemporaryDirectory(prefix="vantor-demo-") as tmp:
        if args.windows_exe:
            # A Wine prefix of its own: the registry and credential manager start empty.
            os.environ["VANTOR_WINEPREFIX"] = str(pathlib.Path(tmp) / "wineprefix")
            runner = pathlib.Path(__file__).resolve().parents[2] / "cmake/wine-run.sh"
            vss_command = [str(runner), str(pathlib.Path(args.windows_exe).resolve())]
        else:
            vss_command = [str(build_dir / "tools/vantor-vss/vantor-vss")]
        demo = Demo(vss_command, sim, pathlib.Path(tmp))
        try:
            step("array simulator with two groups")
            demo.start_simulator()
            step("emulated Windows host: groups and credentials configured, targets logged in")
            demo.write_host(demo.host, INITIATOR, PASSWORDS.keys())
            demo.log_in(INITIATOR)
            demo.vantor_vss("config", "show")
            if args.windows_exe:
                # vantor-vss.exe reads Wine's own registry, where nothing installed the provider
                # (the out-of-process tests install it): doctor says so and exits 1.
                report = demo.vantor_vss("doctor", expect=1)
                failed = sorted(c["check"] for c in report["checks"] if c["verdict"] == "fail")
                if failed != ["COM registration", "VSS registration", "service"]:
                    raise RuntimeError(f"doctor under Wine failed other checks than the installation's: {failed}")
            else:
                demo.vantor_vss("doctor")
            demo.vantor_vss("disks")

            vols = {v["name"]: v for v in demo.volumes()}
            step("shadow copy over sql-data (group-east) and file-share (group-west)")
            created = demo.vantor_vss("create", vols["sql-data"]["serial_number"], vols["file-share"]["serial_number"])
            commit = created["commit_ms"]
            print(f"  commit took {commit:.1f} ms of the 10 s hold-writes window")
            snaps = {s["source_serial"]: s for s in created["snapshots"]}
            for s in demo.snapshots():
                print(f"  on the array: snapshot {s['name']} of {s['vol_name']}, serial {s['serial_number']}")
            sql_snap = snaps[vols["sql-data"]["serial_number"]]["snapshot_serial"]
            share_snap = snaps[vols["file-share"]["serial_number"]]["snapshot_serial"]

            step("import: the snapshots appear as disks with the identity GetTargetLuns gave")
            demo.vantor_vss("import", sql_snap, share_snap)
            step("hide the imported snapshots again")
            demo.vantor_vss("hide", sql_snap, share_snap)

            step("in-place restore of sql-data from its snapshot")
            sql = vols["sql-data"]
            before = next(v for v in demo.volumes() if v["id"] == sql["id"])["data_version"]
            demo.http("POST", f"/control/volumes/{sql['id']}/write")
            written = next(v for v in demo.volumes() if v["id"] == sql["id"])["data_version"]
            print(f"  data version at snapshot time {before}, after a write {written}")
            demo.vantor_vss("resync", f"{sql_snap}={sql['serial_number']}")
            after = next(v for v in demo.volumes() if v["id"] == sql["id"])["data_version"]
            print(f"  data version after the restore: {after}")
            if after != before:
                raise RuntimeError("the restore did not bring back the snapshot's data")

            step("shadow copy of one disk of a virtual machine: its whole volume collection is snapshotted")
            vm_disk = vols["vm-disk-1"]["virtual_disk_serial"]
            before = {s["id"] for s in demo.snapshots()}
            demo.vantor_vss("create", vm_disk)
            taken = sorted(s["vol_name"] for s in demo.snapshots() if s["id"] not in before)
            print(f"  on the array: new snapshots of {', '.join(taken)}")
            if taken != ["vm-disk-1", "vm-disk-2", "vm-disk-3"]:
                raise RuntimeError("the virtual disk's volume collection was not snapshotted whole")

            step("transportable shadow copy of sql-log, made on this host, imported and released on host B")
            demo.write_host(demo.host_b, INITIATOR_B, ["group-east"])
            made = demo.vantor_vss("create", "--context", "transportable", vols["sql-log"]["serial_number"])
            set_id = made["snapshot_set_id"]
            log_snap = made["snapshots"][0]["snapshot_serial"]
            demo.vantor_vss("import", "--document", str(demo.host / "shadow-copies.json"), set_id, host=demo.host_b)
            on_b, on_a = log_snap in demo.disk_serials(INITIATOR_B), log_snap in demo.disk_serials(INITIATOR)
            print(f"  snapshot {log_snap}: a disk of host B {on_b}, of this host {on_a}")
            if not on_b or on_a:
                raise RuntimeError("the transportable snapshot did not appear on host B alone")
            demo.vantor_vss("delete", set_id, host=demo.host_b)
            if log_snap in demo.disk_serials(INITIATOR_B) or demo.http("GET", f"/host/{INITIATOR_B}/iscsi/sessions"):
                raise RuntimeError("host B still sees the released snapshot or holds its session")
            print("  released on host B: its disk and iSCSI session are gone")

            step("a set aborted after its commit leaves no snapshot behind")
            count_before = len(demo.snapshots())
            demo.vantor_vss("create", "--abort-after", "commit", vols["sql-log"]["serial_number"], expect=0)
            count_after = len(demo.snapshots())
            print(f"  snapshots on the arrays before {count_before}, after the aborted set {count_after}")
            if count_after != count_before:
                raise RuntimeError("the aborted set left snapshots on the array")

            step("group-east's certificate is replaced: the provider sends it nothing until it is trusted again")
            east = next(g for g in demo.ready["groups"] if g["name"] == "group-east")
            pinned = east["certificate_sha256"]
            renewed = demo.http("POST", f"/control/groups/{east['id']}/certificate", {})["certificate_sha256"]
            demo.http("POST", "/control/reset_log")
            demo.vantor_vss("create", vols["sql-data"]["serial_number"], expect=1)
            counts = demo.http("GET", "/control/requests")["groups"].get(east["id"], {}).get("counts", {})
            rest = sum(n for op, n in counts.items() if op != "soap")
            trace = b"".join(p.read_bytes() for p in (demo.host / "logs").glob("*")).replace(b"\0", b"").decode("latin-1")
            print(f"  REST requests that reached group-east: {rest}; the trace names both fingerprints: "
                  f"{pinned in trace and renewed in trace}")
            if rest != 0 or pinned not in trace or renewed not in trace:
                raise RuntimeError("the replaced certificate was not refused as it should be")
            demo.vantor_vss("config", "trust", east["address"], "--certificate-sha256", renewed)
            demo.vantor_vss("create", vols["sql-data"]["serial_number"])
            step("demo finished: every step did what it should")
        finally:
            demo.stop_simulator()


if __name__ == "__main__":
    try:
        main()
    except Exception as error:  # the demo's one failure path: say what broke
        print(f"\ndemo FAILED: {error}", file=sys.stderr)
        sys.exit(1)
