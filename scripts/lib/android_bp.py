"""Compares the modules of Android.bp with the compile commands of CMake; scripts/android-bp runs it."""

import glob
import json
import os
import re
import sys

TOKEN = re.compile(r'\s+|//[^\n]*|("(?:[^"\\]|\\.)*")|([A-Za-z_]\w*)|([{}\[\]:,+])')
# The tests of the program need a desk.
DESK_ONLY = 'tests/cli/'
# GCC alone knows -Wno-restrict; older headers of the device's crypto library do not pass -Wpedantic.
DESK_FLAGS = ('-Wno-restrict', '-Wpedantic', '-fPIC')
# The platform's names of the libraries that CMake links.
LIBRARIES = {'jsoncpp_lib': 'libjsoncpp', 'OpenSSL::Crypto': 'libcrypto', 'Android::log': 'liblog',
             'Android::base': 'libbase'}
FILE_LISTS = ('srcs', 'data', 'corpus')
FILES = ('src', 'version_script', 'dictionary')
# The properties that each type of module may have here, with their types; a map has properties of its own, and of a
# set its items alone may be listed.
COMMON = {'name': str, 'defaults': list, 'srcs': list, 'cflags': list, 'static_libs': list, 'shared_libs': list,
          'host_supported': bool}
PROPERTIES = {
    'cc_defaults': COMMON | {'cpp_std': str, 'local_include_dirs': list, 'dictionary': str,
                             'sanitize': {'integer_overflow': bool, 'misc_undefined': {'bounds'}}},
    'cc_library_shared': COMMON | {'system_ext_specific': bool, 'version_script': str, 'lto': {'thin': bool},
                                   'generated_headers': list, 'export_generated_headers': list},
    'cc_library_static': COMMON,
    'cc_test': COMMON | {'data': list, 'require_root': bool, 'test_suites': {'general-tests'},
                         'test_options': {'unit_test': bool}},
    'cc_fuzz': COMMON | {'corpus': list},
    'genrule': {'name': str, 'srcs': list, 'out': list, 'cmd': str},
    'prebuilt_etc': {'name': str, 'system_ext_specific': bool, 'src': str, 'filename': str, 'sub_dir': str},
}


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
        value = json.loads(taken)
        while self.token == '+':
            self.take()
            value += json.loads(self.take())
        return value

    def modules(self):
        found = {}
        while self.token:
            kind = self.take()
            self.take('{')
            module = dict(self.items('}', self.member))
            found[module['name']] = module | {'type': kind}
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


def property_faults(what, properties, known):
    for key, value in properties.items():
        kind = known.get(key)
        if kind is None:
            yield f'{what}: no property {key}'
        elif isinstance(kind, set):
            if not isinstance(value, list) or not set(value) <= kind:
                yield f'{what}: {key} is no list out of {", ".join(sorted(kind))}'
        elif not isinstance(value, dict if isinstance(kind, dict) else kind):
            yield f'{what}: {key} is not of its type'
        elif isinstance(kind, dict):
            yield from property_faults(f'{what}.{key}', value, kind)


def module_faults(module):
    known = PROPERTIES.get(module['type'])
    if known is None:
        yield f'{module["name"]}: no module type {module["type"]}'
        return
    yield from property_faults(module['name'], {key: module[key] for key in module if key != 'type'}, known)


def header_faults(module):
    """What callers may include is what CMake installs, and each of it is copied."""
    with open('cmake/KestrixInstall.cmake', encoding='utf-8') as file:
        installed = re.search(r'foreach\(header ([^)]*)\)', file.read()).group(1).split()
    yield from differences('a header for callers', module['out'], installed)
    if module['srcs'] != module['out']:
        yield f'{module["name"]}: srcs are not out'
    copied = re.findall(r'\$\(location ([^)]*)\)', module['cmd'])
    yield from differences(f'a file that {module["name"]} copies', copied, module['srcs'])


def file_faults(module):
    patterns = [module[key] for key in FILES if key in module]
    patterns += [pattern for key in FILE_LISTS for pattern in module.get(key, [])]
    for pattern in patterns:
        if not any(os.path.isfile(path) for path in glob.iglob(pattern, recursive=True)):
            yield f'{pattern}: named by {module["name"]}, but not there'


def main(blueprint, compile_commands):
    with open(blueprint, encoding='utf-8') as file:
        modules = Parser(file.read()).modules()
    with open(compile_commands, encoding='utf-8') as file:
        commands = json.load(file)

    library, tests, flags, standard = [], [], [], ''
    for command in commands:
        source = os.path.relpath(command['file'])
        if '/kestrix_objects.dir/' in command['command']:
            library.append(source)
            words = command['command'].split()
            flags = [flag for flag in words if re.match('-[Wf]', flag) and flag not in DESK_FLAGS]
            standard = next(word for word in words if word.startswith('-std='))
        elif source.startswith('tests/') and not source.startswith(DESK_ONLY):
            tests.append(source)

    faults = []
    for name in ('libKestrix', 'libKestrix_static'):
        faults += differences(f'a source of {name}', whole_list(modules, name, 'srcs'), library)
        own = [flag for flag in whole_list(modules, name, 'cflags') if re.match('-[Wf]', flag)]
        faults += differences(f'a flag of {name}', own, flags)
    faults += header_faults(modules['Kestrix_headers'])
    faults += differences('a source of KestrixTests', whole_list(modules, 'KestrixTests', 'srcs'), tests)
    faults += differences('a warning of KestrixTests', warnings(whole_list(modules, 'KestrixTests', 'cflags')),
                          warnings(flags))
    with open('cmake/KestrixTargets.cmake', encoding='utf-8') as file:
        linked = re.search(r'set\(libraries ([^)]*)\)', file.read()).group(1).split()
    faults += differences('a library', whole_list(modules, 'libKestrix', 'shared_libs'),
                          [LIBRARIES[name] for name in linked])
    if modules['Kestrix_flags'].get('cpp_std', '').partition('++')[2] != standard.partition('++')[2]:
        faults.append(f'cpp_std: not the standard of CMake, {standard}')
    for module in modules.values():
        faults += module_faults(module)
        faults += file_faults(module)
        for key in ('defaults', 'static_libs', 'generated_headers', 'export_generated_headers'):
            faults += [f'{name}: a module that {module["name"]} needs, but not there'
                       for name in module.get(key, []) if name not in modules]
    print('\n'.join(faults), end='\n' if faults else '')
    return 1 if faults else 0


if __name__ == '__main__':
    sys.exit(main(*sys.argv[1:]))
