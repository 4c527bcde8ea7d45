# How gdb shows the values of QBase: texts as texts, containers by their contents, objects by their class, count,
# members and properties of their own.
#
#     (gdb) source QBase-gdb.py     # not needed where the library is installed: gdb finds it by its name
#     (gdb) print name
#     $1 = "Io"
#     (gdb) print pMoon
#     $2 = Solar::Body, count 2
#     (gdb) print *pMoon.mpObject
#     $3 = Solar::Body, count 2 = {mName = "Io", ..., Discovered = 1610}
#
# Nothing of the program is called, so a core file shows as much as a running program. What is damaged or was never
# made is shown as what it is, in brackets; nothing in here raises an error towards gdb.

import re
import struct

import gdb
import gdb.printing

LONGEST_TEXT = 200  # bytes of a text inside of another value
MOST_NODES = 10000  # of a chain that may be damaged and go in circles
MOST_ELEMENTS = 50  # of an array in one line
LARGEST_COUNT = 1 << 30  # that a container may hold

TYPE_NAMES = ['void', 'int', 'float', 'bool', 'String', 'Object', 'Vector2', 'Vector3', 'Vector4', 'Vector2i',
              'Vector3i', 'Vector4i', 'Color', 'Value', 'Enum', 'Quaternion']
SIZES = [0, 4, 4, 1, 8, 8, 8, 12, 16, 8, 12, 16, 4, 0, 4, 16]  # bytes
COMPONENTS = {6: '<2f', 7: '<3f', 8: '<4f', 9: '<2i', 10: '<3i', 11: '<4i', 15: '<4f'}

TROUBLES = (gdb.error, RuntimeError, ValueError, OverflowError, UnicodeError, KeyError, IndexError, TypeError,
            AttributeError)


class Damage(RuntimeError):
    """What is shown is not what its type says."""


def safely(show):
    """A to_string that says in brackets what is wrong instead of raising it."""
    def shown(self):
        try:
            return show(self)
        except Damage as damage:
            return '(%s)' % damage
        except TROUBLES as trouble:
            return '(unreadable: %s)' % str(trouble).rstrip('.')
    return shown


def gently(children):
    """Children that end where something is wrong."""
    def walked(self):
        try:
            yield from children(self)
        except TROUBLES:
            return
    return walked


def entry_of(string):
    entry = string['mpEntry']
    if int(entry) == 0:
        raise Damage('no text: it was never made, or is gone')
    return entry.dereference()


def length_of(buffer):
    length = int(buffer['_M_string_length'])
    if length > LARGEST_COUNT:
        raise Damage('no text: %d bytes' % length)
    return length


def text_of(string, limit=LONGEST_TEXT):
    buffer = entry_of(string)['mBuffer']
    length = length_of(buffer)
    text = buffer['_M_dataplus']['_M_p'].string('utf-8', 'replace', length=min(length, limit))
    return text + ('...' if length > limit else '')


def quoted(text):
    return '"' + text.replace('\\', '\\\\').replace('"', '\\"').replace('\n', '\\n') + '"'


def short_number(number):
    """As few digits as tell a float from its neighbours."""
    for digits in range(1, 10):
        text = '%.*g' % (digits, number)
        if struct.pack('<f', float(text)) == struct.pack('<f', number):
            return text
    return repr(number)


class StringPrinter:
    def __init__(self, value):
        self.value = value

    @safely
    def to_string(self):
        buffer = entry_of(self.value)['mBuffer']
        start = buffer['_M_dataplus']['_M_p']
        length = length_of(buffer)
        if length > 0:
            gdb.selected_inferior().read_memory(int(start), length)  # raises what would end the line
        return start.lazy_string('utf-8', length=length)

    def display_hint(self):
        return 'string' if self.is_whole() else None

    def is_whole(self):
        try:
            buffer = entry_of(self.value)['mBuffer']
            gdb.selected_inferior().read_memory(int(buffer['_M_dataplus']['_M_p']), max(1, length_of(buffer)))
            return True
        except TROUBLES:
            return False


def is_object_type(type_of_value):
    """Whether QBase::Object is the type or a base of it."""
    for _ in range(64):
        if type_of_value.code != gdb.TYPE_CODE_STRUCT:
            return False
        if type_of_value.name == 'QBase::Object':
            return True
        bases = [field for field in type_of_value.fields() if field.is_base_class]
        if not bases:
            return False
        type_of_value = bases[0].type.strip_typedefs()
    return False


def pointer_form():
    """How `struct` calls a pointer of the program."""
    return 'Q' if gdb.lookup_type('void').pointer().sizeof == 8 else 'I'


def size_of_kind(kind):
    """The bytes of an element of that type."""
    return struct.calcsize('<' + pointer_form()) if kind in (4, 5) else SIZES[kind]


def vtable_at(address):
    form = pointer_form()
    return struct.unpack('<' + form, read(address, struct.calcsize(form)))[0]


def symbol_of(address):
    return gdb.execute('info symbol %d' % address, to_string=True)


def as_base(value, name):
    """The part of an object that is of the class `name`, or None."""
    kind = value.type.strip_typedefs().unqualified()
    for _ in range(64):
        if kind.name == name:
            return value
        bases = [field for field in kind.fields() if field.is_base_class]
        if not bases:
            return None
        value = value[bases[0]]
        kind = value.type.strip_typedefs().unqualified()
    return None


def class_of(value):
    """The name of the object's class, by its table of virtual functions; None for what is no object."""
    found = re.match(r'vtable for (.*?)( \+ \d+)? in section', symbol_of(vtable_at(int(value.address))))
    return found.group(1) if found is not None else None


def looks_alive(value):
    return class_of(value) is not None


def is_known(kind):
    """False for a type whose parts the program leaves to the debug information of the library."""
    return len(kind.strip_typedefs().unqualified().fields()) > 0


def summary_of(value):
    """`class, count N` of the object, with the number of what a table or list holds."""
    if value.address is None or int(value.address) == 0:
        return 'null'
    try:
        text = class_of(value)
        if text is None:
            raise Damage('no object: it was never made, or is gone')
        value = value.cast(value.dynamic_type)
        table = as_base(value, 'QBase::Table')
        if table is not None and is_known(table.type):
            text += ' of %d' % sum(1 for _ in nodes_of(table['mTable']))
        list_part = as_base(value, 'QBase::List')
        if list_part is not None and is_known(list_part.type):
            text += ' of %d' % size_of(list_part['mObjects'])
        return text + ', count %d' % count_of(value)
    except Damage as damage:
        return '(%s)' % damage
    except TROUBLES as trouble:
        return '(unreadable: %s)' % str(trouble).rstrip('.')


def count_of(value):
    """Behind the table of virtual functions and the instance table, as every object has it."""
    form = '<2' + pointer_form() + 'i'
    return struct.unpack(form, read(int(value.address), struct.calcsize(form)))[2]


def read(address, size):
    return bytes(gdb.selected_inferior().read_memory(address, size))


def describe(kind, address):
    """The text of a value of that type in memory."""
    if kind == 4:
        string = gdb.Value(address).cast(gdb.lookup_type('QBase::String').pointer()).dereference()
        return quoted(text_of(string))
    if kind == 5:
        pointer = gdb.Value(address).cast(gdb.lookup_type('QBase::Object').pointer().pointer()).dereference()
        return summary_of(pointer.dereference()) if int(pointer) != 0 else 'null'
    data = read(address, SIZES[kind])
    if kind in COMPONENTS:
        numbers = struct.unpack(COMPONENTS[kind], data)
        return '(%s)' % ', '.join(short_number(n) if isinstance(n, float) else str(n) for n in numbers)
    if kind == 2:
        return short_number(struct.unpack('<f', data)[0])
    if kind == 3:
        return 'true' if data[0] else 'false'
    if kind == 12:
        return '0x%08X' % struct.unpack('<I', data)[0]
    return str(struct.unpack('<i', data)[0])


class ValuePrinter:
    def __init__(self, value):
        self.value = value

    @safely
    def to_string(self):
        kind = int(self.value['mType'])
        if kind < 0 or kind >= len(TYPE_NAMES):
            raise Damage('no value: there is no type %d' % kind)
        payload = self.value['mPayload']
        if kind == 0:
            return 'void'
        return TYPE_NAMES[kind] + ' ' + describe(kind, int(payload.address))


class PtrPrinter:
    """What is pointed to in one line: the objects of a graph lead to each other."""

    def __init__(self, value):
        self.value = value

    @safely
    def to_string(self):
        pointer = self.value['mpObject']
        return summary_of(pointer.dereference()) if int(pointer) != 0 else 'null'


def size_of(array):
    size = int(array['mSize'])
    capacity = int(array['mCapacity'])
    if size < 0 or size > capacity or capacity > LARGEST_COUNT:
        raise Damage('no array: %d elements in room for %d' % (size, capacity))
    return size


class ArrayPrinter:
    def __init__(self, value):
        self.value = value

    @safely
    def to_string(self):
        return 'Array of %d' % size_of(self.value)

    @gently
    def children(self):
        data = self.value['mpData']
        for index in range(size_of(self.value)):
            yield '[%d]' % index, (data + index).dereference()

    def display_hint(self):
        return 'array'


def nodes_of(table):
    """The nodes of a hash table in walking order."""
    buckets = int(table['mTableSize'])
    if buckets < 0 or buckets > LARGEST_COUNT:
        raise Damage('no table: %d buckets' % buckets)
    count = 0
    for bucket in range(buckets):
        node = table['mpTable'][bucket]
        while int(node) != 0:
            count += 1
            if count > MOST_NODES:
                raise Damage('more than %d entries, or a damaged table' % MOST_NODES)
            yield node.dereference()
            node = node['mpNext']


def map_children(table):
    """Keys and values by turns, as gdb wants them."""
    for node in nodes_of(table):
        yield 'key', node['mKey']
        yield 'value', node['mValue']


class HashTablePrinter:
    def __init__(self, value):
        self.value = value

    @safely
    def to_string(self):
        return 'HashTable of %d' % sum(1 for _ in nodes_of(self.value))

    @gently
    def children(self):
        yield from map_children(self.value)

    def display_hint(self):
        return 'map'


class LinkedListPrinter:
    def __init__(self, value):
        self.value = value

    @safely
    def to_string(self):
        size = int(self.value['mSize'])
        if size < 0 or size > LARGEST_COUNT:
            raise Damage('no list: %d elements' % size)
        return 'LinkedList of %d' % size

    @gently
    def children(self):
        node = self.value['mpHead']
        for index in range(int(self.value['mSize'])):
            if int(node) == 0:
                return
            yield '[%d]' % index, node['mValue']
            node = node['mpNext']

    def display_hint(self):
        return 'array'


class ObjectPrinter:
    def __init__(self, value):
        self.value = value

    @safely
    def to_string(self):
        return summary_of(self.value)

    @gently
    def children(self):
        if not looks_alive(self.value):
            return
        value = self.value.cast(self.value.dynamic_type)
        yield from self.members(value)
        table = as_base(value, 'QBase::Table')
        if table is not None:
            for node in nodes_of(table['mTable']):
                yield '[%s]' % quoted(text_of(node['mKey'])), node['mValue']
        list_part = as_base(value, 'QBase::List')
        if list_part is not None:
            data = list_part['mObjects']['mpData']
            for index in range(size_of(list_part['mObjects'])):
                yield '[%d]' % index, (data + index).dereference()
        yield from self.own_properties(value)

    def members(self, value):
        """The members of the class and its bases, but for what the library keeps its books in."""
        kind = value.type.strip_typedefs().unqualified()
        if kind.name in ('QBase::Object', 'QBase::Table', 'QBase::List'):
            return
        for field in kind.fields():
            if field.is_base_class:
                yield from self.members(value[field])
            elif hasattr(field, 'bitpos') and not field.artificial:
                yield field.name, value[field]

    def own_properties(self, value):
        """The properties that only this object has, from the table of its instance."""
        instance = as_base(value, 'QBase::Object')['mpInstanceTable']
        if int(instance) == 0:
            return
        table = as_base(instance.dereference(), 'QBase::Table')
        for node in nodes_of(table['mTable']):
            yield text_of(node['mKey']), dynamic_property(node['mValue']['mpObject'])


def dynamic_property(pointer):
    """What a dynamic property holds. Its class, a template of the library's own, is known by its symbol alone."""
    symbol = symbol_of(vtable_at(int(pointer)))
    found = re.search(r'Dynamic(Value|Array)Property<\(QBase::Value::Type\)(\d+)>', symbol)
    if found is None or int(found.group(2)) >= len(TYPE_NAMES):
        return '(of unknown type)'
    kind = int(found.group(2))
    address = int(pointer) + gdb.lookup_type('QBase::Property').sizeof
    if found.group(1) == 'Value':
        return describe(kind, address)
    form = '<ii' + pointer_form()
    size, capacity, data = struct.unpack(form, read(address, struct.calcsize(form)))
    if size < 0 or size > capacity:
        return '(no array: %d elements in room for %d)' % (size, capacity)
    shown = [describe(kind, data + i * size_of_kind(kind)) for i in range(min(size, MOST_ELEMENTS))]
    return '{%s%s}' % (', '.join(shown), ', ...' if size > MOST_ELEMENTS else '')


class QBasePrinters(gdb.printing.PrettyPrinter):
    """Chooses the printer of a value."""

    PLAIN = {'QBase::String': StringPrinter, 'QBase::Value': ValuePrinter}
    TEMPLATES = {'QBase::Ptr': PtrPrinter, 'QBase::Array': ArrayPrinter, 'QBase::HashTable': HashTablePrinter,
                 'QBase::LinkedList': LinkedListPrinter}

    def __init__(self):
        super().__init__('QBase', [])

    def __call__(self, value):
        try:
            kind = value.type.strip_typedefs().unqualified()
            if kind.code != gdb.TYPE_CODE_STRUCT or kind.name is None:
                return None
            printer = self.PLAIN.get(kind.name) or self.TEMPLATES.get(kind.name.split('<')[0])
            if printer is not None and not kind.name.endswith('>::Node'):
                return printer(value)
            return ObjectPrinter(value) if is_object_type(kind) else None
        except TROUBLES:
            return None


gdb.printing.register_pretty_printer(None, QBasePrinters(), replace=True)
