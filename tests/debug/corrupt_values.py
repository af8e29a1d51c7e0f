"""Run in gdb at Stop of printed_values, one frame up: overwrites the values with junk, the same in every
run, and prints each. That must neither fail nor go on for long; the caller looks for complaints about
Python."""
import random

import gdb

VALUES = ('text', 'lines', 'words', 'empty', 'whole', 'part', 'xml', '*root', '*id', 'loose', 'wide', 'set',
          'letters')
ROUNDS = 30
MOST_CHARACTERS = 1 << 20
random_bytes = random.Random(13)
failures = []


def junk(size, near):
    """Bytes of which words are small, huge, or addresses that can be read."""
    words = [0, 1, 5, 0x10, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, (1 << 63) - 1, (1 << 64) - 1, near, near + 3]
    data = b''
    while len(data) < size:
        word = random_bytes.choice(words + [random_bytes.getrandbits(64)])
        data += word.to_bytes(8, 'little')
    return data[:size]


def try_one(name):
    value = gdb.parse_and_eval(name)
    address, size = int(value.address), value.type.sizeof
    inferior = gdb.selected_inferior()
    before = bytes(inferior.read_memory(address, size))
    for _ in range(ROUNDS):
        start = random_bytes.randrange(0, size, 4)
        length = random_bytes.randint(1, size - start)
        inferior.write_memory(address + start, junk(length, address))
        shown = ''
        try:
            shown = gdb.execute('print ' + name, False, True)
        except gdb.error as error:
            failures.append('%s: %s' % (name, error))
        if len(shown) > MOST_CHARACTERS:
            failures.append('%s: %d characters' % (name, len(shown)))
        inferior.write_memory(address, before)


gdb.execute('set print elements unlimited')
for name in VALUES:
    try_one(name)
print('\n'.join(failures + ['corrupt values: %d of %d failed' % (len(failures), ROUNDS * len(VALUES))]))
