#!/usr/bin/env python3
"""Type 23 at scale, beside dpkg-query on the same root. $1: an installation
tree (it is copied, so that its cache isn't touched). Prints a table; fails when
the first run takes over 4 CPU seconds per 100,000 stored paths, or the second
15 times the processor time of dpkg-query -W or more than 60 MiB."""
import os
import shutil
import subprocess
import sys
import tempfile
import time

PACKAGES, PATHS = 5000, 400000


def status_of(number):
    name = "package-%04d" % number
    depends = ", ".join("lib%d (>= 1.%d)" % (i, number % 9) for i in range(8))
    description = "\n".join(" Line %d of what this package is about: it serves the benchmark." % i
                            for i in range(6))
    return ("Package: %s\nStatus: install ok installed\nPriority: optional\nSection: misc\n"
            "Installed-Size: %d\nMaintainer: Nobody <nobody@localhost>\nArchitecture: amd64\n"
            "Version: 1.%d-2\nDepends: %s\nConffiles:\n /etc/%s.conf 0123456789abcdef0123456789abcdef\n"
            "Description: package number %d\n%s\n\n"
            % (name, number * 3, number, depends, name, number, description))


def dpkg_root(root):
    info = root + "/var/lib/dpkg/info"
    os.makedirs(info)
    os.makedirs(root + "/var/lib/dpkg/updates")
    open(root + "/var/lib/dpkg/available", "w").close()
    with open(root + "/var/lib/dpkg/status", "w") as status:
        for number in range(PACKAGES):
            status.write(status_of(number))
            with open("%s/package-%04d.list" % (info, number), "w") as files:
                # Half of a package are programs, half what the filter drops.
                each = PATHS // PACKAGES
                files.write("".join(
                    "/usr/%s/package-%04d/%s-%d\n"
                    % ("lib" if i % 2 else "share/doc", number, "program", i) for i in range(each)))
        status.write("Package: last\nVersion: 0\n")


def rpm_root(root):
    """A stand-in for rpm that prints 4.9 MiB."""
    record = "package-%d###1.%d-2.el9###1700000000###%d###" + "A description of some length. " * 14
    os.makedirs(root + "/usr/bin")
    os.makedirs(root + "/dev")
    text, number = [], 0
    size = 0
    while size < 4.9 * 1024 * 1024 - 600:
        text.append(record % (number, number, number * 7) + "|##|")
        size += len(text[-1])
        number += 1
    with open(root + "/listing", "w") as listing:
        listing.write("".join(text))
    source = root + "/rpm.c"
    with open(source, "w") as program:
        program.write("#include <fcntl.h>\n#include <unistd.h>\nstatic char b[65536];\n"
                      "int main(void){int f=open(\"/listing\",0);long n;"
                      "while((n=read(f,b,sizeof b))>0)if(write(1,b,n)<0)return 1;return 0;}\n")
    subprocess.run(["cc", "-static", "-O1", "-w", "-o", root + "/usr/bin/rpm", source], check=True)
    return number


def measure(command):
    out = tempfile.TemporaryFile()
    start = time.monotonic()
    pid = os.fork()
    if pid == 0:
        os.dup2(out.fileno(), 1)
        os.execvp(command[0], command)
    _, status, usage = os.wait4(pid, 0)
    assert status == 0, command
    return usage.ru_utime + usage.ru_stime, time.monotonic() - start, usage.ru_maxrss / 1024


def row(what, result, note=""):
    print("| %s | %.2f | %.2f | %.0f | %s |" % ((what,) + result + (note,)))


def dpkg_rows(work, run, database):
    dpkg_root(work + "/dpkg")
    query = None
    if shutil.which("dpkg-query"):
        query = measure(["dpkg-query", "--admindir", work + "/dpkg/var/lib/dpkg", "-W"])
        row("dpkg-query -W", query)
        names = ["package-%04d" % i for i in range(PACKAGES)]
        row("dpkg-query -L of everything",
            measure(["dpkg-query", "--admindir", work + "/dpkg/var/lib/dpkg", "-L"] + names))
    first = run("/dpkg")
    stored = PATHS // 2
    per_stored = first[0] * 100000 / stored
    row("type 23, dpkg, first run", first, "%.2f CPU s per 100,000 of %d stored paths; database "
        "%.0f MiB" % (per_stored, stored, os.path.getsize(database) / 1048576))
    second = run("/dpkg")
    times = second[0] / query[0] if query else 0
    row("type 23, dpkg, second run", second, "%.1f times dpkg-query -W" % times if query else "")
    return per_stored <= 4 and times < 15 and second[2] <= 60


def main():
    work = os.path.realpath(tempfile.mkdtemp(prefix="ledgora-bench-"))
    try:
        tree = work + "/tree"
        shutil.copytree(sys.argv[1], tree, ignore=shutil.ignore_patterns("var"))
        run = lambda root: measure([tree + "/bin/ledgora_collect", "type=23", "env=" + work + root,
                                    "path=" + work + "/out.json"])
        print("| root and run | CPU s | s | peak MiB | |\n|---|---|---|---|---|")
        within = dpkg_rows(work, run, tree + "/var/data/hoststate.db")
        try:
            number = rpm_root(work + "/rpm")
        except subprocess.CalledProcessError:
            print("\nNo static C library: the rpm listing was left out.")
        else:
            row("type 23, rpm listing of 4.9 MiB, first run", run("/rpm"), "%d packages" % number)
            row("type 23, rpm listing of 4.9 MiB, second run", run("/rpm"))
        sys.exit(0 if within else 1)
    finally:
        shutil.rmtree(work)


main()
