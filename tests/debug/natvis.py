"""Run in gdb on printed_values: every type of the .natvis file exists, and so does every member that it
names. Takes the file from $natvis."""
import re
import xml.etree.ElementTree as tree

import gdb

NAMESPACE = '{http://schemas.microsoft.com/vstudio/debugger/natvis/2010}'
MEMBER = re.compile(r'(?:([a-z_]+_)(?:\.|->|\[\$i\]->))?\b([a-z_]+_|value)\b(?!\()')


def fields_of(type_):
    """The members of a class, those of its bases included, by name."""
    found = {}
    for field in type_.strip_typedefs().fields():
        if field.is_base_class:
            found.update(fields_of(field.type))
        else:
            found[field.name] = field.type
    return found


def pointed_to(type_):
    type_ = type_.strip_typedefs()
    while type_.code == gdb.TYPE_CODE_PTR:
        type_ = type_.target().strip_typedefs()
    return type_


def expressions(entry):
    """Every piece of text of an entry that the debugger evaluates."""
    for element in entry.iter():
        if 'Condition' in element.attrib:
            yield element.attrib['Condition']
        text = element.text or ''
        yield from re.findall(r'\{([^{}]*)\}', text) if element.tag == NAMESPACE + 'DisplayString' else [text]


def check(entry):
    name = entry.attrib['Name'].replace('<*>', '<long>')
    members = fields_of(gdb.lookup_type(name))
    for expression in expressions(entry):
        for outer, member in MEMBER.findall(expression):
            known = members if not outer else fields_of(pointed_to(members[outer]))
            if member not in known:
                print('%s has no member %s: %s' % (name, member, expression))


types = tree.parse(gdb.convenience_variable('natvis').string()).getroot().findall(NAMESPACE + 'Type')
for entry in types:
    try:
        check(entry)
    except (gdb.error, KeyError) as error:
        print('%s: %s' % (entry.attrib['Name'], error))
print('natvis: %d types' % len(types))
