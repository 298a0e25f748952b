// tools/python/qbasn_module.cpp - the Python module `qbasn`: the library's
// typed and untyped entry points, its record descriptions and the qbasn
// tool's dump, for scripts.
//
//   decode(type_name, data, lcs=False) -> dict
//   encode(type_name, record, lcs=False) -> bytes
//   decode_object(object_type, version, data) -> dict | int     (259, 260, 262)
//   encode_object(object_type, version, record) -> bytes
//   types() -> [(flat_name, type_name, short_form), ...]
//   shape(type_name) -> {field: description}
//   definition(type_name) -> str                                (the ASN.1 definition)
//   dump(data, type_name=None, no_envelope=False, nested=True) -> str
//   Error(Exception): .code, .text, .context                    (a library status)
//   UnknownTypeError(KeyError, ValueError)                      (a type name the library lacks)
//
// A record is a dict in the shape of the tool's JSON (one shared conversion,
// tools/flat/record_tree.h), except that octet strings are bytes, and texts
// are str, or bytes when they are not UTF-8. A value of the wrong Python type
// raises TypeError, a wrong value ValueError, a missing field KeyError; each
// names the value's path ("attrs[1].values[0].text"). The interpreter lock is
// released while the library encodes, decodes or dumps; what it reads then is
// immutable (bytes) or a private copy (bytearray, memoryview).
#include <Python.h>
#include <pybind11/eval.h>
#include <pybind11/pybind11.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "qbasn.h"
#include "qbasn/cxx.h"
#include "tools/flat/record_tree.h"
#include "tools/qbasn/common.h"
#include "tools/qbasn/dump.h"
#include "tools/qbasn/text.h"
#include "tools/qbasn/types.h"

#ifndef QBASN_MODULE_VERSION
#define QBASN_MODULE_VERSION "unknown"
#endif

namespace py = pybind11;

namespace {

// ---- exceptions ----

// The module's exception classes, created once when the module loads.
PyObject* g_error = nullptr;         // qbasn.Error
PyObject* g_unknown_type = nullptr;  // qbasn.UnknownTypeError

// raise: sets a Python exception of `type` with `message` and unwinds to
// pybind11, which passes it on to the caller.
[[noreturn]] void raise(PyObject* type, const std::string& message) {
    PyErr_SetString(type, message.c_str());
    throw py::error_already_set();
}

// raise_status: qbasn.Error for a nonzero library status.
[[noreturn]] void raise_status(unsigned int status, const std::string& context) {
    PyErr_SetObject(g_error, py::make_tuple(status, qbasn::status_text(status), context).ptr());
    throw py::error_already_set();
}

// raise_fill: a value of the record that cannot go into the flat record.
[[noreturn]] void raise_fill(const qbflat::fill_error& e) {
    switch (e.error_kind()) {
        case qbflat::fill_error::kind::type: raise(PyExc_TypeError, e.what());
        case qbflat::fill_error::kind::missing: raise(PyExc_KeyError, e.what());
        case qbflat::fill_error::kind::value: break;
    }
    raise(PyExc_ValueError, e.what());
}

// checked: a new reference from the C API, or the Python error it raised.
py::object checked(PyObject* p) {
    if (p == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::object>(p);
}

std::string type_name_of(PyObject* o) { return Py_TYPE(o)->tp_name; }

// ---- arguments ----

// record_named: the record a type name stands for (flat name, type name or
// short form, in any case, as the tool accepts them).
const qb_record_info& record_named(py::handle name) {
    if (!PyUnicode_Check(name.ptr()))
        raise(PyExc_TypeError, "type_name: expected a str, got " + type_name_of(name.ptr()));
    Py_ssize_t size = 0;
    const char* text = PyUnicode_AsUTF8AndSize(name.ptr(), &size);
    if (text == nullptr) throw py::error_already_set();
    const std::string wanted(text, static_cast<std::size_t>(size));
    const qb_record_info* info = qbtool::lookup_record(wanted);
    if (info == nullptr) {
        const std::string near = qbtool::suggest_record(wanted);
        raise(g_unknown_type, "unknown record type '" + wanted + "' (" + (near.empty() ? std::string() : "did you mean " + near + "? ") +
                                  "qbasn.types() lists them)");
    }
    return *info;
}

// input_bytes: the octets of a bytes-like argument, readable without the
// interpreter lock: bytes are immutable and read in place; anything else
// with the buffer protocol (bytearray, memoryview, array) is copied, since
// another thread could change it while the library reads.
class input_bytes {
public:
    input_bytes(py::handle data, const char* what) {
        PyObject* o = data.ptr();
        if (PyBytes_Check(o)) {
            keep_ = py::reinterpret_borrow<py::object>(data);
            view_ = {reinterpret_cast<const unsigned char*>(PyBytes_AS_STRING(o)), static_cast<std::size_t>(PyBytes_GET_SIZE(o))};
        } else if (PyObject_CheckBuffer(o) && !PyUnicode_Check(o)) {
            Py_buffer buffer;
            if (PyObject_GetBuffer(o, &buffer, PyBUF_C_CONTIGUOUS) != 0) throw py::error_already_set();
            const auto* p = static_cast<const unsigned char*>(buffer.buf);
            copy_.assign(p, p + buffer.len);
            PyBuffer_Release(&buffer);
            view_ = copy_;
        } else {
            raise(PyExc_TypeError, std::string(what) + ": expected bytes, got " + type_name_of(o));
        }
        if (view_.size() > UINT32_MAX) raise(PyExc_ValueError, std::string(what) + ": more than 4 GiB - 1 octets");
    }
    std::span<const unsigned char> span() const { return view_; }

private:
    py::object keep_;
    std::vector<unsigned char> copy_;
    std::span<const unsigned char> view_;
};

// field_key: the field name as an interned Python str, made once per field
// (the reflection table's names are static, so their addresses are keys).
// Only touched with the interpreter lock held.
PyObject* field_key(const char* name) {
    static std::unordered_map<const char*, PyObject*> keys;
    const auto it = keys.find(name);
    if (it != keys.end()) return it->second;
    PyObject* key = PyUnicode_InternFromString(name);
    if (key == nullptr) throw py::error_already_set();
    keys.emplace(name, key);  // kept for the life of the process, like the table itself
    return key;
}

// ---- flat record -> Python values ----

// py_builder: builds the dict of a walked record.
class py_builder final : public qbflat::tree_builder {
public:
    void begin_record(const qb_record_info&) override { open(checked(PyDict_New()), false); }
    void member(const qb_field_info& f) override { open_.back().key = field_key(f.name); }
    void end_record() override { close(); }
    void begin_list(std::size_t count) override {
        open(checked(PyList_New(static_cast<Py_ssize_t>(count))), true);
    }
    void end_list() override { close(); }
    void integer(long long v) override { place(checked(PyLong_FromLongLong(v))); }
    void text(std::span<const unsigned char> bytes) override {
        // UTF-8 texts are str; others (a local code set, a peer's mistake)
        // keep their octets as bytes, as the tool's JSON keeps them in hex.
        if (qbtool::valid_utf8(bytes))
            place(checked(PyUnicode_DecodeUTF8(reinterpret_cast<const char*>(bytes.data()), static_cast<Py_ssize_t>(bytes.size()), "strict")));
        else
            octets(bytes);
    }
    void octets(std::span<const unsigned char> bytes) override {
        place(checked(PyBytes_FromStringAndSize(reinterpret_cast<const char*>(bytes.data()), static_cast<Py_ssize_t>(bytes.size()))));
    }
    void null() override { place(py::none()); }

    py::object result() { return std::move(root_); }

private:
    struct level {
        py::object container;
        bool list;
        Py_ssize_t next = 0;      // the next list element
        PyObject* key = nullptr;  // the member being written, in a dict
    };

    void place(py::object value) {
        if (open_.empty()) {
            root_ = std::move(value);
            return;
        }
        level& top = open_.back();
        if (top.list) {
            PyList_SET_ITEM(top.container.ptr(), top.next++, value.release().ptr());  // steals the reference
        } else if (PyDict_SetItem(top.container.ptr(), top.key, value.ptr()) != 0) {
            throw py::error_already_set();
        }
    }

    void open(py::object container, bool list) {
        py::object copy = container;
        place(std::move(copy));
        open_.push_back({std::move(container), list});
    }

    void close() { open_.pop_back(); }

    std::vector<level> open_;
    py::object root_;
};

py::object to_python(const qb_record_info& info, const void* flat) {
    py_builder builder;
    qbflat::walk_record(info, flat, builder);
    return builder.result();
}

// ---- Python values -> flat record ----

// py_tree: a dict of a record read by qbflat::fill_record. Texts are str (or
// bytes, or None); octet strings are bytes-like; lists are lists or tuples.
// Every node handed out is kept referenced until the fill ends, so nothing a
// Python callback might do to the containers can free a node in use.
class py_tree final : public qbflat::tree_reader {
public:
    static PyObject* of(node n) { return const_cast<PyObject*>(static_cast<const PyObject*>(n)); }

    value_kind kind(node n) const override {
        PyObject* o = of(n);
        if (o == Py_None) return value_kind::null;
        if (PyBool_Check(o)) return value_kind::boolean;
        if (PyLong_Check(o)) return value_kind::integer;
        if (PyFloat_Check(o)) return value_kind::fractional;
        if (PyUnicode_Check(o)) return value_kind::text;
        if (PyBytes_Check(o) || PyByteArray_Check(o) || PyMemoryView_Check(o)) return value_kind::octets;
        if (PyList_Check(o) || PyTuple_Check(o)) return value_kind::list;
        if (PyDict_Check(o)) return value_kind::record;
        return value_kind::other;
    }
    std::string kind_name(node n) const override {
        PyObject* o = of(n);
        if (o == Py_None) return "None";
        if (PyBytes_CheckExact(o)) return "bytes";
        const std::string name = type_name_of(o);
        return (std::strchr("aeiou", name[0]) != nullptr ? "an " : "a ") + name;
    }
    const char* record_word() const override { return "a dict"; }
    const char* list_word() const override { return "a list"; }
    const char* integer_word() const override { return "an int"; }

    std::optional<long long> integer(node n) const override {
        int overflow = 0;
        const long long v = PyLong_AsLongLongAndOverflow(of(n), &overflow);
        if (overflow != 0) return std::nullopt;
        if (v == -1 && PyErr_Occurred() != nullptr) throw py::error_already_set();
        return v;
    }
    std::string integer_text(node n) const override {
        // The int's own repr, not a subclass's: no Python code runs here.
        py::object text = checked(PyLong_Type.tp_repr(of(n)));
        return utf8(text.ptr());
    }
    std::size_t list_size(node n) const override { return static_cast<std::size_t>(PySequence_Fast_GET_SIZE(of(n))); }
    node list_item(node n, std::size_t i) const override {
        // A list can only change under the fill if Python code ran (a key's
        // __eq__ during a lookup); an element it no longer has is refused.
        if (i >= list_size(n)) raise(PyExc_RuntimeError, "a list of the record changed while it was read");
        return keep(PySequence_Fast_GET_ITEM(of(n), static_cast<Py_ssize_t>(i)));
    }
    std::size_t member_count(node n) const override { return static_cast<std::size_t>(PyDict_Size(of(n))); }
    std::vector<std::string> member_names(node n, const qbflat::value_path& path) const override {
        std::vector<std::string> names;
        PyObject* key = nullptr;
        PyObject* value = nullptr;
        Py_ssize_t pos = 0;
        while (PyDict_Next(of(n), &pos, &key, &value)) {
            if (!PyUnicode_Check(key))
                throw qbflat::fill_error(qbflat::fill_error::kind::type, path.str(), "field names are str, got " + kind_name(key));
            names.push_back(utf8(key));
        }
        return names;
    }
    node find_member(node n, const char* name) const override {
        PyObject* value = PyDict_GetItemWithError(of(n), field_key(name));
        if (value == nullptr && PyErr_Occurred() != nullptr) throw py::error_already_set();
        return value != nullptr ? keep(value) : nullptr;
    }
    std::optional<std::string_view> text(node n, const qbflat::value_path& path) const override {
        PyObject* o = of(n);
        if (o == Py_None) return std::nullopt;
        if (PyUnicode_Check(o)) {
            // The UTF-8 form is cached in the str, which is kept referenced.
            Py_ssize_t size = 0;
            const char* p = PyUnicode_AsUTF8AndSize(o, &size);
            if (p == nullptr) {
                PyErr_Clear();
                throw qbflat::fill_error(qbflat::fill_error::kind::value, path.str(), "the str cannot be written as UTF-8 (it holds a lone surrogate)");
            }
            return std::string_view(p, static_cast<std::size_t>(size));
        }
        if (kind(n) == value_kind::octets) return octets(n, path);
        throw qbflat::fill_error(qbflat::fill_error::kind::type, path.str(), "expected a str, None or bytes, got " + kind_name(n));
    }
    std::string_view octets(node n, const qbflat::value_path& path) const override {
        PyObject* o = of(n);
        // bytes are immutable and kept referenced; a bytearray or memoryview
        // is copied, as Python code could change it.
        if (PyBytes_Check(o)) return std::string_view(PyBytes_AS_STRING(o), static_cast<std::size_t>(PyBytes_GET_SIZE(o)));
        if (PyByteArray_Check(o))
            return copies_.emplace_back(PyByteArray_AS_STRING(o), static_cast<std::size_t>(PyByteArray_GET_SIZE(o)));
        if (PyMemoryView_Check(o)) {
            Py_buffer buffer;
            if (PyObject_GetBuffer(o, &buffer, PyBUF_C_CONTIGUOUS) != 0) {
                PyErr_Clear();
                throw qbflat::fill_error(qbflat::fill_error::kind::value, path.str(), "the memoryview is not contiguous");
            }
            std::string& bytes = copies_.emplace_back(static_cast<const char*>(buffer.buf), static_cast<std::size_t>(buffer.len));
            PyBuffer_Release(&buffer);
            return bytes;
        }
        throw qbflat::fill_error(qbflat::fill_error::kind::type, path.str(), "expected bytes, got " + kind_name(n));
    }

    // root: the record (or integer) to read, kept referenced like every node.
    node root(py::handle value) const { return keep(value.ptr()); }

private:
    static std::string utf8(PyObject* s) {
        Py_ssize_t size = 0;
        const char* p = PyUnicode_AsUTF8AndSize(s, &size);
        if (p == nullptr) {
            PyErr_Clear();
            return "<a name that is not valid text>";
        }
        return std::string(p, static_cast<std::size_t>(size));
    }

    // keep: holds a reference to a node until the fill ends.
    node keep(PyObject* o) const {
        kept_.push_back(py::reinterpret_borrow<py::object>(o));
        return o;
    }

    mutable std::vector<py::object> kept_;
    mutable std::deque<std::string> copies_;
};

// fill_from: fills the zeroed flat record from a dict.
void fill_from(py::handle value, const qb_record_info& info, void* flat) {
    const py_tree tree;
    try {
        qbflat::fill_record(tree, tree.root(value), info, flat);
    } catch (const qbflat::fill_error& e) {
        raise_fill(e);
    }
}

int int_from(py::handle value) {
    const py_tree tree;
    try {
        return qbflat::fill_int32(tree, tree.root(value));
    } catch (const qbflat::fill_error& e) {
        raise_fill(e);
    }
}

py::bytes to_bytes(std::span<const unsigned char> bytes) {
    return py::bytes(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

// ---- typed entry points ----

py::object decode(py::handle type_name, py::handle data, bool lcs) {
    const qb_record_info& info = record_named(type_name);
    const input_bytes in(data, "data");
    std::optional<qbasn::result<qbasn::any_record>> r;
    {
        py::gil_scoped_release unlocked;
        r.emplace(qbasn::decode_any(info, in.span(), lcs));
    }
    if (!*r) raise_status(r->status(), std::string("decoding ") + info.flat_name);
    return to_python(info, r->value().flat());
}

py::bytes encode(py::handle type_name, py::handle record, bool lcs) {
    const qb_record_info& info = record_named(type_name);
    qbasn::any_record flat(info);  // released through the record's free function, whatever happens
    fill_from(record, info, flat.flat());
    std::optional<qbasn::result<qbasn::buffer>> r;
    {
        py::gil_scoped_release unlocked;
        r.emplace(qbasn::encode_any(flat, lcs));
    }
    if (!*r) raise_status(r->status(), std::string("encoding ") + info.flat_name);
    return to_bytes(r->value().bytes());
}

// ---- untyped entry points ----

// checked_object: the object type and envelope version of the untyped entry
// points: 259, 260 or 262, and a version octet.
void check_object(unsigned int object_type, int version) {
    if (object_type != qbtool::kCertRequestType && object_type != qbtool::kUpdateListType && object_type != qbtool::kIntegerType)
        raise(PyExc_ValueError, "object_type: " + std::to_string(object_type) +
                                    " is not an object type of the untyped entry points (259 cert_request_in, "
                                    "260 kxobj_update_list_s_t, 262 a bare INTEGER)");
    if (version < 0 || version > 255) raise(PyExc_ValueError, "version: " + std::to_string(version) + " is not an envelope version (0..255)");
}

std::string object_context(const char* verb, unsigned int object_type) {
    return std::string(verb) + " object type " + std::to_string(object_type);
}

py::object decode_object(unsigned int object_type, int version, py::handle data) {
    check_object(object_type, version);
    const input_bytes in(data, "data");
    qb_asn_buffer_t raw{static_cast<unsigned int>(in.span().size()), const_cast<unsigned char*>(in.span().data())};
    int status = 0;
    if (object_type == qbtool::kIntegerType) {
        int value = 0;
        {
            py::gil_scoped_release unlocked;
            status = qbasn_decode_obj(version, raw, object_type, &value);
        }
        if (status != 0) raise_status(static_cast<unsigned int>(status), object_context("decoding", object_type));
        return py::int_(value);
    }
    const qb_record_info& info = qbtool::untyped_record(object_type);
    qbasn::any_record record(info);
    {
        py::gil_scoped_release unlocked;
        status = qbasn_decode_obj(version, raw, object_type, record.flat());
    }
    if (status != 0) raise_status(static_cast<unsigned int>(status), object_context("decoding", object_type));
    return to_python(info, record.flat());
}

py::bytes encode_object(unsigned int object_type, int version, py::handle value) {
    check_object(object_type, version);
    qbasn::buffer message;
    int status = 0;
    if (object_type == qbtool::kIntegerType) {
        int number = int_from(value);
        py::gil_scoped_release unlocked;
        status = qbasn_encode_obj(version, &number, object_type, message.get());
    } else {
        const qb_record_info& info = qbtool::untyped_record(object_type);
        qbasn::any_record record(info);
        fill_from(value, info, record.flat());
        py::gil_scoped_release unlocked;
        status = qbasn_encode_obj(version, record.flat(), object_type, message.get());
    }
    if (status != 0) raise_status(static_cast<unsigned int>(status), object_context("encoding", object_type));
    return to_bytes(message.bytes());
}

// ---- descriptions ----

constexpr qbflat::value_words kPythonWords{"int", "str, None (sent as \"\") or bytes", "list of str, None or bytes", "bytes", "dict", "list", "None"};

py::list types() {
    py::list out;
    size_t n = 0;
    const qb_record_info* const* records = qb_record_list(&n);
    for (size_t i = 0; i < n; ++i)
        out.append(py::make_tuple(records[i]->flat_name, records[i]->name, qbflat::short_form(records[i]->flat_name)));
    return out;
}

py::dict shape(py::handle type_name) {
    const qb_record_info& info = record_named(type_name);
    py::dict out;
    for (size_t i = 0; i < info.field_count; ++i) out[info.fields[i].name] = qbflat::shape_of(info.fields[i], kPythonWords);
    return out;
}

py::str definition(py::handle type_name) { return qbflat::definition_of(record_named(type_name)); }

// ---- dump ----

// memory_stream: a FILE that writes into memory (the dump walker writes to
// a stream).
class memory_stream {
public:
    memory_stream() : stream_(open_memstream(&data_, &size_)) {
        if (stream_ == nullptr) throw std::bad_alloc();
    }
    memory_stream(const memory_stream&) = delete;
    memory_stream& operator=(const memory_stream&) = delete;
    ~memory_stream() {
        if (stream_ != nullptr) std::fclose(stream_);
        std::free(data_);
    }
    FILE* stream() const { return stream_; }
    // text: closes the stream and returns what was written.
    std::string text() {
        if (std::fclose(stream_) != 0) {
            stream_ = nullptr;
            throw std::bad_alloc();
        }
        stream_ = nullptr;
        return std::string(data_ != nullptr ? data_ : "", size_);
    }

private:
    char* data_ = nullptr;
    std::size_t size_ = 0;
    FILE* stream_ = nullptr;
};

py::str dump(py::handle data, py::handle type_name, bool no_envelope, bool nested) {
    qbtool::dump_options options;
    options.no_envelope = no_envelope;
    options.nested = nested;
    if (!type_name.is_none()) options.type = &record_named(type_name);
    const input_bytes in(data, "data");
    memory_stream out;
    std::string failure;
    {
        py::gil_scoped_release unlocked;
        try {
            qbtool::dump_message(in.span(), options, out.stream());
        } catch (const qbtool::tool_error& e) {
            failure = e.what();
        }
    }
    if (!failure.empty()) raise(PyExc_ValueError, failure);
    const std::string text = out.text();
    return checked(PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "replace"));
}

// The exception classes, in Python: a status carries its code and meaning.
constexpr const char* kExceptions = R"py(
class Error(Exception):
    """A status code of the library: .code (int, e.g. 0x10652198), .text
    (its meaning from the library's status table) and .context (what was
    being done)."""

    def __init__(self, code, text, context=""):
        self.code = code
        self.text = text
        self.context = context
        message = "0x%08X %s" % (code, text)
        if context:
            message += " (%s)" % context
        super().__init__(message)

    def __reduce__(self):
        return (type(self), (self.code, self.text, self.context))


class UnknownTypeError(KeyError, ValueError):
    """A record type name the library does not know."""

    def __str__(self):
        return str(self.args[0]) if self.args else ""
)py";

}  // namespace

PYBIND11_MODULE(qbasn, m) {
    m.doc() =
        "qbasn: encode and decode the authorization service's records (ASN.1 BER behind a four-octet envelope).\n"
        "Records are dicts in the shape of `qbasn types NAME` (octet strings as bytes); see shape(type_name).";
    m.attr("__version__") = QBASN_MODULE_VERSION;

    py::dict scope;
    scope["__builtins__"] = py::module_::import("builtins");
    scope["__name__"] = "qbasn";
    py::exec(kExceptions, scope);
    m.attr("Error") = scope["Error"];
    m.attr("UnknownTypeError") = scope["UnknownTypeError"];
    // The module keeps both classes referenced for as long as it is loaded.
    g_error = scope["Error"].ptr();
    g_unknown_type = scope["UnknownTypeError"].ptr();
    Py_INCREF(g_error);
    Py_INCREF(g_unknown_type);

    m.def("decode", &decode, py::arg("type_name"), py::arg("data"), py::arg("lcs") = false,
          "decode(type_name, data, lcs=False) -> dict: the record of a message (bytes). type_name: flat name "
          "(attrlist_s_t), type name (attrlist_t) or short form (attrlist). lcs: texts in the code set of the "
          "process's LC_CTYPE locale instead of UTF-8. Raises qbasn.Error with the library's status.");
    m.def("encode", &encode, py::arg("type_name"), py::arg("record"), py::arg("lcs") = false,
          "encode(type_name, record, lcs=False) -> bytes: the message of a record (a dict as decode returns it).");
    m.def("decode_object", &decode_object, py::arg("object_type"), py::arg("version"), py::arg("data"),
          "decode_object(object_type, version, data): the untyped entry point: 259 (cert_request_in) and 260 "
          "(kxobj_update_list_s_t) give a dict, 262 an int. version: the envelope version, 0..255.");
    m.def("encode_object", &encode_object, py::arg("object_type"), py::arg("version"), py::arg("record"),
          "encode_object(object_type, version, record) -> bytes: the untyped entry point (259, 260: a dict; 262: an int).");
    m.def("types", &types, "types() -> list of (flat_name, type_name, short_form), one per record type.");
    m.def("shape", &shape, py::arg("type_name"), "shape(type_name) -> dict: each field, in wire order, with the kind of value it takes.");
    m.def("definition", &definition, py::arg("type_name"), "definition(type_name) -> str: the record's ASN.1 definition.");
    m.def("dump", &dump, py::arg("data"), py::arg("type_name") = py::none(), py::arg("no_envelope") = false,
          py::arg("nested") = true,
          "dump(data, type_name=None, no_envelope=False, nested=True) -> str: the envelope and every BER frame of a "
          "message, one line per frame, as `qbasn dump` prints them (nested=False: --no-nested). Raises ValueError "
          "at the first malformed frame.");
}
