# How lldb shows the values of QBase: texts as texts, containers by their contents, objects by their class and count.
#
#     (lldb) command script import PREFIX/share/QBase/debugger/qbase_lldb.py   # a line for ~/.lldbinit
#     (lldb) frame variable name
#     (QBase::String) name = "Io"
#
# Nothing of the program is called. What is damaged or was never made is shown as what it is, in brackets.

import re
import struct

import lldb

LONGEST_TEXT = 200  # bytes
MOST_NODES = 10000  # of a chain that may be damaged and go in circles
LARGEST_COUNT = 1 << 30

TYPE_NAMES = ['void', 'int', 'float', 'bool', 'String', 'Object', 'Vector2', 'Vector3', 'Vector4', 'Vector2i',
              'Vector3i', 'Vector4i', 'Color', 'Value', 'Enum', 'Quaternion']
SIZES = [0, 4, 4, 1, 8, 8, 8, 12, 16, 8, 12, 16, 4, 0, 4, 16]  # bytes
COMPONENTS = {6: '<2f', 7: '<3f', 8: '<4f', 9: '<2i', 10: '<3i', 11: '<4i', 15: '<4f'}


class Damage(RuntimeError):
    """What is shown is not what its type says."""


def safely(show):
    """A summary that says in brackets what is wrong instead of raising it."""
    def shown(value, _internal):
        try:
            return show(value.GetNonSyntheticValue())
        except Damage as damage:
            return '(%s)' % damage
        except Exception as trouble:  # lldb would print a traceback into what its user reads
            return '(unreadable: %s)' % trouble
    return shown


def member(value, *path):
    for name in path:
        holder = value
        value = value.GetChildMemberWithName(name).GetNonSyntheticValue()
        if not value.IsValid():
            if has_no_parts(holder):
                raise Damage('unknown: clang tells of it with -fstandalone-debug')
            raise Damage('no member ' + name)
    return value


def has_no_parts(value):
    """Whether the compiler left it to another library to say what the type consists of."""
    kind = value.GetType()
    kind = kind.GetPointeeType() if kind.IsPointerType() else kind.GetDereferencedType() if kind.IsReferenceType() else kind
    return kind.GetNumberOfFields() == 0


def number(value):
    error = lldb.SBError()
    result = value.GetValueAsSigned(error)
    if error.Fail():
        raise Damage('unreadable')
    return result


def address_in(value):
    return value.GetValueAsUnsigned(0)


def read(value, address, size):
    error = lldb.SBError()
    data = value.GetProcess().ReadMemory(address, size, error)
    if error.Fail():
        raise Damage('unreadable: no memory at 0x%x' % address)
    return data


def pointer_form(value):
    """How `struct` calls a pointer of the program."""
    return 'Q' if value.GetTarget().GetAddressByteSize() == 8 else 'I'


def pointer_at(value, address):
    form = '<' + pointer_form(value)
    return struct.unpack(form, read(value, address, struct.calcsize(form)))[0]


def pointer_size(value):
    return value.GetTarget().GetAddressByteSize()


def element_type(value):
    """Of a container: what its template is of."""
    kind = value.GetType()
    kind = kind.GetDereferencedType() if kind.IsReferenceType() else kind
    kind = kind.GetUnqualifiedType().GetTemplateArgumentType(0)
    if kind.GetByteSize() == 0:
        raise Damage('unknown: clang tells of what it holds with -fstandalone-debug')
    return kind


class Node:
    """A link of a chain: an element, maybe a key in front, and behind it a pointer to the next.

    It is read from memory: where the library has the code of the container for all its users, the program does not
    tell of this type, and lldb looks nowhere else.
    """

    def __init__(self, value, address, kind, start):
        self.value = value
        self.address = address
        self.kind = kind
        self.start = start  # of the element

    def element(self, name):
        return self.value.CreateValueFromAddress(name, self.address + self.start, self.kind)

    def next(self):
        size = pointer_size(self.value)
        end = self.start + self.kind.GetByteSize()
        following = pointer_at(self.value, self.address + (end + size - 1) // size * size)
        return Node(self.value, following, self.kind, self.start) if following != 0 else None


def quoted(text):
    return '"' + text.replace('\\', '\\\\').replace('"', '\\"').replace('\n', '\\n') + '"'


def text_of(value, entry):
    """The text of the entry of a String at an address: its first members are a pointer and a length."""
    if entry == 0:
        raise Damage('no text: it was never made, or is gone')
    form = '<2' + pointer_form(value)
    start, length = struct.unpack(form, read(value, entry, struct.calcsize(form)))
    if length > LARGEST_COUNT:
        raise Damage('no text: %d bytes' % length)
    data = read(value, start, min(length, LONGEST_TEXT)) if length > 0 else b''
    return quoted(data.decode('utf-8', 'replace')) + ('...' if length > LONGEST_TEXT else '')


def short_number(shown):
    for digits in range(1, 10):
        text = '%.*g' % (digits, shown)
        if struct.pack('<f', float(text)) == struct.pack('<f', shown):
            return text
    return repr(shown)


def describe(value, kind, address):
    if kind == 4:
        return text_of(value, pointer_at(value, address))
    if kind == 5:
        return describe_object(value, pointer_at(value, address))
    data = read(value, address, SIZES[kind])
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


def describe_object(value, address):
    """`class, count N` of the object at an address. The table of its virtual functions names its class."""
    if address == 0:
        return 'null'
    form = '<2' + pointer_form(value) + 'i'
    vtable, _, count = struct.unpack(form, read(value, address, struct.calcsize(form)))
    symbol = value.GetTarget().ResolveLoadAddress(vtable).GetSymbol().GetName() or ''
    found = re.match(r'vtable for (.*)', symbol)
    if found is None:
        raise Damage('no object: it was never made, or is gone')
    return '%s, count %d' % (found.group(1), count)


@safely
def string_summary(value):
    return text_of(value, address_in(member(value, 'mpEntry')))


@safely
def value_summary(value):
    kind = number(member(value, 'mType')) & 0xFFFFFFFF
    if kind >= len(TYPE_NAMES):
        raise Damage('no value: there is no type %d' % kind)
    if kind == 0:
        return 'void'
    return TYPE_NAMES[kind] + ' ' + describe(value, kind, member(value, 'mPayload').GetLoadAddress())


@safely
def ptr_summary(value):
    return describe_object(value, address_in(member(value, 'mpObject')))


@safely
def object_summary(value):
    if value.GetType().IsPointerType():
        return describe_object(value, address_in(value))
    return describe_object(value, value.GetLoadAddress())


def array_size(value):
    size = number(member(value, 'mSize'))
    capacity = number(member(value, 'mCapacity'))
    if size < 0 or size > capacity or capacity > LARGEST_COUNT:
        raise Damage('no array: %d elements in room for %d' % (size, capacity))
    return size


@safely
def array_summary(value):
    return 'Array of %d' % array_size(value)


def value_offset(node, size):
    """Where a node has its value; right behind the key, a pointer, where the program does not tell."""
    for field in node.fields:
        if field.GetName() == 'mValue':
            return field.GetOffsetInBytes()
    return size


def nodes_of(value):
    buckets = number(member(value, 'mTableSize'))
    if buckets < 0 or buckets > LARGEST_COUNT:
        raise Damage('no table: %d buckets' % buckets)
    table = address_in(member(value, 'mpTable'))
    size = pointer_size(value)
    kind = element_type(value)
    start = value_offset(member(value, 'mpTable').GetType().GetPointeeType().GetPointeeType(), size)
    nodes = []
    for bucket in range(buckets):
        first = pointer_at(value, table + size * bucket)
        node = Node(value, first, kind, start) if first != 0 else None
        while node is not None:
            if len(nodes) >= MOST_NODES:
                raise Damage('more than %d entries, or a damaged table' % MOST_NODES)
            nodes.append(node)
            node = node.next()
    return nodes


@safely
def table_summary(value):
    return 'HashTable of %d' % len(nodes_of(value))


@safely
def linked_list_summary(value):
    size = number(member(value, 'mSize'))
    if size < 0 or size > LARGEST_COUNT:
        raise Damage('no list: %d elements' % size)
    return 'LinkedList of %d' % size


class Children:
    """What lldb asks of a container's children. Derived classes make a list of them."""

    def __init__(self, value, _internal):
        self.value = value
        self.children = []

    def update(self):
        try:
            self.children = self.find()
        except Exception:  # the summary says what is wrong
            self.children = []
        return False

    def has_children(self):
        return True

    def num_children(self):
        return len(self.children)

    def get_child_index(self, name):
        return int(name.strip('[]')) if name.strip('[]').isdigit() else -1

    def get_child_at_index(self, index):
        return self.children[index] if 0 <= index < len(self.children) else None


class ArrayChildren(Children):
    def find(self):
        data = member(self.value, 'mpData')
        kind = data.GetType().GetPointeeType()
        return [self.value.CreateValueFromAddress('[%d]' % i, address_in(data) + i * kind.GetByteSize(), kind)
                for i in range(min(array_size(self.value), MOST_NODES))]


class HashTableChildren(Children):
    def find(self):
        children = []
        for node in nodes_of(self.value):
            key = text_of(self.value, pointer_at(self.value, node.address))
            children.append(node.element('[%s]' % key))
        return children


class LinkedListChildren(Children):
    def find(self):
        children = []
        first = address_in(member(self.value, 'mpHead'))
        node = Node(self.value, first, element_type(self.value), 0) if first != 0 else None
        while node is not None and len(children) < min(number(member(self.value, 'mSize')), MOST_NODES):
            children.append(node.element('[%d]' % len(children)))
            node = node.next()
        return children


def __lldb_init_module(debugger, _internal):
    def run(command):
        debugger.HandleCommand(command + ' --category QBase')
    module = __name__
    for name, summary in (('QBase::String', 'string_summary'), ('QBase::Value', 'value_summary'),
                          ('QBase::Object', 'object_summary'), ('QBase::Table', 'object_summary'),
                          ('QBase::List', 'object_summary')):
        run('type summary add %s --python-function %s.%s' % (name, module, summary))
    for name, summary in (('Ptr', 'ptr_summary'), ('Array', 'array_summary'), ('HashTable', 'table_summary'),
                          ('LinkedList', 'linked_list_summary')):
        expand = '' if name == 'Ptr' else '--expand '  # the objects of a graph lead to each other
        run('type summary add %s--regex "^QBase::%s<.*>$" --python-function %s.%s' % (expand, name, module, summary))
    for name, children in (('Array', 'ArrayChildren'), ('HashTable', 'HashTableChildren'),
                           ('LinkedList', 'LinkedListChildren')):
        run('type synthetic add --regex "^QBase::%s<.*>$" --python-class %s.%s' % (name, module, children))
    debugger.HandleCommand('type category enable QBase')
