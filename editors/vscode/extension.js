// Starts `kestrix lsp` for rule files, and runs what its code lenses offer in a terminal.
'use strict';

const vscode = require('vscode');
const {LanguageClient} = require('vscode-languageclient/node');

let client;

function quoted(word) {
  return /^[\w./:=-]+$/.test(word) ? word : `'${word.replaceAll('\'', '\'\\\'\'')}'`;
}

function runInTerminal(words) {
  const terminal = vscode.window.terminals.find(({name}) => name === 'kestrix') ?? vscode.window.createTerminal('kestrix');
  terminal.show();
  terminal.sendText(words.map(quoted).join(' '));
}

// The server knows the words of a command line; they end up in the terminal instead of being thrown away.
async function executeCommand(command, args, next) {
  const words = await next(command, args);
  if (!Array.isArray(words)) return words;
  const program = vscode.workspace.getConfiguration('kestrix').get('program');
  runInTerminal([program, ...words.slice(1)]);
}

function activate() {
  const settings = vscode.workspace.getConfiguration('kestrix');
  client = new LanguageClient(
      'kestrix', 'Kestrix', {command: settings.get('program'), args: ['lsp']}, {
        documentSelector: [{scheme: 'file', pattern: '**/{match_rule,assemble_rule}.json'}],
        initializationOptions: {logs: settings.get('logs'), pinnedLog: settings.get('pinnedLog')},
        middleware: {executeCommand},
      });
  return client.start();
}

function deactivate() {
  return client?.stop();
}

module.exports = {activate, deactivate};
