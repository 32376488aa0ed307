"""process_table.py PROGRAM: type 3 without identification beside the ps
pipeline that it asks, on a machine with many processes. Prints a table; exit
status 1 if a target is missed: at most 2 times the pipeline's processor time,
48 MiB at the peak, and 1.2 times the cost per process from 250 to 2,000."""
import os
import resource
import statistics
import subprocess
import sys
import tempfile

PROGRAM = sys.argv[1]
ROUNDS = 9
WORK = tempfile.mkdtemp(prefix="ledgora-bench-")
PIPELINE = ("ps -eo pid,ppid -o ruser=aaaabbbbccccddddeeeeffff -o uid,group,gid,tty,lstart,state,"
            "%cpu,%mem,comm 2>/dev/null | tail -n +2 | grep -E -v 'ps -eo' | grep -v grep")
OURS = [PROGRAM, "type=3", "option=1", f"path={WORK}/document.json", f"logpath={WORK}"]


def cpu(command):
    """Processor time in ms of a command with all that it waited for."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return 1000 * (after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime)


def idle(count):
    return [subprocess.Popen(["sleep", "1000"]) for _ in range(count)]


def measure(count):
    """Medians of ours and the pipeline's, and how many processes there are."""
    children = idle(count)
    try:
        pairs = [(cpu(OURS), cpu(["sh", "-c", PIPELINE])) for _ in range(ROUNDS)]
        processes = sum(name.isdigit() for name in os.listdir("/proc"))
    finally:
        for child in children:
            child.kill()
        for child in children:
            child.wait()
    return [statistics.median(column) for column in zip(*pairs)] + [processes]


few = measure(250)
many = measure(2000)
# Of all children, so the pipeline's peak counts, too; ours is the larger one.
peak = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss / 1024
ratio = many[0] / many[1]
growth = (many[0] / many[2]) / (few[0] / few[2])
print("| Processes | ours, CPU ms | ps pipeline, CPU ms | times |")
print("|---|---|---|---|")
for ours, pipeline, processes in (few, many):
    print(f"| {processes} | {ours:.0f} | {pipeline:.0f} | {ours / pipeline:.1f} |")
print(f"\nTargets: 2 times the pipeline at 2,000 processes ({ratio:.1f}), 48 MiB at the peak "
      f"({peak:.1f}), 1.2 times the cost per process from 250 to 2,000 ({growth:.2f}).")
sys.exit(ratio > 2 or peak > 48 or growth > 1.2)
