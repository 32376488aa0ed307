#!/usr/bin/env python3
"""sockets.py MEASURE PROGRAM: types 5 and 15 in a network namespace with 200
and with 2,000 sockets and 1,000 processes, beside ss, and type 5 with 20
containers of ten processes among them. Most of type 5 is the process list.
Prints a table of processor time. Needs root. Fails when a run fails or a
container costs more than reading its tables, which is the kernel's work: it
walks the sockets of all network namespaces for each."""
import ctypes
import os
import signal
import shutil
import socket
import subprocess
import sys
import tempfile
import time

ROUNDS, PROCESSES, CONTAINERS, IN_CONTAINER = 4, 1000, 20, 10
MEASURE, PROGRAM = sys.argv[1:3]
CLONE_NEWNET = 0x40000000
CALLS = ctypes.CDLL(None, use_errno=True)


def new_network():
    if CALLS.unshare(CLONE_NEWNET) != 0:
        raise OSError(ctypes.get_errno(), "unshare")
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)


def die_with_parent():
    CALLS.prctl(1, signal.SIGKILL)


def listener(port=0):
    end = socket.socket()
    end.bind(("127.0.0.1", port))
    end.listen(100)
    return end


def child(body):
    """A process that does `body`, then sleeps. Returns once that is done."""
    done, tell = os.pipe()
    pid = os.fork()
    if pid == 0:
        die_with_parent()
        os.close(done)
        kept = body()
        os.close(tell)
        while kept is not None:
            signal.pause()
    os.close(tell)
    os.read(done, 1)
    os.close(done)
    return pid


def sockets_of(listeners, pairs):
    """A process body: this many listeners and connections with both ends."""
    def body():
        ends = [listener() for _ in range(listeners)]
        hub = listener()
        for _ in range(pairs):
            ends += [socket.create_connection(hub.getsockname()), hub.accept()[0]]
        return ends
    return body


def end(pids):
    for pid in pids:
        os.kill(pid, signal.SIGKILL)
    for pid in pids:
        os.waitpid(pid, 0)


def measure(kind, option, peers, work):
    ours = [PROGRAM, f"type={kind}", f"path={work}/out.json", f"option={option}", f"logpath={work}"]
    words = [MEASURE, str(ROUNDS)]
    for command in [ours] + peers:
        words += command + ["--"]
    out = subprocess.run(words[:-1], check=True, capture_output=True, text=True).stdout
    rows = [line.split() for line in out.splitlines()]
    if any(int(row[3]) for row in rows) or rows[0][4] != "1":
        sys.exit(f"type {kind}: a run failed")
    return [(int(row[0]) / 1e3, int(row[2]) / 1024) for row in rows]


def row(what, ours, peer=None):
    print(f"| {what} | {ours[0]:.1f} | {ours[1]:.1f} | "
          + (f"{peer[0]:.1f} | {ours[0] / peer[0]:.1f} |" if peer else "| |"))


def host(count, work):
    """`count` listeners, then as many connection ends, over 1,000 processes."""
    for kind, peer, body in ((5, "ss -lntup", sockets_of(count // 100, 0)),
                             (15, "ss -tnp", sockets_of(0, count // 200))):
        pids = [child(body if i < 100 else list) for i in range(PROCESSES)]
        try:
            ours, peers = measure(kind, 0, [peer.split()], work)
            row(f"type {kind}, {count:,} sockets, peer `{peer}`", ours, peers)
            if kind == 5:
                row("the process list alone (type 3, option 1)", measure(3, 1, [], work)[0])
        finally:
            end(pids)


def in_container(hierarchy, number):
    group = f"{hierarchy}/docker/{number:064d}"
    os.makedirs(group, exist_ok=True)
    def body():
        with open(group + "/cgroup.procs", "w") as procs:
            procs.write("0")
        new_network()
        ends = [listener(8080)]
        for _ in range(IN_CONTAINER - 1):
            if os.fork() == 0:
                die_with_parent()
                break
        return ends
    return group, body


def tables_cost():
    """Milliseconds of processor time to read the tables of one namespace once."""
    times = 20
    start = time.process_time()
    for _ in range(times):
        for name in ("tcp", "tcp6", "udp", "udp6"):
            with open("/proc/net/" + name, "rb", buffering=0) as table:
                while table.read(65536):
                    pass
    return (time.process_time() - start) * 1e3 / times


def containers(work):
    """Type 5 with the same number of processes, without and with containers."""
    hierarchy = work + "/cgroup"
    os.mkdir(hierarchy)
    subprocess.run(["mount", "-t", "cgroup", "-o", "none,name=systemd", "cgroup", hierarchy],
                   check=True)
    groups, pids = [], []
    try:
        body = sockets_of(2, 0)
        pids = [child(body if i < 100 else list) for i in range(PROCESSES)]
        (without,) = measure(5, 8, [], work)
        end(pids)
        pids = []
        for number in range(CONTAINERS):
            group, start = in_container(hierarchy, number)
            groups.append(group)
            pids.append(child(start))
        pids += [child(body if i < 100 else list)
                 for i in range(PROCESSES - CONTAINERS * IN_CONTAINER)]
        (with_them,) = measure(5, 8, [], work)
    finally:
        end(pids)
        for group in groups:
            os.rmdir(group)
        subprocess.run(["umount", "-l", hierarchy], check=True)
    row("type 5, 200 sockets, no container", without)
    row(f"type 5, 200 sockets, {CONTAINERS} containers of {IN_CONTAINER} among the processes",
        with_them)
    each = (with_them[0] - without[0]) / CONTAINERS
    tables = tables_cost()
    print(f"\nA container costs {each:.2f} ms, reading its tables to their end alone {tables:.2f}.")
    # A reading for each of its processes would be ten times that, and asking a
    # shell for each table 10 ms and more on top.
    return each < tables + 3


def main():
    work = os.path.realpath(tempfile.mkdtemp(prefix="ledgora-bench-"))
    try:
        new_network()
        os.environ["HOME"] = work  # the login shell's own profile isn't what is measured
        print("| run | CPU ms | peak MiB | peer CPU ms | against the peer |\n|---|---|---|---|---|")
        for count in (200, 2000):
            host(count, work)
        if not containers(work):
            sys.exit("a container costs too much")
    finally:
        shutil.rmtree(work, ignore_errors=True)


main()
