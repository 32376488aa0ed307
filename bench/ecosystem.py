#!/usr/bin/env python3
"""Types 24 and 25 at scale, beside npm and Python on the same packages, and
type 22 on this machine. $1: an installation tree (it is copied). Needs root, for
a mount namespace. Prints a table."""
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time

NPM, PYTHON = 3000, 3000


def build(work):
    modules = work + "/prefix/lib/node_modules"
    for i in range(NPM):
        os.makedirs("%s/package-%04d" % (modules, i))
        with open("%s/package-%04d/package.json" % (modules, i), "w") as out:
            json.dump({"name": "package-%04d" % i, "version": "1.0.%d" % i,
                       "scripts": {"test": "tap", "build": "tsc"}}, out)
    os.makedirs(work + "/home")
    with open(work + "/home/.npmrc", "w") as out:
        out.write("prefix=%s/prefix # here\n" % work)
    with open(work + "/passwd", "w") as out:
        out.write("root:x:0:0::%s/home:/bin/sh\n" % work)
    site = "%s/lib/python%d.%d/dist-packages" % ((work,) + sys.version_info[:2])
    for i in range(PYTHON):
        os.makedirs("%s/package_%04d-1.0.dist-info" % (site, i))
        with open("%s/package_%04d-1.0.dist-info/METADATA" % (site, i), "w") as out:
            out.write("Metadata-Version: 2.1\nName: package-%04d\nVersion: 1.0\n\n" % i
                      + "A description.\n" * 200)


def enter(work):
    """Runs before each command: our accounts and Python packages in place."""
    os.chdir(work)
    os.environ["HOME"] = work + "/home"
    libc = __import__("ctypes").CDLL(None, use_errno=True)
    assert libc.unshare(0x20000) == 0  # CLONE_NEWNS
    assert libc.mount(b"none", b"/", None, 0x44000, None) == 0  # MS_REC | MS_PRIVATE
    for source, target in (("/passwd", b"/etc/passwd"), ("/lib", b"/usr/local/lib")):
        assert libc.mount((work + source).encode(), target, None, 0x1000, None) == 0  # MS_BIND


def measure(work, command):
    out = open(work + "/printed", "w+")
    start = time.monotonic()
    pid = os.fork()
    if pid == 0:
        enter(work)
        os.dup2(out.fileno(), 1)
        os.execvp(command[0], command)
    _, status, usage = os.wait4(pid, 0)
    assert status == 0, command
    return usage.ru_utime + usage.ru_stime, time.monotonic() - start, usage.ru_maxrss / 1024


def row(what, result, note=""):
    print("| %s | %.2f | %.2f | %.0f | %s |" % ((what,) + result + (note,)))


def records(work):
    with open(work + "/out.json") as document:
        return "%d records" % len(json.load(document)["list"])


def main():
    work = os.path.realpath(tempfile.mkdtemp(prefix="ledgora-bench-", dir="/dev/shm"))
    try:
        tree = work + "/tree"
        shutil.copytree(sys.argv[1], tree, ignore=shutil.ignore_patterns("var"))
        with open(tree + "/config/hostlimit.ini", "w") as limits:
            limits.write("[host_limit]\nE_HOST_NPM=100000\nE_HOST_PYTHON_PACKAGE=100000\n")
        build(work)
        collect = lambda kind: [tree + "/bin/ledgora_collect", "type=%d" % kind,
                                "path=" + work + "/out.json"]
        print("| what | CPU s | s | peak MiB | |\n|---|---|---|---|---|")
        row("type 24", measure(work, collect(24)), records(work))
        if shutil.which("npm"):
            row("npm ls -g --json --all", measure(work, [
                "npm", "ls", "-g", "--json", "--all", "--offline", "--no-update-notifier",
                "--prefix", work + "/prefix"]))
        row("type 25", measure(work, collect(25)), records(work))
        row("importlib.metadata", measure(work, [
            "/usr/bin/python3", "-I", "-c", "import importlib.metadata as m\n"
            "for d in m.distributions(): print(d.metadata['Name'], d.version)"]))
        row("type 22", measure(work, collect(22)), records(work))
    finally:
        shutil.rmtree(work)


main()
