"""Runs each command of a program, built with sanitizers, on damaged rules, logs, result lines and cases, and reads what
it prints as what it claims to be. scripts/fuzz calls it.

usage: fuzz_commands.py PROGRAM FOLDER SEED SECONDS|RUNSx
"""
import html.parser
import itertools
import json
import os
import random
import re
import shutil
import subprocess
import sys
import time
import xml.etree.ElementTree

TYPES = ('java_crash', 'native_crash', 'app_not_responding', 'kernel_panic')
# What no terminal and no page may get: control characters but tab and line feed, marks that turn the direction of text.
CONTROL = re.compile('[\x00-\x08\x0b-\x1f\x7f-\x9f\u202a-\u202e\u2066-\u2069]')
ODD = ['\x1b[31m', '\x07', '\x00', '\x7f', '\xc2\x9b31m', '\xe2\x80\xae', '\xff\xfe', '\xed\xa0\x80', '\r', '</script>',
       '<b>', '&amp;', "'", '"', '\\', '%00', '\t', '\n', '\xf0\x9f\x98\x80']
ODD_IN_JSON = ['\\u001b[31m', '\\u0007', '\\u0000', '\\u009b', '\\u202e', '\\ud800', '\\u007f', '\\r', '</script>', '(',
               '[', '*', '\\\\', '@{', '@R@', '@L@', '@T@', '@|@', '(?i)', '{2,1}', '\\n', '"', ',', '/', '@{head.v_pid}@']
SECONDS_FOR_ONE = 120


def read(path):
    with open(path, encoding='latin-1', newline='') as file:
        return file.read()


def write(path, text):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, 'w', encoding='latin-1', newline='') as file:
        file.write(text)


def damaged(text, draw, odd):
    """A few edits: odd pieces written in, bytes changed, stretches removed or repeated."""
    for _ in range(draw.choice((1, 1, 2, 4, 8))):
        place = draw.randrange(len(text) + 1)
        kind = draw.randrange(6)
        if kind < 3:
            text = text[:place] + draw.choice(odd) + text[place:]
        elif kind == 3:
            text = text[:place] + chr(draw.randrange(256)) + text[place + 1:]
        elif kind == 4:
            text = text[:place] + text[place + draw.choice((1, 3, 40)):]
        else:
            text = text[:place] + text[max(0, place - draw.choice((5, 60))):]
    return text


def damaged_rules(text, draw):
    if draw.randrange(4) == 0:
        return damaged(text, draw, ODD + ODD_IN_JSON)
    # Inside of texts, so that most files can still be read.
    for _ in range(draw.choice((1, 2, 5))):
        places = [match.start() + 1 for match in re.finditer('"(?=[^":,{}]+")', text)]
        place = draw.choice(places) + draw.randrange(3) if places else 0
        text = text[:place] + draw.choice(ODD_IN_JSON) + text[place:]
    return text


class PageReader(html.parser.HTMLParser):
    """Counts tags that are opened and closed."""

    def __init__(self):
        super().__init__()
        self.open = []
        self.isPage = False

    def handle_starttag(self, tag, attrs):
        self.isPage = self.isPage or tag == 'html'
        if tag not in ('meta', 'link', 'input', 'br', 'hr', 'img', 'col'):
            self.open.append(tag)

    def handle_endtag(self, tag):
        if not self.open or self.open.pop() != tag:
            raise ValueError(f'</{tag}> closes another tag')


def check_text(_):
    pass


def check_json(text):
    json.loads(text)


def check_lines_of_json(text):
    for line in text.splitlines():
        json.loads(line)


def check_sarif(text):
    root = json.loads(text)
    for result in root['runs'][0]['results']:
        region = result['locations'][0]['physicalLocation']['region']
        assert min(region.values()) >= 1 and region['startLine'] <= region['endLine'], region


def check_html(text):
    reader = PageReader()
    reader.feed(text)
    reader.close()
    if not reader.isPage or reader.open:
        raise ValueError(f'no whole page, open at the end: {reader.open}')


def check_tap(text):
    plan = re.match(r'(?:TAP version 1[34]\n)?1\.\.(\d+)\n', text) or re.search(r'^1\.\.(\d+)$', text, re.M)
    cases = re.findall(r'^(?:not )?ok (\d+)', text, re.M)
    assert plan and [int(number) for number in cases] == list(range(1, int(plan.group(1)) + 1)), 'plan and cases differ'


def check_junit(text):
    root = xml.etree.ElementTree.fromstring(text)
    assert root.tag in ('testsuite', 'testsuites'), root.tag


def check_messages(text):
    rest = text.encode()
    while rest:
        head, _, rest = rest.partition(b'\r\n\r\n')
        size = int(re.search(rb'Content-Length: (\d+)', head).group(1))
        assert json.loads(rest[:size])['jsonrpc'] == '2.0'
        rest = rest[size:]


def messages(*contents):
    texts = [json.dumps(content | {'jsonrpc': '2.0'}).encode() for content in contents]
    return b''.join(b'Content-Length: %d\r\n\r\n%s' % (len(text), text) for text in texts)


def conversation(folder, text, other, draw):
    """An editor opens a rule file and asks about places in it."""
    uri = f'file://{folder}/rules/match_rule.json'
    asks = [{'id': number, 'method': 'textDocument/' + method,
             'params': {'textDocument': {'uri': uri}, 'newName': 'other', 'context': {'includeDeclaration': True},
                        'position': {'line': draw.randrange(40), 'character': draw.randrange(60)}}}
            for number, method in enumerate(('hover', 'completion', 'definition', 'references', 'rename',
                                             'documentSymbol', 'hover', 'completion'), 2)]
    opened = {'method': 'textDocument/didOpen',
              'params': {'textDocument': {'uri': uri, 'languageId': 'json', 'version': 1, 'text': text}}}
    changed = {'method': 'textDocument/didChange',
               'params': {'textDocument': {'uri': uri, 'version': 2}, 'contentChanges': [{'text': other}]}}
    return messages({'id': 1, 'method': 'initialize', 'params': {'processId': None, 'rootUri': f'file://{folder}/rules',
                                                                 'capabilities': {}}},
                    {'method': 'initialized', 'params': {}}, opened, *asks[:4], changed, *asks[4:],
                    {'id': 99, 'method': 'shutdown'}, {'method': 'exit'})


class Desk:
    def __init__(self, program, folder, draw):
        self.program, self.folder, self.draw = program, os.path.abspath(folder), draw
        self.examples = {name: read(f'examples/rules/{name}') for name in ('match_rule.json', 'assemble_rule.json')}
        self.logs = {type_: read(f'examples/logs/{type_}.txt') for type_ in TYPES}
        self.lines = None
        self.counts = {}
        self.faults = 0

    def lay_out(self):
        """Another set of damaged files; sound rules are beside them for comparisons."""
        shutil.rmtree(self.folder, ignore_errors=True)
        draw = self.draw
        self.type = draw.choice(TYPES)
        for name, text in self.examples.items():
            write(f'{self.folder}/sound/{name}', text)
            write(f'{self.folder}/rules/{name}', damaged_rules(text, draw) if draw.randrange(4) else text)
        log = self.logs[self.type]
        self.log = f'{self.folder}/logs/{draw.choice(("a.txt", "a b.txt", "<i>.txt"))}'
        write(self.log, damaged(log, draw, ODD) if draw.randrange(3) else log)
        write(f'{self.folder}/logs/z.txt', log)
        case = f'{self.folder}/cases/one'
        write(f'{case}/log.txt', damaged(log, draw, ODD) if draw.randrange(2) else log)
        write(f'{case}/event', self.type + draw.choice(('\n', '', '\x1b', '\n\n')))
        write(f'{case}/expected.json',
              damaged(read(f'examples/expected/{self.type}.json'), draw, ODD + ODD_IN_JSON) if draw.randrange(2)
              else '{"REASON": "\\u001b[31m"}')
        shutil.copytree(f'{self.folder}/rules', f'{case}/rules')
        write(f'{self.folder}/results.ndjson', damaged(self.lines, draw, ODD + ODD_IN_JSON) if self.lines else '{}\n')

    def commands(self):
        folder, log, draw = self.folder, self.log, self.draw
        rules = ['--config', f'{folder}/rules', '--event', self.type]
        logs = f'{folder}/logs'
        yield ['analyze', log, *rules, '--verbose'], check_text
        yield ['analyze', log, *rules, '--json'], check_json
        yield ['check', f'{folder}/rules'], check_text
        yield ['check', f'{folder}/rules', '--as', '/data/\x1banr/x'], check_text
        yield ['check', f'{folder}/rules', '--format', 'json'], check_json
        yield ['check', f'{folder}/rules', '--format', 'sarif'], check_sarif
        yield ['explain', log, *rules], check_text
        yield ['explain', log, *rules, '--format', 'json'], check_json
        yield ['explain', log, *rules, '--format', 'html'], check_html
        yield ['explain', log, *rules, '--line', str(draw.randrange(1, 60))], check_text
        yield ['explain', log, *rules, '--rule', draw.choice(('process', 'fatal', 'x\x1b'))], check_text
        yield ['explain', log, *rules, '--key', draw.choice(('REASON', 'STACK', 'X\x1b'))], check_text
        yield ['batch', logs, *rules, '-j1'], check_lines_of_json
        for form, check in (('text', check_text), ('json', check_json), ('html', check_html)):
            yield ['coverage', logs, *rules, '-j1', '--format', form], check
            yield ['groups', f'{folder}/results.ndjson', '--format', form], check
            yield ['diff', '--old', f'{folder}/sound', '--new', f'{folder}/rules', '--event', self.type, logs, '-j1',
                   '--format', form], check
        yield ['groups', f'{folder}/results.ndjson', '--stability'], check_text
        for form, check in (('text', check_text), ('tap', check_tap), ('junit', check_junit)):
            yield ['test', f'{folder}/cases', '-j1', '--format', form], check
        line = draw.randrange(1, 40)
        yield ['suggest', log, '--lines', f'{line}-{line + draw.randrange(5)}'], check_text
        yield ['suggest', log, '--lines', f'{line}-{line}', '--format', 'json', '--config', f'{folder}/rules'], check_json
        yield ['init', f'{folder}/new', '--from', logs], check_text
        yield ['lsp'], check_messages

    def run(self, words, check):
        talk = b''
        if words[0] == 'lsp':
            text = read(f'{self.folder}/rules/match_rule.json').encode('latin-1').decode(errors='replace')
            talk = conversation(self.folder, text, damaged_rules(text, self.draw), self.draw)
        self.counts[words[0]] = self.counts.get(words[0], 0) + 1
        try:
            done = subprocess.run([self.program, *words], input=talk, capture_output=True, timeout=SECONDS_FOR_ONE,
                                  check=False)
        except subprocess.TimeoutExpired:
            self.report(words, f'does not end in {SECONDS_FOR_ONE} s', b'')
            return
        if done.returncode not in (0, 1, 2):
            self.report(words, f'ended with {done.returncode}', done.stderr)
            return
        self.check_output(words, check, done)

    def check_output(self, words, check, done):
        try:
            out, errors = done.stdout.decode(), done.stderr.decode()
        except UnicodeDecodeError as error:
            self.report(words, f'prints what is no UTF-8: {error}', done.stderr)
            return
        for stream in ('' if words[0] == 'lsp' else out, errors):
            if found := CONTROL.search(stream):
                around = stream[max(0, found.start() - 60):found.end() + 40]
                self.report(words, f'prints the control character {found.group()!r}: {around!r}', b'')
                return
        # Wrong usage and files that cannot be read print nothing.
        if done.returncode == 2 and not out:
            return
        try:
            check(out)
        except Exception as error:  # whatever the reader finds wrong
            self.report(words, f'prints something else than it claims: {error!r}', out[:300].encode())
        if words[0] == 'batch' and done.returncode == 0:
            self.lines = done.stdout.decode('latin-1')

    def report(self, words, fault, detail):
        self.faults += 1
        kept = f'{self.folder}-fault-{self.faults}'
        shutil.rmtree(kept, ignore_errors=True)
        shutil.copytree(self.folder, kept)
        print(f'{" ".join(map(repr, words))}\n  {fault}; the files are in {kept}')
        print('\n'.join('  ' + line for line in detail.decode(errors='replace').splitlines()[:12]), flush=True)


def main(program, folder, seed, limit):
    desk = Desk(os.path.abspath(program), folder, random.Random(int(seed)))
    begin = time.monotonic()
    for number in itertools.count():
        if limit.endswith('x') and number >= int(limit[:-1]):
            break
        if not limit.endswith('x') and time.monotonic() - begin > int(limit):
            break
        desk.lay_out()
        for words, check in desk.commands():
            desk.run(words, check)
    print(f'{sum(desk.counts.values())} runs: ' + ', '.join(f'{count} {name}' for name, count in desk.counts.items()))
    return 1 if desk.faults else 0


if __name__ == '__main__':
    sys.exit(main(*sys.argv[1:]))
