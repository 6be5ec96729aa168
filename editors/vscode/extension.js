// Starts `kestrix lsp` for rule files, and runs what its code lenses offer in a terminal.
'use strict';

const vscode = require('vscode');
const {LanguageClient} = require('vscode-languageclient/node');
const {serverOf, optionsOf, commandLine} = require('./session');

let client;

function settings() {
  const configuration = vscode.workspace.getConfiguration('kestrix');
  return Object.fromEntries(['program', 'logs', 'pinnedLog'].map(name => [name, configuration.get(name)]));
}

function runInTerminal(line) {
  const terminal = vscode.window.terminals.find(({name}) => name === 'kestrix') ?? vscode.window.createTerminal('kestrix');
  terminal.show();
  terminal.sendText(line);
}

// The server knows the words of a command line; they end up in the terminal instead of being thrown away.
async function executeCommand(command, args, next) {
  const words = await next(command, args);
  if (!Array.isArray(words)) return words;
  runInTerminal(commandLine(settings(), words));
}

function activate() {
  client = new LanguageClient('kestrix', 'Kestrix', serverOf(settings()), {
    documentSelector: [{scheme: 'file', pattern: '**/{match_rule,assemble_rule}.json'}],
    initializationOptions: optionsOf(settings()),
    middleware: {executeCommand},
  });
  return client.start();
}

function deactivate() {
  return client?.stop();
}

module.exports = {activate, deactivate};
