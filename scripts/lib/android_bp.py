"""Compares the modules of Android.bp with the compile commands of CMake; scripts/android-bp runs it."""

import json
import os
import re
import sys

TOKEN = re.compile(r'\s+|//[^\n]*|("(?:[^"\\]|\\.)*")|([A-Za-z_]\w*)|([{}\[\]:,])')
# The tests of the program need a desk.
DESK_ONLY = 'tests/cli/'


def tokens(text):
    position = 0
    while position < len(text):
        match = TOKEN.match(text, position)
        if not match:
            raise ValueError(f'line {text.count(chr(10), 0, position) + 1}: not understood')
        position = match.end()
        if match.lastindex:
            yield match.group()
    yield ''


class Parser:
    """Reads modules: a type and a map of strings, booleans, lists and maps."""

    def __init__(self, text):
        self.rest = tokens(text)
        self.token = next(self.rest)

    def take(self, expected=None):
        taken = self.token
        if not taken or (expected and taken != expected):
            raise ValueError(f'{expected or "more"} expected, not {taken or "the end"}')
        self.token = next(self.rest, '')
        return taken

    def items(self, end, item):
        found = []
        while self.token != end:
            found.append(item())
            if self.token != end:
                self.take(',')
        self.take(end)
        return found

    def member(self):
        name = self.take()
        self.take(':')
        return name, self.value()

    def value(self):
        taken = self.take()
        if taken == '{':
            return dict(self.items('}', self.member))
        if taken == '[':
            return self.items(']', self.value)
        return json.loads(taken)

    def modules(self):
        found = {}
        while self.token:
            self.take()
            self.take('{')
            module = dict(self.items('}', self.member))
            found[module['name']] = module
        return found


def whole_list(modules, name, key):
    """The list of a module with those of its defaults."""
    module = modules[name]
    inherited = [item for default in module.get('defaults', []) for item in whole_list(modules, default, key)]
    return inherited + module.get(key, [])


def warnings(flags):
    return [flag for flag in flags if flag.startswith('-W')]


def differences(what, android, cmake):
    for item in sorted(set(android) ^ set(cmake)):
        yield f'{item}: {what}, but only in {"Android.bp" if item in android else "CMake"}'
    for item in sorted({item for item in android if android.count(item) > 1}):
        yield f'{item}: twice in Android.bp'


def main(blueprint, compile_commands):
    with open(blueprint, encoding='utf-8') as file:
        modules = Parser(file.read()).modules()
    with open(compile_commands, encoding='utf-8') as file:
        commands = json.load(file)

    library, tests, flags = [], [], []
    for command in commands:
        source = os.path.relpath(command['file'])
        if '/kestrix_objects.dir/' in command['command']:
            library.append(source)
            # GCC alone knows -Wno-restrict.
            flags = [flag for flag in command['command'].split() if re.match('-[Wf]', flag) and flag != '-Wno-restrict']
        elif source.startswith('tests/') and not source.startswith(DESK_ONLY):
            tests.append(source)

    faults = []
    for name in ('libKestrix', 'libKestrix_static'):
        faults += differences(f'a source of {name}', whole_list(modules, name, 'srcs'), library)
        own = [flag for flag in whole_list(modules, name, 'cflags') if re.match('-[Wf]', flag)]
        faults += differences(f'a flag of {name}', own, [flag for flag in flags if flag != '-fPIC'])
    faults += differences('a source of KestrixTests', whole_list(modules, 'KestrixTests', 'srcs'), tests)
    faults += differences('a warning of KestrixTests', warnings(whole_list(modules, 'KestrixTests', 'cflags')),
                          warnings(flags))
    for module in modules.values():
        files = [module[key] for key in ('src', 'version_script') if key in module]
        faults += [f'{file}: named in Android.bp, but not there' for file in files if not os.path.exists(file)]
        for key in ('defaults', 'required', 'static_libs'):
            faults += [f'{name}: a module that {module["name"]} needs, but not there'
                       for name in module.get(key, []) if name not in modules]
    print('\n'.join(faults), end='\n' if faults else '')
    return 1 if faults else 0


if __name__ == '__main__':
    sys.exit(main(*sys.argv[1:]))
