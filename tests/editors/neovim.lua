-- Drives `kestrix lsp` with Neovim's built-in client.
-- usage: KESTRIX=PROGRAM RULES=DIR nvim --headless -u NONE -c 'luafile neovim.lua'
-- RULES holds a copy of the example rules, in which rule "exception" of java_crash depends on "fatl".

local rules = os.getenv('RULES')
local match_file = rules .. '/match_rule.json'
local assemble_file = rules .. '/assemble_rule.json'

local function fail(what)
  io.stderr:write('neovim: ' .. what .. '\n')
  vim.cmd('cquit 1')
end

local function wait(what, holds)
  if not vim.wait(20000, holds, 20) then fail('timed out: ' .. what) end
end

local function passed(what) io.stdout:write('passed: neovim ' .. what .. '\n') end

local client = vim.lsp.start_client({
  name = 'kestrix',
  cmd = {os.getenv('KESTRIX'), 'lsp'},
  root_dir = rules,
})

local function open(file)
  vim.cmd('edit ' .. vim.fn.fnameescape(file))
  local buffer = vim.api.nvim_get_current_buf()
  vim.lsp.buf_attach_client(buffer, client)
  return buffer
end

local function text(buffer) return table.concat(vim.api.nvim_buf_get_lines(buffer, 0, -1, false), '\n') end

-- Puts the cursor on the first place that holds `word`, `shift` bytes behind its begin.
local function go_to(buffer, word, shift)
  vim.api.nvim_set_current_buf(buffer)
  for number, line in ipairs(vim.api.nvim_buf_get_lines(buffer, 0, -1, false)) do
    local column = line:find(word, 1, true)
    if column then
      vim.api.nvim_win_set_cursor(0, {number, column - 1 + shift})
      return number
    end
  end
  fail('no ' .. word)
end

vim.o.hidden = true
local assemble = open(assemble_file)
local match = open(match_file)
wait('the client', function() return vim.lsp.buf_is_attached(match, client) end)

-- Findings.
wait('a finding', function() return #vim.diagnostic.get(match) > 0 end)
local finding = vim.diagnostic.get(match)[1]
if finding.code ~= 'depend-unmet' and finding.user_data.lsp.code ~= 'depend-unmet' then fail(vim.inspect(finding)) end
passed('shows a finding')

-- A fix: the only choice is taken.
vim.ui.select = function(items, _, choose) choose(items[1], 1) end
go_to(match, '"fatl"', 2)
vim.lsp.buf.code_action({diagnostics = vim.lsp.diagnostic.get_line_diagnostics(match)})
wait('the fix', function() return not text(match):find('"fatl"', 1, true) end)
wait('no finding', function() return #vim.diagnostic.get(match) == 0 end)
passed('applies a fix')

-- Completion of a record's name in a template.
local line = go_to(assemble, '"fatal.v_thread"', 0)
local whole = vim.api.nvim_buf_get_lines(assemble, line - 1, line, false)[1]
local typed = whole:gsub('"fatal%.v_thread"', '"fat"')
vim.api.nvim_buf_set_lines(assemble, line - 1, line, false, {typed})
vim.api.nvim_win_set_cursor(0, {line, typed:find('"fat"', 1, true) + 3})
local answer = vim.lsp.buf_request_sync(assemble, 'textDocument/completion', vim.lsp.util.make_position_params(), 20000)
local chosen
for _, item in ipairs(answer[client].result.items) do
  if item.label == 'fatal.v_thread' then chosen = item end
end
if not chosen then fail('no completion: ' .. vim.inspect(answer)) end
vim.lsp.util.apply_text_edits({chosen.textEdit}, assemble, 'utf-16')
if vim.api.nvim_buf_get_lines(assemble, line - 1, line, false)[1] ~= whole then fail('completed to something else') end
passed('completes a record')

-- A rule gets another name in both files.
go_to(assemble, '"fatal.v_thread"', 3)
vim.lsp.buf.rename('head')
wait('the new name', function()
  return text(match):find('"name": "head"', 1, true) and text(assemble):find('"head.v_thread"', 1, true)
end)
if text(match):find('"name": "fatal"', 1, true) == nil then fail('the rule of the other entry was renamed too') end
wait('no finding', function()
  return #vim.diagnostic.get(match) == 0 and #vim.diagnostic.get(assemble) == 0
end)
passed('renames a rule in both files')

vim.lsp.stop_client(client)
vim.cmd('qall!')
