// What a live page adds: it hears of saves, fetches what the rules make of the logs then, and tells what changed since
// the last save and since it was opened.

const DESK_ENDED = "The desk has ended: this page stays as it was.";

class Live {
  constructor({ logs, ruleFiles, hasEditor }) {
    this.paths = logs;
    this.ruleFiles = ruleFiles;
    this.hasEditor = hasEditor;
    this.log = 0;
    this.version = 0;      // of what is shown
    this.results = null;   // of the logs: {now, before, opened}
    this.shown = new Map();  // log -> its results: {now, before, opened}
    live.changes = () => this.changesOf(this.shown.get(this.log), true);
    live.verdicts = (line, place, fill) => this.fillVerdicts(line, place, fill);
    live.suggest = (log, first, last) => this.suggest(log, first, last);
    live.editor = (at, text) => this.editorLink(at, text);
  }

  start() {
    byId("status").hidden = false;
    this.tell("busy", "Waiting for the first results\u2026");
    const isMany = this.paths.length > 1;
    byId("logs").hidden = byId("logs-splitter").hidden = !isMany;
    byId("logs").addEventListener("keydown", (event) => this.onLogsKey(event));
    const events = new EventSource("events");
    events.addEventListener("change", (event) => this.follow(Number(event.data)));
    events.onerror = () => this.tell("gone", DESK_ENDED);
  }

  tell(look, ...text) {
    byId("status").className = look;
    byId("status").replaceChildren(make("span", "", make("span", "dot"), ...text));
  }

  async get(what) {
    const answer = await fetch(what);
    if (!answer.ok) throw new Error(`${what}: ${answer.status}`);
    return answer.json();
  }

  // Brings the page to a version; a newer one that comes meanwhile is followed afterwards.
  async follow(version) {
    this.wanted = version;
    if (this.isFollowing) return;
    this.isFollowing = true;
    try {
      while (this.version !== this.wanted) {
        const target = this.wanted;
        await this.update(target);
        this.version = target;
      }
    } catch {
      this.tell("gone", DESK_ENDED);
    }
    this.isFollowing = false;
  }

  async update(version) {
    const answer = await this.get(`story?log=${this.log}`);
    if (answer.isStale || answer.version < version || this.wanted !== version) return;
    this.showStory(answer);
    document.documentElement.dataset.version = answer.version;  // for who measures
    const [found, results] = await Promise.all([this.get("findings"), this.get("results")]);
    if (this.wanted !== version || found.isStale || results.isStale) return;
    this.showFindings(found, answer);
    this.showLogs(results);
    document.documentElement.dataset.settled = answer.version;
  }

  showStory(answer) {
    const isBroken = !answer.story;
    for (const id of ["top", "story", "log"]) byId(id).classList.toggle("stale", isBroken);
    if (isBroken) {
      this.tell("broken", visible(answer.fault), story ? " \u00b7 what is greyed is from before" : "");
      return;
    }
    answer.story.findings = story ? story.findings : [];
    this.note(this.log, answer.story.result, answer.version);
    this.tell("", `Follows ${this.ruleFiles.map(({ file }) => nameOfLog(file)).join(", ")} and `,
      this.paths.length > 1 ? counted(this.paths.length, "log") : nameOfLog(this.paths[0]), this.summary());
    showStory(answer.story);
  }

  // Keeps the results of a log beside those from before the last save and those that the page began with.
  note(log, now, version) {
    const known = this.shown.get(log);
    if (!known) this.shown.set(log, { now, before: now, opened: now, version });
    else if (known.version !== version) this.shown.set(log, { now, before: known.now, opened: known.opened, version });
  }

  // --- Changes ---

  // Key -> what became of it.
  changesOf(states) {
    const changes = new Map();
    if (!states) return changes;
    const { now, before, opened } = states;
    for (const key of Object.keys({ ...now, ...before, ...opened }).sort()) {
      const isFresh = now[key] !== before[key];
      if (!isFresh && now[key] === opened[key]) continue;
      const from = isFresh ? before[key] : opened[key];
      const since = isFresh ? "by this save" : "since opened";
      const [what, look] = from === undefined ? ["gained", "good"] : now[key] === undefined ? ["lost", "bad"]
        : ["changed", "warn"];
      changes.set(key, { what: `${what} ${since}`, look, isFresh, detail: () => this.detail(key, from, now[key]) });
    }
    return changes;
  }

  detail(key, from, to) {
    if (from === undefined || key === libraryNames.fingerprint) return null;
    const isLong = to !== undefined && (key === libraryNames.stack || from.includes("\n"));
    return isLong ? sidesOf(from, to) : make("div", "small faint was", make("span", "", "was"), code(from));
  }

  summary() {
    const changes = [...this.changesOf(this.shown.get(this.log)).values()];
    const fresh = changes.filter(({ isFresh }) => isFresh);
    const says = (list) => ["gained", "lost", "changed"].map((word) =>
      [word, list.filter(({ what }) => what.startsWith(word)).length]).filter(([, count]) => count)
      .map(([word, count]) => `${number(count)} ${word}`).join(", ");
    const parts = make("span", "", fresh.length ? make("strong", "", ` \u00b7 this save: ${says(fresh)}`) : "",
      changes.length ? ` \u00b7 since opened: ${changes.filter(({ what }) => what).length} results differ` : "");
    return parts;
  }

  // --- Findings of check ---

  showFindings(found, answer) {
    const findings = found.findings ? found.findings.findings : [];
    const list = byId("findings");
    const isBroken = !answer.story;
    list.hidden = !isBroken && !found.fault;
    list.replaceChildren(...findings.filter(({ severity }) => isBroken && severity === "error").slice(0, 8)
      .map((each) => make("div", "", drawFinding(each))));
    if (found.fault) list.append(make("span", "finding error", visible(found.fault)));
    if (isBroken || !story) return;
    const isSame = JSON.stringify(story.findings) === JSON.stringify(findings);
    story.findings = findings;
    if (isSame) return;
    const top = byId("story").scrollTop;
    const linesTop = view.pane.scrollTop;
    drawSections();
    selectInPlace(linesTop, top);
  }

  // --- The list of logs ---

  showLogs(answer) {
    if (!answer.logs || this.paths.length < 2) return;
    answer.logs.forEach((told, log) => { if (told && told.results) this.note(log, told.results, answer.version); });
    const focused = document.activeElement && document.activeElement.dataset.log;
    byId("logs").replaceChildren(...this.paths.map((path, log) => this.drawLog(path, log, answer.logs[log] || {})));
    if (focused !== undefined) byId("logs").children[focused]?.focus();
  }

  drawLog(path, log, told) {
    const result = told.results || {};
    const count = Object.keys(result).length;
    const fingerprint = result[libraryNames.fingerprint] || "";
    const changes = [...this.changesOf(this.shown.get(log))];
    const fresh = changes.filter(([, { isFresh }]) => isFresh);
    const moved = changes.some(([key]) => key === libraryNames.fingerprint);
    const made = button("", () => this.choose(log));
    made.dataset.log = log;
    made.setAttribute("aria-current", log === this.log);
    const what = told.error ? make("span", "what bad", visible(told.error))
      : make("span", "what", !count ? "nothing found" : visible(result[libraryNames.reason] || counted(count, "result")));
    made.append(make("span", "name", nameOfLog(path)), what, make("span", "meta", make("span", "tag", told.event || "?"),
      fingerprint && make("span", "mono", fingerprint.slice(0, 6)),
      changes.length ? make("span", `tag ${fresh.length ? "warn" : ""}`, moved ? "moved" : "changed",
        ` ${fresh.length ? "by this save" : "since opened"}`) : ""));
    made.title = path;
    return made;
  }

  onLogsKey(event) {
    const by = { ArrowDown: 1, ArrowUp: -1 }[event.key];
    if (!by) return;
    event.preventDefault();
    const to = Math.min(Math.max(this.log + by, 0), this.paths.length - 1);
    byId("logs").children[to].focus();
    this.choose(to);
  }

  async choose(log) {
    if (this.log === log && story) return;
    this.log = log;
    for (const made of byId("logs").children) made.setAttribute("aria-current", Number(made.dataset.log) === log);
    if (here()) history.replaceState(null, "", location.pathname);
    try {
      const answer = await this.get(`story?log=${log}`);
      if (this.log === log && !answer.isStale) this.showStory(answer);
    } catch {
      this.tell("gone", DESK_ENDED);
    }
  }

  // --- On demand ---

  async fillVerdicts(line, place, fill) {
    const version = this.version;
    const log = this.log;
    try {
      const answer = await this.get(`verdicts?log=${log}&line=${line}`);
      if (!place.isConnected || this.log !== log || version !== this.version) return;
      if (answer.isStale) return;
      if (!answer.story) place.replaceChildren(make("p", "bad", visible(answer.fault)));
      else {
        fill(answer.story.runs.map((run, r) => ({ run: story.runs[r], r, verdicts: run.asked ? run.asked.verdicts : null }))
          .filter(({ run, verdicts }) => run && verdicts && verdicts.length === run.rules.length));
      }
    } catch {
      this.tell("gone", DESK_ENDED);
    }
  }

  // The suggestions, or why there are none.
  async suggest(log, first, last) {
    try {
      // Lines of a run over another log, which a segment can have, are none of a log that the page was opened for.
      const index = this.paths.indexOf(story.logs[log].path);
      if (index < 0) return { fault: `${story.logs[log].path} is not among the logs of this page` };
      const answer = await this.get(`suggest?log=${index}&first=${first}&last=${last}`);
      if (answer.isStale) return { fault: "A file was saved meanwhile; ask once more." };
      return answer.suggestions || answer;
    } catch {
      this.tell("gone", DESK_ENDED);
      return { fault: DESK_ENDED };
    }
  }

  editorLink(at, text) {
    const file = this.ruleFiles.findIndex((each) => each.file === at.file);
    if (file < 0) return make("span", "place", text);
    if (this.hasEditor) {
      return button(text, () => fetch(`edit?file=${file}&line=${at.line}`, { method: "POST" }), "plain place");
    }
    const anchor = make("a", "place", text);
    anchor.href = `vscode://file${encodeURI(this.ruleFiles[file].path)}:${at.line}`;
    return anchor;
  }
}

if (data.live) new Live(data.live).start();
