#!/usr/bin/env python3
"""Sends protocol messages and rule texts at random to `kestrix lsp`.

usage: lsp_fuzzer.py PROGRAM RULES_DIR SECONDS [SEED]

Each round is a server of its own, with damaged messages, edits at any place, texts that are no rule files any more, and
every request. The server has to answer each request once, and to end as it is told to. What brings it down can be had
again with the seed that is printed.
"""
import json
import os
import random
import selectors
import shutil
import subprocess
import sys
import tempfile
import time

PIECES = ['"', '\\', '{', '}', '[', ']', ':', ',', '@R@', '@|@', '@&@', '@{', '}@', '@T@', '@L@', '"v_x": "(a"',
          '"depend": "x"', '"rules": [', '\n', '\r\n', '\t', '\u00e4', '\u20ac', '\U0001f426', '\x00', '1e999', 'null',
          '(' * 200, '[' * 1200, '(?:', ')*', '{1,1000}', '\\\\1', '$', '^', '"name": "head"', '+', 'v_', '$allow']
METHODS = ['completion', 'hover', 'definition', 'references', 'documentHighlight', 'prepareRename', 'rename',
           'documentSymbol', 'codeAction', 'codeLens', 'inlayHint', 'noSuchThing']
ANYTHING = [None, True, -1, 0, 2**31, 2**64, 1.5, '', 'x', [], {}, [[]], {'line': -1}, {'line': 'x', 'character': {}}]
TIMEOUT = 60


class Failure(Exception):
    pass


class Server:
    def __init__(self, program):
        self.process = subprocess.Popen([program, 'lsp'], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        stderr=subprocess.DEVNULL)
        self.selector = selectors.DefaultSelector()
        self.selector.register(self.process.stdout, selectors.EVENT_READ)
        self.received = b''
        self.answers = {}
        self.last_id = 0

    def send_bytes(self, data):
        try:
            self.process.stdin.write(data)
            self.process.stdin.flush()
        except BrokenPipeError as error:
            raise Failure(f'the server is gone, status {self.process.wait()}') from error

    def send(self, message):
        body = json.dumps({'jsonrpc': '2.0', **message}).encode()
        self.send_bytes(b'Content-Length: %d\r\n\r\n%s' % (len(body), body))

    def ask(self, method, params):
        self.last_id += 1
        self.send({'id': self.last_id, 'method': method, 'params': params})
        return self.last_id

    def tell(self, method, params):
        self.send({'method': method, 'params': params})

    def wait_for(self, request):
        end = time.monotonic() + TIMEOUT
        while request not in self.answers:
            if not self.selector.select(max(0, end - time.monotonic())):
                raise Failure(f'no answer to request {request}')
            data = os.read(self.process.stdout.fileno(), 1 << 16)
            if not data:
                raise Failure(f'the server is gone, status {self.process.wait()}')
            self.received += data
            self.take_answers()
        return self.answers[request]

    def take_answers(self):
        while b'\r\n\r\n' in self.received:
            header, rest = self.received.split(b'\r\n\r\n', 1)
            length = int(header.split(b':')[1])
            if len(rest) < length:
                return
            message = json.loads(rest[:length])
            self.received = rest[length:]
            # Damaged messages may have ids of any kind.
            if 'method' in message or type(message['id']) is not int or not 0 < message['id'] <= self.last_id:
                continue
            if message['id'] in self.answers:
                raise Failure(f'two answers to request {message["id"]}')
            self.answers[message['id']] = message


def mutated(rng, text):
    for _ in range(rng.randrange(4)):
        begin = rng.randrange(len(text) + 1)
        end = min(len(text), begin + rng.choice([0, 0, 1, 5, 40, 400]))
        text = text[:begin] + rng.choice(PIECES) * rng.choice([1, 1, 1, 3]) + text[end:]
    return text


def position(rng):
    return {'line': rng.choice([0, rng.randrange(400), 2**40]), 'character': rng.choice([0, rng.randrange(90), 2**40])}


def a_range(rng):
    return {'start': position(rng), 'end': position(rng)}


def damaged(rng):
    body = json.dumps({'id': rng.choice(ANYTHING), 'method': rng.choice(ANYTHING), 'params': rng.choice(ANYTHING)}).encode()
    body = rng.choice([body, b'', b'[', b'\xff', b'[1,2]', b'[' * 3000, b'"x"', body[:-3]])
    header = rng.choice([b'Content-Length: %d\r\n\r\n' % len(body), b'Content-Length: x\r\n\r\n', b'X: 1\r\n\r\n'])
    # Bytes without a header that counts them would swallow what comes next.
    return header + (body if b'%d' % len(body) in header and header.startswith(b'C') else b'')


def play(rng, program, rules, folder):
    server = Server(program)
    encodings = rng.choice([['utf-8'], ['utf-16'], ['utf-32'], [1, None], 'x'])
    server.wait_for(server.ask('initialize', {'capabilities': {'general': {'positionEncodings': encodings}},
                                              'initializationOptions': rng.choice(ANYTHING)}))
    uris = {name: f'file://{folder}/{name}' for name in rules}
    requests = []
    for step in range(rng.randrange(10, 60)):
        name = rng.choice(list(rules))
        document = {'uri': uris[name], 'version': step}
        act = rng.randrange(12)
        if act == 0 or step < 2:
            server.tell('textDocument/didOpen', {'textDocument': {**document, 'text': mutated(rng, rules[name])}})
        elif act < 4:
            changes = [{'range': a_range(rng), 'text': mutated(rng, rng.choice(PIECES))} for _ in range(rng.randrange(3))]
            if rng.random() < 0.2:
                changes.append({'text': mutated(rng, rules[name])})
            server.tell('textDocument/didChange', {'textDocument': document, 'contentChanges': changes})
        elif act == 4:
            server.send_bytes(damaged(rng))
        elif act == 5:
            server.tell(rng.choice(['textDocument/didOpen', 'textDocument/didChange', 'x', '$/cancelRequest']),
                        rng.choice(ANYTHING))
        elif act == 6:
            server.tell('textDocument/didClose', {'textDocument': document})
        else:
            params = {'textDocument': document, 'position': position(rng), 'range': a_range(rng),
                      'newName': rng.choice(['x', 'v_x', 'KX_a_1', '', '"', '@']), 'context': {'diagnostics': []}}
            if rng.random() < 0.2:
                params[rng.choice(list(params))] = rng.choice(ANYTHING)
            requests.append(server.ask('textDocument/' + rng.choice(METHODS), params))
            if rng.random() < 0.1:
                server.tell('$/cancelRequest', {'id': requests[-1]})
    for request in requests:
        server.wait_for(request)
    server.wait_for(server.ask('shutdown', None))
    server.tell('exit', None)
    if server.process.wait(TIMEOUT) != 0:
        raise Failure(f'status {server.process.returncode}')
    return len(requests)


def main():
    program, rules_dir, seconds = sys.argv[1], sys.argv[2], float(sys.argv[3])
    seed = int(sys.argv[4]) if len(sys.argv) > 4 else random.randrange(1 << 30)
    rules = {}
    folder = tempfile.mkdtemp()
    try:
        for name in ('match_rule.json', 'assemble_rule.json'):
            with open(os.path.join(rules_dir, name), encoding='utf-8') as file:
                rules[name] = file.read()
        begin = time.monotonic()
        rounds = requests = 0
        while time.monotonic() - begin < seconds or rounds == 0:
            try:
                requests += play(random.Random(seed), program, rules, folder)
            except (Failure, subprocess.TimeoutExpired) as error:
                print(f'seed {seed}: {error}', file=sys.stderr)
                return 1
            seed += 1
            rounds += 1
        print(f'{rounds} rounds, {requests} requests in {time.monotonic() - begin:.0f} s; the next seed is {seed}')
        return 0
    finally:
        shutil.rmtree(folder)


if __name__ == '__main__':
    sys.exit(main())
