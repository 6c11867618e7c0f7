"""Describes the machine that a run was made on."""

import datetime
import os
import pathlib
import platform
import subprocess


def _processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def _system():
    for line in pathlib.Path("/etc/os-release").read_text(encoding="utf-8").splitlines():
        if line.startswith("PRETTY_NAME="):
            return line.split("=", 1)[1].strip('"')
    return platform.system()


def _file_system(folder):
    done = subprocess.run(["stat", "--file-system", "--format=%T", str(folder)], capture_output=True, text=True)
    return done.stdout.strip() or "unknown"


def _compiler():
    done = subprocess.run(["c++", "--version"], capture_output=True, text=True)
    return done.stdout.splitlines()[0] if done.stdout else "unknown"


def description(folder, load_before):
    """Lines of a list. The load tells whether something else was running, before the run began."""
    return [
        f"- processor: {_processor()}, {os.cpu_count()} of them",
        f"- system: {_system()}, Linux {platform.release()}",
        f"- file system of the measured files: {_file_system(folder)}",
        f"- compiler: {_compiler()}, optimised build",
        f"- day: {datetime.date.today().isoformat()}; {load_before:.1f} processes were running or waiting before the run",
    ]
