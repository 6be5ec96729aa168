// Draws groups of logs that fail alike, the largest first, and what keeps look-alikes apart.

const data = JSON.parse(byId("data").textContent);
const isByFingerprint = data.by === libraryNames.fingerprint;
const percent = (share) => `${(share * 100).toFixed(1)}%`;

// Value -> why the group would be one with others: [{what, values}].
function collectAlikes() {
  const alikes = new Map();
  for (const variant of data.stability || []) {
    for (const merging of variant.merging) {
      for (const value of merging.values) {
        if (!alikes.has(value)) alikes.set(value, []);
        if (alikes.get(value).length < 3) alikes.get(value).push({ what: variant.what, ...merging });
      }
    }
  }
  return alikes;
}

const alikes = collectAlikes();

function drawAlikes(group) {
  const found = alikes.get(group.value);
  if (!found) return null;
  const made = make("details", "", make("summary", "", `Looks like ${counted(found[0].values.length - 1, "other group")}`));
  for (const { what, differs, values } of found) {
    made.append(make("p", "small", `${what} it would be one with `, values.filter((value) => value !== group.value).slice(0, 5)
      .flatMap((value, i) => [i ? ", " : "", make("span", "mono", `${value.slice(0, 12)}\u2026`)]), "; they differ first in"),
    sidesOf(differs[0], differs[1], ["this or the larger", "the other"]));
  }
  return made;
}

function drawExamples(group) {
  const rest = group.count - group.examples.length;
  const made = make("details", "", make("summary", "", counted(group.count, "log")));
  made.append(listOf(group.examples, ({ path, event, page }) => make("li", "", page ? pageLink(page, visible(path))
    : [visible(path), " ", copyButton("copy kestrix explain", explainCommand(path, "DIR", event), "the command")]),
  { few: 10, className: "logs" }));
  if (rest > 0) made.append(make("p", "faint small", `and ${number(rest)} more`));
  return made;
}

function drawGroup(group, i) {
  const [reason] = linesOf(group.reason || "");
  const lines = linesOf(group.value);
  const share = make("i");
  share.style.setProperty("--share", percent(group.share));
  const card = make("article", "card", make("div", "lead", make("strong", "number", number(group.count)),
    make("span", "faint number", percent(group.share)),
    make("h3", "", visible(data.nameLines === 0 || isByFingerprint ? reason || group.frames[0] || `no ${libraryNames.reason}`
      : lines.slice(0, data.nameLines).join(", ") || group.value)),
    isByFingerprint ? fingerprintButton(group.value) : null), make("div", "bar", share));
  const isTold = isByFingerprint || data.by === libraryNames.reason;
  if (!isTold && data.nameLines && reason) card.append(make("p", "small", visible(reason)));
  if (group.change) {
    card.append(make("p", "small", make("strong", "", group.change),
      group.before ? ` \u2013 ${counted(group.before, "log")} before, ${percent(group.shareBefore)}` : ""));
  }
  if (group.frames.length) {
    card.append(make("ul", "frames", ...group.frames.map((frame) => make("li", "", visible(frame)))));
  }
  if (linesOf(group.stack).length > group.frames.length) {
    card.append(make("details", "", make("summary", "", "Whole stack"), code(group.stack)));
  }
  const near = drawAlikes(group);
  card.append(drawExamples(group));
  if (near) card.append(near);
  return make("li", "", card);
}

function drawGroups(text) {
  const shown = data.groups.map((group, i) => [group, i]).filter(([group]) => !text ||
    [group.value, group.reason, group.change, group.stack, ...group.examples.map(({ path }) => path)].some((each) =>
      (each || "").toLowerCase().includes(text)));
  byId("shown").textContent = `${number(shown.length)} of ${counted(data.groups.length, "group")}`;
  byId("list").replaceChildren(listOf(shown, ([group, i]) => drawGroup(group, i), { few: 50, more: 100 }));
}

function drawStability() {
  if (!data.stability) return null;
  const rows = data.stability.map((variant) => make("tr", "", make("th", "", variant.what),
    make("td", "count", number(variant.groups))));
  return make("section", "", make("h2", "", "What keeps groups apart"),
    make("p", "faint small", `${counted(data.groups.length, "group")} as they are; so many there would be:`),
    make("table", "", make("tbody", "", ...rows)));
}

drawTop(`${counted(data.groupCount, "group")} of ${counted(data.logs, "log")}`, `by ${data.by}`,
  data.groupCount > data.groups.length ? `the largest ${number(data.groups.length)} are shown` : "");
const largest = data.groups.reduce((most, { share }) => Math.max(most, share), 0);
const shown = make("output", "faint small");
shown.id = "shown";
const list = make("div");
list.id = "list";
byId("report").append(make("div", "figures", figure(data.logs, "logs grouped"), figure(data.groupCount, "groups"),
  figure(data.groups.filter(({ count }) => count === 1).length, "groups of one log"),
  ...(data.logsBefore === undefined ? [] : ["new", "growing", "gone"].map((change) =>
    figure(data.groups.filter((group) => group.change === change).length, change))),
  figure(data.without, `without ${data.by}`), figure(data.failed, "failed")),
make("section", "", make("h2", "", largest ? `Groups: the largest holds ${percent(largest)}` : "No group"),
  make("div", "filters", searchField("Find in reasons, stacks and paths", drawGroups), shown), list),
data.alike ? drawAlikeGroups(data.alike) : "", drawStability() || "");
drawGroups("");
