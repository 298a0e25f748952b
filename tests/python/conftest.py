# tests/python/conftest.py - what the module's tests share: the qbasn tool to
# compare with (QBASN_TOOL, set by CTest), the example messages, and records
# built from the module's own description of each type.
#
# Run by CTest with Debian's /usr/bin/python3 and PYTHONPATH=<build>/python.
import json
import os
import random
import re
import subprocess
from pathlib import Path

import pytest

import qbasn

REPO = Path(__file__).resolve().parents[2]
EXAMPLES = REPO / "examples"


@pytest.fixture(scope="session")
def tool():
    """The qbasn command-line tool of the same build (required, not skipped)."""
    path = os.environ.get("QBASN_TOOL")
    if not path or not Path(path).is_file():
        raise RuntimeError("QBASN_TOOL must name the built qbasn tool (CTest sets it)")
    return Tool(path)


class Tool:
    def __init__(self, path):
        self.path = path

    def run(self, *args, data=None):
        done = subprocess.run([self.path, *args], input=data, capture_output=True, check=False)
        if done.returncode != 0:
            raise AssertionError("qbasn %s failed: %s" % (" ".join(args), done.stderr.decode(errors="replace")))
        return done.stdout

    def json(self, *args, data=None):
        return json.loads(self.run(*args, data=data))


# ---- records as the tool's JSON ----

def is_text(description):
    return description.startswith("str")


def to_json(type_name, record):
    """The module's dict as the tool writes it in JSON: octet strings in hex,
    texts that are not UTF-8 as {"hex": ...}."""
    shape = qbasn.shape(type_name)
    return {name: value_to_json(shape[name], value) for name, value in record.items()}


def value_to_json(description, value):
    if value is None or isinstance(value, int):
        return value
    if isinstance(value, str):
        return value
    if isinstance(value, bytes):
        return {"hex": value.hex().upper()} if is_text(description) or "list of str" in description else value.hex().upper()
    if isinstance(value, dict):
        return to_json(element_type(description), value)
    if isinstance(value, list):
        return [value_to_json(description, item) for item in value]
    raise TypeError(value)


def element_type(description):
    return description.rsplit(": ", 1)[1].split(",")[0]


# ---- records built from the module's description of their type ----

RANGE = re.compile(r"^int, (-?\d+)\.\.(\d+)$")


def make_record(type_name, rnd, depth=0):
    """A record of the type with values from every kind the shape names,
    chosen so that it decodes back to the same dict: texts are non-empty str
    (a None text is sent as ""), optional octet strings non-empty or None."""
    return {name: make_value(description, rnd, depth) for name, description in qbasn.shape(type_name).items()}


def make_value(d, rnd, depth):
    m = RANGE.match(d)
    if m:
        low, high = int(m.group(1)), int(m.group(2))
        return rnd.choice([low, high, 0 if low <= 0 else low, rnd.randint(low, high)])
    if is_text(d):
        return rnd.choice(["a", "text", "\u00e9t\u00e9", "\u6587\u5b57", "x" * 200])
    if d.startswith("bytes of exactly "):
        return bytes(rnd.randrange(256) for _ in range(int(d.split()[3])))
    if d.startswith("bytes, or None"):
        return None if rnd.random() < 0.3 else bytes(rnd.randrange(256) for _ in range(rnd.randint(1, 40)))
    if d.startswith("bytes"):
        return bytes(rnd.randrange(256) for _ in range(rnd.randint(0, 300)))
    if d.startswith("dict: "):
        if d.endswith(", or None when absent") and rnd.random() < 0.3:
            return None
        return make_record(element_type(d), rnd, depth + 1)
    count = rnd.randint(0, 3) if depth < 3 else 0
    if d.startswith("list of dicts: "):
        return [make_record(element_type(d), rnd, depth + 1) for _ in range(count)]
    if d.startswith("list of str"):
        return [make_value("str", rnd, depth) for _ in range(count)]
    if d.startswith("list of ints"):
        return [make_value("int, -2147483648..2147483647", rnd, depth) for _ in range(count)]
    if d.startswith("list of up to "):
        slots = int(d.split()[4])
        used = set(rnd.sample(range(slots), rnd.randint(0, 2) if depth < 2 else 0))
        return [make_record(element_type(d), rnd, depth + 1) if i in used else None for i in range(slots)]
    raise AssertionError("a shape these tests do not know: " + d)


@pytest.fixture
def rnd(request):
    return random.Random(request.node.name)


# ---- leaks, in the sanitizer build ----

# Code of this project in a LeakSanitizer stack: the module, the library, the
# shared conversion.
OUR_CODE = re.compile(r"qbasn\.cpython|libqbasn\.so|/tools/(python|flat|qbasn)/|/asn1/|/base_idls/")


def pytest_sessionfinish(session, exitstatus):
    """With QBASN_LEAK_CHECK=1 (the sanitizer build preloads its runtime and
    has Python allocate with malloc), LeakSanitizer checks the process once
    every test has run and every object they left is collected. A leak with a
    frame of this project's code fails the run. The interpreter itself leaves
    a few blocks unreachable by design (frames of warnings, pytest's own
    objects); those have no such frame and are counted, not failed."""
    if os.environ.get("QBASN_LEAK_CHECK") != "1":
        return
    import ctypes
    import gc
    import sys
    import tempfile

    gc.collect()
    sys.stderr.flush()
    with tempfile.TemporaryFile() as report:
        saved = os.dup(2)
        os.dup2(report.fileno(), 2)
        try:
            ctypes.CDLL(None).__lsan_do_recoverable_leak_check()
        finally:
            os.dup2(saved, 2)
            os.close(saved)
        report.seek(0)
        text = report.read().decode(errors="replace")
    blocks = re.split(r"\n(?=(?:Direct|Indirect) leak of )", text)
    leaks = [b for b in blocks if re.match(r"(?:Direct|Indirect) leak of ", b)]
    ours = [b for b in leaks if OUR_CODE.search(b)]
    reporter = session.config.pluginmanager.get_plugin("terminalreporter")
    if ours:
        session.exitstatus = 1
        reporter.write_line("LeakSanitizer: %d leak(s) in qbasn's code:" % len(ours))
        for block in ours:
            reporter.write_line(block.strip())
    reporter.write_line("LeakSanitizer: %d leak(s) in qbasn's code, %d in the interpreter alone" % (len(ours), len(leaks) - len(ours)))
