"""What only a real kernel can show: each case starts the tool in a way of emulated/guest_starts.sh, on a scenario or
on tables of one, and says what has to come of it."""
import re
from dataclasses import dataclass


@dataclass
class KernelCase:
    name: str
    command: str
    status: int = 0
    scenario: str = "healthy"
    tables: str = ""  # TOML, on top of the scenario
    contains: tuple = ()  # patterns in the tool's lines
    lacks: tuple = ()
    same_as: str = ""  # "TABLES|ARGUMENTS" of the virtual board, whose lines and requests have to be the same
    extra: tuple = ()  # lines that the case's own start adds at the end
    left: str = ""  # what may be left over: a pattern
    short_limit: bool = False  # of time; runs apart from the others


no_keys = "[panel]\nkeys = []\n"
no_reader = '[supervisor]\nreader = "absent"\n'
full_pipe = '[supervisor]\nreader = "never"\npipeBytes = 0\n'
not_mountable = '[[usb.disk]]\nname = "msa"\nmount = "never"\n[[usb.disk]]\nname = "msb"\nmount = "never"\n'
not_root = '[run]\nsetuidError = "EPERM"\n'

cases = [
    # Signals at odd moments: before the first step, in a step, with a stick mounted or between, in the clock test
    # with its handler, in a process pair.
    KernelCase("interrupted-at-start", "signalled 0.3 INT r8", status=130),
    KernelCase("interrupted-in-clock-test", "signalled 4 INT r8 -o 6 3", status=130,
               contains=(r"read rtc successfully \d+ times : failed 0 times",)),
    KernelCase("terminated-in-full-run", "signalled 6 TERM r8 netR8test", status=143, lacks=("R8测试结束",)),
    KernelCase("terminated-in-usb-test", "signalled 2.5 TERM r8 -o 7 500", status=143, left="left a mount: /dev/ms.*"),
    KernelCase("killed-in-usb-test", "signalled 2.5 KILL r8 -o 7 500", status=137, left="left a mount: /dev/ms.*"),
    KernelCase("terminated-in-loopback", "signalled 14 TERM r8 -o 4", status=143, tables="[rs485]\nhearsItself = false\n"),
    KernelCase("interrupted-in-loopback", "settled 7 signalled 14 INT r8 -o 4", status=130,
               tables="[rs485]\nhearsItself = false\n", contains=("发送  0字节成功",)),
    # A stick in other hands.
    KernelCase("stick-mounted-elsewhere", "mountedBySomebody msa1 /elsewhere r8 -o 7", same_as="|-o 7",
               extra=("still mounted",)),
    KernelCase("stick-busy-in-place", "busyStick msa1 r8 -o 7", same_as="|-o 7", extra=("still mounted",)),
    KernelCase("no-mount-point", "noMountPoint r8 -o 7", contains=("Failed to statfs.*Failed to statfs",)),
    # Rights.
    KernelCase("ordinary-user", "ordinaryUser r8 -o 7", status=1, contains=("切换到超级用户失败", "打开hwInfo设备出错!")),
    KernelCase("user-may-not-mount", "controlForAll ordinaryUser r8 -o 7", same_as=f"{not_root}{not_mountable}|-o 7"),
    # Ports that go away.
    KernelCase("panel-hangs-up", "hangsUp 5 r8 -o 3", tables=no_keys, contains=("面板测试开始",)),
    KernelCase("rs485-hangs-up", "settled 7 hangsUp 13 r8 -o 4", tables="[rs485]\nhearsItself = false\n"),
    # How the tool is started.
    KernelCase("descriptors-closed", "descriptorsClosed r8 netR8test", same_as="|netR8test"),
    KernelCase("session-leader", "sessionLeader r8 -o 3", same_as="|-o 3"),
    # The pipe's reader.
    KernelCase("reader-absent", "r8 netR8test", tables=no_reader, same_as=f"{no_reader}|netR8test"),
    KernelCase("reader-stuck", "stuckReader r8 netR8test", tables=no_reader, same_as=f"{full_pipe}|netR8test"),
    KernelCase("reader-leaves", "leavingReader 200 r8 netR8test", tables=no_reader,
               contains=(r"(write error file = .*){20}",)),
    # The panel test without keys never ends; the next case has a machine of its own then.
    KernelCase("never-ends", "r8 -o 3", tables=no_keys, short_limit=True),
    KernelCase("next-after-limit", "r8 -o 3", same_as="|-o 3", short_limit=True),
]


def problems_of(case, lines, log):
    """What a case's own expectations find wrong; lines of the tool, log of the machine."""
    text = "".join(lines)
    for pattern in case.contains:
        if not re.search(pattern, text, re.DOTALL):
            yield f"no '{pattern}' in its lines"
    for pattern in case.lacks:
        if re.search(pattern, text):
            yield f"'{pattern}' in its lines"
    for line in log:
        if line.startswith("left ") and not (case.left and re.fullmatch(case.left, line)):
            yield line
