"use strict";
// What the scripts of all pages share. Text of logs and rules goes in as text only, never as markup.

const byId = (id) => document.getElementById(id);
const libraryNames = JSON.parse(byId("names").textContent);  // results and rule files

// An element with a class, and children that are elements, texts or lists of them; null stands for none.
function make(tag, className, ...children) {
  const element = document.createElement(tag);
  if (className) element.className = className;
  element.append(...children.flat(2).filter((child) => child !== null && child !== undefined && child !== ""));
  return element;
}

const number = (value) => value.toLocaleString("en-US");
const counted = (value, word) => `${number(value)} ${word}${value === 1 ? "" : "s"}`;
const code = (text, className = "") => make("code", className, visible(text));

// Control characters get a shape, and so do those that would turn the direction of the text or break its line. Each
// character stays one, so that columns keep their meaning; the carriage return of a line end is left out.
function visible(text) {
  return text.replace(/\r$/, "").replace(/\r\n/g, "\n").replace(
    /[\0-\x08\x0b-\x1f\x7f\u0080-\u009f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069]/g,
    (c) => c < " " ? String.fromCharCode(0x2400 + c.charCodeAt(0)) : c === "\x7f" ? "\u2421" : "\u2426");
}

function button(text, press, className = "") {
  const made = make("button", className, text);
  made.type = "button";
  made.addEventListener("click", press);
  return made;
}

// A list whose first elements are there; the others come with a button.
function listOf(elements, draw, { few = 5, more = 50, className = "" } = {}) {
  const list = make("ul", className);
  let shown = 0;
  const next = button("", () => add(more), "plain");
  const last = make("li", "", next);
  const add = (count) => {
    list.append(...elements.slice(shown, shown + count).map(draw));
    shown = Math.min(shown + count, elements.length);
    next.textContent = `${number(elements.length - shown)} more`;
    if (shown < elements.length) list.append(last);
    else last.remove();
  };
  add(few);
  return list;
}

// A button that copies a text, which it shows shortened.
function copyButton(shown, text, what) {
  const made = button(shown, async () => {
    let isDone = false;
    try {
      await navigator.clipboard.writeText(text);
      isDone = true;
    } catch {
      const area = make("textarea", "away");
      area.value = text;
      document.body.append(area);
      area.select();
      isDone = document.execCommand("copy");
      area.remove();
      made.focus();
    }
    made.textContent = isDone ? "copied" : "not copied";
    setTimeout(() => { made.textContent = shown; }, 1200);
  }, "plain mono");
  made.title = `Copy ${what}`;
  made.setAttribute("aria-label", `Copy ${what} ${shown}`);
  return made;
}

const fingerprintButton = (value) => copyButton(`${value.slice(0, 12)}\u2026`, value, "the fingerprint");

// The colours of things in a row go around the circle of hues in steps that keep neighbours apart.
const hueOf = (order) => Math.round(order * 137.5 + 210) % 360;

function paint(element, order) {
  element.style.setProperty("--hue", hueOf(order));
  return element;
}

// --- Two texts beside each other ---

const linesOf = (text) => (text ? text.replace(/\r\n/g, "\n").replace(/\n$/, "").split("\n") : []);

// Pairs of lines, equal ones beside each other where their order allows it: a longest common subsequence.
function pairLines(left, right) {
  const width = right.length + 1;
  const common = new Uint32Array((left.length + 1) * width);
  for (let i = left.length - 1; i >= 0; --i) {
    for (let k = right.length - 1; k >= 0; --k) {
      common[i * width + k] = left[i] === right[k] ? common[(i + 1) * width + k + 1] + 1
        : Math.max(common[(i + 1) * width + k], common[i * width + k + 1]);
    }
  }
  const pairs = [];
  let i = 0;
  let k = 0;
  while (i < left.length || k < right.length) {
    if (i < left.length && k < right.length && left[i] === right[k]) pairs.push([left[i++], right[k++]]);
    else if (k < right.length && (i === left.length || common[i * width + k + 1] > common[(i + 1) * width + k])) {
      pairs.push([null, right[k++]]);
    } else pairs.push([left[i++], null]);
  }
  return pairs;
}

function sidesOf(before, after, titles = ["before", "after"]) {
  const made = make("div", "sides", make("div", "side-head", titles[0]), make("div", "side-head", titles[1]));
  const left = linesOf(before);
  const right = linesOf(after);
  if (left.length > 400 || right.length > 400) {  // no stack is that long
    made.append(make("div", "old", visible(before)), make("div", "new", visible(after)));
    return made;
  }
  for (const [old, now] of pairLines(left, right)) {
    made.append(make("div", now === null ? "old" : old === null ? "blank" : "", old === null ? "" : visible(old)),
      make("div", old === null ? "new" : "blank", now === null ? "" : visible(now)));
    if (old !== null && now !== null) made.lastChild.className = "";
  }
  return made;
}

// --- Reports ---

// What stands at the head of a report: a title and facts below it.
function drawTop(title, ...facts) {
  document.title = title;
  byId("top").append(make("h1", "", title), make("div", "facts", ...facts.map((fact) => make("span", "", fact))));
}

const figure = (value, what) => make("div", "figure", make("b", "", number(value)), make("span", "", what));

// Buttons of which one is pressed, each with a count: what is shown of a list.
function drawFigures(parent, figures, choose) {
  const buttons = figures.map(({ key, value, what }) => {
    const made = button("", () => press(made, key), "figure");
    made.append(make("b", "", number(value)), make("span", "", what));
    made.disabled = value === 0;
    return made;
  });
  const press = (pressed, key) => {
    for (const made of buttons) made.setAttribute("aria-pressed", made === pressed);
    choose(key);
  };
  parent.append(make("div", "figures", ...buttons));
  if (buttons.length) buttons[0].setAttribute("aria-pressed", true);
}

function searchField(label, search) {
  const field = make("input");
  field.type = "search";
  field.placeholder = label;
  field.setAttribute("aria-label", label);
  field.addEventListener("input", () => search(field.value.toLowerCase()));
  return field;
}

// A link to a file beside the page.
function pageLink(path, ...children) {
  const anchor = make("a", "", ...children);
  anchor.href = path.split("/").map(encodeURIComponent).join("/");
  return anchor;
}

const nameOfLog = (path) => path.replace(/.*\//, "");

// A command line for a shell.
const shellWord = (word) => /^[\w./:=+-]+$/.test(word) ? word : `'${word.replace(/'/g, "'\\''")}'`;
const explainCommand = (log, config, event) => ["kestrix", "explain", log, "--config", config, ...(event ? ["--event", event] : [])]
  .map(shellWord).join(" ");
