// Draws the page of one log from its story. What can be selected has a key, which is also its hash in the address:
// "line-12", "line-12to20", "key-REASON", "rule-0-3" (the fourth rule of the first run), "frame-7". Lines of a second log
// end in its index: "line-12-1". A page that is live hands over a new story from time to time, and the selection stays.

const ROW = 20;              // pixels of a line
const MAX_TICKS = 400;       // marks in the strip
const live = { verdicts: null, editor: null, changes: null, suggest: null };  // what a live page adds

let story = null;
let view = null;

// --- What belongs together ---

const lineKey = (log, line, last = line) => "line-" + line + (last === line ? "" : "to" + last) + (log ? "-" + log : "");
const ruleKey = (run, rule) => `rule-${run}-${rule}`;
const resultKey = (key) => "key-" + encodeURIComponent(key);

function link(key, className, ...children) {
  const anchor = make("a", className, ...children);
  anchor.href = "#" + key;
  return anchor;
}

const lineLink = (log, line) => link(lineKey(log, line), "number", "line " + number(line));

function placeOf(at) {
  const text = at.line ? `${at.file}:${at.line}` : at.file;
  return live.editor && at.line ? live.editor(at, text) : make("span", "place", text);
}

const logOf = (run) => Math.max(story.logs.findIndex((log) => log.path === run.log), 0);

// The rules of all runs, in one order for their colours.
class RuleTable {
  constructor(runs) {
    this.rules = [];
    runs.forEach((run, r) => run.rules.forEach((rule) => this.rules.push({ run: r, index: rule.index, rule })));
    this.orders = new Map(this.rules.map((each, order) => [ruleKey(each.run, each.index), order]));
  }

  order(run, index) { return this.orders.get(ruleKey(run, index)) ?? 0; }

  at(run, index) { return this.rules[this.order(run, index)].rule; }
}

function chip(run, index, tag = "a") {
  const name = visible(story.table.at(run, index).name);
  const made = tag === "a" ? link(ruleKey(run, index), "chip", name) : make(tag, "chip", name);
  return paint(made, story.table.order(run, index));
}

// What is known of the lines of each log: line -> {rules: [{run, index}], spans: [{begin, end, order}], isStack}.
function collectMarks() {
  const marks = story.logs.map(() => new Map());
  const markOf = (log, line) => {
    if (!marks[log].has(line)) marks[log].set(line, { rules: [], spans: [], isStack: false });
    return marks[log].get(line);
  };
  story.runs.forEach((run, r) => {
    const log = logOf(run);
    for (const rule of run.rules) {
      const order = story.table.order(r, rule.index);
      for (const selected of rule.selected) {
        markOf(log, selected.number).rules.push({ run: r, index: rule.index });
        for (const { line, begin, end, key } of selected.params) {
          if (end > begin) markOf(log, line).spans.push({ begin, end, order, name: `${rule.name}.${key}` });
        }
      }
    }
  });
  if (story.stack) {
    const log = logOf(story.runs.find((run) => run.featureId === story.stack.featureId));
    for (const frame of story.stack.frames) if (frame.line) markOf(log, frame.line).isStack = true;
  }
  return marks;
}

// --- The log ---

// The lines of a log, of which a page may hold only stretches.
class Lines {
  constructor({ pieces, lines }) {
    this.parts = [];  // {row, line, count, texts}; without texts: a gap, which takes one row
    this.rows = 0;
    let line = 1;
    const gapTo = (next) => { if (next > line) this.add({ line, count: next - line, texts: null }); };
    for (const piece of pieces) {
      gapTo(piece.line);
      const texts = piece.text.split("\n");
      this.add({ line: piece.line, count: texts.length, texts });
      line = piece.line + texts.length;
    }
    gapTo(lines + 1);
  }

  add(part) {
    this.parts.push({ ...part, row: this.rows });
    this.rows += part.texts ? part.count : 1;
  }

  partOf(is) { return this.parts.findLast(is); }

  // {line, text}, or {line, count} for a gap.
  at(row) {
    const part = this.partOf((each) => each.row <= row);
    return part.texts ? { line: part.line + row - part.row, text: part.texts[row - part.row] }
      : { line: part.line, count: part.count };
  }

  rowOf(line) {
    const part = this.partOf((each) => each.line <= line);
    return part && part.texts && line < part.line + part.count ? part.row + line - part.line : -1;
  }

  textOf(line) {
    const row = this.rowOf(line);
    return row < 0 ? null : this.at(row).text;
  }

  // The numbers of the lines that hold a text, whatever its case.
  find(wanted) {
    const found = [];
    for (const { line, texts } of this.parts) {
      if (texts) texts.forEach((text, i) => { if (text.toLowerCase().includes(wanted)) found.push(line + i); });
    }
    return found;
  }
}

// An offset in characters as one in the units of a script's text.
function unitsOf(text, characters) {
  if (!/[\ud800-\udfff]/.test(text)) return characters;
  let units = 0;
  for (const c of text) {
    if (characters-- === 0) break;
    units += c.length;
  }
  return units;
}

// The text of a line with its spans marked.
function markedText(text, spans) {
  const shown = visible(text);
  const parts = [];
  let at = 0;
  for (const span of [...spans].sort((a, b) => a.begin - b.begin || b.end - a.end)) {
    const begin = Math.max(unitsOf(text, span.begin), at);
    const end = Math.min(unitsOf(text, span.end), shown.length);
    if (end <= begin) continue;
    const marked = make("mark", span.order < 0 ? "hit" : "", shown.slice(begin, end));
    if (span.order >= 0) paint(marked, span.order);
    if (span.name) marked.title = span.name;
    parts.push(shown.slice(at, begin), marked);
    at = end;
  }
  return [...parts, shown.slice(at)];
}

// Shows the rows of a log that are in sight, and only those.
class LogView {
  constructor() {
    this.pane = byId("lines");
    this.sizer = make("div", "sizer");
    this.pane.replaceChildren(this.sizer);
    this.log = -1;
    this.picked = 0;       // line
    this.last = 0;         // line to which the selection reaches from there, forward or back
    this.linked = new Set();
    this.wanted = "";
    this.found = [];
    this.drawn = new Map();  // row -> element
    this.pane.addEventListener("scroll", () => this.draw());
    new ResizeObserver(() => { this.draw(); this.drawStrip(); }).observe(this.pane);
  }

  // Puts a log into the pane.
  show(log, keepPlace) {
    const top = this.pane.scrollTop;
    const isOther = this.log !== log;
    this.log = log;
    this.lines = story.lines[log];
    this.marks = story.marks[log];
    this.used = [...this.marks.keys()].filter((line) => this.marks.get(line).rules.length).sort((a, b) => a - b);
    this.sizer.style.height = `${this.lines.rows * ROW}px`;
    this.pane.style.setProperty("--digits", `${String(story.logs[log].lines).length + 1.5}ch`);
    const longest = Math.max(0, ...story.table.rules.filter(({ run }) => logOf(story.runs[run]) === log)
      .map(({ rule }) => rule.name.length));
    this.pane.style.setProperty("--gutter", `${Math.min(longest, 14) + 4}ch`);
    this.redraw();
    if (keepPlace && !isOther) this.pane.scrollTop = top;
    else if (this.used.length) this.scrollTo(this.used[0]);
    else this.pane.scrollTop = 0;
    byId("used-before").disabled = byId("used-after").disabled = this.used.length === 0;
    this.describe();
    this.search(this.wanted);
  }

  describe() {
    const { lines, isWhole, path } = story.logs[this.log];
    const parts = [counted(lines, "line"), `${number(this.used.length)} used`];
    if (!isWhole) parts.push("the log is large: only what the story names is here, and the lines around it");
    if (story.logs.length > 1) parts.unshift(path);
    byId("log-note").textContent = parts.join(" \u00b7 ");
  }

  redraw() {
    for (const row of this.drawn.values()) row.remove();
    this.drawn.clear();
    this.draw();
    this.drawStrip();
  }

  draw() {
    if (!this.lines) return;
    if (this.lines.rows === 0) {
      this.sizer.replaceChildren(make("p", "empty", "The log is empty or cannot be read."));
      return;
    }
    const first = Math.max(Math.floor(this.pane.scrollTop / ROW) - 10, 0);
    const last = Math.min(Math.ceil((this.pane.scrollTop + this.pane.clientHeight) / ROW) + 10, this.lines.rows - 1);
    for (const [row, element] of this.drawn) {
      if (row >= first && row <= last) continue;
      element.remove();
      this.drawn.delete(row);
    }
    const active = this.last && this.lines.rowOf(this.last);
    for (let row = first; row <= last; ++row) if (!this.drawn.has(row)) this.drawRow(row);
    if (this.last && active >= first && active <= last) {
      this.pane.setAttribute("aria-activedescendant", `row-${this.last}`);
    } else this.pane.removeAttribute("aria-activedescendant");
  }

  drawRow(row) {
    const { line, text, count } = this.lines.at(row);
    const element = count ? make("div", "gap", `${counted(count, "line")} not in this page`) : this.row(line, text);
    element.style.top = `${row * ROW}px`;
    element.setAttribute("role", "option");
    element.setAttribute("aria-selected", this.isPicked(line));
    element.setAttribute("aria-posinset", row + 1);
    element.setAttribute("aria-setsize", this.lines.rows);
    this.drawn.set(row, element);
    this.sizer.append(element);
  }

  row(line, text) {
    const mark = this.marks.get(line);
    const spans = mark ? [...mark.spans] : [];
    if (this.wanted) {
      const at = text.toLowerCase().indexOf(this.wanted);
      const points = (units) => Array.from(text.slice(0, units)).length;
      if (at >= 0) spans.unshift({ begin: points(at), end: points(at + this.wanted.length), order: -1 });
    }
    const chips = mark ? mark.rules.map(({ run, index }) => {
      const made = chip(run, index, "span");
      made.dataset.key = ruleKey(run, index);
      return made;
    }) : [];
    const element = make("div", "line", make("span", "number", String(line)),
      make("span", "chips", chips), make("span", "text", ...markedText(text, spans)));
    element.id = `row-${line}`;
    element.dataset.line = line;
    if (mark && mark.rules.length) {
      element.classList.add("used");
      paint(element, story.table.order(mark.rules[0].run, mark.rules[0].index));
    } else if (mark && mark.isStack) element.classList.add("stack");
    if (this.isPicked(line)) element.classList.add("picked");
    else if (this.linked.has(line)) element.classList.add("linked");
    return element;
  }

  // The marks of the whole log beside the scroll bar.
  drawStrip() {
    if (!this.lines || !this.lines.rows) return;
    const ticks = new Map();
    const add = (line, className, order) => {
      const row = this.lines.rowOf(line);
      if (row < 0) return;
      const place = Math.round(row / this.lines.rows * MAX_TICKS);
      if (ticks.has(place) && order === null) return;
      const tick = make("i", className);
      if (order !== null) paint(tick, order);
      tick.style.top = `${place / MAX_TICKS * 100}%`;
      ticks.set(place, tick);
    };
    for (const [line, mark] of this.marks) if (mark.isStack) add(line, "stack", null);
    for (const line of this.used) {
      const [rule] = this.marks.get(line).rules;
      add(line, "", story.table.order(rule.run, rule.index));
    }
    const hits = new Map([...ticks]);
    for (const line of this.found) add(line, "hit", null);
    byId("strip").replaceChildren(...hits.values(), ...[...ticks.values()].filter((tick) => tick.className === "hit"));
    if (this.picked && this.lines.rowOf(this.picked) >= 0) {
      const here = make("i", "here");
      here.style.top = `${this.lines.rowOf(this.picked) / this.lines.rows * 100}%`;
      byId("strip").append(here);
    }
  }

  isPicked(line) { return line >= Math.min(this.picked, this.last) && line <= Math.max(this.picked, this.last); }

  pick(line, linked = [], last = line) {
    this.picked = line;
    this.last = last;
    this.linked = new Set(linked);
    this.redraw();
    if (last) this.scrollTo(last);
    this.reportFound();
  }

  scrollTo(line) {
    const row = this.lines.rowOf(line);
    if (row < 0) return;
    const top = row * ROW;
    const { scrollTop, clientHeight } = this.pane;
    if (top < scrollTop || top + 2 * ROW > scrollTop + clientHeight) this.pane.scrollTop = top - (clientHeight - ROW) / 3;
    this.draw();
  }

  // --- Moving ---

  // The next of some lines behind the picked one, or before it, around the ends.
  next(lines, isForward) {
    const ahead = isForward ? lines.find((line) => line > this.picked) : lines.findLast((line) => line < this.picked);
    return ahead ?? (isForward ? lines[0] : lines[lines.length - 1]);
  }

  move(by, isExtending) {
    const row = this.last ? this.lines.rowOf(this.last) : Math.floor(this.pane.scrollTop / ROW) - Math.sign(by);
    const to = Math.min(Math.max(row + by, 0), this.lines.rows - 1);
    const { line, count } = this.lines.at(to);
    if (!count) this.goTo(line, isExtending);
  }

  goTo(line, isExtending) {
    if (isExtending && this.picked) go(lineKey(this.log, this.picked, line), true);
    else go(lineKey(this.log, line), true);
  }

  search(text) {
    this.wanted = text.toLowerCase();
    this.found = this.wanted && !/^:\d*$/.test(text) ? this.lines.find(this.wanted) : [];
    if (!this.found.length) this.wanted = "";
    this.redraw();
    this.reportFound();
  }

  reportFound() {
    const at = this.found.indexOf(this.picked) + 1;
    const text = byId("wanted").value;
    byId("found").textContent = !text || text.startsWith(":") ? ""
      : this.found.length ? `${at ? number(at) + " of " : ""}${number(this.found.length)}` : "not found";
  }
}

// --- The head ---

function drawHead() {
  const { result } = story;
  const [firstReason] = (result[libraryNames.reason] || "").split("\n");
  const isEmpty = Object.keys(result).length === 0;
  const title = firstReason || (isEmpty ? "Nothing found" : nameOfLog(story.log));
  document.title = `${story.event}: ${nameOfLog(story.log)}`;
  const facts = make("div", "facts");
  const fact = (name, value) => { if (value) facts.append(make("span", "", name + " ", value)); };
  fact("first frame", result[libraryNames.firstFrame] && code(result[libraryNames.firstFrame]));
  fact("process", result.PROCESS && code(result.PROCESS));
  fact("fingerprint", result[libraryNames.fingerprint] && fingerprintButton(result[libraryNames.fingerprint]));
  const heading = make("h1", isEmpty ? "bad" : "", make("span", "tag", visible(story.event)), " ", visible(title));
  byId("top").replaceChildren(heading, facts,
    make("div", "facts", make("span", "", visible(`${story.log}${story.as ? `, as if at ${story.as}` : ""} \u00b7 rules in ` +
      story.config))),
    ...story.faults.map((fault) => make("p", "bad", "Error of the program: " + fault)));
}

// --- The story ---

function section(id, title, ...children) {
  const made = make("section", "section", make("h2", "", title), ...children);
  made.id = id;
  return made;
}

function drawResults() {
  const table = make("table");
  const changes = live.changes ? live.changes() : new Map();
  for (const told of story.keys) {
    const name = link(resultKey(told.key), "key", told.key);
    name.dataset.key = resultKey(told.key);
    const change = changes.get(told.key);
    const head = make("th", "", name, change ? make("div", "", make("span", `tag ${change.look}`, change.what)) : null);
    head.scope = "row";
    const value = told.value ? told.key === libraryNames.fingerprint ? fingerprintButton(told.value) : valueOf(told.value)
      : make("span", "", "missing");
    const row = make("tr", told.value ? "" : "missing", head, make("td", "", value, change ? change.detail() : null));
    if (change && change.isFresh) row.classList.add("fresh");
    table.append(row);
  }
  for (const [key, change] of changes) {
    if (story.keys.some((told) => told.key === key)) continue;
    table.append(make("tr", "missing", make("th", "", make("span", "mono", key), make("div", "",
      make("span", `tag ${change.look}`, change.what))), make("td", "", change.detail())));
  }
  return section("results", "Results", make("div", "results",
    table.rows.length ? table : make("p", "faint", "No template asks for anything.")));
}

// A value; of many lines, folded.
function valueOf(text) {
  const lines = linesOf(text);
  if (lines.length <= 8) return code(text);
  return make("details", "", make("summary", "", `${number(lines.length)} lines `, code(lines[0])), code(text));
}

function drawParam(log, rule, selected, param) {
  const where = param.line === selected.number ? null : make("span", "faint", " in ", lineLink(log, param.line));
  const value = !param.isFound ? [make("span", "bad", " not found by "), code(param.pattern || rule.params[param.key] || ""),
    param.why ? make("div", "faint", visible(param.why)) : null]
    : param.isStackPattern ? [make("span", "faint", " begins a stack here")] : [" = ", code(param.value)];
  return make("li", "", make("span", "mono", param.key), where, ...value);
}

function drawSelected(log, rule, selected) {
  const rest = selected.paramCount - selected.params.length;
  return make("li", "", lineLink(log, selected.number), make("ul", "",
    ...selected.params.map((param) => drawParam(log, rule, selected, param)),
    rest ? make("li", "faint", `and ${number(rest)} more`) : null));
}

function drawRule(run, r, rule) {
  const log = logOf(run);
  const fired = rule.selectedCount > 0;
  const lead = make("div", "lead", make("h3", "", chip(r, rule.index)),
    fired ? make("span", "", counted(rule.selectedCount, "line")) : make("span", "bad", "never fired"),
    rule.failedParams ? make("span", "bad", `${counted(rule.failedParams, "parameter")} not found`) : null,
    rule.spentAt ? make("span", "faint", `done at line ${number(rule.spentAt.number)}`) : null,
    rule.command === "rules" ? null : make("span", "faint", "segment rule"), placeOf(rule.place));
  const written = make("ul", "", make("li", "", "keyWords ", code(rule.keyWords),
    rule.filledKeyWords ? [make("span", "faint", " tried as "), code(rule.filledKeyWords)] : null),
    rule.depend ? make("li", "", "depend ", code(rule.depend)) : null,
    ...Object.entries(rule.params).map(([name, pattern]) => make("li", "", name + " ", code(pattern))));
  const item = make("article", "item", lead);
  item.dataset.key = ruleKey(r, rule.index);
  item.append(...findingsAt(rule.place));
  if (fired) item.append(listOf(rule.selected, (selected) => drawSelected(log, rule, selected), { few: 3 }));
  else if (rule.nearest.length) {
    const [near] = rule.nearest;
    item.append(make("p", "", make("span", "faint", "nearest "), lineLink(log, near.line.number), ": ", visible(near.why)));
  }
  item.append(make("details", "", make("summary", "", "As written"), written));
  return item;
}

// The findings of `check` about what stands from a place on, up to the next rule.
function findingsAt(place) {
  const findings = story.findings || [];
  const lines = story.table.rules.map(({ rule }) => rule.place.line).filter((line) => line > place.line);
  const end = Math.min(...lines, Infinity);
  return findings.filter((found) => found.file === place.file && found.line >= place.line && found.line < end)
    .map((found) => drawFinding(found));
}

const drawFinding = (found) => make("span", `finding ${found.severity}`, `${found.severity}: ${visible(found.message)} `,
  placeOf(found));

function drawRun(run, r) {
  const { examined, spanned, overlong, indented } = run.lines;
  const made = make("section", "run", make("div", "lead", make("h3", "", run.featureId), placeOf(run.place)));
  if (!run.isReadable) {
    made.append(make("p", "bad", `The library cannot read ${run.log}.`));
    return made;
  }
  const fates = [[spanned, "taken for a \"num\""], [overlong, "passed over as overlong"],
    [indented, "passed over as indented"]].map(([count, what]) => count ? `, ${number(count)} ${what}` : "");
  made.append(make("p", "faint small", `${counted(examined, "line")} examined${fates.join("")}; ${run.whyEnded}.`));
  made.append(...run.rules.map((rule) => drawRule(run, r, rule)));
  if (run.records.length) {
    const rows = run.records.map((record) => make("tr", "", make("td", "mono", record.name),
      make("td", "count", record.line ? lineLink(logOf(run), record.line.number) : null),
      make("td", "", record.value ? record.isStack ? valueOf(record.value) : code(record.value)
        : make("span", "faint", record.isStack && !record.why ? "a stack that no template asks for" : "empty"),
      record.why ? make("div", "faint", visible(record.why)) : null,
        record.count > 1 ? make("span", "faint", ` the first of ${number(record.count)}`) : null)));
    made.append(make("details", "item", make("summary", "", counted(run.records.length, "record")),
      make("table", "", ...rows)));
  }
  return made;
}

function drawRules() {
  const made = section("rules", "Rules");
  // Runs in which nothing fired are rarely what a reader is after.
  const isIdle = (run) => run.isReadable && run.rules.every((rule) => rule.selectedCount === 0);
  const idle = story.runs.filter(isIdle);
  const isFolded = idle.length < story.runs.length;
  const others = make("details", "run", make("summary", "", `${counted(idle.length, "feature")} of which no rule fired`));
  story.runs.forEach((run, r) => (isFolded && isIdle(run) ? others : made).append(drawRun(run, r)));
  if (isFolded && idle.length) made.append(others);
  if (!story.runs.length) {
    made.append(make("p", "bad", "None: no feature id is taken, or the assemble file has no section of the event type."));
  }
  return made;
}

function drawStack() {
  const { stack } = story;
  if (!stack) return section("stack", "Stack", make("p", "faint", `None: no run gave "${libraryNames.stack}".`));
  const log = logOf(story.runs.find((run) => run.featureId === stack.featureId));
  const frames = stack.frames.map((frame, i) => {
    const isKept = ["kept", "heading", "ignored-but-kept"].includes(frame.fate);
    const row = make("li", `frame${isKept ? "" : " out"}`, frame.line ? lineLink(log, frame.line) : make("span"),
      code(isKept ? frame.name : frame.text.trim()),
      frame.fate === "kept" ? null : make("span", "why", visible(frame.why)));
    row.dataset.key = `frame-${i}`;
    return row;
  });
  const kept = stack.frames.filter((frame) => frame.fate === "kept").length;
  const blocks = stack.blocks.filter((block) => block.namesTheStack).map((block) => block.heading || "the head");
  const dropped = stack.lineCount - frames.length;
  const note = `From ${stack.featureId}: ${number(kept)} of ${counted(stack.lineCount, "line")} kept as they are` +
    (dropped ? `, ${number(dropped)} left out as empty` : "") +
    (blocks.length ? `; the block of ${blocks.join(", ")} names the frames.` : ".");
  return section("stack", "Stack", make("p", "faint small", visible(note)), make("ul", "", ...frames));
}

function drawInput() {
  const remarks = story.health.map((remark) => make("li", "", visible(remark)));
  const taken = [];
  const refused = [];
  const draw = (isTaken, name, at) => make("li", "small",
    isTaken ? make("span", "good", "taken ") : make("span", "bad", "refused "), name, ": ", visible(at.why), " ",
    placeOf(at.place));
  for (const entry of story.entries) {
    if (entry.why) refused.push(draw(false, entry.key, entry));
    for (const id of entry.featureIds) (id.isTaken ? taken : refused).push(draw(id.isTaken, id.id, id));
  }
  return section("input", "Input", remarks.length ? make("ul", "small", ...remarks)
    : make("p", "faint small", "The log is in order: UTF-8, line feeds, no line too long."),
  make("h3", "", "Feature ids"), make("ul", "", ...taken),
  refused.length ? make("details", "small", make("summary", "", `${number(refused.length)} refused`),
    make("ul", "", ...refused)) : null);
}

function drawJumps(sections) {
  return make("nav", "jumps", ...sections.map((made) => {
    const title = made.querySelector("h2").textContent;
    return button(title, () => scrollStoryTo(made), "plain");
  }));
}

// --- Selection ---

const parseLine = (key) => {
  const found = /^line-(\d+)(?:to(\d+))?(?:-(\d+))?$/.exec(key);
  return found && { line: Number(found[1]), last: Number(found[2] || found[1]), log: Number(found[3] || 0) };
};

const isNarrow = () => getComputedStyle(byId("log")).position === "sticky";  // the log stays above the story then

function scrollStoryTo(element) {
  element.style.scrollMarginTop = `${isNarrow() ? byId("log").offsetHeight + 8 : byId("card").offsetHeight + 8}px`;
  for (let parent = element; parent; parent = parent.parentElement) if (parent.tagName === "DETAILS") parent.open = true;
  element.scrollIntoView({ block: "start" });
}

function showCard(title, ...children) {
  const close = button("close", () => go(""), "plain close");
  byId("card").replaceChildren(make("h2", "", title, close), ...children.filter((child) => child));
  byId("card").hidden = false;
  byId("card").scrollTop = 0;
}

// How each rule of a run fared on a line: from the page's own data, or none when it has none.
function verdictsHere(run, line) {
  if (run.asked && run.asked.line && run.asked.line.number === line) return run.asked.verdicts;
  if (!run.verdicts) return null;
  const row = run.verdicts.rows[run.verdicts.lines[line - 1]];
  return run.rules.map((rule) => {
    const [verdict, why] = row ? run.verdicts.words[row[rule.index]] : ["not-reached", run.whyEnded];
    return { rule: rule.name, verdict, why };
  });
}

const takes = ({ verdict }) => verdict === "selects" || verdict === "spans";

// What a rule took from a line.
function drawTaken(rule, line) {
  const params = rule.selected.flatMap((selected) => selected.params.filter((param) => param.line === line));
  return make("ul", "", ...params.map((param) => drawParam(0, rule, { number: line }, param)));
}

function drawVerdicts(run, r, verdicts, line) {
  const list = make("ul", "verdicts");
  const order = run.rules.map((rule, i) => i).sort((a, b) => Number(takes(verdicts[b])) - Number(takes(verdicts[a])));
  for (const i of order) {
    list.append(make("li", "", make("span", "", chip(r, run.rules[i].index)),
      make("span", takes(verdicts[i]) ? "good" : "", visible(verdicts[i].why),
        takes(verdicts[i]) ? drawTaken(run.rules[i], line) : null)));
  }
  return list;
}

function fillVerdicts(place, log, line, runsOfLine) {
  const parts = runsOfLine.map(({ run, r, verdicts }) => {
    const isIdle = !verdicts.some(takes) && story.runs.length > 1;
    const title = make(isIdle ? "summary" : "h4", "", run.featureId);
    const made = make(isIdle ? "details" : "div", "small", title, drawVerdicts(run, r, verdicts, line));
    if (isIdle && !runsOfLine.some((each) => each.verdicts.some(takes))) {
      if (r === runsOfLine[0].r) made.open = true;
    }
    return made;
  });
  place.replaceChildren(...parts);
}

// --- Rules from lines ---

// "4, 11-20"
function rangesOf(lines) {
  const ranges = [];
  for (const line of lines) {
    const last = ranges[ranges.length - 1];
    if (last && last[1] === line - 1) last[1] = line;
    else ranges.push([line, line]);
  }
  return ranges.map(([first, last]) => first === last ? number(first) : `${number(first)}-${number(last)}`).join(", ");
}

function drawSuggestion(told, i) {
  const rows = [["its rules take", told.ruleLines], ["its stack takes", told.stackLines], ["left out", told.leftOut],
    ["taken beside them", told.beside]].filter(([, lines]) => lines.length);
  const file = (name, text) => [make("p", "", "Copy ", copyButton(name, text, "the text for")), code(text, "whole")];
  const made = make("details", "item", make("summary", "", `Suggestion ${i + 1}: gives ${Object.keys(told.result).join(", ")}`),
    make("ul", "", ...rows.map(([what, lines]) => make("li", "", make("span", "faint", `${what} `), rangesOf(lines)))),
    ...file(libraryNames.matchFile, told.match), ...file(libraryNames.assembleFile, told.assemble));
  made.open = i === 0;
  return made;
}

// What makes rules of lines: on a live page here, else in a terminal.
function drawSuggest(log, first, last) {
  const place = make("div", "suggest small");
  if (live.suggest) {
    const ask = button(first === last ? "Suggest rules for this line" : "Suggest rules for these lines", async () => {
      place.replaceChildren(make("p", "faint", "\u2026"));
      const found = await live.suggest(log, first, last);
      place.replaceChildren(...found.fault ? [make("p", "bad", visible(found.fault))]
        : found.suggestions.length ? found.suggestions.map(drawSuggestion)
          : [make("p", "", "No rule could be made that takes these lines and that check has nothing to say about.")]);
    });
    place.append(ask);
  } else {
    place.append("Rules for ", first === last ? "this line: " : "these lines: ", copyButton("kestrix suggest",
      ["kestrix", "suggest", story.logs[log].path, "--lines", `${first}-${last}`, "--event", story.event].map(shellWord)
        .join(" "), "the command"));
  }
  place.append(make("span", "faint", " Shift and a click, or an arrow key, selects more lines."));
  return place;
}

function selectLines(log, { line, last }) {
  if (view.log !== log) view.show(log);
  view.pick(line, [], last);
  const [from, to] = [Math.min(line, last), Math.max(line, last)];
  showCard(`Lines ${number(from)} to ${number(to)}`, drawSuggest(log, from, to));
}

function selectLine(log, line) {
  if (view.log !== log) view.show(log);
  view.pick(line);
  const text = view.lines.textOf(line);
  if (text === null) {
    showCard(`Line ${number(line)}`, make("p", "faint", "is not in this page."));
    return;
  }
  const mark = view.marks.get(line);
  const place = make("div", "", make("p", "faint small", "\u2026"));
  const uses = story.keys.filter((told) => told.value && told.templates.some((each) => each.state === "used" &&
    each.records.some((record) => record.line && record.line.number === line && logOf(story.runs[each.run]) === log)));
  showCard(`Line ${number(line)}`, make("code", "whole", ...markedText(text, mark ? mark.spans : [])),
    uses.length ? make("p", "small", "gives ", ...uses.flatMap((told, i) => [i ? ", " : "",
      link(resultKey(told.key), "mono", told.key)])) : null,
    mark && mark.isStack ? make("p", "small", "is in ", link("stack", "", "the stack")) : null, place,
    drawSuggest(log, line, line));
  const runs = story.runs.map((run, r) => ({ run, r })).filter(({ run }) => logOf(run) === log && run.isReadable);
  const known = runs.map((each) => ({ ...each, verdicts: verdictsHere(each.run, line) }));
  if (known.every(({ verdicts }) => verdicts)) fillVerdicts(place, log, line, known);
  else if (live.verdicts) live.verdicts(line, place, (asked) => fillVerdicts(place, log, line, asked));
  else {
    place.replaceChildren(make("p", "faint small", "The log is too large for this page to hold every rule's verdict on " +
      "every line. This tells them: "), copyButton(`--line ${line}`,
      `${explainCommand(story.log, story.config, story.event)} --line ${line}`, "the command"));
  }
  const [first] = mark ? mark.rules : [];
  for (const { run, index } of mark ? mark.rules : []) itemOf(ruleKey(run, index))?.classList.add("linked");
  if (isNarrow()) scrollStoryTo(byId("card"));
  else if (first) scrollStoryTo(itemOf(ruleKey(first.run, first.index)));
}

const itemOf = (key) => byId("sections").querySelector(`[data-key="${CSS.escape(key)}"]`);

function selectRule(key, run, index) {
  const log = logOf(story.runs[run]);
  if (view.log !== log) view.show(log);
  const rule = story.table.at(run, index);
  const lines = rule.selectedCount ? rule.selected.map((selected) => selected.number)
    : rule.nearest.slice(0, 1).map((near) => near.line.number);
  byId("card").hidden = true;
  view.pick(lines[0] || 0, lines);
  const item = itemOf(key);
  item.classList.add("picked");
  scrollStoryTo(item);
}

const step = (isGood, what, ...children) => make("li", isGood ? "good" : "bad", make("span", "what", what), " ", ...children);

// The way from a result to the line that it comes from, or to where that way ends.
function walkOf(told, template) {
  const run = story.runs[template.run];
  const log = logOf(run);
  const isUsed = template.state === "used";
  const steps = [step(template.value, "template", code(template.text), ` of ${template.featureId} `, placeOf(template.place),
    template.state === "lost" ? make("span", "bad", ` not used: ${template.lostTo} gave the key before`) : null)];
  for (const record of template.records) {
    steps.push(step(record.isThere, "record", make("span", "mono", record.name),
      record.isThere ? record.value ? [" = ", code(record.value)] : make("span", "bad", " is empty")
        : make("span", "bad", " is not there")));
    if (record.rule === null || record.rule === undefined) {
      if (record.why) steps.push(step(false, "rule", visible(record.why)));
    } else {
      steps.push(step(record.isThere, "rule", chip(template.run, record.rule), " ", code(record.keyWords),
        record.pattern ? [make("span", "faint", " takes "), code(record.pattern)] : null, " ", placeOf(record.place)));
      for (const variable of record.variables) {
        steps.push(step(variable.value !== null, "variable", make("span", "mono", variable.name),
          variable.value === null ? make("span", "bad", " has no value yet") : [" = ", code(variable.value)]));
      }
      if (record.line) {
        steps.push(step(record.isThere, record.isThere ? "line" : "nearest", lineLink(log, record.line.number), " ",
          code(record.line.text.trim()), record.why ? make("div", "bad", visible(record.why)) : null,
          record.edit ? make("span", "edit", visible(record.edit)) : null));
      } else if (record.why || record.edit) {
        steps.push(step(false, "line", visible(record.why || ""), record.edit
          ? make("span", "edit", visible(record.edit)) : null));
      }
    }
  }
  const list = make("ol", "walk");
  for (const made of steps) {
    list.append(made);
  }
  const made = make(isUsed || told.templates.length === 1 ? "div" : "details", "small");
  if (made.tagName === "DETAILS") {
    made.append(make("summary", "", `${template.featureId}: ${template.state === "lost" ? "not used" : "gives nothing"}`));
    made.open = !told.value && template === told.templates[0];
  }
  made.append(list);
  return made;
}

function selectKey(told) {
  const lines = [];
  for (const template of told.templates) {
    if (template.state !== "used" && told.value) continue;
    for (const record of template.records) if (record.line) lines.push(record.line.number);
  }
  const [template] = told.templates;
  if (template && view.log !== logOf(story.runs[template.run])) view.show(logOf(story.runs[template.run]));
  view.pick(lines[0] || 0, lines);
  showCard(make("span", "mono", told.key), told.value ? code(told.value, "whole") : make("p", "bad", "is missing"),
    ...told.remarks.map((remark) => make("p", "small faint", visible(remark))),
    ...told.templates.map((each) => walkOf(told, each)));
  const item = itemOf(resultKey(told.key));
  item.closest("tr").classList.add("picked");
  scrollStoryTo(isNarrow() ? byId("card") : item.closest("tr"));
}

function clearSelection() {
  for (const element of byId("sections").querySelectorAll(".picked, .linked")) element.classList.remove("picked", "linked");
}

// Shows what a key stands for; the story keeps its place when the selection is only drawn anew.
function select(key) {
  clearSelection();
  const line = parseLine(key);
  const rule = /^rule-(\d+)-(\d+)$/.exec(key);
  const told = key.startsWith("key-") && story.keys.find((each) => resultKey(each.key) === key);
  if (line && line.log < story.logs.length && line.last !== line.line) selectLines(line.log, line);
  else if (line && line.log < story.logs.length) selectLine(line.log, line.line);
  else if (rule && story.table.orders.has(key)) selectRule(key, Number(rule[1]), Number(rule[2]));
  else if (told) selectKey(told);
  else {
    byId("card").hidden = true;
    view.pick(0);
    if (key && itemOf(key)) scrollStoryTo(itemOf(key));
    else if (["results", "rules", "stack", "input"].includes(key)) scrollStoryTo(byId(key));
  }
}

function go(key, isStep = false) {
  const address = key ? "#" + key : location.pathname + location.search;
  if (isStep) history.replaceState(null, "", address);
  else history.pushState(null, "", address);
  select(key);
}

const here = () => location.hash.slice(1);

// --- All of it ---

// The selection anew, after a redraw, with both panes where they were.
function selectInPlace(linesTop, storyTop) {
  const top = scrollY;  // of a narrow window, in which all scrolls together
  select(here());
  scrollTo(0, top);
  view.pane.scrollTop = linesTop;
  byId("story").scrollTop = storyTop;
}

function drawSections() {
  const sections = [drawResults(), drawRules(), drawStack(), drawInput()];
  byId("sections").replaceChildren(drawJumps(sections), ...sections);
}

function showStory(told) {
  const isFirst = story === null;
  const isSameLog = !isFirst && story.log === told.log;
  const storyTop = byId("story").scrollTop;
  story = told;
  story.table = new RuleTable(story.runs);
  story.lines = story.logs.map((log) => new Lines(log));
  story.marks = collectMarks();
  drawHead();
  drawSections();
  if (isFirst) view = new LogView();
  const shown = isSameLog ? Math.min(Math.max(view.log, 0), story.logs.length - 1)
    : Math.max(story.logs.findIndex((log) => log.path === story.log), 0);
  view.show(shown, isSameLog);
  if (isSameLog) {
    selectInPlace(view.pane.scrollTop, storyTop);
    return;
  }
  const asked = story.runs.find((run) => run.asked && run.asked.line);
  if (here()) select(here());
  else if (story.askedKey) go(resultKey(story.askedKey), true);
  else if (asked) go(lineKey(logOf(asked), asked.asked.line.number), true);
  else byId("story").scrollTop = 0;
}

// --- Keys, clicks, and the widths of the panes ---

function goToUsed(isForward) {
  if (view.used.length) go(lineKey(view.log, view.next(view.used, isForward)), true);
}

function find(isForward) {
  const text = byId("wanted").value;
  const asLine = /^:(\d+)$/.exec(text);
  if (asLine) {
    if (view.lines.rowOf(Number(asLine[1])) >= 0) go(lineKey(view.log, Number(asLine[1])));
    else byId("found").textContent = "no such line";
  } else if (view.found.length) go(lineKey(view.log, view.next(view.found, isForward)), true);
}

function onLinesKey(event) {
  const page = Math.max(Math.floor(view.pane.clientHeight / ROW) - 2, 1);
  const by = { ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page, Home: -1e9, End: 1e9 }[event.key];
  if (!by || event.ctrlKey || event.metaKey || event.altKey) return;
  event.preventDefault();
  view.move(by, event.shiftKey);
}

function onKey(event) {
  if (event.ctrlKey || event.metaKey || event.altKey || !view) return;
  if (event.key === "Escape") {
    if (event.target.id === "wanted") view.pane.focus();
    else if (here()) go("");
  }
  if (/^(INPUT|TEXTAREA|SELECT)$/.test(event.target.tagName)) return;
  if (event.key === "n" || event.key === "p") goToUsed(event.key === "n");
  else if (event.key === "/") byId("wanted").focus();
  else return;
  event.preventDefault();
}

function onClick(event) {
  const anchor = event.target.closest("a[href^='#']");
  if (anchor) {
    event.preventDefault();
    go(anchor.hash.slice(1));
    return;
  }
  const row = event.target.closest(".line");
  if (row && event.shiftKey) {
    getSelection().removeAllRanges();  // of the text up to here, which the browser makes
    view.goTo(Number(row.dataset.line), true);
  } else if (row && getSelection().isCollapsed) {
    const rule = event.target.closest(".chip");
    go(rule ? rule.dataset.key : lineKey(view.log, row.dataset.line));
  }
}

function makeSplitter(id, pane, name, isRight) {
  const splitter = byId(id);
  const set = (width) => {
    const all = byId("log").parentElement.clientWidth;
    const limited = Math.min(Math.max(width, 140), all * 0.75);
    document.documentElement.style.setProperty(name, `${limited}px`);
    splitter.setAttribute("aria-valuenow", Math.round(limited / all * 100));
  };
  splitter.setAttribute("aria-valuenow", 40);
  splitter.addEventListener("pointerdown", (event) => {
    splitter.setPointerCapture(event.pointerId);
    const from = event.clientX;
    const width = byId(pane).offsetWidth;
    const drag = (move) => set(width + (isRight ? from - move.clientX : move.clientX - from));
    splitter.addEventListener("pointermove", drag);
    splitter.addEventListener("pointerup", () => splitter.removeEventListener("pointermove", drag), { once: true });
    event.preventDefault();
  });
  splitter.addEventListener("keydown", (event) => {
    const by = { ArrowLeft: -24, ArrowRight: 24 }[event.key];
    if (!by) return;
    event.preventDefault();
    set(byId(pane).offsetWidth + (isRight ? -by : by));
  });
}

function start() {
  document.body.classList.add("desk");
  makeSplitter("logs-splitter", "logs", "--logs", false);
  makeSplitter("story-splitter", "story", "--story", true);
  byId("find").addEventListener("submit", (event) => { event.preventDefault(); find(true); });
  byId("find-before").addEventListener("click", () => find(false));
  byId("wanted").addEventListener("input", () => view.search(byId("wanted").value));
  byId("wanted").addEventListener("keydown", (event) => {
    if (event.key !== "Enter" || !event.shiftKey) return;
    event.preventDefault();
    find(false);
  });
  byId("used-before").addEventListener("click", () => goToUsed(false));
  byId("used-after").addEventListener("click", () => goToUsed(true));
  byId("lines").addEventListener("keydown", onLinesKey);
  byId("strip").addEventListener("click", (event) => {
    view.pane.scrollTop = event.offsetY / byId("strip").clientHeight * view.lines.rows * ROW - view.pane.clientHeight / 2;
  });
  document.addEventListener("keydown", onKey);
  document.addEventListener("click", onClick);
  addEventListener("popstate", () => { if (story) select(here()); });
}

const data = JSON.parse(byId("data").textContent);
start();
if (data.runs) showStory(data);
