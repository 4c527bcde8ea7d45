# Shows variables of a stopped program as Visual Studio would: gdb runs this and evaluates the expressions of the
# natvis file. It knows the parts of that format that the file uses and fails at any other, and at names of types and
# members that the program does not have.
#
#     gdb -batch -x commands PROGRAM    # break Stop, run, up, source natvis.py, natvis FILE NAME...
#     numbers: Array of 2 {[0]: 3, [1]: -4}

import fnmatch
import re
import xml.etree.ElementTree as ElementTree

import gdb

SPACE = '{http://schemas.microsoft.com/vstudio/debugger/natvis/2010}'
MEMBER = re.compile(r'(?<![\w.>$:])(m[A-Z]\w*|mp[A-Z]\w*|mb[A-Z]\w*)\b')
FORMATS = {'Xb': '%08X'}


def tag_of(element):
    return element.tag.replace(SPACE, '')


def evaluate(expression, value, local=()):
    """An expression of the file: members of the value and local variables go without further ado."""
    gdb.set_convenience_variable('self', value.address)
    text = MEMBER.sub(r'$self->\1', expression.strip()).replace('nullptr', '0')
    text = text.replace('(Node*)', '(%s::Node*)' % value.type.strip_typedefs().unqualified().name)
    for name in local:
        text = re.sub(r'(?<![\w.>$])%s\b' % name, '$' + name, text)
    return gdb.parse_and_eval(text)


def holds(element, value, local=()):
    condition = element.get('Condition')
    return condition is None or bool(evaluate(condition, value, local))


def bases_of(kind):
    """The type and its bases, nearest first."""
    kinds = [kind]
    for shown in kinds:
        if shown.code == gdb.TYPE_CODE_STRUCT:
            kinds += [field.type.strip_typedefs() for field in shown.fields() if field.is_base_class]
    return kinds


class Views:
    def __init__(self, path):
        self.types = []
        self.used = set()
        for element in ElementTree.parse(path).getroot():
            assert tag_of(element) == 'Type' and set(element.attrib) == {'Name'}, element.attrib
            self.types.append((element.get('Name').replace('[', '[[]'), element))

    def find(self, kind):
        for base in bases_of(kind):
            for pattern, element in self.types:
                if base.name is not None and fnmatch.fnmatchcase(base.name, pattern) and '>::' not in base.name:
                    self.used.add(pattern)
                    return element
        return None

    def whole(self, value):
        """The object that the value is a part of."""
        if value.type.strip_typedefs().code == gdb.TYPE_CODE_REF:
            value = value.referenced_value()
        kind = value.type.strip_typedefs().unqualified()
        if kind.code == gdb.TYPE_CODE_STRUCT and any(base.name == 'QBase::Object' for base in bases_of(kind)):
            return value.cast(value.dynamic_type)
        return value

    def display(self, value):
        value = self.whole(value)
        kind = value.type.strip_typedefs().unqualified()
        view = self.find(kind)
        if view is not None:
            for part in view:
                if tag_of(part) == 'DisplayString' and holds(part, value):
                    return re.sub(r'\{([^{}]*)\}', lambda found: self.inserted(found.group(1), value), part.text)
            raise ValueError('nothing to display of ' + str(kind))
        if kind.name is not None and kind.name.startswith('std::') and 'basic_string' in kind.name:
            return '"%s"' % value['_M_dataplus']['_M_p'].string('utf-8', length=int(value['_M_string_length']))
        if kind.name is not None and kind.name.startswith('std::atomic'):
            return str(value['_M_i'])
        return value.format_string(raw=True)

    def inserted(self, text, value):
        expression, _, form = text.partition(',')
        shown = evaluate(expression, value)
        return FORMATS[form] % int(shown) if form else self.display(shown)

    def children(self, value):
        value = self.whole(value)
        view = self.find(value.type.strip_typedefs().unqualified())
        for part in [] if view is None else view:
            if tag_of(part) == 'Expand':
                for item in part:
                    if holds(item, value):
                        yield from getattr(self, 'expand_' + tag_of(item))(item, value)
            elif tag_of(part) == 'SmartPointer':
                evaluate(part.text, value)
            else:
                assert tag_of(part) == 'DisplayString', tag_of(part)

    def expand_Item(self, item, value):
        yield item.get('Name'), evaluate(item.text, value)

    def expand_ExpandedItem(self, item, value):
        yield from self.children(evaluate(item.text, value))

    def expand_ArrayItems(self, item, value):
        start = evaluate(item.find(SPACE + 'ValuePointer').text, value)
        for index in range(int(evaluate(item.find(SPACE + 'Size').text, value))):
            yield '[%d]' % index, (start + index).dereference()

    def expand_LinkedListItems(self, item, value):
        node = evaluate(item.find(SPACE + 'HeadPointer').text, value)
        for index in range(int(evaluate(item.find(SPACE + 'Size').text, value))):
            yield '[%d]' % index, evaluate(item.find(SPACE + 'ValueNode').text, node.dereference())
            node = evaluate(item.find(SPACE + 'NextPointer').text, node.dereference())

    def expand_CustomListItems(self, item, value):
        self.local = []
        yield from self.run(item, value)

    def run(self, block, value):
        for step in block:
            kind = tag_of(step)
            if kind == 'Variable':
                gdb.set_convenience_variable(step.get('Name'), evaluate(step.get('InitialValue'), value))
                self.local.append(step.get('Name'))
            elif kind == 'Loop':
                while holds(step, value, self.local):
                    yield from self.run(step, value)
            elif kind == 'Exec':
                evaluate(step.text, value, self.local)
            elif kind == 'Item':
                name = re.sub(r'\{([^{}]*)\}', lambda found: self.display(evaluate(found.group(1), value, self.local)),
                              step.get('Name'))
                yield name, evaluate(step.text, value, self.local)
            else:
                raise ValueError('no such step: ' + kind)


class Natvis(gdb.Command):
    """natvis FILE NAME...: shows the variables, then the types of the file that nothing was shown of."""

    def __init__(self):
        super().__init__('natvis', gdb.COMMAND_DATA)

    def invoke(self, text, _from_tty):
        path, *names = gdb.string_to_argv(text)
        views = Views(path)
        for name in names:
            value = gdb.parse_and_eval(name)
            shown = views.display(value)
            children = ', '.join('%s: %s' % (child, views.display(part)) for child, part in views.children(value))
            print('%s: %s' % (name, shown) + (' {%s}' % children if children else ''))
        print('unused:', *(pattern for pattern, _ in views.types if pattern not in views.used))


Natvis()
