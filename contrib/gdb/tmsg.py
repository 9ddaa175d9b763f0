"""Prints the values of libtmsg in gdb: messages, structs, arrays and plain values.

    (gdb) source contrib/gdb/tmsg.py
    (gdb) print request
    $1 = Message request stock.reserve = {meta = Tm_struct of 0 members, body = Tm_struct of 2
    members = {article = "bolt M8", count = 250}}

Nothing of the process is called, so this also works with core files. gdb needs the debug
information of the classes: that of the library, or that of a program which was compiled with
-femit-class-debug-always (g++) or -fstandalone-debug (clang++).
"""

import itertools
import re

import gdb
import gdb.printing

# The kinds of slots: the type code of a value in the slot itself, or one of these numbers.
ON_HEAP = 0x80
PLAIN_STRUCT = 0x81
NO_VALUE = 0xFF
PLAIN_TYPES = ("signed char", "unsigned char", "short", "unsigned short", "int", "unsigned int",
               "long", "unsigned long", "double", "bool")
STRING = 10
KIND_NAMES = ("request", "response", "fault")
MOST_NAME = 200
MOST_TEXT = 65535  # of a name or a path, whose length may not be set yet
MOST_BYTES = 16


def pointer_size():
    return gdb.lookup_type("char").pointer().sizeof


def object_at(address, type_name):
    # gdb looks for the own class of an object that a pointer leads to, and warns when it is unknown.
    # It does not do so for an array.
    array = gdb.lookup_type(type_name).array(0)
    return gdb.Value(address).cast(array.pointer()).dereference()[0]


def pointer_at(address):
    return int(gdb.Value(address).cast(gdb.lookup_type("char").pointer().pointer()).dereference())


def bytes_at(address, size):
    if size <= 0:  # below 0 in an object that is not made yet
        return b""
    return gdb.selected_inferior().read_memory(address, size).tobytes()


def text_size(address):
    """Returns the length of a text, which stands before its first byte."""
    return int(object_at(address - 4, "unsigned int"))


def name_at(address, size):
    """Returns the first bytes of a name in a form that can be shown."""
    name = bytes_at(address, min(size, MOST_NAME)).decode("utf-8", "backslashreplace")
    shown = "".join(c if c.isprintable() else "\\x%02x" % ord(c) for c in name)
    return (shown or '""') + ("..." if size > MOST_NAME else "")


def text_at(address):
    """Returns a text as a string that gdb prints as its settings say."""
    pointer = gdb.Value(address).cast(gdb.lookup_type("char").pointer())
    return pointer.lazy_string(length=text_size(address))


def standard_string(value):
    try:
        size = min(int(value["_M_string_length"]), MOST_TEXT)
        return value["_M_dataplus"]["_M_p"].string(length=size, errors="backslashreplace")
    except gdb.error:  # of another standard library
        return value.format_string()


def class_at(address):
    """Returns the name of the class of an object, by the symbol of its table of virtual functions.
    The library exports these symbols, so that it may be stripped."""
    table = gdb.execute("info symbol %d" % pointer_at(address), to_string=True)
    found = re.match(r"vtable for (.*?) \+ \d+ in section", table)
    # The symbols of Message bear a mark, [abi:tmsg].
    name = re.sub(r"\[abi:\w+\]", "", found.group(1)) if found else None
    return "Tm_struct" if name == "Tm_struct::Made" else name


def offset_of(type_name, field, otherwise):
    """Returns the offset of a field, or `otherwise` if gdb does not know the class."""
    try:
        fields = gdb.lookup_type(type_name).fields()
    except gdb.error:
        fields = []
    return next((f.bitpos // 8 for f in fields if f.name == field), otherwise)


def slots(container):
    """Yields the values of a container."""
    begin = int(container["slots_"])
    size = container["slots_"].type.target().sizeof
    kinds = begin + size * int(container["capacity_"])
    for i in range(int(container["size_"])):
        yield slot_value(begin + size * i, int(object_at(kinds + i, "unsigned char")))


def slot_value(address, kind):
    # A plain value and a string begin with the pointer that every value begins with.
    content = address + pointer_size()
    if kind == NO_VALUE:
        return "<empty>"
    if kind >= ON_HEAP:
        return object_at(pointer_at(address), "Tm_struct" if kind == PLAIN_STRUCT else "Tm_value")
    if kind == STRING:
        return text_at(pointer_at(content))
    if kind < len(PLAIN_TYPES):
        return plain(object_at(content, PLAIN_TYPES[kind]))
    return "<unknown kind %d>" % kind


def plain(value):
    """Returns a value that is not shown as a character."""
    if value.type.strip_typedefs().sizeof == 1 and value.type.name != "bool":
        return gdb.Value(int(value))
    return value


def count_of(count, what):
    return "%d %s%s" % (count, what, "" if count == 1 else "s")


class ValuePrinter:
    def __init__(self, value):
        self.value = value


class StructPrinter:
    def __init__(self, value):
        self.value = value
        self.container = value["values_"]

    def to_string(self):
        return "Tm_struct of " + count_of(int(self.container["size_"]), "member")

    def names(self):
        layout = int(self.value["layout_"]["object_"])
        begin = pointer_at(layout + offset_of("Tm_layout", "names_", 16))
        for i in itertools.count():
            name = pointer_at(begin + i * pointer_size())
            yield name_at(name, text_size(name))

    def children(self):
        if int(self.container["size_"]) == 0:
            return
        # The container ends first: there may be a name that waits for its value.
        for value, name in zip(slots(self.container), self.names()):
            yield name, value


class PrenamedStructPrinter(StructPrinter):
    def names(self):
        names = self.value["names_"]
        for i in itertools.count():
            yield names[i].string(errors="backslashreplace")


class ArrayPrinter:
    def __init__(self, value):
        self.container = value["values_"]

    def to_string(self):
        return "Tm_array of " + count_of(int(self.container["size_"]), "element")

    def children(self):
        for i, value in enumerate(slots(self.container)):
            yield "[%d]" % i, value

    def display_hint(self):
        return "array"


class MessagePrinter(ValuePrinter):
    def to_string(self):
        kind = int(self.value["type_"])
        text = "Message " + (KIND_NAMES[kind] if kind < len(KIND_NAMES) else "of kind %d" % kind)
        return text + (" " + standard_string(self.value["request_name_"]) if kind == 0 else "")

    def children(self):
        groups = self.value["groups_"]
        yield "meta", groups[0]
        yield "body", groups[1]


class PlainPrinter(ValuePrinter):
    def to_string(self):
        return plain(self.value["value_"])


class StringPrinter(ValuePrinter):
    def to_string(self):
        return text_at(int(self.value["text_"]))

    def display_hint(self):
        return "string"


class BinaryPrinter:
    def __init__(self, value):
        self.room = int(value["room_"].address)

    def span(self):
        """Returns the address and the number of the bytes, which a counted vector has."""
        counted = pointer_at(self.room + pointer_size())
        vector = pointer_at(counted) if counted else 0
        if not vector:
            return 0, 0
        begin = pointer_at(vector)
        return begin, pointer_at(vector + pointer_size()) - begin

    def to_string(self):
        begin, size = self.span()
        shown = bytes_at(begin, min(size, MOST_BYTES)).hex(" ")
        dots = " ..." if size > MOST_BYTES else ""
        return "Tm_binary of " + count_of(size, "byte") + (": " if size else "") + shown + dots


class FilePrinter(ValuePrinter):
    def to_string(self):
        path = standard_string(self.value["path_"])
        return 'Tm_file "%s" of %s' % (path, count_of(int(self.value["size_"]), "byte"))


class DatePrinter(ValuePrinter):
    def to_string(self):
        fields = ("year_", "month_", "day_", "hour_", "minutes_", "seconds_")
        return "Tm_date %04d-%02d-%02d %02d:%02d:%02d" % tuple(int(self.value[f]) for f in fields)


PRINTERS = {
    "Message": MessagePrinter,
    "Tm_struct": StructPrinter,
    "Tm_prenamed_struct": PrenamedStructPrinter,
    "Tm_array": ArrayPrinter,
    "Tm_double": PlainPrinter,
    "Tm_bool": PlainPrinter,
    "Tm_string": StringPrinter,
    "Tm_binary": BinaryPrinter,
    "Tm_file": FilePrinter,
    "Tm_date": DatePrinter,
}
PRINTERS.update(("Tm_int_of<%s>" % name, PlainPrinter) for name in PLAIN_TYPES[:8])
# The object may be of a class derived from these.
BASES = ("Tm_value", "Tm_int", "Tm_struct")


class Printers(gdb.printing.PrettyPrinter):
    def __init__(self):
        names = [gdb.printing.SubPrettyPrinter(name) for name in PRINTERS]
        super().__init__("tmsg", names)
        self.by_name = {printer.name: printer for printer in names}

    def __call__(self, value):
        if value.type.code in (gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF):
            value = value.referenced_value()
        name = value.type.strip_typedefs().unqualified().name
        if name in BASES:
            value, name = self.as_own_class(value, name)
        if name not in PRINTERS or not self.by_name[name].enabled:
            return None
        return PRINTERS[name](value)

    @staticmethod
    def as_own_class(value, name):
        """Returns the object as one of its own class, if that has a printer, and the class."""
        try:
            address = int(value.address)
            own = class_at(address)
            if own in PRINTERS and own != name:
                return object_at(address, own), own
        except (gdb.error, TypeError):  # not in memory, or of a class that gdb does not know
            pass
        return value, name


gdb.printing.register_pretty_printer(gdb.current_objfile(), Printers(), replace=True)
