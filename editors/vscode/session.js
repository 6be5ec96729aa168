// What the extension makes of its settings and of the server's answers, without the editor.
'use strict';

// The command that serves, and what it is told at the start.
const serverOf = ({program}) => ({command: program, args: ['lsp']});
const optionsOf = ({logs, pinnedLog}) => ({logs, pinnedLog});

const quoted = word => /^[\w./:=-]+$/.test(word) ? word : `'${word.replaceAll('\'', '\'\\\'\'')}'`;

// For a terminal: the server's words, the first of which stands for the program.
const commandLine = ({program}, words) => [program, ...words.slice(1)].map(quoted).join(' ');

module.exports = {serverOf, optionsOf, commandLine};
