// Draws what an edit of the rules moves: a summary, then groups, keys and logs, filtered by what became of them.

const data = JSON.parse(byId("data").textContent);
const textOf = (index) => index < 0 ? undefined : data.texts[index];

// A log with what became of it: {path, kinds, keys: Map key -> [before, after], fault}.
function collectLogs() {
  const logs = data.changed.map(({ path, keys, moved, pages }) => {
    const changes = new Map(keys.map(([key, before, after]) => [textOf(key), [textOf(before), textOf(after)]]));
    const all = [...changes.values()];
    const kinds = new Set(["changed"]);
    if (moved) kinds.add("moved");
    return { path, keys: changes, kinds, all, pages };
  });
  const byPath = new Map(logs.map((log) => [log.path, log]));
  const mark = (path, kind, fault) => {
    if (!byPath.has(path)) {
      byPath.set(path, { path, keys: new Map(), kinds: new Set(), fault });
      logs.push(byPath.get(path));
    }
    const log = byPath.get(path);
    log.kinds.delete("changed");
    log.kinds.add(kind);
    log.fault = fault;
  };
  for (const path of data.gained) mark(path, "gained");
  for (const path of data.lost) mark(path, "lost");
  for (const { path, error } of data.failing) mark(path, "failing", error);
  for (const { path, error } of data.mended) mark(path, "mended", error);
  for (const { path, error } of data.faulty) mark(path, "faulty", error);
  return logs;
}

const KINDS = {
  gained: ["gained a result", "good"], lost: ["lost all results", "bad"], moved: ["moved to another group", "warn"],
  changed: ["changed", ""], failing: ["fails now", "bad"], mended: ["failed before", "good"],
  faulty: ["fails under both", "bad"],
};

const logs = collectLogs();
const count = (kind) => logs.filter(({ kinds }) => kinds.has(kind)).length;
const state = { kind: "", key: "", text: "" };

// --- Groups ---

// The reason is left out where it is that of the group above.
function nameOfGroup(value, reason, frames, above) {
  const [reasonLine] = linesOf(reason || "");
  return make("div", "", make("div", "lead", reason === above ? null
    : make("strong", "", visible(reasonLine || `no ${libraryNames.reason}`)), " ", !value ? make("span", "faint", "no group")
    : /^[0-9a-f]{64}$/.test(value) ? fingerprintButton(value) : make("span", "", visible(linesOf(value).join(", ")))), make("ul", "frames faint", ...frames.slice(0, 3).map((frame) => make("li", "", visible(frame)))));
}

const framesOf = (stack) => linesOf(stack).filter((line) => /[.:(+]/.test(line));

function drawStep(kind, step) {
  const sides = make("details", "", make("summary", "", "Stacks side by side"));
  sides.addEventListener("toggle", () => {
    if (sides.children.length === 1) sides.append(sidesOf(step.stack.old, step.stack.new, [data.old, data.new]));
  });
  return make("li", "", make("div", "lead", make("strong", "number", counted(step.logs, "log")),
    kind === "merged" ? " from" : " to"),
  kind === "merged" ? nameOfGroup(step.old, step.reason.old, framesOf(step.stack.old), step.reason.new)
    : nameOfGroup(step.new, step.reason.new, framesOf(step.stack.new), step.reason.old),
  make("div", "small faint", `such as ${visible(step.example)}`), sides);
}

function drawMove({ kind, steps }) {
  const total = steps.reduce((sum, step) => sum + step.logs, 0);
  const [first] = steps;
  const title = { merged: `${counted(steps.length, "group")} merged into`, split: `split into ${counted(steps.length, "group")}`,
    moved: "moved" }[kind];
  const card = make("article", "card", make("div", "lead", make("span", "tag warn", title),
    make("span", "faint number", counted(total, "log"))));
  card.append(kind === "merged" ? nameOfGroup(first.new, first.reason.new, framesOf(first.stack.new))
    : nameOfGroup(first.old, first.reason.old, framesOf(first.stack.old)));
  card.append(listOf(steps, (step) => drawStep(kind, step), { few: 3, className: "logs steps" }));
  card.dataset.text = JSON.stringify(steps).toLowerCase();
  return card;
}

function drawGroups() {
  const moves = [...data.groups.merged.map((steps) => ({ kind: "merged", steps })),
    ...data.groups.split.map((steps) => ({ kind: "split", steps })),
    ...data.groups.moved.map((step) => ({ kind: "moved", steps: [step] }))];
  const size = ({ steps }) => steps.reduce((sum, step) => sum + step.logs, 0);
  moves.sort((a, b) => size(b) - size(a));
  const list = listOf(moves, (move) => make("li", "", drawMove(move)), { few: 20 });
  return make("section", "", make("h2", "", `Groups that moved (${number(moves.length)})`),
    moves.length ? list : make("p", "faint", "None: equal failures are still told by the same fingerprints."));
}

const drawLike = () => data.alike ? drawAlikeGroups(data.alike.new, `These are the groups under ${data.new}; ` +
  `under ${data.old} ${number(data.alike.old.alike)} of ${number(data.alike.old.compared)} do.`) : "";

// --- Keys ---

function drawKeys() {
  const rows = Object.entries(data.keys).map(([key, change]) => {
    const choose = button(key, () => { state.key = key; drawLogs(); byId("logs-head").scrollIntoView(); }, "plain mono");
    choose.setAttribute("aria-label", `Show the logs in which ${key} differs`);
    return make("tr", "", make("th", "", choose), ...["added", "removed", "changed"].map((what) =>
      make("td", `count ${change[what] ? "" : "faint"}`, `${number(change[what])} ${what}`)));
  });
  return make("section", "", make("h2", "", "Results by key"),
    rows.length ? make("table", "", make("tbody", "", ...rows)) : make("p", "faint", "No key differs."));
}

// --- Logs ---

function drawLog(log) {
  const tags = [...log.kinds].filter((kind) => kind !== "changed" || log.kinds.size === 1)
    .map((kind) => make("span", `tag ${KINDS[kind][1]}`, KINDS[kind][0]));
  const details = make("details", "", make("summary", "", visible(log.path), " ", tags));
  const what = [...log.keys.keys()].join(", ");
  details.addEventListener("toggle", () => {
    if (details.dataset.isDrawn) return;
    details.dataset.isDrawn = true;
    if (log.fault) details.append(make("p", "bad", visible(log.fault)));
    for (const [key, [before, after]] of log.keys) {
      details.append(make("h4", "mono", key), before === undefined ? make("p", "", make("span", "good", "added "), code(after))
        : after === undefined ? make("p", "", make("span", "bad", "removed "), code(before))
          : sidesOf(before, after, [data.old, data.new]));
    }
    const explanation = (config, page) => page ? pageLink(page, `explanation under ${config}`)
      : copyButton(`kestrix explain with ${config}`, explainCommand(log.path, config, data.event), "the command");
    const [before, after] = log.pages || [];
    details.append(make("p", "small", log.pages ? "" : "Copy: ", explanation(data.old, before), " \u00b7 ",
      explanation(data.new, after)));
  });
  return make("li", "", details, what ? make("div", "small faint mono", what) : null);
}

function drawLogs() {
  const wanted = logs.filter((log) => (!state.kind || log.kinds.has(state.kind)) && (!state.key || log.keys.has(state.key)) &&
    (!state.text || log.path.toLowerCase().includes(state.text) ||
      [...log.keys.values()].some((pair) => pair.some((text) => text && text.toLowerCase().includes(state.text)))));
  byId("shown").textContent = `${number(wanted.length)} of ${counted(logs.length, "log")}${state.key ? ` in which ${state.key} differs` : ""}`;
  byId("clear-key").hidden = !state.key;
  byId("log-list").replaceChildren(listOf(wanted, drawLog, { few: 50, more: 200, className: "logs" }));
}

function drawReport() {
  const isStill = !data.moved;
  drawTop(isStill ? `Nothing moved in ${counted(data.logs, "log")}` : `${number(logs.length)} of ${counted(data.logs, "log")} differ`,
    `rules as they were: ${data.old}`, `as they are to be: ${data.new}`);
  const { merged, split, moved } = data.groups;
  const summary = make("section", "", make("h2", "", "Summary"));
  drawFigures(summary, [{ key: "", value: logs.length, what: "logs differ" },
    ...Object.entries(KINDS).filter(([kind]) => count(kind)).map(([kind, [what]]) => ({ key: kind, value: count(kind), what }))],
  (kind) => { state.kind = kind; drawLogs(); });
  summary.append(make("p", "faint small", `Groups: ${number(merged.length)} merged, ${number(split.length)} split, ` +
    `${number(moved.length)} moved. A figure filters the list of logs below.`));
  const clear = button("all keys", () => { state.key = ""; drawLogs(); });
  clear.id = "clear-key";
  const shown = make("output", "faint small");
  shown.id = "shown";
  const list = make("div");
  list.id = "log-list";
  const head = make("h2", "", "Logs");
  head.id = "logs-head";
  byId("report").append(summary, drawGroups(), drawLike(), drawKeys(), make("section", "", head,
    make("div", "filters", searchField("Find a path or a value", (text) => { state.text = text; drawLogs(); }), clear, shown), list));
  drawLogs();
}

drawReport();
