// Drives `kestrix lsp` with the protocol's own client library.
// usage: node protocol_client.js PROGRAM SOURCE_DIR [--measure]
// NODE_PATH names the folder that holds the library.
'use strict';

const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const {execFileSync, spawn} = require('node:child_process');
const {pathToFileURL} = require('node:url');
const {createProtocolConnection, StreamMessageReader, StreamMessageWriter} = require('vscode-languageserver-protocol/node');

const [program, source] = process.argv.slice(2);
const isMeasuring = process.argv.includes('--measure');
const temporary = fs.mkdtempSync(path.join(os.tmpdir(), 'kestrix-editors-'));
process.on('exit', () => fs.rmSync(temporary, {recursive: true, force: true}));

const kTimeout = 20000;

function within(promise, what) {
  let timer;
  const late = new Promise((_, reject) => {
    timer = setTimeout(() => reject(new Error(`timed out: ${what}`)), kTimeout);
  });
  return Promise.race([promise, late]).finally(() => clearTimeout(timer));
}

// A project in a folder of its own, and a server for it.
class Editor {
  constructor(name, match, assemble) {
    this.folder = path.join(temporary, name);
    fs.mkdirSync(this.folder, {recursive: true});
    this.texts = {match, assemble};
    this.uris = {};
    for (const file of ['match', 'assemble']) {
      const file_path = path.join(this.folder, `${file}_rule.json`);
      fs.writeFileSync(file_path, this.texts[file]);
      this.uris[file] = pathToFileURL(file_path).href;
    }
    this.diagnostics = new Map();
    this.versions = {match: 1, assemble: 1};
    this.waiting = [];
    this.progress = [];
    this.refreshed = [];
  }

  async start({encodings, options, server = {command: program, args: ['lsp', '--stdio']}} = {}) {
    this.process = spawn(server.command, server.args, {stdio: ['pipe', 'pipe', 'inherit']});
    this.exit = new Promise(resolve => this.process.on('exit', code => resolve(code)));
    this.connection = createProtocolConnection(
        new StreamMessageReader(this.process.stdout), new StreamMessageWriter(this.process.stdin));
    this.connection.onNotification('textDocument/publishDiagnostics', params => {
      const file = params.uri === this.uris.match ? 'match' : 'assemble';
      if (params.version === this.versions[file]) this.diagnostics.set(params.uri, params.diagnostics);
      this.waiting.splice(0).forEach(wake => wake());
    });
    this.connection.onNotification('$/progress', params => this.progress.push(params.value));
    this.connection.onRequest('window/workDoneProgress/create', () => null);
    for (const what of ['codeLens', 'inlayHint']) {
      this.connection.onRequest(`workspace/${what}/refresh`, () => {
        this.refreshed.push(what);
        this.waiting.splice(0).forEach(wake => wake());
        return null;
      });
    }
    this.connection.listen();
    const capabilities = {
      general: encodings ? {positionEncodings: encodings} : {},
      window: {workDoneProgress: true},
      workspace: {codeLens: {refreshSupport: true}, inlayHint: {refreshSupport: true}},
    };
    this.initialized = await this.ask('initialize', {
      processId: process.pid, rootUri: pathToFileURL(this.folder).href, capabilities, initializationOptions: options});
    this.tell('initialized', {});
    for (const file of ['match', 'assemble']) {
      this.tell('textDocument/didOpen', {
        textDocument: {uri: this.uris[file], languageId: 'json', version: 1, text: this.texts[file]}});
    }
    return this.until(() => this.diagnostics.size === 2, 'the first findings');
  }

  ask(method, ...params) { return within(this.connection.sendRequest(method, ...params), method); }
  tell(method, params) { return this.connection.sendNotification(method, params); }

  async fails(method, params) {
    try {
      await this.ask(method, params);
    } catch (error) {
      return error;
    }
    throw new assert.AssertionError({message: `${method} should fail`});
  }

  async until(holds, what) {
    while (!holds()) await within(new Promise(resolve => this.waiting.push(resolve)), what);
  }

  // The position of an offset in UTF-16 units, which is what JavaScript counts in.
  place(file, offset) {
    const lines = this.texts[file].slice(0, offset).split('\n');
    return {line: lines.length - 1, character: lines[lines.length - 1].length};
  }

  // Behind the n-th occurrence of `text`.
  at(file, text, shift = 0) {
    const begin = this.texts[file].indexOf(text);
    assert.ok(begin >= 0, text);
    return {textDocument: {uri: this.uris[file]}, position: this.place(file, begin + shift)};
  }

  edit(file, from, to, {toPlace} = {}) {
    const begin = this.texts[file].indexOf(from);
    assert.ok(begin >= 0, from);
    const place = toPlace ?? (offset => this.place(file, offset));
    const range = {start: place(begin), end: place(begin + from.length)};
    this.texts[file] = this.texts[file].replace(from, () => to);
    this.change(file, {range, text: to});
  }

  change(file, ...contentChanges) {
    this.diagnostics.delete(this.uris[file]);
    const version = ++this.versions[file];
    this.tell('textDocument/didChange', {textDocument: {uri: this.uris[file], version}, contentChanges});
  }

  async findings(file) {
    await this.until(() => this.diagnostics.has(this.uris[file]), `findings of ${file}`);
    return this.diagnostics.get(this.uris[file]);
  }

  apply(workspaceEdit) {
    for (const file of ['match', 'assemble']) {
      const edits = workspaceEdit.changes[this.uris[file]] ?? [];
      const offset = ({line, character}) =>
          this.texts[file].split('\n').slice(0, line).reduce((sum, text) => sum + text.length + 1, 0) + character;
      for (const {range, newText} of [...edits].sort((a, b) => offset(b.range.start) - offset(a.range.start))) {
        this.texts[file] =
            this.texts[file].slice(0, offset(range.start)) + newText + this.texts[file].slice(offset(range.end));
      }
    }
  }

  async stop() {
    await this.ask('shutdown');
    this.tell('exit');
    assert.strictEqual(await within(this.exit, 'exit'), 0);
    this.connection.dispose();
  }
}

const example = file => fs.readFileSync(path.join(source, 'examples/rules', `${file}_rule.json`), 'utf8');
const examples = name => new Editor(name, example('match'), example('assemble'));
const codes = diagnostics => diagnostics.map(({code}) => code);
const labels = ({items}) => items.map(({label}) => label);

const tests = {
  async 'findings follow the text, and are linked to their description'() {
    const editor = examples('findings');
    await editor.start();
    assert.deepStrictEqual(await editor.findings('match'), []);
    editor.edit('match', '"depend": "fatal"', '"depend": "fatl"');
    const [finding] = await editor.findings('match');
    assert.strictEqual(finding.code, 'depend-unmet');
    assert.match(finding.codeDescription.href, /checks\.md#depend-unmet$/);
    const {line, character} = finding.range.start;
    assert.strictEqual(editor.texts.match.split('\n')[line].substr(character, 4), 'fatl');
    editor.edit('match', '"depend": "fatl"', '"depend": "fatal"');
    assert.deepStrictEqual(await editor.findings('match'), []);
    editor.edit('match', '"featureFrame', '{"featureFrame');
    assert.deepStrictEqual(codes(await editor.findings('match')), ['json-syntax']);
    await editor.stop();
  },

  async 'a fix is offered and cures the finding'() {
    const editor = examples('fix');
    await editor.start();
    editor.edit('match', '"depend": "fatal"', '"depend": "fatl"');
    const [finding] = await editor.findings('match');
    const actions = await editor.ask('textDocument/codeAction', {
      textDocument: {uri: editor.uris.match}, range: finding.range, context: {diagnostics: [finding]}});
    assert.ok(actions.length > 0, 'no action');
    editor.apply(actions[0].edit);
    assert.ok(editor.texts.match === example('match'), actions[0].title);
    await editor.stop();
  },

  async 'a warning is allowed where it stands, for a reason'() {
    const editor = examples('allow');
    await editor.start();
    editor.edit('match', '"v_name": "Process: ', '"v_extra": "x(y)", "v_name": "Process: ');
    const act = async (finding, title) => {
      const actions = await editor.ask('textDocument/codeAction', {
        textDocument: {uri: editor.uris.match}, range: finding.range, context: {diagnostics: [finding]}});
      const action = actions.find(each => each.title === title);
      assert.ok(action, JSON.stringify(actions));
      editor.apply(action.edit);
      editor.change('match', {text: editor.texts.match});
    };
    for (const reasons of [['for later'], ['for later', 'as well']]) {
      const [finding] = await editor.findings('match');
      assert.deepStrictEqual(finding.code, ['record-unused', 'value-may-be-empty'][reasons.length - 1]);
      const told = await editor.ask('textDocument/hover', {
        textDocument: {uri: editor.uris.match}, position: finding.range.start});
      assert.ok(told.contents.value.includes(`**${finding.code}**: `), told.contents.value);
      await act(finding, `Allow ${finding.code} here, with a reason`);
      assert.ok(codes(await editor.findings('match')).includes('allow-useless'), 'a reason is asked for');
      editor.edit('match', `"${finding.code}: "`, `"${finding.code}: ${reasons.at(-1)}"`);
      assert.deepStrictEqual(await editor.findings('match'), []);
      assert.deepStrictEqual(Object.values(JSON.parse(editor.texts.match)).flatMap(({rules}) => rules ?? [])
        .find(({$allow}) => $allow).$allow.length, reasons.length);
      if (reasons.length === 1) editor.edit('match', '"v_extra": "x(y)"', '"v_extra": "x(y)?"');
    }
    await editor.stop();
  },

  async 'positions count in UTF-16 or in bytes, as was agreed'() {
    const remark = '"$comment": "\u{1f426} \u00e4",';
    const match = example('match').replace('"dirOrFile"', () => `${remark} "dirOrFile"`);
    const bytes = editor => offset => {
      const {line, character} = editor.place('match', offset);
      return {line, character: Buffer.byteLength(editor.texts.match.split('\n')[line].slice(0, character))};
    };
    for (const encoding of ['utf-16', 'utf-8']) {
      const editor = new Editor(`positions-${encoding}`, match, example('assemble'));
      await editor.start({encodings: [encoding]});
      assert.strictEqual(editor.initialized.capabilities.positionEncoding, encoding);
      const toPlace = encoding === 'utf-8' ? bytes(editor) : undefined;
      editor.edit('match', `${remark} "dirOrFile"`, `${remark} "dirOrFil"`, {toPlace});
      const found = await editor.findings('match');
      const wanted = (toPlace ?? (offset => editor.place('match', offset)))(editor.texts.match.indexOf('"dirOrFil"'));
      assert.ok(found.some(({code, range}) => code === 'unknown-member' && range.start.line === wanted.line &&
                                              range.start.character === wanted.character), JSON.stringify(found));
      await editor.stop();
    }
  },

  async 'completion knows members, records, marks and ids'() {
    const editor = examples('completion');
    await editor.start();
    const typed = [
      ['match', '"depend": "fatal"', '"depend": "fa', 'fatal.v_thread'],
      ['match', '"keyWords": "FATAL', '"keyWords": "@', '@R@'],
      ['match', '"keyWords": "FATAL', '"keyWords": "x @{', 'fatal.v_thread}@'],
      ['match', '"name": "fatal"', '"na', 'name'],
      ['match', '"featureId": "', '"featureId": "', 'KX_java_crash_1'],
      ['assemble', '"fatal.v_thread"', '"fa', 'fatal.v_thread'],
      ['assemble', '"THREAD": "fatal.v_thread"', '"', 'REASON'],
    ];
    for (const [file, from, to, label] of typed) {
      const before = editor.texts[file];
      editor.edit(file, from, to);
      const shift = before.indexOf(from) + to.length;
      const params = {textDocument: {uri: editor.uris[file]}, position: editor.place(file, shift)};
      const found = await editor.ask('textDocument/completion', params);
      assert.ok(labels(found).includes(label), `${label} behind ${to}: ${labels(found)}`);
      editor.texts[file] = before;
      editor.change(file, {text: before});
    }
    await editor.stop();
  },

  async 'names are found and renamed in both files'() {
    const editor = examples('names');
    await editor.start();
    const inTemplate = editor.at('assemble', 'fatal.v_thread', 2);
    const [definition] = await editor.ask('textDocument/definition', inTemplate);
    assert.strictEqual(definition.uri, editor.uris.match);
    const references = await editor.ask('textDocument/references', {...inTemplate, context: {includeDeclaration: true}});
    assert.deepStrictEqual(new Set(references.map(({uri}) => uri)), new Set(Object.values(editor.uris)));
    assert.ok(await editor.ask('textDocument/prepareRename', inTemplate));
    editor.apply(await editor.ask('textDocument/rename', {...inTemplate, newName: 'head'}));
    assert.ok(editor.texts.match.includes('"name": "head"') && editor.texts.match.includes('@{head.v_source}@'));
    // Another entry has a rule of the same name.
    const count = text => editor.texts.assemble.split(text).length - 1;
    assert.deepStrictEqual([count('"head.v_thread"'), count('"fatal.v_thread"')], [1, 1]);
    const error = await editor.fails('textDocument/rename', {...inTemplate, newName: 'exception'});
    assert.match(error.message, /there already/);
    assert.match((await editor.fails('textDocument/rename', {...inTemplate, newName: 'a+b'})).message, /cannot hold/);
    const symbols = await editor.ask('textDocument/documentSymbol', {textDocument: {uri: editor.uris.match}});
    assert.ok(symbols.some(({children}) => children?.some(({name}) => name === 'fatal')));
    await editor.stop();
  },

  async 'the logs tell where rules fire and what they take'() {
    const editor = examples('logs');
    const logs = path.join(source, 'examples/logs');
    const before = fs.readdirSync(editor.folder);
    await editor.start({options: {logs: [logs], pinnedLog: path.join(logs, 'java_crash.txt')}});
    await editor.until(() => editor.refreshed.includes('codeLens') && editor.refreshed.includes('inlayHint'), 'the logs');
    const file = {textDocument: {uri: editor.uris.match}};
    const lenses = await editor.ask('textDocument/codeLens', file);
    assert.ok(lenses.some(({command}) => /^fires in [1-4] of 4 logs$/.test(command.title)), JSON.stringify(lenses[0]));
    const range = {start: {line: 0, character: 0}, end: editor.place('match', editor.texts.match.length)};
    const hints = await editor.ask('textDocument/inlayHint', {...file, range});
    assert.ok(hints.some(({label}) => label === '= com.example.tidebook'), JSON.stringify(hints));
    const hover = await editor.ask('textDocument/hover', editor.at('assemble', 'process.v_name', 9));
    assert.match(hover.contents.value, /com\.example\.tidebook/);
    const words = await editor.ask('workspace/executeCommand', {
      command: 'kestrix.explain', arguments: lenses.find(({command}) => /^fires in 1/.test(command.title)).command.arguments});
    assert.deepStrictEqual(words.slice(0, 2), ['kestrix', 'explain']);
    assert.deepStrictEqual([editor.progress[0].kind, editor.progress.at(-1).kind], ['begin', 'end']);
    assert.deepStrictEqual(fs.readdirSync(editor.folder), before, 'files were written');
    await editor.stop();
  },

  async 'kestrix.json beside the rules names the logs first'() {
    const editor = examples('settings');
    const log = path.join(source, 'examples/logs/kernel_panic.txt');
    fs.writeFileSync(path.join(editor.folder, 'kestrix.json'), JSON.stringify({logs: [path.relative(editor.folder, log)]}));
    await editor.start({options: {logs: [path.join(source, 'examples/logs')]}});
    await editor.until(() => editor.refreshed.includes('codeLens'), 'the log');
    const lenses = await editor.ask('textDocument/codeLens', {textDocument: {uri: editor.uris.match}});
    const fires = lenses.map(({command}) => command.title).filter(title => title.startsWith('fires'));
    assert.ok(fires.includes('fires in 1 of 1 log') && fires.includes('fires in 0 of 1 log'), `${fires}`);
    await editor.stop();
  },

  async 'the extension for VS Code starts the server, and its lenses run'() {
    const extension = path.join(source, 'editors/vscode');
    const {serverOf, optionsOf, commandLine} = require(path.join(extension, 'session.js'));
    const {contributes} = JSON.parse(fs.readFileSync(path.join(extension, 'package.json'), 'utf8'));
    const settings = Object.fromEntries(Object.entries(contributes.configuration.properties)
        .map(([name, property]) => [name.replace('kestrix.', ''), property.default]));
    assert.deepStrictEqual(Object.keys(settings), ['program', 'logs', 'pinnedLog']);
    const editor = examples('extension');
    const log = path.join(temporary, "a crash's $log.txt");
    fs.copyFileSync(path.join(source, 'examples/logs/java_crash.txt'), log);
    Object.assign(settings, {program, logs: [log]});
    await editor.start({server: serverOf(settings), options: optionsOf(settings)});
    await editor.until(() => editor.refreshed.includes('codeLens'), 'the log');
    const lenses = await editor.ask('textDocument/codeLens', {textDocument: {uri: editor.uris.match}});
    const {command} = lenses.find(each => each.command.title === 'fires in 1 of 1 log');
    const words = await editor.ask('workspace/executeCommand', {command: command.command, arguments: command.arguments});
    const told = execFileSync('sh', ['-c', commandLine(settings, words)], {encoding: 'utf8'});
    assert.match(told, /rule "?fatal"?/);
    await editor.stop();
  },

  async 'rules that end the engine leave the server standing'() {
    const match = example('match').replace('"FATAL EXCEPTION"', '"@R@(("');
    assert.notStrictEqual(match, example('match'));
    const editor = new Editor('odd', match, example('assemble'));
    await editor.start({options: {logs: [path.join(source, 'examples/logs')]}});
    assert.ok(codes(await editor.findings('match')).includes('regex-invalid'));
    await editor.until(() => editor.refreshed.includes('codeLens'), 'the logs');
    editor.edit('match', '"@R@(("', JSON.stringify('@R@' + '('.repeat(30000) + 'a' + ')'.repeat(30000)));
    await editor.findings('match');
    assert.ok(await editor.ask('textDocument/documentSymbol', {textDocument: {uri: editor.uris.match}}));
    await editor.stop();
  },

  async 'what is no request is answered as the protocol says'() {
    const editor = examples('protocol');
    await editor.start();
    assert.strictEqual((await editor.fails('textDocument/noSuchThing', {})).code, -32601);
    assert.strictEqual((await editor.fails('textDocument/hover', {})).code, -32602);
    assert.strictEqual((await editor.fails('initialize', {})).code, -32600);
    // By hand, since the library sends nothing that is damaged.
    const raw = spawn(program, ['lsp'], {stdio: ['pipe', 'pipe', 'inherit']});
    const answers = [];
    new StreamMessageReader(raw.stdout).listen(message => answers.push(message));
    const frame = text => `Content-Length: ${Buffer.byteLength(text)}\r\n\r\n${text}`;
    raw.stdin.write(frame('{"jsonrpc":"2.0","id":1,"method":"textDocument/hover"}'));
    raw.stdin.write(frame('{"jsonrpc"'));
    raw.stdin.write('Content-Length: many\r\n\r\n');
    raw.stdin.write(frame('[1]') + frame('{"jsonrpc":"2.0","id":2,"method":"initialize","params":{"capabilities":{}}}'));
    raw.stdin.write(frame('{"jsonrpc":"2.0","id":3,"method":"shutdown"}') +
                    frame('{"jsonrpc":"2.0","method":"$/cancelRequest","params":{"id":3}}'));
    raw.stdin.end(frame('{"jsonrpc":"2.0","method":"exit"}'));
    const status = await within(new Promise(resolve => raw.on('close', resolve)), 'exit');
    const told = answers.map(({id, error}) => [id, error?.code]);
    for (const wanted of [[1, -32002], [null, -32700], [null, -32600], [2, undefined]]) {
      assert.ok(told.some(row => row[0] === wanted[0] && row[1] === wanted[1]), `${wanted} in ${JSON.stringify(told)}`);
    }
    const last = told.find(([id]) => id === 3);
    assert.ok(last[1] === -32800 || last[1] === undefined, JSON.stringify(told));
    assert.strictEqual(status, last[1] === undefined ? 0 : 1);
    await editor.stop();
  },
};

// Rule files of so many entries and rules, like the examples' in kind.
function generated(entries, rulesOfEach) {
  const match = {};
  const assemble = {load: {}};
  for (let entry = 0; entry < entries; ++entry) {
    const id = `KX_load_${String(entry).padStart(3, '0')}`;
    const rules = [];
    assemble.load[id] = {};
    for (let rule = 0; rule < rulesOfEach; ++rule) {
      const name = `rule${rule}`;
      const list = rule < 50 ? rules : null;
      const made = {name, keyWords: rule % 3 ? `word${entry} ${rule}: ` : `@R@^head${entry}x${rule} \\d+: (?:a|b)`,
                    v_pid: `word${entry} ${rule}: .*pid=(\\d+)`, v_text: `name=([\\w.]+) (?:of|in) ${rule}`};
      if (rule > 0) made.depend = `rule${rule - 1}.v_pid`;
      (list ?? (match[`featureFrame_${entry}`] ??= {segment: []}).segment)?.push(made);
      assemble.load[id][`PID${rule}`] = `${name}.v_pid`;
      assemble.load[id][`TEXT${rule}`] = `${name}.v_text`;
    }
    const segment = match[`featureFrame_${entry}`]?.segment ?? [];
    match[`featureFrame_${entry}`] = {dirOrFile: '/data', subcataLog: '.*', featureId: id, rules, segmentRule: segment};
  }
  return [JSON.stringify(match, null, 2), JSON.stringify(assemble, null, 2)];
}

// Each keystroke changes a rule in the middle, and some move all lines behind them.
async function measure(what, entries, rulesOfEach, keystrokes) {
  const editor = new Editor(`measure-${entries}`, ...generated(entries, rulesOfEach));
  await editor.start();
  const words = `"word${Math.floor(entries / 2)} 1`;
  const times = [];
  for (let i = 0; i < keystrokes; ++i) {
    const [from, to] = i % 4 === 3 ? ['{\n', '{\n\n'] : [words, i % 2 ? words.slice(0, -1) + '1' : words.slice(0, -1) + 'x1'];
    const begin = process.hrtime.bigint();
    editor.edit('match', editor.texts.match.includes(from) ? from : words.slice(0, -1) + 'x1', to);
    await editor.findings('match');
    times.push(Number(process.hrtime.bigint() - begin) / 1e6);
  }
  times.sort((a, b) => a - b);
  const at = share => times[Math.min(times.length - 1, Math.floor(times.length * share))].toFixed(1);
  console.log(`${what}: ${keystrokes} keystrokes, findings after ${at(0.5)} ms (median), ${at(0.95)} ms (95 %), ${at(1)} ms (most)`);
  await editor.stop();
}

async function main() {
  if (isMeasuring) {
    await measure('50 rules', 1, 50, 60);
    await measure('50 entries of 100 rules', 50, 100, 20);
    return;
  }
  for (const [name, test] of Object.entries(tests)) {
    await test();
    console.log(`passed: ${name}`);
  }
}

main().then(() => process.exit(0), error => {
  console.error(error);
  process.exit(1);
});
