// Several runs: laid over each other, or a table that leads to their pages.

const STYLES = Object.entries({ solid: "———", dash: "– – –", dot: "· · · ·", dashdot: "– · – ·", longdash: "— — —", longdashdot: "— · — ·" }).map(([dash, sign], i) => ({ style: `run${i}`, dash, sign }));
const TRUST = { held: "held", contradicted: "contradicted", unjudged: "cannot be judged" };

// An overview's cells; what failed has its reason in place of figures.
function overviewRow(row) {
  const name = row.page ? make("a", { href: encodeURIComponent(row.page) }, row.title) : row.title;
  if (row.error)
    return [name, "failed", "–", "–", "–", "–", row.error];
  const findings = row.findings === null ? "–" : row.findings === 0 ? "nothing odd" : `${row.findings} odd`;
  return [name, make("span", { "data-state": row.calibrated ? "yes" : "no" }, row.text), known(row.grade3_s) ? `${number(row.grade3_s)} s` : "never", TRUST[row.trust] ?? "–",
    row.offset_ut ? `${vector(row.offset_ut)}${row.calibrated ? "" : ", not validated"}` : "none", known(row.error_ut) ? `${number(row.error_ut)}${row.error_of === "best" ? " (to best)" : ""}` : "–", findings];
}

const overviewTable = (caption, rows) => table(caption, ["Recording", "Did it calibrate?", "Grade 3 after", "Grade trusted?", "Offset µT", "Error µT", "Plausible?"], rows.map(overviewRow), [2, 4, 5]);

function showIndex() {
  const good = data.rows.filter(row => row.calibrated).length, bad = data.rows.filter(row => row.error).length;
  at("headline").textContent = `${good} of ${data.rows.length} calibrated${bad ? `, ${bad} could not be read` : ""}`;
  at("source").textContent = "Several recordings, replayed";
  document.title = `qv6d – ${at("headline").textContent}`;
  at("rows").append(overviewTable(`${data.rows.length} runs`, data.rows));
}

function showCompare() {
  at("headline").textContent = data.title;
  at("source").textContent = "Runs laid over each other";
  document.title = `qv6d – ${data.title}`;
  at("compare-table").append(overviewTable("What each run came to", [...data.runs.map(run => run.overview), ...data.failed]));
  at("compare-table").querySelectorAll("tbody tr").forEach((row, i) => i < data.runs.length && row.firstChild.prepend(key(STYLES[i].style), ` ${STYLES[i].sign} `));
  const keys = data.runs[0].config?.map(c => c.name) ?? [], valueOf = (run, name) => run.config?.find(c => c.name === name)?.value ?? "–";
  const differing = keys.filter(name => new Set(data.runs.map(run => valueOf(run, name))).size > 1);
  at("compare-config").append(differing.length === 0 ? make("p", {}, "All runs had the same configuration.")
    : table("Keys that differ", ["Key", ...data.runs.map(run => run.title)], differing.map(name => [name, ...data.runs.map(run => valueOf(run, name))]), data.runs.map((_, i) => i + 1)));
}

function comparedLines(title, height, axis, values) {
  return {
    title, height, axis,
    traces: data.runs.map((run, i) => ({
      type: "scatter", mode: "lines", name: escaped(run.title), x: values === gradeSteps ? run.grades.flatMap(g => [g.from, g.to]) : run.samples.t, y: values(run),
      line: { color: colour(STYLES[i].style), dash: STYLES[i].dash, width: 1.6 }, connectgaps: false, hovertemplate: `${escaped(run.title)} %{y:.1f}<extra></extra>`,
    })),
  };
}

const gradeSteps = run => run.grades.flatMap(g => [g.grade, g.grade]);
const whilePublished = (run, value) => run.samples.t.map((_, i) => (run.samples.radius[i] > 0 ? value(run.samples, i) : null));

function offsetError(run) {
  const truth = run.true_offset ?? (run.best?.reservation ? null : run.best?.centre);
  return whilePublished(run, (s, i) => (truth ? distance([s.off_x[i], s.off_y[i], s.off_z[i]], truth) : null));
}

function drawCompare() {
  const misses = run => whilePublished(run, (s, i) => Math.abs(s.cal_norm[i] - s.radius[i]));
  const times = data.runs.flatMap(run => run.grades.flatMap(g => [g.from, g.to])).filter(known);
  drawPanels("compare-time", "Grade, norm and offset of the runs over time.", [
    comparedLines("Grade", 110, { range: [-0.4, 3.4], dtick: 1, fixedrange: true }, gradeSteps),
    comparedLines("Distance of calibrated norm and radius, µT", 190, logarithmic(data.runs.flatMap(misses)), misses),
    comparedLines("Distance of the offset to the true one, or to the best sphere's centre, µT", 190, logarithmic(data.runs.flatMap(offsetError)), offsetError),
    comparedLines("Radius, µT", 150, {}, run => whilePublished(run, (s, i) => s.radius[i])),
  ], { range: ends(times), timed: data.runs.every(run => run.timed), shapes: [] });
}
