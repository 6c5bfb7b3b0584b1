#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Generates the library's advice table from a catalogue; docs/advice-catalogue.md has the catalogue's form.

advice_table.py CATALOGUE SHIPPED HEADER: reads CATALOGUE, whose records must be those of the SHIPPED one, and writes
HEADER. For a catalogue that breaks a rule it prints the first fault as FILE:LINE: REASON, and writes nothing.
"""
import itertools
import re
import sys

NORMAL = 'Normal system information,do not need to deal with.'
MAX_STEPS = 7
MAX_TEXT = 2047
LARGEST_TABLE = 32 * 1024 - 1
RECORD_SIZE = 8
NUMBER_SIZE = 2

ADVICE = re.compile(r'advice ([a-z0-9-]+)')
QUOTED = re.compile(r'"(.*)"')
RECORD = re.compile(r'record' + r' ([0-9A-F]{2})' * 4 + r' ([a-z0-9-]+)(?: +#.*)?')
PRINTABLE = re.compile(r'[ !#-\[\]-~]+')


class Fault(Exception):
    """What is wrong with a catalogue, and in which line."""

    def __init__(self, place, reason):
        super().__init__(f'{place[0]}:{place[1]}: {reason}')


class Catalogue:
    """The texts, each a list of lines, by name; and the records, each a key and the name of its text."""

    def __init__(self, path):
        self.texts = {}
        self.records = []
        self.places = {}  # of each text by name, and of each record by number
        self.reading = None  # the text that gets the next line
        self.here = (path, 1)
        with open(path, encoding='latin-1') as file:
            for number, line in enumerate(file, 1):
                self.here = (path, number)
                if line.strip() and not line.startswith('#'):
                    self.take(line.strip())
        for name in self.texts:
            self.check_text(name)

    def take(self, line):
        if match := ADVICE.fullmatch(line):
            self.reading = match[1]
            if self.reading in self.texts:
                raise Fault(self.here, f'there is an advice {self.reading} already')
            self.texts[self.reading] = []
            self.places[self.reading] = self.here
        elif (match := QUOTED.fullmatch(line)) and self.reading:
            self.take_line(self.texts[self.reading], match[1])
        elif match := RECORD.fullmatch(line):
            self.reading = None
            *key, name = match.groups()
            if name not in self.texts:
                raise Fault(self.here, f'no advice {name} stands above this record')
            self.places[len(self.records)] = self.here
            self.records.append((key, name))
        else:
            raise Fault(self.here, 'expected advice NAME, the lines below it in double quotes, or record KEY NAME')

    def take_line(self, lines, line):
        label = f'Step{len(lines) + 1}:'
        if not PRINTABLE.fullmatch(line):
            raise Fault(self.here, 'an advice is printable ASCII without double quotes and backslashes')
        if lines == [NORMAL]:
            raise Fault(self.here, 'nothing may follow the line for normal system information')
        if len(lines) == MAX_STEPS:
            raise Fault(self.here, f'an advice has {MAX_STEPS} steps at most')
        if lines or line != NORMAL:
            if not line.startswith(label) or line[len(label):].isspace() or line == label:
                raise Fault(self.here, f'this line must begin with "{label}" and go on')
        lines.append(line)
        if len('\n'.join(lines)) > MAX_TEXT:
            raise Fault(self.here, f'an advice has {MAX_TEXT} characters at most')

    def check_text(self, name):
        if not self.texts[name]:
            raise Fault(self.places[name], f'advice {name} has no lines')
        same = next(other for other, lines in self.texts.items() if lines == self.texts[name])
        if same != name:
            raise Fault(self.places[name], f'advice {name} says what advice {same} says')
        if all(name != used for _, used in self.records):
            raise Fault(self.places[name], f'no record has advice {name}')

    def check_records(self, shipped):
        """Daemons look for keys, so a catalogue may change what is said about an event, never the events."""
        for number, (key, _) in enumerate(self.records):
            if number == len(shipped):
                raise Fault(self.places[number], f'the table ends after {number} records')
            if key != shipped[number][0]:
                raise Fault(self.places[number], f'record {number + 1} must be {" ".join(shipped[number][0])}')
        if len(self.records) < len(shipped):
            raise Fault(self.here, f'{len(self.records)} records; there must be {len(shipped)}')


def table(catalogue):
    """Each line once; the texts as runs of numbers of lines; the records with their texts' runs."""
    numbers = {}
    runs = []
    first = {}
    for name, lines in catalogue.texts.items():
        first[name] = len(runs)
        runs += [numbers.setdefault(line, len(numbers)) for line in lines]
    size = sum(len(line) + 1 for line in numbers) + NUMBER_SIZE * (len(numbers) + 1 + len(runs))
    size += RECORD_SIZE * len(catalogue.records)
    if size > LARGEST_TABLE:
        raise Fault(catalogue.here, f'the table takes {size} bytes; it may take {LARGEST_TABLE}')
    return list(numbers), runs, [(key, first[name], len(catalogue.texts[name])) for key, name in catalogue.records]


def header(pool, runs, records):
    def rows(render, values):
        return '\n'.join('    ' + render(value) for value in values)

    def record(value):
        key, first, count = value
        return f'{{{{0x{", 0x".join(key)}}}, {first}, {count}}},'

    starts = [0, *itertools.accumulate(len(line) + 1 for line in pool)]
    return f'''// Made by the build of an advice catalogue; changes belong there.
#pragma once

#include <cstdint>

#include "platform/advice.h"

namespace vexora {{

// The lines, a line feed after each.
inline constexpr char kAdvicePool[] =
{rows(lambda line: f'"{line}{chr(92)}n"', pool)};

// Where each line starts in the pool, and where the last one ends.
inline constexpr std::uint16_t kAdviceStarts[] = {{
{rows(lambda start: f'{start},', starts)}
}};

// The texts: the numbers of their lines.
inline constexpr std::uint16_t kAdviceLines[] = {{
{rows(lambda number: f'{number},', runs)}
}};

inline constexpr AdviceRecord kAdviceRecords[] = {{
{rows(record, records)}
}};

}}  // namespace vexora
'''


def main(path, shipped, output):
    try:
        catalogue = Catalogue(path)
        catalogue.check_records(Catalogue(shipped).records)
        text = header(*table(catalogue))
    except (Fault, OSError) as fault:
        sys.exit(str(fault))
    with open(output, 'w', encoding='ascii') as file:
        file.write(text)


main(*sys.argv[1:])
