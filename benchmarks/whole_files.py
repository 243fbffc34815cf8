#!/usr/bin/env python3
"""Whole files through dxconv beside what one would take instead, sox and ffmpeg, as Markdown tables.

usage: whole_files.py BUILD_DIR SCRATCH_DIR

Runs in the Wine prefix of the environment, in which it registers Echo; needs 5 GB in SCRATCH_DIR. Every run
starts without a wineserver and without an output file. Processor time is that of all processes that the run
started, Wine's own included, until they have ended.
"""

import array
import ctypes
import math
import os
import random
import resource
import statistics
import struct
import subprocess
import sys
import time
from pathlib import Path

ROUNDS = 5
RATE = 44100
FRAME_BYTES = 4
LOOP_SECONDS = 10
LOOP_FRAMES = RATE * LOOP_SECONDS
MEMORY_LIMIT_MIB = 32
PR_SET_CHILD_SUBREAPER = 36

# Echo's delay and feedback as it comes; the others take the latter as their one tap's decay.
SOX_ECHO = ["echo", "0.8", "0.8", "250", "0.4"]
FFMPEG_ECHO = ["-af", "aecho=0.8:0.8:250:0.4"]


def loop_of_sound():
    """Ten seconds of struck chords and some noise, 16-bit stereo; the same bytes on every machine."""
    noise = random.Random(1)
    samples = array.array("h")
    for i in range(LOOP_FRAMES):
        t = i / RATE
        chord = sum(math.sin(2 * math.pi * f * t) for f in (110, 220.5, 331, 554)) * math.exp(-4 * (t * 2 % 1))
        samples.append(int(2000 * chord + noise.uniform(-300, 300)))
        samples.append(int(1600 * chord + noise.uniform(-300, 300)))
    return samples.tobytes()


def write_wav(path, loop, seconds):
    size = len(loop) * seconds // LOOP_SECONDS
    with open(path, "wb") as file:
        file.write(b"RIFF" + struct.pack("<I", 36 + size) + b"WAVEfmt ")
        file.write(struct.pack("<IHHIIHH", 16, 1, 2, RATE, RATE * FRAME_BYTES, FRAME_BYTES, 16))
        file.write(b"data" + struct.pack("<I", size))
        for _ in range(seconds // LOOP_SECONDS):
            file.write(loop)


def await_wine_gone():
    subprocess.run(["wineserver", "-w"], timeout=60, check=True)


def run_and_count(command):
    """In a process of its own: that orphans come to it and all processor time is its children's."""
    ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
    start = time.monotonic()
    code = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL).returncode
    wall = time.monotonic() - start
    if command[0] == "wine":
        await_wine_gone()
    while True:
        try:
            os.wait()
        except ChildProcessError:
            break
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return code, wall, used.ru_utime + used.ru_stime


def measure(command, outputs):
    """Returns the seconds of wall time and of processor time."""
    for output in outputs:
        Path(output).unlink(missing_ok=True)
    await_wine_gone()
    read_end, write_end = os.pipe()
    child = os.fork()
    if child == 0:
        try:
            os.write(write_end, "{} {} {}".format(*run_and_count(command)).encode())
        finally:
            os._exit(0)
    os.close(write_end)
    said = os.read(read_end, 200).decode().split()
    os.close(read_end)
    os.waitpid(child, 0)
    if len(said) != 3 or said[0] != "0" or not all(Path(output).exists() for output in outputs):
        sys.exit(f"error: {' '.join(command)} failed ({' '.join(said)})")
    return float(said[1]), float(said[2])


def medians(contenders):
    """contenders: {name: (command, outputs)}. Returns {name: (wall, processor)} of interleaved rounds."""
    found = {name: [] for name in contenders}
    for _ in range(ROUNDS):
        for name, (command, outputs) in contenders.items():
            found[name].append(measure(command, outputs))
    return {name: tuple(statistics.median(column) for column in zip(*runs)) for name, runs in found.items()}


def dxconv_peak_kib():
    """The sum of VmHWM of the dxconv processes of this prefix: the supervising one and its worker."""
    prefix = b"WINEPREFIX=" + os.environb[b"WINEPREFIX"]
    total = 0
    for process in Path("/proc").iterdir():
        try:
            if not process.name.isdigit() or (process / "comm").read_text() != "dxconv.exe\n":
                continue
            if prefix in (process / "environ").read_bytes().split(b"\0"):
                status = (process / "status").read_text()
                total += int(status.split("VmHWM:")[1].split()[0])
        except (OSError, IndexError):
            continue
    return total


def peak_while(dxconv, source, seconds=None):
    """The highest sum seen; a run from a pipe that gives nothing is ended after `seconds`."""
    Path("out.wav").unlink(missing_ok=True)
    stdin = subprocess.PIPE if source == "-" else subprocess.DEVNULL
    peak = 0
    command = dxconv + [source, "out.wav", "--effect", "Echo"]
    with subprocess.Popen(command, stdin=stdin, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as run:
        end = time.monotonic() + (seconds or math.inf)
        while run.poll() is None and time.monotonic() < end:
            peak = max(peak, dxconv_peak_kib())
            time.sleep(0.005)
    if source != "-" and (run.returncode != 0 or not Path("out.wav").exists()):
        sys.exit(f"error: {' '.join(command)} failed ({run.returncode})")
    return peak / 1024


def print_head(title, text, unit):
    print(f"\n## {title}\n\n{text}\n\n| what | ours, {unit} | against | its {unit} | ratio | goal | |")
    print("|---|--:|---|--:|--:|--:|---|")


def print_row(what, ours, peer, its, goal=None):
    ratio = ours / its
    end = "| |" if goal is None else f"{goal:.2f} | {'met' if ratio <= goal else 'missed'} |"
    print(f"| {what} | {ours:.3g} | {peer} | {its:.3g} | {ratio:.2f} | {end}", flush=True)


def bench_hour(dxconv):
    times = medians({
        "dxconv": (dxconv + ["hour.wav", "out.wav", "--effect", "Echo", "--quiet"], ["out.wav"]),
        "sox": (["sox", "hour.wav", "out.wav", *SOX_ECHO], ["out.wav"]),
        "ffmpeg": (["ffmpeg", "-nostdin", "-v", "error", "-i", "hour.wav", *FFMPEG_ECHO, "out.wav"],
                   ["out.wav"])})
    print_head("An hour through an echo",
               "16-bit stereo at 44.1 kHz, WAV to WAV, 250 ms and 40 %; Wine's start and end are in our figures. "
               f"Median of {ROUNDS} interleaved runs. sox and ffmpeg have one tap where Echo feeds back.", "s")
    for kind, name in enumerate(("wall time", "processor time")):
        peers = sorted(("sox", "ffmpeg"), key=lambda peer: times[peer][kind])
        for peer, goal in zip(peers, (1.0, None)):
            print_row(name, times["dxconv"][kind], peer, times[peer][kind], goal)


def bench_memory(dxconv):
    idle = peak_while(dxconv, "-", seconds=5)
    print_head("Memory of a conversion",
               f"Peak of resident memory (VmHWM of both dxconv processes, shared pages included) over {idle:.1f} "
               "MiB of one that waits for its input.", "MiB")
    for source in ("minute.wav", "hour.wav"):
        print_row(source, peak_while(dxconv, source) - idle, "limit", MEMORY_LIMIT_MIB, 1.0)


def bench_jobs(dxconv):
    names = [f"part{n}.wav" for n in range(4)]
    outputs = [f"parts/{name}" for name in names]
    command = dxconv + [*names, "--out-dir", "parts", "--effect", "Echo", "--quiet", "--jobs"]
    times = medians({jobs: (command + [jobs], outputs) for jobs in ("1", "2")})
    print_head("Several files at once", f"Four files of half an hour, {os.cpu_count()} processors.", "s")
    print_row("wall time, --jobs 2", times["2"][0], "--jobs 1", times["1"][0], 0.75)
    print_row("processor time, --jobs 2", times["2"][1], "--jobs 1", times["1"][1])


def main():
    build, scratch = (Path(argument).resolve() for argument in sys.argv[1:3])
    dxconv = ["wine", str(build / "dxconv.exe"), "convert"]
    scratch.mkdir(parents=True, exist_ok=True)
    os.chdir(scratch)
    subprocess.run(["wine", "regsvr32", "/s", str(build / "echo.dll")], timeout=120, check=True)
    loop = loop_of_sound()
    for name, seconds in [("hour", 3600), ("minute", 60)] + [(f"part{n}", 1800) for n in range(4)]:
        write_wav(f"{name}.wav", loop, seconds)
    bench_hour(dxconv)
    bench_memory(dxconv)
    bench_jobs(dxconv)
    for file in list(Path(".").glob("*.wav")) + list(Path("parts").glob("*.wav")):
        file.unlink()


if __name__ == "__main__":
    main()
