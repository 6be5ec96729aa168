// Draws groups that look alike, for the pages of groups and of comparisons.

function drawAlikeSet({ logs, groups }) {
  const rows = listOf(groups, ({ value, count, distance, first }) => make("li", "", make("strong", "number", number(count)),
    make("span", "faint number", ` ${distance.toFixed(2)} `),
    /^[0-9a-f]{64}$/.test(value) ? fingerprintButton(value) : make("span", "mono", visible(linesOf(value).join(", "))),
    make("span", "small faint", ` first: ${visible(first)}`)), { few: 5, className: "logs" });
  return make("li", "", make("article", "card", make("div", "lead", make("strong", "", counted(groups.length, "group")),
    make("span", "faint number", counted(logs, "log"))), rows));
}

function drawAlikeGroups(found, more = "") {
  const facts = `Advice: they stay groups of their own. The distance of their stacks from that of the first is at most ${found.maxDistance}.`;
  return make("section", "", make("h2", "", `${number(found.alike)} of ${counted(found.compared, "group")} look like a larger one`),
    make("p", "faint small", more ? `${facts} ${more}` : facts), listOf(found.sets, drawAlikeSet, { few: 10 }));
}

