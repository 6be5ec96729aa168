#ifndef CLI_LSP_SERVER_H
#define CLI_LSP_SERVER_H

// Serves the Language Server Protocol on standard input and output until the client is gone. Returns the exit status
// that the protocol asks for: 0 after "shutdown" and "exit", else 1.
int ServeLanguage();

#endif  // CLI_LSP_SERVER_H
