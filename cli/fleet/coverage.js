// Draws in how many logs each rule fired, why the others did not, and what lines no rule took.

const data = JSON.parse(byId("data").textContent);
const state = { kind: "", text: "" };

function drawRule(rule) {
  const share = make("i");
  share.style.setProperty("--share", `${data.logs ? rule.fired / data.logs * 100 : 0}%`);
  const reason = rule.idle && rule.idle.reason;
  return make("tr", "", make("td", "count", number(rule.fired), make("span", "narrow", ` of ${counted(data.logs, "log")}`),
    make("div", "bar", share)),
    make("th", "", rule.rule, make("div", "place", rule.place)), make("td", "", rule.feature),
    make("td", "small", reason ? [make("span", rule.fired ? "faint" : "bad", visible(reason)),
      make("span", "faint", ` in ${number(rule.idle.logs)} of ${counted(rule.idle.examined, "log")} examined, such as ${visible(rule.idle.example)}`)] : ""));
}

function drawRules() {
  const shown = data.rules.filter((rule) => (state.kind !== "idle" || !rule.fired) && (state.kind !== "fired" || rule.fired) &&
    (!state.text || `${rule.feature} ${rule.rule} ${rule.place}`.toLowerCase().includes(state.text)))
    .sort((a, b) => b.fired - a.fired);
  byId("shown").textContent = `${number(shown.length)} of ${counted(data.rules.length, "rule")}`;
  byId("rules").replaceChildren(...shown.map(drawRule));
}

function drawUntaken() {
  const draw = ({ kind, shape, lines, logs, example }) => make("li", "", make("article", "card",
    make("div", "lead", make("strong", "number", number(lines)), make("h3", "mono", visible(shape)),
      make("span", "faint", `${kind}, in ${counted(logs, "log")}`)), make("p", "small", visible(example))));
  return make("section", "", make("h2", "", "Lines that look like crashes, but went into no result"),
    data.untaken.length ? listOf(data.untaken, draw, { few: 20, more: 100 }) : make("p", "faint", "None."));
}

const idle = data.rules.filter((rule) => !rule.fired).length;
drawTop(idle ? `${number(idle)} of ${counted(data.rules.length, "rule")} never fired`
  : `Each of ${counted(data.rules.length, "rule")} fired`, `in ${counted(data.logs, "log")}`, data.failed ? `${number(data.failed)} failed` : "");
const summary = make("section");
drawFigures(summary, [{ key: "", value: data.rules.length, what: "rules" },
  { key: "fired", value: data.rules.length - idle, what: "fired" }, { key: "idle", value: idle, what: "never fired" }],
(kind) => { state.kind = kind; drawRules(); });
const shown = make("output", "faint small");
shown.id = "shown";
const body = make("tbody");
body.id = "rules";
const heads = ["Logs", "Rule", "Feature", "Why not in the others"].map((title) => {
  const head = make("th", "", title);
  head.scope = "col";
  return head;
});
byId("report").append(summary, make("section", "", make("h2", "", "Rules by the logs in which they fired"),
  make("div", "filters", searchField("Find a rule", (text) => { state.text = text; drawRules(); }), shown),
  make("table", "", make("thead", "", make("tr", "", ...heads)), body)), drawUntaken());
drawRules();
