"""Shows the values of the library's types in gdb.

gdb loads this file with the library (see docs/debugging.md), or by hand:

    (gdb) source ztk_printers.py

It only reads the program's memory: it calls nothing in it, and it bears with values that are not
initialised yet, freed, or overwritten. Nothing is shown at length, and a part that cannot be read is
shown as <unreadable>.
"""
import re

import gdb
import gdb.printing

MOST_UNITS = 1 << 16  # of one text, also where the user sets no limit to what is printed
MOST_ITEMS = 1 << 12  # of one array
PAGE = 4096
UNREADABLE = '<unreadable>'


def never_fails(function):
    """What is shown in place of a value whose memory, type or symbols are not what they should be."""
    def guarded(*arguments):
        try:
            return function(*arguments)
        except (gdb.error, ValueError, OverflowError, AttributeError, KeyError):
            return UNREADABLE
    return guarded


# --- Reading


def read_bytes(address, count):
    """As many of the bytes as can be read, from the first on."""
    data = b''
    while len(data) < count:
        here = address + len(data)
        step = min(count - len(data), PAGE - here % PAGE)
        try:
            data += bytes(gdb.selected_inferior().read_memory(here, step))
        except gdb.error:
            break
    return data


def read_terminated(address, size, most):
    """The units in front of the first zero, at most so many; None if the first cannot be read."""
    data = b''
    while len(data) < most * size:
        here = address + len(data)
        step = min(most * size - len(data), PAGE - here % PAGE)
        # A unit may lie across the end of a page.
        part = read_bytes(here, step + (-step) % size)
        part = part[:len(part) // size * size]
        for at in range(0, len(part), size):
            if not any(part[at:at + size]):
                return data + part[:at]
        data += part
        if len(part) < step:
            return data if data else None
    return data


def shown_units():
    limit = gdb.parameter('print elements')
    return min(limit, MOST_UNITS) if limit else MOST_UNITS


# --- Text


def can_print(character):
    if not character.isprintable():
        return False
    try:
        character.encode(getattr(gdb, 'host_charset', lambda: 'ascii')())
    except (UnicodeError, LookupError):
        return character.isascii()
    return True


NAMED_ESCAPES = {'"': '\\"', '\\': '\\\\', '\n': '\\n', '\r': '\\r', '\t': '\\t'}


def escape(character):
    code = ord(character)
    if character in NAMED_ESCAPES:
        return NAMED_ESCAPES[character]
    if can_print(character):
        return character
    if 0xDC80 <= code <= 0xDCFF:  # how decoding hands on a byte of malformed UTF-8
        return '\\%03o' % (code - 0xDC00)
    if code < 0x80:
        return '\\%03o' % code
    return '\\u%04x' % code if code < 0x10000 else '\\U%08x' % code


def quote(data, size, is_cut, prefix=None):
    """Text between quotes as source code has it: UTF-16 for size 2, UTF-8 for size 1."""
    if size == 2:
        text = data.decode('utf-16-le', 'surrogatepass')
        escaped = ''.join('\\u%04x' % ord(c) if 0xD800 <= ord(c) < 0xE000 else escape(c) for c in text)
    else:
        escaped = ''.join(escape(c) for c in data.decode('utf-8', 'surrogateescape'))
    if prefix is None:
        prefix = 'L' if size == 2 else ''
    return prefix + '"' + escaped + '"' + ('...' if is_cut else '')


def quote_terminated(address, size, prefix=None):
    limit = shown_units()
    data = read_terminated(address, size, limit + 1)
    if data is None:
        return UNREADABLE
    return quote(data[:limit * size], size, len(data) > limit * size, prefix)


def quote_counted(address, size, count, prefix=None):
    limit = min(count, shown_units())
    data = read_bytes(address, limit * size)
    if limit and len(data) < size:
        return UNREADABLE
    data = data[:len(data) // size * size]
    return quote(data, size, len(data) < count * size, prefix)


def wide_size(type_):
    """2 for wide characters of 16 bits; hosts without the flag have others, which gdb can print."""
    type_ = type_.strip_typedefs().unqualified()
    return 2 if type_.name == 'wchar_t' and type_.sizeof == 2 else 0


class WidePointer:
    def __init__(self, value):
        self.value = value

    @never_fails
    def to_string(self):
        address = int(self.value)
        return '0x0' if address == 0 else '0x%x %s' % (address, quote_terminated(address, 2))


class WideArray:
    def __init__(self, value):
        self.value = value

    @never_fails
    def to_string(self):
        first, last = self.value.type.strip_typedefs().range()
        count = last - first + 1
        if self.value.address is None:  # it lies in no memory: a value of the debugger's own
            units = [int(self.value[first + i]) & 0xFFFF for i in range(min(count, shown_units()))]
            data = b''.join(unit.to_bytes(2, 'little') for unit in units)
        else:
            data = read_bytes(int(self.value.address), 2 * min(count, MOST_UNITS))
        end = len(data)
        while end >= 2 and data[end - 2:end] == b'\0\0':
            end -= 2
        limit = shown_units()
        return quote(data[:min(end, 2 * limit)], 2, end > 2 * limit)


class WideCharacter:
    def __init__(self, value):
        self.value = value

    @never_fails
    def to_string(self):
        unit = int(self.value) & 0xFFFF
        shown = quote(unit.to_bytes(2, 'little'), 2, False)[2:-1]
        return "%d L'%s'" % (unit, shown.replace("'", "\\'").replace('\\"', '"'))


class StandardText:
    """std::basic_string and std::basic_string_view of wide characters."""

    def __init__(self, value):
        self.value = value

    @never_fails
    def to_string(self):
        fields = {field.name for field in self.value.type.strip_typedefs().fields()}
        if '_M_str' in fields:
            address, count = self.value['_M_str'], self.value['_M_len']
        else:
            address, count = self.value['_M_dataplus']['_M_p'], self.value['_M_string_length']
        return quote_counted(int(address), 2, int(count))


# --- Strings, buffers, arrays


class String:
    def __init__(self, value):
        self.value = value

    @never_fails
    def to_string(self):
        address = int(self.value['buffer_'])
        return 'L""' if address == 0 else quote_terminated(address, 2)


class Buffer:
    def __init__(self, value):
        self.value = value

    @never_fails
    def to_string(self):
        text = self.value['text_']
        size = text.type.strip_typedefs().target().sizeof
        count, capacity = int(self.value['length_']), int(self.value['capacity_'])
        if count < 0 or capacity < 0 or count * size > capacity:
            return '<corrupt: length %d, capacity %d bytes>' % (count, capacity)
        if int(text) == 0:
            return 'L""' if size == 2 else '""'
        return quote_counted(int(text), size, count)

    def children(self):
        try:
            if int(self.value['lines_']['count_']) != 0:
                yield 'lines', self.value['lines_']
            if int(self.value['hits_']) != 0:
                hits = self.value['hits_'].dereference()
                hits.fetch_lazy()
                yield 'hits', hits
        except gdb.error:
            return


class PointerArray:
    def __init__(self, value):
        self.value = value

    def bounds(self):
        return int(self.value['count_']), int(self.value['capacity_']), int(self.value['slots_'])

    def is_corrupt(self):
        count, capacity, slots = self.bounds()
        return count < 0 or count > capacity or (count > 0 and slots == 0)

    @never_fails
    def to_string(self):
        count, capacity, _ = self.bounds()
        if self.is_corrupt():
            return '<corrupt: count %d, capacity %d>' % (count, capacity)
        return '%d item%s' % (count, '' if count == 1 else 's')

    def children(self):
        try:
            count = 0 if self.is_corrupt() else min(self.bounds()[0], MOST_ITEMS)
        except gdb.error:
            return
        for i in range(count):
            try:
                item = self.value['slots_'][i].dereference()['value']
                item.fetch_lazy()
            except gdb.error:
                yield '[%d]' % i, UNREADABLE
                return
            yield '[%d]' % i, item


# --- Messages


class Message:
    def __init__(self, value):
        self.value = value

    def number(self, name):
        return int(self.value[name])

    def block(self):
        return self.number('view_') or self.number('packet_')

    def is_corrupt(self):
        received = self.number('received_')
        room = received if self.number('view_') else self.number('capacity_')
        return received < 0 or received > room or (received > 0 and self.block() == 0)

    @never_fails
    def to_string(self):
        received = self.number('received_')
        if self.is_corrupt():
            return '<corrupt: %d bytes received, capacity %d>' % (received, self.number('capacity_'))
        if self.number('message_length_') < 0 or self.number('message_offset_') < 0:
            return '%d bytes received, no header yet' % received
        size = sum(self.number(part) for part in ('message_offset_', 'message_length_', 'trailer_length_'))
        body = 'body of %d' % self.number('message_length_')
        if received < size:
            return '%d of %d bytes received, %s' % (received, size, body)
        return 'complete: %d bytes, %s' % (size, body)

    def part(self, start, length):
        """The bytes as a value; None for none."""
        data = read_bytes(self.block() + start, min(length, MOST_UNITS))
        if not data:
            return None
        bytes_type = gdb.lookup_type('char').array(len(data) - 1)
        return gdb.Value(self.block() + start).cast(bytes_type.pointer()).dereference()

    def children(self):
        try:
            if self.is_corrupt() or self.number('received_') == 0:
                return
            received, start = self.number('received_'), self.number('message_offset_')
            yield 'packet', self.part(0, received) or UNREADABLE
            length = min(self.number('message_length_'), received - start)
            if start > 0 and length > 0:
                yield 'body', self.part(start, length) or UNREADABLE
        except (gdb.error, OverflowError):
            return


# --- XML

# The fields of the parser's nodes, whose debug information comes with the library's.
DOM = 'ZTKPosix::dom::'
LOWEST_BIT = 1
MOST_NODES = 256  # that are looked at in one element
MOST_SHOWN = 16   # attributes, and pieces of text between elements


def quote_arena_text(record):
    """Characters that stand behind a record with their number."""
    return quote_counted(int(record) + record.type.strip_typedefs().target().sizeof, 2,
                         int(record.dereference()['length']), '')


def quote_pieces(piece):
    """A text node's text, of which the first piece is shown."""
    more = int(piece.dereference()['next']) != 0
    text = quote_arena_text(piece)
    return text + '...' if more and not text.endswith('...') else text


def node_of(pointer):
    """The member of the platform's object that a smart pointer leads to; None for none."""
    interface = pointer['object_']
    if int(interface) == 0:
        return None
    # gdb finds the object around a pointer to its interface, not around one to an alias of that.
    plain = interface.type.strip_typedefs().target().strip_typedefs()
    interface = interface.cast(plain.pointer())
    whole = interface.cast(interface.dynamic_type).dereference()
    for name in ('node_', 'attribute_'):
        try:
            return whole[name].referenced_value()
        except gdb.error:
            continue
    return None


def siblings(first):
    node, count = first, 0
    while int(node) != 0 and count < MOST_NODES:
        yield node.dereference()
        link, count = int(node.dereference()['link']), count + 1
        if link & LOWEST_BIT:
            return
        node = gdb.Value(link).cast(first.type)


def kind_of(node):
    return str(node['kind']).rsplit('::', 1)[-1]


class ElementText:
    """What an element of a loaded document holds: attributes, text, and how many elements."""

    def __init__(self, node):
        self.attributes, self.texts, self.elements = [], [], 0
        element = node.cast(gdb.lookup_type(DOM + 'Element'))
        for i in range(min(int(element['attribute_count']), MOST_SHOWN)):
            attribute = element['attributes'][i]
            name = attribute['name'].dereference()
            entry = attribute['name'].type.strip_typedefs().target().sizeof
            text = quote_counted(int(attribute['name']) + entry, 2, int(name['length']), '')
            self.attributes.append((text[1:-1], quote_arena_text(attribute['value'])))
        for child in siblings(element['first_child']):
            if kind_of(child) == 'kElement':
                self.elements += 1
            elif (kind_of(child) in ('kText', 'kCdata') and int(child['text']) != 0
                  and len(self.texts) < MOST_SHOWN):
                self.texts.append(quote_pieces(child['text']))


def name_text(token):
    address = int(token['text_'])
    text = '""' if address == 0 else quote_terminated(address, 2, '')
    return text[1:-1] if text.startswith('"') and text.endswith('"') else text


def read_value(tagged):
    """The text that the object has given out last; '' for none."""
    address = int(tagged['value_']['text_'])
    return '' if address == 0 else quote_terminated(address, 2, '')


class Attribute:
    def __init__(self, value):
        self.value = value

    @never_fails
    def to_string(self):
        return name_text(self.value) + '=' + self.text()

    def text(self):
        try:
            node = node_of(self.value['node_'])
            if node is not None:
                return quote_arena_text(node['value'])
        except gdb.error:
            pass
        return read_value(self.value) or '<not read yet>'


class Tag:
    def __init__(self, value):
        self.value = value

    @never_fails
    def to_string(self):
        try:
            node = node_of(self.value['node_'])
            if node is not None and kind_of(node) == 'kElement':
                return self.from_document(ElementText(node))
        except gdb.error:
            pass  # the library has no debug information, or this is no document's
        text = read_value(self.value)
        return self.start(self.known_attributes()) + (' ' + text if text else '')

    def start(self, attributes):
        return '<' + ' '.join([name_text(self.value)] + attributes) + '>'

    def from_document(self, element):
        parts = [self.start([name + '=' + text for name, text in element.attributes])]
        parts += element.texts
        if element.elements:
            more = ' or more' if element.elements >= MOST_NODES // 2 else ''
            parts.append('(%d%s element%s)' % (element.elements, more, '' if element.elements == 1 else 's'))
        return ' '.join(parts)

    def known_attributes(self):
        pointers = [child for _, child in PointerArray(self.value['attributes_']).children()]
        return [Attribute(pointer.dereference()).to_string() if pointer != UNREADABLE else UNREADABLE
                for pointer in pointers]


class Document:
    def __init__(self, value):
        self.value = value

    @never_fails
    def to_string(self):
        root = self.value['root_']
        return 'no document' if int(root) == 0 else 'root ' + Tag(root.dereference()).to_string()


# --- Handles

INDEX_SHIFT, INDEX_BITS, GENERATION_SHIFT = 2, 20, 22
SLOTS_PER_CHUNK = 1024
SIGNALLED = 1  # in the word of an object that processes share


class Handle:
    """What the layer for Linux knows of a handle. The library's own debug information tells."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        try:
            handle = int(self.value) & 0xFFFFFFFFFFFFFFFF
        except (gdb.error, ValueError):
            return UNREADABLE
        what = self.describe(handle)
        return '0x%x' % handle + (' (%s)' % what if what else '')

    def describe(self, handle):
        if handle == 0:
            return 'null'
        if handle == 0xFFFFFFFFFFFFFFFF:
            return 'INVALID_HANDLE_VALUE, or the own process'
        try:
            table = gdb.parse_and_eval("'ZTKPosix::handle_table'")
            made = int(table['slots_made'])
        except (gdb.error, ValueError, OverflowError):
            return ''
        try:
            index = handle >> INDEX_SHIFT & ((1 << INDEX_BITS) - 1)
            if index >= made or handle & ((1 << INDEX_SHIFT) - 1) or handle >> GENERATION_SHIFT == 0:
                return 'no handle'
            slot = table['chunks'][index // SLOTS_PER_CHUNK][index % SLOTS_PER_CHUNK]
            if int(slot['object']) == 0 or int(slot['value']) != handle:
                return 'closed'
            return self.describe_object(slot['object'].dereference())
        except (gdb.error, ValueError, OverflowError):
            return UNREADABLE

    def describe_object(self, base):
        # An object's kind is known by the name of the record that its pointer leads to.
        symbol = gdb.execute('info symbol 0x%x' % int(base['kind']), False, True)
        found = re.search(r'(\w+)::kKind', symbol)
        kind = found.group(1) if found else ''
        parts = [self.of_kind(kind, base)]
        if int(base['name']) != 0:
            parts.append('named ' + quote_counted(int(base['name']), 2, int(base['name_length'])))
        return ', '.join(parts)

    def of_kind(self, kind, base):
        signalled = 'signalled' if self.is_signalled(kind, base) else 'not signalled'
        if kind in ('Event', 'SharedEvent'):
            reset = 'auto-reset' if bool(base['resets_when_taken']) else 'manual-reset'
            return '%s event, %s' % (reset, signalled)
        if kind == 'SharedMutex':
            return 'mutex, ' + signalled
        if kind == 'Mutex':
            return 'mutex, %s%s' % (signalled, self.mutex_owner(self.derived(kind, base)))
        if kind == 'Thread':
            thread = self.derived(kind, base)
            if signalled == 'signalled':
                return 'thread, signalled, ended with %d' % int(thread['exit_code'])
            return 'thread, not signalled' + (', suspended' if bool(thread['suspended']) else '')
        if kind == 'File':
            return 'file, signalled'
        return 'object of unknown kind, ' + signalled

    def derived(self, kind, base):
        return base.cast(gdb.lookup_type('ZTKPosix::' + kind))

    def mutex_owner(self, mutex):
        if int(mutex['owner']) != 0:
            owner = int(mutex['owner'].dereference()['id'])  # 0 until the thread needs it
            return ', owned%s, %d deep' % (' by thread %d' % owner if owner else '', int(mutex['depth']))
        return ', abandoned' if bool(mutex['abandoned']) else ''

    def is_signalled(self, kind, base):
        if not kind.startswith('Shared'):
            return bool(base['signalled'])
        table = gdb.parse_and_eval("'ZTKPosix::shared::table'").dereference()
        word = table['slots'][int(base['shared_index'])]['word']
        return bool(int(word['_M_i']) & SIGNALLED)


# --- Which printer is whose

REFERENCES = (gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF)

CLASSES = (
    ('String', r'^ZTK::String$', String),
    ('CBuffer', r'^ZTK::(CBuffer<(char|wchar_t)>|CXMLToken)$', Buffer),
    ('CPtrArray', r'^ZTK::CPtrArray<.*>$', PointerArray),
    ('CSocketMsg', r'^ZTK::CSocketMsg$', Message),
    ('CXMLTag', r'^ZTK::CXMLTag$', Tag),
    ('CXMLAttribute', r'^ZTK::CXMLAttribute$', Attribute),
    ('CXml', r'^ZTK::CXml$', Document),
)
STRINGS = (
    ('basic_string', r'^std::(__cxx11::)?basic_string(_view)?<wchar_t,.*>$', StandardText),
)
SCALARS = (('HANDLE', Handle), ('wchar_t', WideCharacter), ('wchar_t[]', WideArray),
           ('wchar_t*', WidePointer))


def scalar_printer(type_):
    """The entry of SCALARS for a type that is no class; None for none."""
    plain = type_.strip_typedefs()
    if plain.code == gdb.TYPE_CODE_PTR:
        if type_.unqualified().name in ('HANDLE', 'ZTKPosix::HANDLE'):
            return SCALARS[0]
        return SCALARS[3] if wide_size(plain.target()) else None
    if plain.code == gdb.TYPE_CODE_ARRAY:
        return SCALARS[2] if wide_size(plain.target()) else None
    return SCALARS[1] if wide_size(plain) else None


class Subprinter:
    def __init__(self, name):
        self.name, self.enabled = name, True


class Printers(gdb.printing.PrettyPrinter):
    """One entry in gdb's list, whose parts can be switched off by name."""

    def __init__(self, name, classes, scalars):
        names = [entry[0] for entry in classes + scalars]
        super().__init__(name, [Subprinter(name) for name in names])
        self.by_name = {subprinter.name: subprinter for subprinter in self.subprinters}
        self.patterns = [(name, re.compile(pattern), printer) for name, pattern, printer in classes]
        self.has_scalars = bool(scalars)

    def find(self, type_):
        if type_.code in REFERENCES:
            type_ = type_.target()
        plain = type_.strip_typedefs().unqualified()
        if plain.code not in (gdb.TYPE_CODE_STRUCT, gdb.TYPE_CODE_UNION):
            return scalar_printer(type_) if self.has_scalars else None
        if not plain.fields():  # no more than its name is known
            return None
        for name, pattern, printer in self.patterns:
            if plain.tag and pattern.match(plain.tag):
                if printer is StandardText and not wide_size(plain.template_argument(0)):
                    return None
                return name, printer
        return None

    def __call__(self, value):
        try:
            found = self.find(value.type)
            if found is None or not self.by_name[found[0]].enabled or value.is_optimized_out:
                return None
            if value.type.code in REFERENCES:
                value = value.referenced_value()
        except (gdb.error, RuntimeError):
            return None
        return found[1](value)


def register_strings(_event=None):
    """The C++ library's printers take wide characters for 32 bits, and gdb asks its files in the order
    in which they were loaded. So those for strings stand with the first, which is the program."""
    files = gdb.objfiles()
    if files and not any(getattr(printer, 'name', '') == 'ztk-strings' for printer in files[0].pretty_printers):
        gdb.printing.register_pretty_printer(files[0], Printers('ztk-strings', STRINGS, ()))


def register():
    owner = gdb.current_objfile()
    gdb.printing.register_pretty_printer(owner, Printers('ztk', CLASSES, SCALARS), replace=True)
    register_strings()
    if owner is None:  # by hand, perhaps before there is a program
        gdb.events.new_objfile.connect(register_strings)


register()
