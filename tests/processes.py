"""Processes of a test: those that carry its mark in their environment."""
import os
import signal
import time
from pathlib import Path

patience = 30  # seconds until something that has to happen is a fault

signal.signal(signal.SIGHUP, signal.SIG_DFL)  # below nohup, a shell could not even trap it


def expect(actual, wanted):
    assert actual == wanted, f"...{repr(actual)[-300:]} instead of ...{repr(wanted)[-300:]}"


def until(condition, text):
    end = time.monotonic() + patience
    pause = 0.02
    while not (found := condition()):
        assert time.monotonic() < end, text()
        time.sleep(pause)
        pause = min(pause * 1.3, 0.2)  # a look at all processes costs others their time
    return found


def marked(mark):
    found = []
    for entry in Path("/proc").glob("[0-9]*"):
        try:
            if mark.encode() in (entry / "environ").read_bytes():
                found.append((int(entry.name), (entry / "cmdline").read_bytes()[-80:]))
        except OSError:
            pass  # gone meanwhile, or not ours
    return found


def kill_marked(mark):
    for pid, _ in marked(mark):
        try:
            os.kill(pid, signal.SIGKILL)
        except ProcessLookupError:
            pass


def expect_none_left(mark):
    until(lambda: not marked(mark), lambda: f"left running: {marked(mark)}")
