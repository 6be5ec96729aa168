"use strict";
// Draws the page from the story in #data. Text of logs and rules goes in as text only, never as markup. What can be
// selected has a key, which is also its hash in the address: "line-12", "rule-0-3", "record-0-1", "template-0-2",
// "frame-7". Lines of a second log end in its index: "line-12-1".

const CONTEXT = 3;         // lines that are shown around a marked one
const SHORT_LOG = 300;     // lines up to which nothing is folded
const SHORT_FOLD = 12;     // fewer lines are not worth folding
const FIRST_LINES = 1500;  // about as many are shown at first
const CHUNK = 200;         // lines that one click unfolds
const FEW = 5;             // lines that are listed for a rule at first...
const MORE = 50;           // ...and more with each click

const story = JSON.parse(document.getElementById("data").textContent);
const byId = (id) => document.getElementById(id);

// --- Elements ---

// An element with a class, and children that are elements or texts.
function make(tag, className, ...children) {
  const element = document.createElement(tag);
  if (className) element.className = className;
  element.append(...children.filter((child) => child !== null));
  return element;
}

const number = (value) => value.toLocaleString("en-US");
const counted = (value, word) => `${number(value)} ${word}${value === 1 ? "" : "s"}`;
const code = (text) => make("code", "", visible(text));

// Control characters get a shape; a carriage return before the line feed is none to speak of.
function visible(text) {
  return text.replace(/\r$/, "").replace(/\r\n/g, "\n").replace(/[\0-\x08\x0b-\x1f\x7f]/g,
    (c) => c === "\x7f" ? "\u2421" : String.fromCharCode(0x2400 + c.charCodeAt(0)));
}

function link(key, className, ...children) {
  const anchor = make("a", className, ...children);
  anchor.href = "#" + key;
  return anchor;
}

function place(at) {
  const text = at.line ? `${at.file}:${at.line}` : at.file;
  return make("span", "place", text);
}

// A list whose first elements are there, and the others come with a button. `rest` tells of those that the story does
// not hold.
function listOf(elements, draw, rest, few = FEW) {
  const list = make("ul");
  let shown = 0;
  const button = make("button");
  button.type = "button";
  const more = (count) => {
    for (const element of elements.slice(shown, shown + count)) list.insertBefore(draw(element), button.parentNode);
    shown = Math.min(shown + count, elements.length);
    button.textContent = `Show ${number(Math.min(MORE, elements.length - shown))} more of ${number(elements.length)}`;
    if (shown === elements.length) button.parentNode.remove();
  };
  list.append(make("li", "", button));
  button.addEventListener("click", () => more(MORE));
  more(few);
  if (rest) list.append(make("li", "faint", rest));
  return list;
}

// --- What belongs together ---

const items = new Map();    // key -> {element, log, lines: numbers, links: keys}
const touched = new Map();  // line key -> [{key, what: node}], in the order of the story

const lineKey = (log, line) => "line-" + line + (log ? "-" + log : "");
const logOf = (run) => Math.max(story.logs.findIndex((log) => log.path === run.log), 0);

function addItem(key, element, log, lines, links = []) {
  element.dataset.key = key;
  items.set(key, { element, log, lines, links });
}

function touch(log, line, key, say) {
  const at = lineKey(log, line);
  if (!touched.has(at)) touched.set(at, []);
  touched.get(at).push({ key, say });
}

const lineLink = (log, line) => link(lineKey(log, line), "", "line " + number(line));

// --- The log ---

// The colours of the rules go around the circle of hues in steps that keep neighbours apart.
const hueOf = (order) => Math.round(order * 137.5 + 210) % 360;

function chip(rule) {
  const element = link(rule.key, "chip", rule.name);
  element.style.setProperty("--hue", hueOf(rule.order));
  return element;
}

class LogView {
  constructor() {
    this.marks = story.logs.map(() => new Map());  // line -> {rules, isFrame}, per log
    this.wanted = story.logs.map(() => []);        // {line, rank}: lower ranks are shown first
    this.log = -1;
  }

  mark(log, line, rank, rule) {
    if (!this.marks[log].has(line)) this.marks[log].set(line, { rules: [] });
    if (rule) this.marks[log].get(line).rules.push(rule);
    this.want(log, line, rank);
  }

  want(log, line, rank) { this.wanted[log].push({ line, rank }); }

  // Puts a log into the pane, folded to what matters.
  show(log) {
    if (this.log === log) return;
    this.log = log;
    this.text = new Map();  // line -> text, of all that the page holds
    this.rows = new Map();  // line -> element, of all that is shown
    this.folds = new Set();
    const { pieces, lines } = story.logs[log];
    for (const piece of pieces) piece.text.split("\n").forEach((text, i) => this.text.set(piece.line + i, text));
    const shown = this.choose(lines);
    const parts = document.createDocumentFragment();
    for (let line = 1; line <= lines;) {
      let end = line;
      while (end <= lines && shown.has(end) === shown.has(line)) ++end;
      parts.append(...(shown.has(line) ? this.rowsOf(line, end - 1) : this.foldsOf(line, end - 1)));
      line = end;
    }
    if (lines === 0) parts.append(make("p", "fold", "The log is empty or cannot be read."));
    byId("lines").replaceChildren(parts);
    byId("lines").scrollTop = 0;
    this.describe();
  }

  describe() {
    const { lines, isWhole, path } = story.logs[this.log];
    let text = counted(lines, "line") + ". Coloured and named: selected by a rule. Double edge: in the stack.";
    if (!isWhole) text += " The log is large: this page holds only what the story names, and the lines around it.";
    if (story.logs.length > 1) text = path + ": " + text;
    byId("log-note").textContent = text;
  }

  // The lines to show at first.
  choose(lines) {
    const shown = new Set();
    const addAround = (line) => {
      for (let i = line - CONTEXT; i <= line + CONTEXT; ++i) if (this.text.has(i)) shown.add(i);
    };
    if (this.text.size <= SHORT_LOG) return new Set(this.text.keys());
    for (let i = 1; i <= 2 * CONTEXT; ++i) addAround(i);
    addAround(lines);
    this.wanted[this.log].sort((a, b) => a.rank - b.rank || a.line - b.line);
    for (const { line } of this.wanted[this.log]) {
      if (shown.size >= FIRST_LINES) break;
      addAround(line);
    }
    const sorted = [...shown].sort((a, b) => a - b);
    sorted.forEach((line, i) => {
      if (i === 0 || line - sorted[i - 1] > SHORT_FOLD) return;
      for (let gap = sorted[i - 1] + 1; gap < line; ++gap) if (this.text.has(gap)) shown.add(gap);
    });
    return shown;
  }

  rowsOf(from, to) {
    const rows = [];
    for (let line = from; line <= to; ++line) rows.push(this.row(line));
    return rows;
  }

  row(line) {
    const key = lineKey(this.log, line);
    const mark = this.marks[this.log].get(line);
    const anchor = link(key, "number", String(line));
    if (!mark) anchor.tabIndex = -1;  // the keyboard goes from one line of interest to the next
    const text = make("span", "text", visible(this.text.get(line)));
    const row = make("div", "line", anchor, text);
    row.dataset.line = line;
    if (mark && mark.rules.length) {
      row.classList.add("marked");
      row.style.setProperty("--hue", hueOf(mark.rules[0].order));
      text.append(...mark.rules.map(chip));
    } else if (mark) {
      row.classList.add("stack");
    }
    this.rows.set(line, row);
    return row;
  }

  // What stands for lines that are not shown; those that the page does not hold are on their own.
  foldsOf(from, to) {
    const folds = [];
    for (let line = from; line <= to;) {
      const isHeld = this.text.has(line);
      let end = line;
      while (end <= to && this.text.has(end) === isHeld) ++end;
      folds.push(isHeld ? this.fold(line, end - 1)
        : make("div", "fold", `${counted(end - line, "line")} not in this page`));
      line = end;
    }
    return folds;
  }

  fold(from, to) {
    const count = to - from + 1;
    let marked = 0;
    for (const line of this.marks[this.log].keys()) if (line >= from && line <= to) ++marked;
    const fold = { from, to, element: make("div", "fold") };
    const button = (text, first, last) => {
      const made = make("button", "", text);
      made.type = "button";
      made.addEventListener("click", () => {
        this.unfold(fold, first, last);
        this.rows.get(first).querySelector("a").focus({ preventScroll: true });
      });
      return made;
    };
    const what = `\u2026 ${counted(count, "line")}${marked ? `, ${number(marked)} of them marked` : ""}`;
    if (count <= CHUNK) {
      fold.element.append(button(what, from, to));
    } else {
      fold.element.append(what, button(`First ${CHUNK}`, from, from + CHUNK - 1),
        button(`Last ${CHUNK}`, to - CHUNK + 1, to));
    }
    this.folds.add(fold);
    return fold.element;
  }

  unfold(fold, from, to) {
    const parts = [];
    if (fold.from < from) parts.push(this.fold(fold.from, from - 1));
    parts.push(...this.rowsOf(from, to));
    if (to < fold.to) parts.push(this.fold(to + 1, fold.to));
    this.folds.delete(fold);
    fold.element.replaceWith(...parts);
  }

  // The row of a line, unfolded where it has to be; undefined when the page does not hold the line.
  reveal(line) {
    for (const fold of this.folds) {
      if (line < fold.from || line > fold.to) continue;
      this.unfold(fold, Math.max(fold.from, line - SHORT_FOLD), Math.min(fold.to, line + SHORT_FOLD));
      break;
    }
    return this.rows.get(line);
  }

  scrollTo(line) {
    const row = this.reveal(line);
    const pane = byId("lines");
    if (!row) return;
    const top = row.offsetTop - pane.scrollTop;
    if (top < 0 || top + row.offsetHeight > pane.clientHeight * 0.9) {
      pane.scrollTop = row.offsetTop - (pane.clientHeight - row.offsetHeight) / 3;
    }
  }
}

const view = new LogView();

// --- The story ---

function section(title, ...children) {
  const made = make("section", "section", make("h2", "", title), ...children);
  byId("sections").append(made);
  return made;
}

const FRAME_KEYS = { FST_FRAME: "First frame", SEC_FRAME: "Second frame", LAST_FRAME: "Last frame" };

function drawSummary() {
  document.title = `${story.event}: ${story.log.replace(/.*\//, "")}`;
  const count = Object.keys(story.result).length;
  const outcome = count ? make("span", "good", counted(count, "result")) : make("span", "bad", "nothing found");
  const facts = make("dl");
  for (const [key, title] of Object.entries({ ...FRAME_KEYS, FINGERPRINT: "Fingerprint" })) {
    if (story.result[key]) facts.append(make("dt", "", title), make("dd", "", code(story.result[key])));
  }
  byId("summary").append(make("h1", "", story.event, outcome),
    make("p", "", `${story.log} \u00b7 rules of ${story.config}`), facts,
    ...story.faults.map((fault) => make("p", "bad", "Error of the program: " + fault)));
}

function drawResults() {
  const givers = new Map();  // result key -> template key
  story.runs.forEach((run, r) => run.templates.forEach((told, t) => {
    if (told.value && !told.lostTo && !givers.has(told.key)) givers.set(told.key, `template-${r}-${t}`);
  }));
  const table = make("table");
  for (const [key, value] of Object.entries(story.result)) {
    const name = givers.has(key) ? link(givers.get(key), "", key) : document.createTextNode(key);
    const head = make("th", "", name);
    head.scope = "row";
    table.append(make("tr", "", head, make("td", "", code(value))));
  }
  section("Results", table.rows.length ? table : make("p", "bad", "Nothing found."));
}

function drawHealth() {
  const remarks = story.health.map((remark) => make("li", "", visible(remark)));
  section("Input", remarks.length ? make("ul", "", ...remarks)
    : make("p", "faint", "In order: UTF-8, line feeds, no line too long."));
}

function drawParam(rule, selected, param) {
  const where = param.line === selected.number ? null : make("span", "faint", ` in line ${number(param.line)}`);
  const outcome = !param.isFound ? make("span", "bad", " not found: ")
    : param.isStackPattern ? make("span", "faint", " notes the line for a stack") : document.createTextNode(" = ");
  const value = !param.isFound ? code(rule.params[param.key] || "") : param.isStackPattern ? null : code(param.value);
  return make("li", "", make("span", "mono", param.key), where, outcome, value);
}

function drawRule(run, rule, log, order, key) {
  const named = { key, name: rule.name, order };
  const fired = rule.selectedCount > 0;
  rule.selected.forEach((selected, rank) => {
    view.mark(log, selected.number, rank, named);
    touch(log, selected.number, key, () => ["selected by ", chip(named),
      make("ul", "", ...selected.params.map((param) => drawParam(rule, selected, param)))]);
  });
  rule.nearest.forEach((near, rank) => {
    if (!fired) view.want(log, near.line.number, rank);
    touch(log, near.line.number, key, () => ["not selected by ", chip(named), `: ${visible(near.why)}`]);
  });
  const head = make("div", "head", make("h3", "", chip(named)),
    fired ? make("span", "good", `selected ${counted(rule.selectedCount, "line")}`)
      : make("span", "bad", "never fired"),
    rule.spentAt ? make("span", "faint", `done at line ${number(rule.spentAt.number)}`) : null,
    rule.failedParams ? make("span", "bad", `${counted(rule.failedParams, "parameter")} not found`) : null,
    rule.command === "rules" ? null : make("span", "faint", rule.command), place(rule.place));
  const written = make("ul", "", make("li", "", "keyWords ", code(rule.keyWords)),
    rule.depend ? make("li", "", "depend ", code(rule.depend)) : null,
    ...Object.entries(rule.params).map(([name, pattern]) => make("li", "", name + " ", code(pattern))));
  const item = make("article", "item", head, make("details", "", make("summary", "", "As written"), written));
  if (fired) {
    item.append(listOf(rule.selected, (selected) => {
      const params = make("ul", "", ...selected.params.map((param) => drawParam(rule, selected, param)));
      if (selected.paramCount > selected.params.length) {
        params.append(make("li", "faint", `${number(selected.paramCount)} in all`));
      }
      return make("li", "", lineLink(log, selected.number), params);
    }, rule.selectedCount > rule.selected.length ? `The story holds the first ${number(rule.selected.length)}.` : ""));
  } else {
    const others = rule.nearestCount - rule.nearest.length;
    item.append(listOf(rule.nearest, (near) => make("li", "", "nearest: ", lineLink(log, near.line.number),
      ": ", visible(near.why)), others ? `${counted(others, "more line")} came as near.` : "", 1));
  }
  const lines = fired ? rule.selected : rule.nearest.slice(0, 1).map((near) => near.line);
  addItem(key, item, log, lines.map((line) => line.number));
  return item;
}

function drawRecord(record, log, key, rule) {
  const row = make("tr", "", make("td", "", link(key, "mono", record.name)),
    make("td", "", record.line ? lineLink(log, record.line.number) : null),
    make("td", "", record.value ? code(record.value) : make("span", "faint", "empty"),
      record.count > 1 ? make("span", "faint", ` the first of ${number(record.count)}`) : null));
  if (record.line) touch(log, record.line.number, key, () => ["makes the record ", link(key, "mono", record.name)]);
  addItem(key, row, log, record.line ? [record.line.number] : [], rule ? [rule] : []);
  return row;
}

function drawTemplate(told, log, key, records) {
  const state = !told.value ? make("span", "bad", "empty: no such result")
    : told.lostTo ? make("span", "bad", `not used: ${told.lostTo} gave the key before`) : null;
  const links = [];
  const lines = [];
  const parts = told.contributions.map((part) => {
    const record = records.get(part.record);
    const name = record ? link(record, "mono", part.record) : make("span", "mono", part.record);
    if (record) {
      links.push(record);
      lines.push(...items.get(record).lines);
    }
    const value = !part.isThere ? make("span", "bad", "no such record")
      : part.value ? code(part.value) : make("span", "bad", "empty");
    return make("li", "", name, ": ", value);
  });
  for (const line of new Set(lines)) touch(log, line, key, () => ["goes into ", link(key, "mono", told.key)]);
  const head = make("div", "head", make("h3", "", link(key, "mono", told.key)), code(told.text), state,
    place(told.place));
  const item = make("article", "item", head, make("ul", "", ...parts));
  addItem(key, item, log, lines, links);
  return item;
}

function drawRun(run, r, firstOrder) {
  const log = logOf(run);
  const made = make("section", "run", make("div", "head", make("h3", "", "Run of " + run.featureId), place(run.place)));
  if (!run.isReadable) {
    made.append(make("p", "bad", `The library cannot read ${run.log}.`));
    return made;
  }
  const { examined, spanned, overlong, indented } = run.lines;
  const fates = [[spanned, "taken for a \"num\""], [overlong, "passed over as overlong"],
    [indented, "passed over as indented"]].map(([count, what]) => count ? `, ${number(count)} ${what}` : "");
  made.append(make("p", "faint", `${counted(examined, "line")} examined${fates.join("")}; ${run.whyEnded}.`));
  if (run.asked) drawAsked(run, log);
  made.append(make("h4", "", "Rules"));
  const rules = new Map();  // index -> key
  run.rules.forEach((rule, i) => {
    rules.set(rule.index, `rule-${r}-${i}`);
    made.append(drawRule(run, rule, log, firstOrder + i, `rule-${r}-${i}`));
  });
  const records = new Map();  // name -> key
  const table = make("table");
  run.records.forEach((record, i) => {
    records.set(record.name, `record-${r}-${i}`);
    table.append(drawRecord(record, log, `record-${r}-${i}`, rules.get(record.ruleIndex)));
  });
  made.append(make("h4", "", run.records.length ? "Records" : "No records"), table);
  if (run.templates.length) made.append(make("h4", "", "Templates"));
  made.append(...run.templates.map((told, i) => drawTemplate(told, log, `template-${r}-${i}`, records)));
  return made;
}

// How each rule fared on the line that was asked about.
function drawAsked(run, log) {
  if (!run.asked.line) return;
  for (const verdict of run.asked.verdicts) {
    touch(log, run.asked.line.number, null, () => [`${verdict.rule} in ${run.featureId}: ${visible(verdict.why)}`]);
  }
}

function drawRuns() {
  const made = section("Runs");
  let order = 0;
  story.runs.forEach((run, r) => {
    made.append(drawRun(run, r, order));
    order += run.rules.length;
  });
  if (story.runs.length) return;
  made.append(make("p", "bad", "None: no feature id is taken, or the assemble file has no section of the event type."));
}

function drawStack() {
  if (!story.stack) {
    section("Stack", make("p", "faint", "None: no run gave \"STACK\"."));
    return;
  }
  const { stack } = story;
  const log = logOf(story.runs.find((run) => run.featureId === stack.featureId));
  const blocks = stack.blocks.map((block) => make("li", "", block.heading || "the head of the trace",
    `: ${counted(block.frames, "name")}`, block.namesTheStack ? make("span", "good", ", names the frames") : null));
  const named = Object.entries(stack.named).map(([key, giver]) => `${key} by the ${giver}`).join(", ");
  const frames = stack.frames.map((frame, i) => {
    const key = `frame-${i}`;
    const isKept = ["kept", "heading", "ignored-but-kept"].includes(frame.fate);
    const row = make("li", "row", frame.line ? lineLink(log, frame.line) : null, ` ${frame.form}, `,
      make("span", isKept ? "good" : "bad", frame.why), " ", code(isKept ? frame.name : frame.text));
    if (frame.line) {
      view.mark(log, frame.line, i);
      touch(log, frame.line, key, () => ["is in ", link(key, "", "the stack"), ": ", frame.why]);
    }
    addItem(key, row, log, frame.line ? [frame.line] : []);
    return row;
  });
  const origin = `From ${stack.featureId}: ${counted(frames.length, "line")} before filtering. `;
  section("Stack", make("p", "faint", origin, named ? `Set: ${named}.` : null), make("ul", "", ...blocks),
    make("ul", "", ...frames));
}

function drawEntries() {
  const taken = [];
  const refused = [];
  const draw = (isTaken, name, at) => make("li", "",
    isTaken ? make("span", "good", "taken ") : make("span", "bad", "refused "), name, ": ", visible(at.why), " ",
    place(at.place));
  for (const entry of story.entries) {
    if (entry.why) refused.push(draw(false, entry.key, entry));
    for (const id of entry.featureIds) (id.isTaken ? taken : refused).push(draw(id.isTaken, id.id, id));
  }
  section("Feature ids", make("ul", "", ...taken),
    make("details", "", make("summary", "", `${number(refused.length)} refused`), make("ul", "", ...refused)));
}

// --- Selection ---

const parseLine = (key) => {
  const found = /^line-(\d+)(?:-(\d+))?$/.exec(key);
  return found && { line: Number(found[1]), log: Number(found[2] || 0) };
};

function clearSelection() {
  for (const element of document.querySelectorAll(".picked, .linked")) element.classList.remove("picked", "linked");
  byId("selection").replaceChildren();
}

function scrollStoryTo(element) {
  const isNarrow = getComputedStyle(byId("log")).position === "sticky";  // the log stays above the story then
  element.style.scrollMarginTop = (isNarrow ? byId("log").offsetHeight : 0) + byId("selection").offsetHeight + 8 + "px";
  element.scrollIntoView({ block: "start" });
}

function selectLine(log, line) {
  view.show(log);
  view.scrollTo(line);
  const row = view.rows.get(line);
  const told = touched.get(lineKey(log, line)) || [];
  if (row) row.classList.add("picked");
  const what = !row ? "is not in this page." : told.length ? "" : "is not among those that the story names.";
  byId("selection").append(make("p", "", make("strong", "", `Line ${number(line)} `), what));
  if (told.length) byId("selection").append(make("ul", "", ...told.map(({ say }) => make("li", "", ...say()))));
  const hint = `With --line ${line}, explain tells how each rule fared on it.`;
  if (row) byId("selection").append(make("p", "faint", hint));
  for (const { key } of told) if (key) items.get(key).element.classList.add("linked");
  const first = told.find(({ key }) => key);
  if (first) scrollStoryTo(items.get(first.key).element);
}

function selectItem(key) {
  const { element, log, lines, links } = items.get(key);
  element.classList.add("picked");
  for (const linked of links) items.get(linked).element.classList.add("linked");
  view.show(log);
  if (lines.length) view.scrollTo(lines[0]);
  for (const line of lines) if (view.rows.has(line)) view.rows.get(line).classList.add("linked");
  if (lines.length && view.rows.has(lines[0])) view.rows.get(lines[0]).classList.add("picked");
  scrollStoryTo(element);
}

function select(key) {
  clearSelection();
  const line = parseLine(key);
  if (line && line.log < story.logs.length) selectLine(line.log, line.line);
  else if (items.has(key)) selectItem(key);
}

function find(event) {
  event.preventDefault();
  const wanted = byId("wanted").value;
  const current = parseLine(location.hash.slice(1));
  const from = current && current.log === view.log ? current.line : 0;
  let line;
  if (/^\d+$/.test(wanted)) {
    line = view.text.has(Number(wanted)) ? Number(wanted) : undefined;
  } else if (wanted) {
    const matches = [...view.text.keys()].filter((i) => view.text.get(i).toLowerCase().includes(wanted.toLowerCase()));
    line = matches.find((i) => i > from) || matches[0];
  }
  byId("found").textContent = line || !wanted ? "" : "not found";
  if (line) location.hash = lineKey(view.log, line);
}

function onClick(event) {
  const anchor = event.target.closest("a");
  const row = event.target.closest(".line");
  if (anchor && anchor.hash === location.hash) select(anchor.hash.slice(1));  // again: no change of the hash tells
  if (!anchor && row && getSelection().isCollapsed) location.hash = lineKey(view.log, row.dataset.line);
}

drawSummary();
drawResults();
drawHealth();
drawRuns();
drawStack();
drawEntries();
view.show(Math.max(story.logs.findIndex((log) => log.path === story.log), 0));
byId("find").addEventListener("submit", find);
document.addEventListener("click", onClick);
addEventListener("hashchange", () => select(location.hash.slice(1)));
const asked = story.runs.find((run) => run.asked && run.asked.line);
if (location.hash) select(location.hash.slice(1));
else if (asked) location.hash = lineKey(logOf(asked), asked.asked.line.number);
