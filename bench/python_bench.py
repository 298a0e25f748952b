#!/usr/bin/python3
"""bench/python_bench.py - the Python module against pyasn1, decoding and
encoding M2 (an attribute list of 20 attributes x 4 values, texts of 16
characters, 16-octet values) to and from Python values.

usage: /usr/bin/python3 bench/python_bench.py [--build DIR] [--check] [--repeat N]

  --build DIR  the build tree whose module is measured (default build/bench-py,
               configured as a Release build without tests when it does not
               exist, and built)
  --check      only check that both codecs agree on M2 (octets and values); no timing
  --repeat N   timing rounds per operation (default 7); the median round counts

Both sides go all the way between octets and plain Python values (dicts, str,
int, bytes): pyasn1 decodes into its objects, which are then read into dicts,
and encodes from objects built from the dicts; the pyasn1 schema is generated
from the module's own definition of each record (qbasn.definition), so the two
codecs read one description. pyasn1 (Debian's python3-pyasn1 0.4.8) knows
nothing of the four-octet envelope: its side adds and strips it.

Debian's /usr/bin/python3 is the interpreter: the module is built for it and
python3-pyasn1 is installed for it.
"""
import argparse
import os
import re
import statistics
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]


def build_module(build):
    if not (build / "CMakeCache.txt").exists():
        subprocess.run(["cmake", "-S", str(ROOT), "-B", str(build), "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                        "-DQBASN_BUILD_TESTS=OFF", "-DQBASN_REQUIRE_PYTHON=ON"], check=True, stdout=sys.stderr)
    subprocess.run(["cmake", "--build", str(build), "-j2", "--target", "qbasn_python"], check=True, stdout=sys.stderr)
    sys.path.insert(0, str(build / "python"))


# ---- M2 ----

def make_m2():
    """20 attributes x 4 values; texts of 16 characters (12 in names, as in
    the C++ benchmark), 16-octet values, integers of 1 to 4 content octets
    of both signs (none a negative power of two, which pyasn1 0.4.8 writes
    non-minimally)."""
    numbers = [5, -7, 300, -1000, 70000, -90000, 20000000, -30000000]
    attrs = []
    for a in range(20):
        values = []
        for v in range(4):
            i = a * 4 + v
            values.append({"number": numbers[i % len(numbers)],
                           "text": ("value-%02d-%02d-text" % (a, v))[:16],
                           "bytes": bytes((i * 7 + k) & 0xFF for k in range(16))})
        attrs.append({"name": "attribute-%02d" % a, "values": values})
    return {"attrs": attrs}


# ---- a pyasn1 schema from the module's definitions ----

MEMBER = re.compile(r"^    (\w+) (.+?)( OPTIONAL)?,?$")


def pyasn1_schema(qbasn, type_name):
    """pyasn1 classes for a record and everything it holds, made from
    qbasn.definition(type_name): {type name: (class, [(field, kind, element)])}."""
    from pyasn1.type import char, namedtype, univ

    made = {}

    def make(name):
        if name in made:
            return made[name][0]
        fields = []
        components = []
        for line in qbasn.definition(name).splitlines()[1:-1]:
            field, asn1, optional = MEMBER.match(line).groups()
            if optional:
                raise NotImplementedError("OPTIONAL members are not needed for M2")
            if asn1 == "INTEGER":
                component, kind, element = univ.Integer(), "int", None
            elif asn1 == "UTF8String":
                component, kind, element = char.UTF8String(), "text", None
            elif asn1 == "OCTET STRING":
                component, kind, element = univ.OctetString(), "bytes", None
            elif asn1.startswith("SEQUENCE OF "):
                element = asn1[len("SEQUENCE OF "):]
                component, kind = univ.SequenceOf(componentType=make(element)()), "list"
            else:
                element = asn1
                component, kind = make(element)(), "record"
            components.append(namedtype.NamedType(field, component))
            fields.append((field, kind, element))
        cls = type(name, (univ.Sequence,), {"componentType": namedtype.NamedTypes(*components)})
        made[name] = (cls, fields)
        return cls

    make(type_name)
    return made


class Pyasn1Codec:
    ENVELOPE = bytes.fromhex("0402ACDC")

    def __init__(self, qbasn, type_name):
        from pyasn1.codec.ber import decoder
        from pyasn1.codec.der import encoder

        self.root = qbasn.definition(type_name).split(" ", 1)[0]  # the ASN.1 type name, e.g. attrlist_t
        self.schema = pyasn1_schema(qbasn, self.root)
        self.decoder, self.encoder = decoder, encoder

    def to_python(self, name, obj):
        out = {}
        for field, kind, element in self.schema[name][1]:
            v = obj[field]
            if kind == "int":
                out[field] = int(v)
            elif kind == "text":
                out[field] = str(v)
            elif kind == "bytes":
                out[field] = bytes(v)
            elif kind == "record":
                out[field] = self.to_python(element, v)
            else:
                out[field] = [self.to_python(element, item) for item in v]
        return out

    def from_python(self, name, value):
        cls, fields = self.schema[name]
        obj = cls()
        for field, kind, element in fields:
            v = value[field]
            if kind in ("int", "text", "bytes"):
                obj[field] = v
            elif kind == "record":
                obj[field] = self.from_python(element, v)
            else:
                seq = obj[field]
                for i, item in enumerate(v):
                    seq[i] = self.from_python(element, item)
        return obj

    def decode(self, message):
        if message[:4] != self.ENVELOPE:
            raise ValueError("not an envelope of version 2")
        obj, rest = self.decoder.decode(message[4:], asn1Spec=self.schema[self.root][0]())
        if rest:
            raise ValueError("octets after the record")
        return self.to_python(self.root, obj)

    def encode(self, value):
        return self.ENVELOPE + self.encoder.encode(self.from_python(self.root, value))


# ---- timing ----

def per_call(fn, arg, repeat):
    """The median time of one call over `repeat` rounds of at least 0.2 s each."""
    n = 1
    while True:
        start = time.perf_counter()
        for _ in range(n):
            fn(arg)
        if time.perf_counter() - start >= 0.2:
            break
        n *= 2
    rounds = []
    for _ in range(repeat):
        start = time.perf_counter()
        for _ in range(n):
            fn(arg)
        rounds.append((time.perf_counter() - start) / n)
    return statistics.median(rounds)


def microseconds(seconds):
    return "%.1f us" % (seconds * 1e6)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--build", type=Path, default=ROOT / "build" / "bench-py")
    parser.add_argument("--check", action="store_true")
    parser.add_argument("--repeat", type=int, default=7)
    args = parser.parse_args()

    if os.environ.get("QBASN_BENCH_PREBUILT") == "1":
        sys.path.insert(0, str(args.build / "python"))
    else:
        build_module(args.build.resolve())
    import pyasn1
    import qbasn

    m2 = make_m2()
    ours = qbasn.encode("attrlist", m2)
    theirs = Pyasn1Codec(qbasn, "attrlist")
    assert theirs.encode(m2) == ours, "pyasn1 and qbasn write M2 differently"
    assert theirs.decode(ours) == m2 and qbasn.decode("attrlist", ours) == m2, "a codec reads M2 back wrong"
    print("M2: %d octets; both codecs write the same octets and read back the same values" % len(ours))
    if args.check:
        return

    rows = [
        ("decode", per_call(theirs.decode, ours, args.repeat), per_call(lambda m: qbasn.decode("attrlist", m), ours, args.repeat)),
        ("encode", per_call(theirs.encode, m2, args.repeat), per_call(lambda v: qbasn.encode("attrlist", v), m2, args.repeat)),
    ]
    print()
    print("Python %s, pyasn1 %s, qbasn %s" % (".".join(map(str, sys.version_info[:3])), pyasn1.__version__, qbasn.__version__))
    print()
    print("| M2 (%d octets) | pyasn1 | qbasn | pyasn1 / qbasn |" % len(ours))
    print("| --- | ---: | ---: | ---: |")
    for op, slow, fast in rows:
        print("| %s | %s | %s | %.0fx |" % (op, microseconds(slow), microseconds(fast), slow / fast))


if __name__ == "__main__":
    main()
