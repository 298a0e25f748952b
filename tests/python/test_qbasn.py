# tests/python/test_qbasn.py - the Python module against known octets, the
# qbasn tool, and every failure it reports.
import json
import locale
import pickle
import threading

import pytest

import qbasn
from conftest import EXAMPLES, make_record, to_json

ALL_TYPES = [flat for flat, _, _ in qbasn.types()]
BAD_LENGTH = 0x10652198  # the input ran out


def value(number=5, text="a", data=b"\x01"):
    return {"number": number, "text": text, "bytes": data}


# ---- known octets ----

def test_value_encodes_to_its_octets():
    assert qbasn.encode("value_s_t", value()) == bytes.fromhex("0402ACDC 3009 020105 0C0161 040101")


def test_negative_powers_of_two_are_minimal():
    assert qbasn.encode("value", value(-128)) == bytes.fromhex("0402ACDC 3009 020180 0C0161 040101")
    assert qbasn.encode("value", value(-32768)) == bytes.fromhex("0402ACDC 300A 02028000 0C0161 040101")


def test_value_decodes_from_its_octets():
    assert qbasn.decode("value", bytes.fromhex("0402ACDC 3009 0201FB 0C0161 040101")) == value(-5)


def test_decode_reads_indefinite_lengths():
    assert qbasn.decode("value", bytes.fromhex("0402ACDC 3080 020105 0C0161 040101 0000")) == value()


def test_the_three_name_forms_name_one_type():
    message = qbasn.encode("value_s_t", value())
    for name in ("value_s_t", "value_t", "value"):
        assert qbasn.encode(name, value()) == message
        assert qbasn.decode(name, message) == value()


def test_bytes_like_inputs_are_accepted():
    message = qbasn.encode("value", value())
    assert qbasn.decode("value", bytearray(message)) == value()
    assert qbasn.decode("value", memoryview(message)) == value()
    assert qbasn.encode("value", value(data=bytearray(b"\x01"))) == message
    assert qbasn.encode("value", value(data=memoryview(b"\x01"))) == message


def test_tuples_are_lists():
    record = {"attrs": ({"name": "n", "values": (value(),)},)}
    assert qbasn.decode("attrlist", qbasn.encode("attrlist", record)) == {"attrs": [{"name": "n", "values": [value()]}]}


def test_integer_ranges_reach_their_ends():
    # An unsigned 32-bit word travels as the signed 32-bit INTEGER of its bits
    # (4294967295 as -1, 02 01 FF) and comes back unsigned.
    uuid = {"time_low": 4294967295, "time_mid": 65535, "time_hi_and_version": 0,
            "clock_seq_hi_and_reserved": 255, "clock_seq_low": 0, "node": bytes.fromhex("0102030405FF")}
    message = qbasn.encode("uuid", uuid)
    assert message == bytes.fromhex("0402ACDC 301A 0201FF 020300FFFF 020100 020200FF 020100 04060102030405FF")
    assert qbasn.decode("uuid", message) == uuid
    assert qbasn.decode("value", qbasn.encode("value", value(-2147483648)))["number"] == -2147483648


def test_texts_that_are_not_utf8_are_bytes():
    message = qbasn.encode("value", value(text=b"\xff\xfe"))
    assert message == bytes.fromhex("0402ACDC 300A 020105 0C02FFFE 040101")
    assert qbasn.decode("value", message)["text"] == b"\xff\xfe"


def test_a_none_text_is_sent_empty():
    assert qbasn.encode("value", value(text=None)) == bytes.fromhex("0402ACDC 3008 020105 0C00 040101")


def test_optional_members_are_none_when_absent():
    record = {"text_a": "a", "text_b": "b", "body": None}
    message = qbasn.encode_object(259, 1, record)
    assert qbasn.decode_object(259, 1, message) == record


# ---- round trips of every record type, and agreement with the tool ----

@pytest.mark.parametrize("type_name", ALL_TYPES)
def test_every_type_round_trips(type_name, rnd):
    for _ in range(3):
        record = make_record(type_name, rnd)
        message = qbasn.encode(type_name, record)
        assert qbasn.decode(type_name, message) == record
        assert qbasn.encode(type_name, qbasn.decode(type_name, message)) == message


@pytest.mark.parametrize("type_name", ALL_TYPES)
def test_every_type_encodes_as_the_tool_does(type_name, rnd, tool):
    record = make_record(type_name, rnd)
    message = qbasn.encode(type_name, record)
    as_json = json.dumps(to_json(type_name, record)).encode()
    assert tool.run("encode", "--type", type_name, data=as_json) == message
    assert tool.json("decode", "--type", type_name, data=message) == to_json(type_name, record)


def test_types_lists_what_the_tool_lists(tool):
    lines = tool.run("types").decode().splitlines()
    assert lines[0].split() == ["FLAT", "NAME", "TYPE", "NAME", "SHORT", "FORM"]
    assert [tuple(line.split()) for line in lines[1:]] == qbasn.types()
    assert ("attrlist_s_t", "attrlist_t", "attrlist") in qbasn.types()


def test_shape_names_each_field_and_its_values():
    assert qbasn.shape("value") == {
        "number": "int, -2147483648..2147483647",
        "text": 'str, None (sent as "") or bytes',
        "bytes": "bytes (its octet count goes into length)",
    }
    assert list(qbasn.shape("kxprincipal")) == ["number1", "identity", "number2", "attrs"]
    assert qbasn.shape("kxprincipal")["attrs"] == "dict: attrlist_s_t, or None when absent"


def test_definition_is_the_tools(tool):
    text = tool.run("types", "attrlist").decode()
    assert qbasn.definition("attrlist") == "attrlist_t ::= SEQUENCE {\n    attrs SEQUENCE OF attr_t\n}\n"
    assert qbasn.definition("attrlist") in text


# ---- the examples: the module reads what the tool reads ----

TYPED_EXAMPLES = ["attrlist_s_t", "kxaction_group_s_t", "kxprincipal_s_t", "namevalueList_s_t",
                  "remote_log_request", "uuid_t", "value_s_t"]
UNTYPED_EXAMPLES = [(259, 1), (260, 3), (262, 7)]


@pytest.mark.parametrize("type_name", TYPED_EXAMPLES)
def test_typed_examples_decode_as_the_tool_decodes_them(type_name, tool):
    path = EXAMPLES / "messages" / (type_name + ".bin")
    message = path.read_bytes()
    record = qbasn.decode(type_name, message)
    assert to_json(type_name, record) == tool.json("decode", "--type", type_name, str(path))
    assert to_json(type_name, record) == json.loads((EXAMPLES / (type_name + ".json")).read_text())
    assert qbasn.encode(type_name, record) == message


@pytest.mark.parametrize("object_type,version", UNTYPED_EXAMPLES)
def test_untyped_examples_decode_as_the_tool_decodes_them(object_type, version, tool):
    name = "object_%d_v%d" % (object_type, version)
    path = EXAMPLES / "messages" / (name + ".bin")
    message = path.read_bytes()
    decoded = qbasn.decode_object(object_type, version, message)
    expected = tool.json("decode", "--object-type", str(object_type), "--envelope-version", str(version), str(path))
    record_type = {259: "cert_request_in", 260: "kxobj_update_list_s_t"}.get(object_type)
    assert (decoded if record_type is None else to_json(record_type, decoded)) == expected
    assert qbasn.encode_object(object_type, version, decoded) == message


def test_bare_integer_object():
    message = qbasn.encode_object(262, 7, -129)
    assert message == bytes.fromhex("0407ACDC 0202FF7F")
    assert qbasn.decode_object(262, 7, message) == -129


def test_dump_is_the_tools(tool):
    path = EXAMPLES / "messages" / "attrlist_s_t.bin"
    assert qbasn.dump(path.read_bytes(), "attrlist") == tool.run("dump", "--type", "attrlist", str(path)).decode()
    assert qbasn.dump(path.read_bytes()) == tool.run("dump", str(path)).decode()
    assert qbasn.dump(path.read_bytes()[4:], no_envelope=True) == tool.run("dump", "--no-envelope", data=path.read_bytes()[4:]).decode()


# ---- library statuses ----

def test_a_truncated_message_raises_the_librarys_status(tool):
    message = qbasn.encode("value", value())
    with pytest.raises(qbasn.Error) as caught:
        qbasn.decode("value", message[:-1])
    error = caught.value
    assert error.code == BAD_LENGTH
    assert tool.run("status", "0x10652198").decode() == "0x10652198  %s\n" % error.text
    assert str(error).startswith("0x10652198 " + error.text)
    assert "value_s_t" in error.context


def test_untyped_statuses_are_errors():
    message = qbasn.encode_object(262, 7, 1)
    with pytest.raises(qbasn.Error) as caught:
        qbasn.decode_object(262, 7, message[:-1])
    assert caught.value.code == BAD_LENGTH
    with pytest.raises(qbasn.Error):
        qbasn.decode_object(260, 3, message[:-1])


def test_errors_pickle():
    error = qbasn.Error(BAD_LENGTH, "input exhausted", "decoding value_s_t")
    again = pickle.loads(pickle.dumps(error))
    assert (again.code, again.text, again.context, str(again)) == (error.code, error.text, error.context, str(error))


# ---- wrong arguments ----

def test_an_unknown_type_name_is_a_key_and_value_error():
    for name in ("no_such_type", "value\0"):
        with pytest.raises(qbasn.UnknownTypeError, match="unknown record type"):
            qbasn.decode(name, b"")
    assert issubclass(qbasn.UnknownTypeError, KeyError) and issubclass(qbasn.UnknownTypeError, ValueError)
    with pytest.raises(qbasn.UnknownTypeError):
        qbasn.shape("nope")


@pytest.mark.parametrize("call", [
    lambda: qbasn.decode(b"value", b""),
    lambda: qbasn.decode("value", "0402ACDC"),
    lambda: qbasn.decode("value", None),
    lambda: qbasn.encode(1, value()),
    lambda: qbasn.dump("text"),
    lambda: qbasn.decode_object("262", 7, b""),
])
def test_arguments_of_the_wrong_type_are_type_errors(call):
    with pytest.raises(TypeError):
        call()


def test_untyped_object_types_and_versions_are_checked():
    with pytest.raises(ValueError, match="object_type: 261"):
        qbasn.decode_object(261, 1, b"")
    with pytest.raises(ValueError, match="version: 256"):
        qbasn.encode_object(262, 256, 1)
    with pytest.raises(ValueError, match="version: -1"):
        qbasn.decode_object(262, -1, b"")


def attrlist_with(bad_value):
    return {"attrs": [{"name": "a", "values": [value(), bad_value]}]}


@pytest.mark.parametrize("type_name,record,error,message", [
    ("value", {"number": 1, "text": "x"}, KeyError, 'top level: missing field "bytes"'),
    ("attrlist", attrlist_with({"number": 1, "text": "x"}), KeyError, r'attrs\[0\]\.values\[1\]: missing field "bytes"'),
    ("attrlist", attrlist_with(dict(value(), extra=1)), ValueError, r'attrs\[0\]\.values\[1\]\.extra: unknown field'),
    ("attrlist", attrlist_with(value(number="1")), TypeError, r"attrs\[0\]\.values\[1\]\.number: expected an int .*got a str"),
    ("attrlist", attrlist_with(value(number=True)), TypeError, r"number: expected an int .*got a bool"),
    ("attrlist", attrlist_with(value(number=1.0)), TypeError, r"number: expected an int .*got a float"),
    ("attrlist", attrlist_with(value(number=2**31)), ValueError, r"number: 2147483648 is out of range for a signed 32-bit integer"),
    ("attrlist", attrlist_with(value(number=-2**100)), ValueError, r"number: -1267650600228229401496703205376 is out of range"),
    ("attrlist", attrlist_with(value(text=1)), TypeError, r"values\[1\]\.text: expected a str, None or bytes, got an int"),
    ("attrlist", attrlist_with(value(text="a\0b")), ValueError, r"text: a text cannot hold a zero character"),
    ("attrlist", attrlist_with(value(text="\ud800")), ValueError, r"text: the str cannot be written as UTF-8"),
    ("attrlist", attrlist_with(value(data="01")), TypeError, r"values\[1\]\.bytes: expected bytes, got a str"),
    ("attrlist", attrlist_with([1]), TypeError, r"values\[1\]: expected a dict \(value_s_t\), got a list"),
    ("attrlist", {"attrs": {}}, TypeError, r"attrs: expected a list \(attr_s_t\), got a dict"),
    ("attrlist", {1: []}, TypeError, r"top level: field names are str, got an int"),
    ("attrlist", [], TypeError, r"top level: expected a dict \(attrlist_s_t\), got a list"),
])
def test_wrong_records_name_the_value(type_name, record, error, message):
    with pytest.raises(error, match=message):
        qbasn.encode(type_name, record)


def test_fixed_octet_strings_take_their_size():
    uuid = {"time_low": 0, "time_mid": 0, "time_hi_and_version": 0,
            "clock_seq_hi_and_reserved": 0, "clock_seq_low": 256, "node": b"\0" * 6}
    with pytest.raises(ValueError, match=r"clock_seq_low: 256 is out of range for an unsigned 8-bit integer \(0\.\.255\)"):
        qbasn.encode("uuid", uuid)
    uuid.update(clock_seq_low=0, node=b"\0" * 5)
    with pytest.raises(ValueError, match="node: expected exactly 6 octets"):
        qbasn.encode("uuid", uuid)


def test_slots_are_bounded():
    group = {"name": "g", "actions": [None] * 33, "attrlist": {"attrs": []}}
    with pytest.raises(ValueError, match="actions: at most 32 slots, got 33"):
        qbasn.encode("kxaction_group", group)


def test_a_record_that_contains_itself_is_refused():
    node = {"name": "n", "values": [], "child_nodes": []}
    node["child_nodes"].append(node)
    with pytest.raises(ValueError, match="nested deeper than 256 levels"):
        qbasn.encode("namevalue", node)


def test_dump_shows_nested_ber_unless_asked_not_to(tool):
    message = bytes.fromhex("3007 0405 3003 020107")
    assert qbasn.dump(message) == tool.run("dump", "--in", "raw", data=message).decode()
    assert "encapsulates" in qbasn.dump(message)
    assert qbasn.dump(message, nested=False) == tool.run("dump", "--in", "raw", "--no-nested", data=message).decode()
    assert "encapsulates" not in qbasn.dump(message, nested=False)


def test_dump_reports_the_first_malformed_frame():
    with pytest.raises(ValueError, match="offset 4"):
        qbasn.dump(bytes.fromhex("0402ACDC 3005 0201"))


# ---- the local code set ----

@pytest.fixture
def latin1():
    saved = locale.setlocale(locale.LC_CTYPE)
    locale.setlocale(locale.LC_CTYPE, "en_US.ISO-8859-1")
    yield
    locale.setlocale(locale.LC_CTYPE, saved)


def test_lcs_texts_are_the_local_code_sets_octets(latin1):
    message = qbasn.encode("value", value(text=b"\xe9"), lcs=True)
    assert message == bytes.fromhex("0402ACDC 300A 020105 0C02C3A9 040101")
    assert qbasn.decode("value", message, lcs=True)["text"] == b"\xe9"
    assert qbasn.decode("value", message)["text"] == "\u00e9"


# ---- threads ----

def test_many_threads_encode_and_decode_at_once(rnd):
    records = {name: make_record(name, rnd) for name in ("attrlist", "namevalueList", "vqauditevent", "kxaction_groups")}
    failures = []

    def work():
        try:
            for _ in range(50):
                for name, record in records.items():
                    assert qbasn.decode(name, qbasn.encode(name, record)) == record
        except Exception as e:  # noqa: BLE001 - reported below
            failures.append(e)

    threads = [threading.Thread(target=work) for _ in range(8)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert failures == []


# ---- the README's example ----

def test_the_readmes_example_runs(monkeypatch, capsys):
    from conftest import REPO

    readme = (REPO / "README.md").read_text()
    section = readme.split("## The Python module", 1)[1]
    example = section.split("```python\n", 1)[1].split("```", 1)[0]
    monkeypatch.chdir(REPO)
    exec(compile(example, "README.md", "exec"), {})  # its asserts check the octets and the round trip
    assert capsys.readouterr().out.startswith("0x10652198 input exhausted")
